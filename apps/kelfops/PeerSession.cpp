#include "apps/kelfops/PeerSession.h"

#include <cstdio>

#include "apps/kelfops/Command.h"
#include "base/io/Io.h"
#include "base/os/AppLoop.h"
#include "base/plat/Exception.h"

PeerSession::PeerSession(std::unique_ptr<io::Io> link, Command& command, int clientVersion, int logLevel)
    : command_(command),
      channel_(std::move(link), *this),
      proto_(channel_, *this),
      sender_(proto_, &command),
      receiver_(proto_, &command) {
  channel_.sendLogLevel(logLevel);
  proto_.clientInit(clientVersion);
  channel_.flush();
}

PeerSession::~PeerSession() = default;

void PeerSession::report(const char* what, const plat::Exception& error) {
  std::fprintf(stderr, "kelfops: %s: %s\n", what, plat::ExceptionText(error, "failed").get());
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
  proto_.clientClose();
  channel_.closeWrite();
}

bool PeerSession::sessionMessage(rdr::InStream& in) {
  if (!proto_.run(in)) {
    return false;
  }
  if (!isFinished_) {
    command_.pump();
  }
  return true;
}

void PeerSession::channelClosed(const char* reason) {
  if (!isFinished_) {
    isFinished_ = true;
    exitStatus_ = HelperFailed;
    std::fprintf(stderr, "kelfops: the link to the helper closed%s%s\n", *reason ? ": " : "", reason);
  }
  os::AppLoop::quit(exitStatus_);
}

void PeerSession::serverInit(const fops::ServerInit& init) {
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
