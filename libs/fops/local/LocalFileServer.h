#pragma once

#include <cstdint>

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "libs/fops/FileReceiver.h"
#include "libs/fops/FileSender.h"
#include "libs/fops/SFopsProto.h"
#include "libs/fops/local/LocalDirActions.h"
#include "libs/fops/local/LocalFsRoot.h"

namespace fops {

/// One session's whole file service: ties the session protocol to the exported tree, and carries out what moves files.
///
/// Keeps no table of its own: transfers live in the sender and the receiver, and the peer walks folders step by step. A
/// request's failure is part of its reply and never ends the session.
///
/// Road:      SFopsProto calls it with requests that move files and asks it for the sender, the receiver and the
///            directory actions; results go back to SFopsProto.
/// Ownership: a member of the bridge to the channel; observes the callback and the writer, which must outlive it.
/// Thread:    the loop's; every operation runs inline.
/// Lifecycle: destruction closes downloads, removes the temporary files of uploads, and sends nothing.
class LocalFileServer final : private SFopsProto::Callback, private plat::NonCopyable {
public:
  /// Learns of the session. Implemented by SFopsMgrViaIpc.
  class Callback {
  public:
    virtual void sessionChanged(bool started) = 0;
    virtual ~Callback() = default;
  };

  /// The tree is the one that `FopsDir` names now.
  /// @throws plat::AssertionFail if `FopsDir` is not absolute.
  LocalFileServer(Callback& callback, FopsProto::Writer& writer);
  ~LocalFileServer() override;

  /// The session, to be run with each message's body.
  SFopsProto& proto() noexcept { return proto_; }

private:
  DataSender& getDataSender() override { return sender_; }
  DataReceiver& getDataReceiver() override { return receiver_; }
  DirActions& getDirActions() override { return dirActions_; }
  void uploadFile(TransferId id, const DirEntry& entry, const char* destination) override;
  void uploadFolder(TransferId id, const DirEntry& entry, const char* destination, const char* clientData) override;
  void downloadFile(TransferId id, const char* path, const char* clientData) override;
  void downloadFolder(TransferId id, const char* path, const char* clientData) override;
  void reqEntries(TransferId id, const char* path, const char* clientData) override;
  std::uint8_t isRootFs() override;
  void sessionChanged(bool started) override;
  plat::String getComputerName() override;
  plat::String getHomePath() override;
  plat::String getDesktopPath() override;

  Callback& callback_;
  LocalFsRoot root_;
  SFopsProto proto_;
  LocalDirActions dirActions_;
  FileSender sender_;
  FileReceiver receiver_;
};

}  // namespace fops
