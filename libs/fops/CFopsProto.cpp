#include "libs/fops/CFopsProto.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "base/plat/assert.h"
#include "base/plat/exceptions.h"
#include "base/rdr/InStream.h"
#include "base/rdr/OutStream.h"
#include "libs/fops/dirEntryIo.h"

namespace fops {

namespace {

/// Longest text of a reply, in bytes: a path that was sent with a name added to it. As the server repairs what it
/// reads, each byte of either may have become the three of U+FFFD.
constexpr std::uint32_t MaxReplyText = 3 * (FopsProto::MaxPathLength + 1 + MaxEntryNameLength);

}  // namespace

/// Without "ServerInit", which alone may come ahead of a session, and without the data messages, which both ends share.
const CFopsProto::Reply CFopsProto::replies[] = {
    {"GetRootResult", &CFopsProto::handleGetRootResult},
    {"DirScanResult", &CFopsProto::handleDirScanResult},
    {"ReqEntriesResult", &CFopsProto::handleReqEntriesResult},
    {"UploadFolderResult", &CFopsProto::handleUploadFolderResult},
    {"DownloadFileResult", &CFopsProto::handleDownloadFileResult},
    {"DownloadFolderResult", &CFopsProto::handleDownloadFolderResult},
    {"CreateFolderResult", &CFopsProto::handleCreateFolderResult},
    {"DeleteFileOrFolderResult", &CFopsProto::handleDeleteFileOrFolderResult},
    {"RenameFileOrFolderResult", &CFopsProto::handleRenameFileOrFolderResult},
};

CFopsProto::CFopsProto(Writer& messageWriter, Callback& session) : FopsProto(messageWriter, session) {}

CFopsProto::~CFopsProto() = default;

CFopsProto::Callback& CFopsProto::client() {
  return static_cast<Callback&>(*callback);
}

bool CFopsProto::setState(StateFn state) {
  stateFn_.set(state);
  return true;
}

bool CFopsProto::setHandler(Handler handler) {
  return setState(static_cast<StateFn>(handler));
}

bool CFopsProto::run(rdr::InStream& input) {
  return runStates(stateFn_, static_cast<StateFn>(&CFopsProto::readMsgType), input);
}

bool CFopsProto::readMsgType() {
  readType();
  const std::string_view type = msgType.orEmpty();
  if (type == "ServerInit") {
    return setHandler(&CFopsProto::handleServerInit);
  }
  if (version() < MinVersion) {
    throw plat::ProtocolError("The fops client is not initialised");
  }
  if (type == "DataChunk") {
    return setHandler(&CFopsProto::handleChunk);
  }
  if (dispatch()) {
    return true;
  }
  for (const Reply& reply : replies) {
    if (type == reply.type) {
      return setHandler(reply.handler);
    }
  }
  return ignoreMsg(protoLog());
}

plat::String CFopsProto::readText() {
  return in->readString(MaxReplyText, true);
}

plat::String CFopsProto::readVersion3Text() {
  return version() == 3 ? readText() : plat::String();
}

bool CFopsProto::handleChunk() {
  if (chunkReader.len() == 0) {
    const std::int32_t length = readChunkHeader();
    // Length 0 goes this way as well: there is nothing to gather, and the reader of chunks takes 0 for idle.
    if (length == 0 || client().takesPieces(chunkId, static_cast<std::uint64_t>(chunkOffset), length)) {
      chunkLeft_ = length;
      return setHandler(&CFopsProto::handleChunkPieces);
    }
    beginChunk(length);
  }
  return gatherChunk();
}

bool CFopsProto::handleChunkPieces() {
  do {
    if (chunkLeft_ > 0 && in->nUnread() == 0 && !in->check(false, 1)) {
      return false;
    }
    const std::int32_t length = std::min(chunkLeft_, in->nUnread());
    const auto offset = static_cast<std::uint64_t>(chunkOffset);
    const std::uint8_t* const data = in->readInPlace(length);
    in->checkpoint();  // a piece that was handed over does not come again
    chunkOffset = static_cast<std::int64_t>(offset + static_cast<std::uint64_t>(length));
    chunkLeft_ -= length;
    try {
      client().getDataReceiver().dataChunk(chunkId, offset, length, data);
    } catch (...) {
      setState(nullptr);
      throw;
    }
  } while (chunkLeft_ > 0);
  return setState(nullptr);
}

// Replies

bool CFopsProto::handleServerInit() {
  ServerInit init;
  init.version = in->readU8();
  init.separator = static_cast<char>(in->readU8());
  init.isFsRoot = in->readU8() != 0;
  init.hostName = readText();
  init.home = readText();
  init.desktop = readText();
  // What follows is read by this number, so one that was not offered cannot be lived with.
  if (init.version < MinVersion || init.version > offeredVersion_) {
    throw plat::ProtocolError(plat::Formatted, "Invalid fops server version: %d", init.version);
  }
  // Ahead of the call, from which the first requests are sent, in the form of this version.
  FopsProto::version = init.version;
  client().serverInit(init);
  return setState(nullptr);
}

bool CFopsProto::handleGetRootResult() {
  DirEntry root;
  readDirEntry(root, *in, false);
  client().getRootResult(root);
  return setState(nullptr);
}

bool CFopsProto::handleDirScanResult() {
  readDirEntries(list_, *in, listCursor_);
  // A state of its own: were the status read here, a block in it would lead back into the list, which is complete and
  // would be begun anew from the middle of the message.
  return setHandler(&CFopsProto::handleDirScanStatus);
}

bool CFopsProto::handleDirScanStatus() {
  const plat::Exception error = readResult();
  // Moved away first: the memory goes with the callback's use of it, and the callback may throw.
  std::vector<DirEntry> entries = std::move(list_);
  list_.clear();
  client().dirScanResult(entries, error);
  return setState(nullptr);
}

bool CFopsProto::handleReqEntriesResult() {
  readDirEntries(list_, *in, listCursor_);
  // Apart for the same reason as that of a listing.
  return setHandler(&CFopsProto::handleReqEntriesStatus);
}

bool CFopsProto::handleReqEntriesStatus() {
  const TransferId id = readId();
  const plat::String path = readVersion3Text();
  const plat::String clientData = readVersion3Text();
  const plat::Exception error = readResult();
  std::vector<DirEntry> entries = std::move(list_);
  list_.clear();
  client().reqEntriesResult(id, entries, path.get(), clientData.get(), error);
  return setState(nullptr);
}

bool CFopsProto::handleUploadFolderResult() {
  const TransferId id = readId();
  const plat::String clientData = readVersion3Text();
  if (version() == 3) {
    DirEntry folder;  // as it was sent
    readDirEntry(folder, *in, true);
  }
  const plat::String path = readText();
  const plat::Exception error = readResult();
  client().uploadFolderResult(id, clientData.get(), path.get(), error);
  return setState(nullptr);
}

bool CFopsProto::handleDownloadFileResult() {
  const TransferId id = readId();
  readVersion3Text();  // the path and the client data: the id tells the caller enough
  readVersion3Text();
  DirEntry file;
  readDirEntry(file, *in, true);
  const plat::Exception error = readResult();
  client().downloadFileResult(id, file, error);
  return setState(nullptr);
}

bool CFopsProto::handleDownloadFolderResult() {
  const TransferId id = readId();
  if (version() == 3) {
    in->readU64();  // the entry has it too
  }
  DirEntry folder;
  readDirEntry(folder, *in, true);
  readVersion3Text();
  const plat::Exception error = readResult();
  client().downloadFolderResult(id, folder, error);
  return setState(nullptr);
}

bool CFopsProto::handleCreateFolderResult() {
  client().createFolderResult(readResult());
  return setState(nullptr);
}

bool CFopsProto::handleDeleteFileOrFolderResult() {
  client().deleteFileOrFolderResult(readResult());
  return setState(nullptr);
}

bool CFopsProto::handleRenameFileOrFolderResult() {
  client().renameFileOrFolderResult(readResult());
  return setState(nullptr);
}

// Requests

void CFopsProto::clientInit(int clientVersion) {
  PLAT_REQUIRE(clientVersion >= MinVersion && clientVersion <= MaxVersion);
  offeredVersion_ = clientVersion;
  startMsg("ClientInit").writeU8(static_cast<std::uint8_t>(clientVersion));
  endMsg();
}

void CFopsProto::writeEmptyMsg(const char* type) {
  startMsg(type);
  endMsg();
}

/// The version stays: replies to earlier requests may still be on their way.
void CFopsProto::clientClose() {
  writeEmptyMsg("ClientClose");
}

void CFopsProto::getRoot() {
  writeEmptyMsg("GetRoot");
}

void CFopsProto::dirScan(const char* path, bool includeDirs, bool includeFiles) {
  rdr::OutStream& out = startMsg("DirScan");
  out.writeString(path);
  out.writeU8(includeDirs);
  out.writeU8(includeFiles);
  endMsg();
}

void CFopsProto::writeIdRequest(const char* type, TransferId id, const char* path, const char* clientData) {
  rdr::OutStream& out = startMsg(type);
  writeId(out, id);
  out.writeString(path);
  if (version() == 3) {
    out.writeString(clientData);
  }
  endMsg();
}

void CFopsProto::reqEntries(TransferId id, const char* path, const char* clientData) {
  writeIdRequest("ReqEntries", id, path, clientData);
}

void CFopsProto::downloadFile(TransferId id, const char* path, const char* clientData) {
  writeIdRequest("DownloadFile", id, path, clientData);
}

void CFopsProto::downloadFolder(TransferId id, const char* path, const char* clientData) {
  writeIdRequest("DownloadFolder", id, path, clientData);
}

void CFopsProto::uploadFile(TransferId id, const DirEntry& file, const char* destination) {
  rdr::OutStream& out = startMsg("UploadFile");
  writeId(out, id);
  writeDirEntry(file, out);
  if (version() == 3) {
    out.writeString(nullptr);  // read by nobody
  }
  out.writeString(destination);
  endMsg();
}

void CFopsProto::uploadFolder(TransferId id, const char* clientData, const DirEntry& folder, const char* destination) {
  rdr::OutStream& out = startMsg("UploadFolder");
  writeId(out, id);
  if (version() == 3) {
    out.writeString(clientData);
  }
  writeDirEntry(folder, out);
  out.writeString(destination);
  endMsg();
}

void CFopsProto::createFolder(const char* dir, const char* name) {
  rdr::OutStream& out = startMsg("CreateFolder");
  out.writeString(dir);
  out.writeString(name);
  endMsg();
}

void CFopsProto::deleteFileOrFolder(const char* path) {
  startMsg("DeleteFileOrFolder").writeString(path);
  endMsg();
}

void CFopsProto::renameFileOrFolder(const char* from, const char* to) {
  rdr::OutStream& out = startMsg("RenameFileOrFolder");
  out.writeString(from);
  out.writeString(to);
  endMsg();
}

}  // namespace fops
