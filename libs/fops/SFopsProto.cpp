#include "libs/fops/SFopsProto.h"

#include <algorithm>
#include <string_view>

#include "base/plat/exceptions.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/InStream.h"
#include "base/rdr/OutStream.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/dirEntryIo.h"
#include "libs/fops/path.h"

namespace fops {

namespace {

plat::LogSrc log("SFopsProto");

// The outcome of a request as log lines show it.
class StatusText {
public:
  explicit StatusText(const plat::Exception& error) : text_(format(error)) {}
  const char* get() const { return text_.get(); }

private:
  static plat::String format(const plat::Exception& error) {
    const char* message = error.message[0] ? error.message : "ok";
    return error.type[0] ? plat::String::format("[%s] %s", error.type, message) : plat::String(message);
  }

  plat::String text_;
};

const char* nameOrNull(const DirEntry& entry) {
  return entry.name.isNull() ? "<null>" : entry.name.get();
}

}  // namespace

/// Without "ClientInit", which alone may come when there is no session, and without the data messages, which both ends
/// share.
const SFopsProto::Request SFopsProto::requests[] = {
    {"ClientClose", &SFopsProto::handleClientClose},
    {"GetRoot", &SFopsProto::handleGetRoot},
    {"DirScan", &SFopsProto::handleDirScan},
    {"UploadFile", &SFopsProto::handleUploadFile},
    {"UploadFolder", &SFopsProto::handleUploadFolder},
    {"DownloadFile", &SFopsProto::handleDownloadFile},
    {"DownloadFolder", &SFopsProto::handleDownloadFolder},
    {"ReqEntries", &SFopsProto::handleReqEntries},
    {"CreateFolder", &SFopsProto::handleCreateFolder},
    {"DeleteFileOrFolder", &SFopsProto::handleDeleteFileOrFolder},
    {"RenameFileOrFolder", &SFopsProto::handleRenameFileOrFolder},
};

SFopsProto::SFopsProto(Writer& messageWriter, Callback& fileServer) : FopsProto(messageWriter, fileServer) {}

SFopsProto::~SFopsProto() = default;

SFopsProto::Callback& SFopsProto::server() {
  // The base knows it by its own interface; what the constructor was given is this one.
  return static_cast<Callback&>(*callback);
}

bool SFopsProto::setState(StateFn state) {
  stateFn_.set(state);
  return true;
}

bool SFopsProto::setHandler(Handler handler) {
  return setState(static_cast<StateFn>(handler));
}

bool SFopsProto::run(rdr::InStream& input) {
  return runStates(stateFn_, static_cast<StateFn>(&SFopsProto::readMsgType), input);
}

bool SFopsProto::readMsgType() {
  readType();
  const std::string_view type = msgType.orEmpty();
  if (type == "ClientInit") {
    return setHandler(&SFopsProto::handleClientInit);
  }
  if (version < MinVersion) {
    throw plat::ProtocolError("The fops server is not initialised");
  }
  if (dispatch()) {
    return true;
  }
  for (const Request& request : requests) {
    if (type == request.type) {
      return setHandler(request.handler);
    }
  }
  return ignoreMsg(log);
}

plat::String SFopsProto::readClientData() {
  return version == 3 ? readPath() : plat::String();
}

// Session start and end

template <class Check, class Serve, class Refuse>
bool SFopsProto::checkAndServe(const Check& check, const Serve& serve, const Refuse& refuse) {
  plat::Exception refused;
  try {
    check();
  } catch (const plat::Exception& e) {
    refused = e;
  }
  if (refused.isEmpty()) {
    serve();
  } else {
    refuse(refused);
  }
  return setState(nullptr);
}

bool SFopsProto::handleClientInit() {
  const int clientVersion = in->readU8();
  if (clientVersion < MinVersion) {
    throw plat::ProtocolError(plat::Formatted, "Invalid fops client version: %d", clientVersion);
  }
  // A newer client is answered with the highest version known here, and may take it or leave.
  version = std::min(clientVersion, MaxVersion);
  log.info("Session started, fops version %d client version %d", version, clientVersion);
  // The launcher hears of the session ahead of the peer's first reply.
  server().sessionChanged(true);
  try {
    // A home folder that cannot be told leaves this message half written. The session stands all the same, but its
    // output is off from there on (see FopsProto::startMsg).
    writeServerInit();
  } catch (const plat::Exception& e) {
    log.debug("Write error: %s", plat::ExceptionText(e).get());
  }
  return setState(nullptr);
}

void SFopsProto::writeServerInit() {
  rdr::OutStream& out = startMsg("ServerInit");
  out.writeU8(static_cast<std::uint8_t>(version));
  out.writeU8('/');
  out.writeU8(server().isRootFs());
  out.writeString(server().getComputerName().get());
  out.writeString(server().getHomePath().get());
  out.writeString(server().getDesktopPath().get());
  endMsg();
}

bool SFopsProto::handleClientClose() {
  log.info("File transfer session has ended");
  server().sessionChanged(false);
  // Transfers are left as they are, but a message for one that comes without a new session ends the link.
  version = 0;
  return setState(nullptr);
}

// Requests for the directory actions

bool SFopsProto::handleGetRoot() {
  server().getDirActions().getRoot();
  return setState(nullptr);
}

bool SFopsProto::handleDirScan() {
  const plat::String path = readPath();
  const bool includeDirs = in->readU8() != 0;
  const bool includeFiles = in->readU8() != 0;
  log.debug("Scanning directory %s", path.empty() ? "<root>" : path.get());
  return checkAndServe([&] { checkDirPath(path.get()); },
                       [&] { server().getDirActions().dirScan(path.get(), includeDirs, includeFiles); },
                       [&](const plat::Exception& refused) {
                         log.debug("Scan error: %s", plat::ExceptionText(refused).get());
                         dirScanResult({}, refused);
                       });
}

bool SFopsProto::handleCreateFolder() {
  const plat::String directory = readPath();
  const plat::String name = readPath();
  return checkAndServe(
      [&] {
        checkDirPath(directory.get());
        checkPathElement(name.get(), 0);
      },
      [&] { server().getDirActions().createFolder(directory.get(), name.get()); },
      [&](const plat::Exception& refused) {
        // Joining is what meets a leading slash with its fatal assertion, as other refusals of this message do not.
        createFolderResult(joinPath(directory.get(), name.get()).get(), refused);
      });
}

bool SFopsProto::handleDeleteFileOrFolder() {
  const plat::String path = readPath();
  return checkAndServe([&] { checkPath(path.get()); }, [&] { server().getDirActions().deleteFileOrFolder(path.get()); },
                       [&](const plat::Exception& refused) { deleteFileOrFolderResult(path.get(), refused); });
}

bool SFopsProto::handleRenameFileOrFolder() {
  const plat::String from = readPath();
  const plat::String to = readPath();
  return checkAndServe(
      [&] {
        checkPath(from.get());
        checkPath(to.get());
      },
      [&] { server().getDirActions().renameFileOrFolder(from.get(), to.get()); },
      [&](const plat::Exception& refused) { renameFileOrFolderResult(from.get(), to.get(), refused); });
}

// Requests that begin a transfer

bool SFopsProto::handleUploadFile() {
  const TransferId id = readId();
  DirEntry file;
  // Not within the refusal below: a name inside an entry that no path could hold ends the link, where a bad destination
  // is refused in the reply.
  readDirEntry(file, *in, false);
  if (version == 3) {
    readPath();  // of no use to anybody
  }
  const plat::String destination = readPath();
  log.info("Upload file id=%s %s to %s", TransferIdText(id).get(), file.name.get(), destination.get());
  return checkAndServe([&] { checkDirPath(destination.get()); },
                       [&] { server().uploadFile(id, file, destination.get()); },
                       [&](const plat::Exception& refused) {
                         log.debug("Upload file error: %s", plat::ExceptionText(refused).get());
                         cancelByReceiver(id, refused);
                       });
}

bool SFopsProto::handleUploadFolder() {
  const TransferId id = readId();
  const plat::String clientData = readClientData();
  DirEntry folder;
  readDirEntry(folder, *in, false);
  const plat::String destination = readPath();
  log.info("Upload dir id=%s %s to %s", TransferIdText(id).get(), folder.name.get(), destination.get());
  return checkAndServe([&] { checkDirPath(destination.get()); },
                       [&] { server().uploadFolder(id, folder, destination.get(), clientData.get()); },
                       [&](const plat::Exception& refused) {
                         log.debug("Upload dir error: %s", plat::ExceptionText(refused).get());
                         uploadFolderResult(id, destination.get(), clientData.get(), folder, refused);
                       });
}

bool SFopsProto::handleDownloadFile() {
  const TransferId id = readId();
  const plat::String path = readPath();
  const plat::String clientData = readClientData();
  log.info("Download file id=%s %s", TransferIdText(id).get(), path.get());
  return checkAndServe([&] { checkPath(path.get()); }, [&] { server().downloadFile(id, path.get(), clientData.get()); },
                       [&](const plat::Exception& refused) {
                         downloadFileResult(id, DirEntry(), path.get(), clientData.get(), refused);
                       });
}

bool SFopsProto::handleDownloadFolder() {
  const TransferId id = readId();
  const plat::String path = readPath();
  const plat::String clientData = readClientData();
  log.info("Download dir id=%s %s", TransferIdText(id).get(), path.get());
  return checkAndServe(
      [&] { checkPath(path.get()); }, [&] { server().downloadFolder(id, path.get(), clientData.get()); },
      [&](const plat::Exception& refused) { downloadFolderResult(id, DirEntry(), clientData.get(), refused); });
}

bool SFopsProto::handleReqEntries() {
  const TransferId id = readId();
  const plat::String path = readPath();
  const plat::String clientData = readClientData();
  log.debug("Request directory entries id=%s: %s", TransferIdText(id).get(), path.get());
  return checkAndServe(
      [&] { checkPath(path.get()); }, [&] { server().reqEntries(id, path.get(), clientData.get()); },
      [&](const plat::Exception& refused) { reqEntriesResult(id, {}, path.get(), clientData.get(), refused); });
}

// Replies

void SFopsProto::uploadFolderResult(TransferId id, const char* path, const char* clientData, const DirEntry& folder,
                                    const plat::Exception& error) {
  // The texts of the line take memory, and are not made for one that is suppressed.
  if (log.enabled(plat::LogDebug)) {
    log.debug("Upload dir result id=%s %s: %s", TransferIdText(id).get(), path, StatusText(error).get());
  }
  rdr::OutStream& out = startMsg("UploadFolderResult");
  writeId(out, id);
  if (version == 3) {
    out.writeString(clientData);
    writeDirEntry(folder, out);
  }
  out.writeString(path);
  writeResult(out, error);
  endMsg();
}

void SFopsProto::downloadFileResult(TransferId id, const DirEntry& file, const char* path, const char* clientData,
                                    const plat::Exception& error) {
  if (log.enabled(plat::LogDebug)) {
    log.debug("Download file result id=%s %s: %s", TransferIdText(id).get(), nameOrNull(file), StatusText(error).get());
  }
  rdr::OutStream& out = startMsg("DownloadFileResult");
  writeId(out, id);
  if (version == 3) {
    out.writeString(path);
    out.writeString(clientData);
  }
  writeDirEntry(file, out);
  writeResult(out, error);
  endMsg();
}

void SFopsProto::downloadFolderResult(TransferId id, const DirEntry& folder, const char* clientData,
                                      const plat::Exception& error) {
  if (log.enabled(plat::LogDebug)) {
    log.debug("Download dir result id=%s %s: %s", TransferIdText(id).get(), nameOrNull(folder),
              StatusText(error).get());
  }
  rdr::OutStream& out = startMsg("DownloadFolderResult");
  writeId(out, id);
  if (version == 3) {
    out.writeU64(static_cast<std::uint64_t>(folder.size));
  }
  writeDirEntry(folder, out);
  if (version == 3) {
    out.writeString(clientData);
  }
  writeResult(out, error);
  endMsg();
}

void SFopsProto::reqEntriesResult(TransferId id, const std::vector<DirEntry>& list, const char* path,
                                  const char* clientData, const plat::Exception& error) {
  rdr::OutStream& out = startMsg("ReqEntriesResult");
  writeDirEntries(list, out);
  writeId(out, id);
  if (version == 3) {
    out.writeString(path);
    out.writeString(clientData);
  }
  writeResult(out, error);
  endMsg();
}

void SFopsProto::getRootResult(const DirEntry& root) {
  writeDirEntry(root, startMsg("GetRootResult"));
  endMsg();
}

void SFopsProto::dirScanResult(const std::vector<DirEntry>& list, const plat::Exception& error) {
  rdr::OutStream& out = startMsg("DirScanResult");
  writeDirEntries(list, out);
  writeResult(out, error);
  endMsg();
}

void SFopsProto::writeStatusReply(const char* type, const plat::Exception& error) {
  writeResult(startMsg(type), error);
  endMsg();
}

void SFopsProto::createFolderResult(const char*, const plat::Exception& error) {
  writeStatusReply("CreateFolderResult", error);
}

void SFopsProto::deleteFileOrFolderResult(const char*, const plat::Exception& error) {
  writeStatusReply("DeleteFileOrFolderResult", error);
}

void SFopsProto::renameFileOrFolderResult(const char*, const char*, const plat::Exception& error) {
  writeStatusReply("RenameFileOrFolderResult", error);
}

}  // namespace fops
