#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "apps/kelfops/ExitStatus.h"
#include "apps/kelfops/PeerChannel.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/time/Timer.h"
#include "base/rdr/BlockLender.h"
#include "libs/fops/CFopsProto.h"
#include "libs/fops/FileReceiver.h"
#include "libs/fops/FileSender.h"

class Command;

/// The remote peer: one session on the channel, with the local ends of its transfers.
///
/// It is the mirror of the helper's file server: the same sender and receiver, on the client's side of the protocol.
/// Ownership: a local variable of the program, inside the life of the loop and of the command. Thread: the loop's.
class PeerSession final : private PeerChannel::Callback,
                          private fops::CFopsProto::Callback,
                          private plat::Timer::Callback,
                          private plat::NonCopyable {
public:
  /// @param clientVersion highest protocol version to offer, 3 or 4.
  /// @param logLevel the helper's log comes back up to this level.
  PeerSession(std::unique_ptr<io::Io> link, Command& command, int clientVersion, int logLevel);
  ~PeerSession() override;

  fops::CFopsProto& proto() noexcept { return proto_; }
  fops::FileSender& sender() noexcept { return sender_; }
  fops::FileReceiver& receiver() noexcept { return receiver_; }
  /// Lends what lies in the link's buffer to the files that it is going to.
  rdr::BlockLender& lender() noexcept { return lender_; }
  const fops::ServerInit& server() const noexcept { return server_; }

  /// Has `started` called when the session stands, ahead of the command's first request, and `finished` when the
  /// command has done its work and the helper is still there.
  void onProgress(std::function<void()> started, std::function<void()> finished) {
    started_ = std::move(started);
    finished_ = std::move(finished);
  }

  fops::TransferId newId() noexcept { return ++lastId_; }

  /// Reports on standard error that something failed, and goes on; the exit status becomes Refused.
  void report(const char* what, const plat::Exception& error);

  /// Ends the session. The loop ends when the helper has closed the link, so that its last log lines arrive.
  void finish();

  /// The helper has ended, but something else still holds its link open: ends the loop as a closed link would.
  void helperEnded();

private:
  bool timerFired(plat::Timer& timer) override;
  bool sessionMessage(rdr::InStream& in) override;
  void channelClosed(const char* reason) override;

  fops::DataSender& getDataSender() override { return sender_; }
  fops::DataReceiver& getDataReceiver() override { return receiver_; }
  void serverInit(const fops::ServerInit& init) override;
  bool takesPieces(fops::TransferId id, std::uint64_t offset, std::int32_t length) override {
    return receiver_.accepts(id, offset, length);
  }
  void getRootResult(const fops::DirEntry& root) override;
  void dirScanResult(std::vector<fops::DirEntry>& list, const plat::Exception& error) override;
  void createFolderResult(const plat::Exception& error) override;
  void deleteFileOrFolderResult(const plat::Exception& error) override;
  void renameFileOrFolderResult(const plat::Exception& error) override;
  void reqEntriesResult(fops::TransferId id, std::vector<fops::DirEntry>& list, const char* path,
                        const char* clientData, const plat::Exception& error) override;
  void uploadFolderResult(fops::TransferId id, const char* clientData, const char* path,
                          const plat::Exception& error) override;
  void downloadFileResult(fops::TransferId id, const fops::DirEntry& file, const plat::Exception& error) override;
  void downloadFolderResult(fops::TransferId id, const fops::DirEntry& folder, const plat::Exception& error) override;

  Command& command_;
  rdr::BlockLender lender_;
  PeerChannel channel_;
  fops::CFopsProto proto_;
  fops::FileSender sender_;
  fops::FileReceiver receiver_;
  fops::ServerInit server_;
  std::function<void()> started_;
  std::function<void()> finished_;
  fops::TransferId lastId_ = 0;
  plat::Timer farewellTimer_;  ///< a helper that does not close the link must not keep this side
  int exitStatus_ = Done;
  bool hasBegun_ = false;
  bool isFinished_ = false;
};
