#pragma once

#include <cstdint>
#include <vector>

#include "libs/fops/DirActions.h"
#include "libs/fops/FopsProto.h"

namespace fops {

struct DirEntry;

/// The server's end of the session protocol: reads requests, checks the paths in them and calls the file service; turns
/// the service's results into replies. It owns no file logic.
///
/// Road:      SFopsMgrViaIpc calls run() with each message; requests go to LocalFileServer and LocalDirActions, which
///            call the result operations here before they return.
/// Ownership: a member of LocalFileServer, which implements the callback; observes that and the writer.
/// Thread:    the loop's thread only.
/// Lifecycle: no session at first. "ClientInit" starts one and renegotiates a running one, "ClientClose" ends it.
///            An exception that leaves run() is fatal to the link; a failed request is an ordinary reply.
class SFopsProto final : public FopsProto, public DirActions::Callback {
public:
  /// The file service. Called from run(), when a request has been read whole and its paths have passed their checks.
  /// `clientData` is opaque text to be handed back in the result, null if the session's version has none.
  /// Operations may write results and data messages; an exception from one leaves run().
  class Callback : public FopsProto::Callback {
  public:
    virtual DirActions& getDirActions() = 0;

    /// Answered by data messages alone: "DataReq", or "CancelByReceiver" on failure.
    virtual void uploadFile(TransferId id, const DirEntry& file, const char* destination) = 0;

    /// The four below answer with the result operation of the same name.
    virtual void uploadFolder(TransferId id, const DirEntry& folder, const char* destination,
                              const char* clientData) = 0;
    virtual void downloadFile(TransferId id, const char* path, const char* clientData) = 0;
    virtual void downloadFolder(TransferId id, const char* path, const char* clientData) = 0;
    virtual void reqEntries(TransferId id, const char* path, const char* clientData) = 0;

    /// 1 if the exported root is "/", else 0.
    virtual std::uint8_t isRootFs() = 0;

    /// A session has started (true, also for each renegotiation) or ended.
    virtual void sessionChanged(bool started) = 0;

    virtual plat::String getComputerName() = 0;

    /// Client paths, empty if outside the exported tree.
    /// @throws plat::Exception if the folder cannot be told; that leaves "ServerInit" half written and with it turns
    ///         the session's output off.
    virtual plat::String getHomePath() = 0;
    virtual plat::String getDesktopPath() = 0;
  };

  SFopsProto(Writer& messageWriter, Callback& server);
  ~SFopsProto() override;

  /// Handles the body of one channel message.
  /// @return true when the message has been fully handled, false if it must be called again with more of the message.
  /// @throws plat::ProtocolError for a request outside a session or a client that is too old, and whatever the reading
  ///         or the file service raises.
  bool run(rdr::InStream& input);

  /// Replies of the file service. On failure `error` has text or type, and the list or entry may be empty.
  void uploadFolderResult(TransferId id, const char* path, const char* clientData, const DirEntry& folder,
                          const plat::Exception& error);
  void downloadFileResult(TransferId id, const DirEntry& file, const char* path, const char* clientData,
                          const plat::Exception& error);
  void downloadFolderResult(TransferId id, const DirEntry& folder, const char* clientData,
                            const plat::Exception& error);
  void reqEntriesResult(TransferId id, const std::vector<DirEntry>& list, const char* path, const char* clientData,
                        const plat::Exception& error);

  // DirActions::Callback. The paths have no place in the replies.
  void getRootResult(const DirEntry& root) override;
  void dirScanResult(const std::vector<DirEntry>& list, const plat::Exception& error) override;
  void createFolderResult(const char* path, const plat::Exception& error) override;
  void deleteFileOrFolderResult(const char* path, const plat::Exception& error) override;
  void renameFileOrFolderResult(const char* from, const char* to, const plat::Exception& error) override;

private:
  using Handler = bool (SFopsProto::*)();
  struct Request {
    const char* type;
    Handler handler;
  };
  static const Request requests[];

  bool setState(StateFn state) override;
  bool setHandler(Handler handler);
  Callback& server();
  /// Version 3 carries client data; on version 4 the result is null.
  plat::String readClientData();
  void writeStatusReply(const char* type, const plat::Exception& error);

  bool readMsgType();
  /// What the requests with paths have in common: runs the checks of the paths, and then either carries the request out
  /// or answers it with the refusal. Only refusals are caught here, not what the file service raises.
  template <class Check, class Serve, class Refuse>
  bool checkAndServe(const Check& check, const Serve& serve, const Refuse& refuse);

  bool handleClientInit();
  void writeServerInit();
  bool handleClientClose();
  bool handleGetRoot();
  bool handleDirScan();
  bool handleReqEntries();
  bool handleUploadFile();
  bool handleUploadFolder();
  bool handleDownloadFile();
  bool handleDownloadFolder();
  bool handleCreateFolder();
  bool handleDeleteFileOrFolder();
  bool handleRenameFileOrFolder();

  rdr::StateMachine<FopsProto> stateFn_;  // null while no message is in progress
};

}  // namespace fops
