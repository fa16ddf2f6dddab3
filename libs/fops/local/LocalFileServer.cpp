#include "libs/fops/local/LocalFileServer.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include <fcntl.h>

#include "base/os/info/sysInfo.h"
#include "base/os/info/userDirs.h"
#include "base/plat/Exception.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/exceptions.h"
#include "base/plat/file/FilePtr.h"
#include "base/plat/file/file.h"
#include "base/plat/file/fileTree.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/FileInStream.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/local/LocalFileWriter.h"
#include "libs/fops/local/metadata.h"
#include "libs/fops/local/treeSize.h"
#include "libs/fops/path.h"

// Each operation keeps what can fail in one block and replies behind it in either case, so that a request gets one
// answer. That to the upload of a file is its receiver's first "DataReq", or a cancel.

namespace fops {

namespace {

plat::LogSrc log("LocalFileServer");

void refuseDirectory(const DirEntry& entry) {
  if ((entry.flags & Directory) != 0) {
    throw plat::Exception("Path is a directory");
  }
}

/// Opens a file to be sent and describes what was opened: since it was looked at by its path, another process may have
/// put something else there. A pipe that nobody writes to must not stop the loop, nor a terminal become the process's
/// own.
/// @throws plat::SystemExceptionFmt "Error opening \"%s\""; what getOpenEntry() throws
std::unique_ptr<rdr::FileInStream> openRegular(const char* local, DirEntry& file) {
  plat::FilePtr opened;
  opened.attach(plat::fileOpenStream(local, O_RDONLY | O_NONBLOCK | O_NOCTTY, "r"), true);
  if (!opened.isOpen()) {
    throw plat::SystemExceptionFmt("Error opening \"%s\"", errno, local);
  }
  file = getOpenEntry(::fileno(opened.get()), local);
  refuseDirectory(file);
  std::setvbuf(opened.get(), nullptr, _IONBF,
               0);  // the stream has a buffer, and fills it in one read(2) without a copy
  return std::make_unique<rdr::FileInStream>(opened.release(), true);
}

}  // namespace

LocalFileServer::LocalFileServer(Callback& callback, FopsProto::Writer& writer)
    : callback_(callback),
      root_(fopsDirParameter().value()),
      proto_(writer, *this),
      dirActions_(proto_, root_, os::hostNameShort().orEmpty(), true),
      sender_(proto_),
      receiver_(proto_) {}

LocalFileServer::~LocalFileServer() = default;

void LocalFileServer::uploadFile(TransferId id, const DirEntry& entry, const char* destination) {
  try {
    const plat::String local = root_.toLocalPath(destination);
    receiver_.add(
        id, std::make_unique<LocalFileWriter>(entry, local.get(), os::OpenArgs{O_WRONLY | O_CREAT | O_TRUNC, 0644}));
  } catch (const plat::Exception& error) {
    log.info("Upload file failed id=%s %s: %s", TransferIdText(id).get(), destination,
             plat::ExceptionText(error).get());
    // The receiver need not know the id: what failed may have been the making of the file.
    receiver_.cancel(id, false, error);
  }
}

void LocalFileServer::uploadFolder(TransferId id, const DirEntry& entry, const char* destination,
                                   const char* clientData) {
  plat::String clientPath = joinPath(destination, entry.name.get());
  plat::Exception error;
  try {
    const plat::String unique = plat::fileFreeName(root_.toLocalPath(destination).get(), entry.name.get());
    plat::mkDirs(unique.get(), isPrivateMode(entry), false);
    // The name as it was really made: the peer sends the folder's contents to this path.
    clientPath = root_.toClientPath(unique.get(), true);
  } catch (const plat::Exception& e) {
    log.info("Upload dir failed id=%s %s: %s", TransferIdText(id).get(), clientPath.orEmpty(),
             plat::ExceptionText(e).get());
    error = e;
  }
  proto_.uploadFolderResult(id, clientPath.get(), clientData, entry, error);
}

void LocalFileServer::downloadFile(TransferId id, const char* path, const char* clientData) {
  DirEntry file;
  plat::Exception error;
  try {
    const plat::String local = root_.toLocalPath(path);
    file = getDirEntry(local.get(), nullptr);
    refuseDirectory(file);
    auto stream = openRegular(local.get(), file);
    sender_.add(id, path, static_cast<std::uint64_t>(file.size), std::move(stream));
  } catch (const plat::Exception& e) {
    log.info("Download file failed id=%s %s: %s", TransferIdText(id).get(), path, plat::ExceptionText(e).get());
    error = e;
  }
  proto_.downloadFileResult(id, file, path, clientData, error);
}

void LocalFileServer::downloadFolder(TransferId id, const char* path, const char* clientData) {
  DirEntry folder;
  plat::Exception error;
  try {
    const plat::String local = root_.toLocalPath(path);
    folder = getDirEntry(local.get(), nullptr);
    folder.size = dirTreeSize(local.get());
  } catch (const plat::Exception& e) {
    log.info("Download top dir failed id=%s %s: %s", TransferIdText(id).get(), path, plat::ExceptionText(e).get());
    error = e;
  }
  proto_.downloadFolderResult(id, folder, clientData, error);
}

void LocalFileServer::reqEntries(TransferId id, const char* path, const char* clientData) {
  std::vector<DirEntry> list;
  plat::Exception error;
  try {
    list = scanDir(root_.toLocalPath(path).get(), true, true);
  } catch (const plat::Exception& e) {
    log.info("Download dir entries failed id=%s %s: %s", TransferIdText(id).get(), path, plat::ExceptionText(e).get());
    error = e;
  }
  proto_.reqEntriesResult(id, list, path, clientData, error);
  releaseList(list);
}

std::uint8_t LocalFileServer::isRootFs() {
  return root_.isFsRoot() ? 1 : 0;
}

void LocalFileServer::sessionChanged(bool started) {
  callback_.sessionChanged(started);
}

plat::String LocalFileServer::getComputerName() {
  return os::hostNameShort();
}

plat::String LocalFileServer::getHomePath() {
  return root_.toClientPath(os::getHomeDir().get(), false);
}

plat::String LocalFileServer::getDesktopPath() {
  return root_.toClientPath(os::getDesktopDir().get(), false);
}

}  // namespace fops
