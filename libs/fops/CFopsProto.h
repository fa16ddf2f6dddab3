#pragma once

#include <cstdint>
#include <vector>

#include "libs/fops/DirEntry.h"
#include "libs/fops/FopsProto.h"
#include "libs/fops/ServerInit.h"

namespace fops {

/// The client's end of the session protocol, the mirror of SFopsProto: writes requests, reads the server's replies and
/// hands them out. It keeps no table of requests; ids are the caller's, and replies without an id arrive in the order
/// of their requests.
///
/// Ownership: belongs to whoever runs the session; observes the writer and the callback, which must outlive it.
/// Thread:    the loop's thread only. No call waits for the server.
/// Lifecycle: clientInit() first; other requests once serverInit() has told the version.
class CFopsProto final : public FopsProto {
public:
  /// Learns the replies. Called from run(), when a reply has been read whole; the implementer may send the next
  /// requests from there and may take the contents of the lists. An `error` with neither text nor type means success.
  class Callback : public FopsProto::Callback {
  public:
    virtual void serverInit(const ServerInit& init) = 0;

    /// Whether the local DataReceiver takes this chunk in the pieces that it arrives in, as chunks of their own, so
    /// that nothing need be gathered. It must have seen that the chunk as a whole is right.
    virtual bool takesPieces(TransferId id, std::uint64_t offset, std::int32_t length) = 0;

    virtual void getRootResult(const DirEntry& root) = 0;
    virtual void dirScanResult(std::vector<DirEntry>& list, const plat::Exception& error) = 0;
    virtual void createFolderResult(const plat::Exception& error) = 0;
    virtual void deleteFileOrFolderResult(const plat::Exception& error) = 0;
    virtual void renameFileOrFolderResult(const plat::Exception& error) = 0;

    /// `path` and `clientData` are null unless the version is 3, here and below.
    virtual void reqEntriesResult(TransferId id, std::vector<DirEntry>& list, const char* path, const char* clientData,
                                  const plat::Exception& error) = 0;

    /// @param path the folder as it was really created, to be used as the destination of what goes into it.
    virtual void uploadFolderResult(TransferId id, const char* clientData, const char* path,
                                    const plat::Exception& error) = 0;

    /// @param file if the request failed, what was known of the file; with a null name if that is nothing.
    virtual void downloadFileResult(TransferId id, const DirEntry& file, const plat::Exception& error) = 0;

    /// @param folder its size is that of the whole tree; if the request failed, as above.
    virtual void downloadFolderResult(TransferId id, const DirEntry& folder, const plat::Exception& error) = 0;
  };

  CFopsProto(Writer& messageWriter, Callback& client);
  ~CFopsProto() override;

  /// Handles the body of one message from the server. An unknown type is ignored.
  /// @return true when the message has been fully handled, false if it must be called again with more of the message.
  /// @throws plat::ProtocolError for a message ahead of "ServerInit" or a version that this end does not speak, and
  ///         whatever the reading or the callback raises.
  bool run(rdr::InStream& input);

  /// The negotiated version, 3 or 4; 0 before "ServerInit".
  int version() const noexcept { return FopsProto::version; }

  /// Requests. Paths are client paths; `clientData` may be null and travels on version 3 only.
  /// @param clientVersion highest version to speak, 3 or 4.
  void clientInit(int clientVersion);
  void clientClose();
  void getRoot();
  void dirScan(const char* path, bool includeDirs, bool includeFiles);
  void reqEntries(TransferId id, const char* path, const char* clientData);
  void uploadFile(TransferId id, const DirEntry& file, const char* destination);
  void uploadFolder(TransferId id, const char* clientData, const DirEntry& folder, const char* destination);
  void downloadFile(TransferId id, const char* path, const char* clientData);
  void downloadFolder(TransferId id, const char* path, const char* clientData);
  void createFolder(const char* dir, const char* name);
  void deleteFileOrFolder(const char* path);
  void renameFileOrFolder(const char* from, const char* to);

private:
  using Handler = bool (CFopsProto::*)();
  struct Reply {
    const char* type;
    Handler handler;
  };
  static const Reply replies[];

  bool setState(StateFn state) override;
  bool setHandler(Handler handler);
  Callback& client();
  plat::String readText();
  plat::String readVersion3Text();
  void writeEmptyMsg(const char* type);
  void writeIdRequest(const char* type, TransferId id, const char* path, const char* clientData);

  bool readMsgType();
  bool handleChunk();
  bool handleChunkPieces();
  bool handleServerInit();
  bool handleGetRootResult();
  bool handleDirScanResult();
  bool handleDirScanStatus();
  bool handleReqEntriesResult();
  bool handleReqEntriesStatus();
  bool handleUploadFolderResult();
  bool handleDownloadFileResult();
  bool handleDownloadFolderResult();
  bool handleCreateFolderResult();
  bool handleDeleteFileOrFolderResult();
  bool handleRenameFileOrFolderResult();

  rdr::StateMachine<FopsProto> stateFn_;  // null while no message is in progress
  std::int32_t chunkLeft_ = 0;            // bytes of a chunk taken in pieces that have not come yet
  int offeredVersion_ = 0;                // of the last clientInit()
  // A list that may be larger than the input window: filled entry by entry, kept across blocks.
  std::vector<DirEntry> list_;
  std::int32_t listCursor_ = -1;
};

}  // namespace fops
