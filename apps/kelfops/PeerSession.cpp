#include "apps/kelfops/PeerSession.h"

#include <cstdio>
#include <utility>
#include <vector>

#include "apps/kelfops/Command.h"
#include "apps/kelfops/terminalText.h"
#include "base/io/Io.h"
#include "base/os/AppLoop.h"
#include "base/plat/Exception.h"
#include "base/plat/exceptions.h"

namespace {
constexpr int FarewellMs = 5000;  // for the helper to close its end; HelperProcess then waits for its exit
}

PeerSession::PeerSession(std::unique_ptr<io::Io> link, Command& command, int clientVersion, int logLevel)
    : command_(command),
      lender_(dynamic_cast<rdr::BufferedInStream*>(link->in())),
      channel_(std::move(link), *this),
      proto_(channel_, *this),
      sender_(proto_, &command),
      receiver_(proto_, &command),
      farewellTimer_(this) {
  // Ahead of the session, so that nothing of its log is lost; both leave together.
  channel_.sendLogLevel(logLevel);
  proto_.clientInit(clientVersion);
  channel_.flush();
}

PeerSession::~PeerSession() = default;

void PeerSession::report(const char* what, const plat::Exception& error) {
  std::fprintf(stderr, "kelfops: %s: %s\n", terminalText(what, stderr).c_str(),
               terminalText(plat::ExceptionText(error, "failed").get(), stderr).c_str());
  exitStatus_ = Refused;
}

void PeerSession::finish() {
  if (isFinished_) {
    return;
  }
  isFinished_ = true;
  if (finished_) {
    finished_();
  }
  try {
    // This ends the session; the helper itself lives as long as its link.
    proto_.clientClose();
    // Half closed: the helper sees the end, and its last log lines still arrive.
    channel_.closeWrite();
    farewellTimer_.start(FarewellMs);
  } catch (const plat::Exception&) {
    exitStatus_ = HelperFailed;  // what failed before may all have been the link
    os::AppLoop::quit(exitStatus_);
  }
}

/// Ahead of finish() an end is a failure, whatever the helper's own exit code; behind it, it is what we wait for.
void PeerSession::helperEnded() {
  if (!isFinished_) {
    exitStatus_ = HelperFailed;
  }
  isFinished_ = true;
  os::AppLoop::quit(exitStatus_);
}

/// The work is done and its outcome known; a helper that lingers does not change it.
bool PeerSession::timerFired(plat::Timer&) {
  os::AppLoop::quit(exitStatus_);
  return false;
}

bool PeerSession::sessionMessage(rdr::InStream& in) {
  if (isFinished_) {
    return true;  // whatever it is, nobody waits for it any more
  }
  if (!proto_.run(in)) {
    return false;
  }
  if (!isFinished_) {
    // After every message, whatever it was: any of them may have freed a place for a further request.
    command_.pump();
  }
  return true;
}

void PeerSession::channelClosed(const char* reason) {
  if (!isFinished_) {
    exitStatus_ = HelperFailed;
    std::fprintf(stderr, "kelfops: the link to the helper closed%s%s\n", *reason ? ": " : "",
                 terminalText(reason, stderr).c_str());
  }
  isFinished_ = true;
  os::AppLoop::quit(exitStatus_);
}

void PeerSession::serverInit(const fops::ServerInit& init) {
  // A second greeting would begin the command a second time.
  if (std::exchange(hasBegun_, true)) {
    throw plat::ProtocolError("ServerInit without a request");
  }
  server_ = init;
  if (started_) {
    started_();
  }
  command_.begin(*this);
}

void PeerSession::getRootResult(const fops::DirEntry& root) {
  command_.rootResult(root);
}

void PeerSession::dirScanResult(std::vector<fops::DirEntry>& list, const plat::Exception& error) {
  command_.dirScanResult(list, error);
}

void PeerSession::createFolderResult(const plat::Exception& error) {
  command_.actionResult(error);
}

void PeerSession::deleteFileOrFolderResult(const plat::Exception& error) {
  command_.actionResult(error);
}

void PeerSession::renameFileOrFolderResult(const plat::Exception& error) {
  command_.actionResult(error);
}

void PeerSession::reqEntriesResult(fops::TransferId id, std::vector<fops::DirEntry>& list, const char*, const char*,
                                   const plat::Exception& error) {
  command_.entriesResult(id, list, error);
}

void PeerSession::uploadFolderResult(fops::TransferId id, const char*, const char* path, const plat::Exception& error) {
  command_.uploadFolderResult(id, path, error);
}

void PeerSession::downloadFileResult(fops::TransferId id, const fops::DirEntry& file, const plat::Exception& error) {
  command_.downloadFileResult(id, file, error);
}

void PeerSession::downloadFolderResult(fops::TransferId id, const fops::DirEntry& folder,
                                       const plat::Exception& error) {
  command_.downloadFolderResult(id, folder, error);
}
