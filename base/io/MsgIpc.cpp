#include "base/io/MsgIpc.h"

#include <cstring>
#include <vector>

#include "base/io/Io.h"

// The read side goes round in four states: startMsg, readName, dispatch, skip. Each may be run several times for a
// message that comes in pieces, and a reader may close or detach the channel from inside dispatch; so what a state
// needs of the link it looks at anew. For reads that wait see MsgIpcBlocking.cpp.

namespace io {

namespace {

const char* const BadMsg = "badMsg";

/// Unknown names up to this first byte (digits, punctuation, control bytes, no byte at all) mean a corrupt stream;
/// those above it are taken as messages of a newer peer.
constexpr unsigned char LastCorruptByte = 0x40;

}  // namespace

bool MsgIpc::Callback::msgAllowed(MsgIpc&, const char*, bool) {
  return true;
}

void MsgIpc::Callback::msgIpcError(MsgIpc&, const plat::Exception&) {}

void MsgIpc::Reader::connectionChanged(MsgIpc&) {}

void MsgIpc::Reader::msgIpcGone(MsgIpc& ipc) {
  if (msgIpc == &ipc) {
    msgIpc = nullptr;
  }
}

bool MsgIpc::NameLess::less(const char* a, const char* b) noexcept {
  if (!a || !b) {
    return !a && b;
  }
  return std::strcmp(a, b) < 0;
}

MsgIpc::MsgIpc(Callback* callback, const char* name, bool blocking, bool logDiscards)
    : ipc_(name, this, blocking),
      callback_(callback),
      in_(nullptr),
      out_(nullptr),
      curReader_(readers_.end()),
      logDiscards_(logDiscards) {
  useLinkStreams();
}

MsgIpc::~MsgIpc() {
  try {
    // Readers first: closing tells them of the connection, and no reader is to hear of a channel that it can no longer
    // use.
    while (!readers_.empty()) {
      Reader* const reader = readers_.begin()->second;
      removeReader(reader);
      reader->msgIpcGone(*this);
    }
    if (closeOnDestroy_) {
      close(false);
    }
  } catch (const plat::Exception& e) {
    plat::warnException(e);
  }
}

void MsgIpc::accept(Io* io) {
  ipc_.accept(io);
  useLinkStreams();
  stateMachine_.set(&MsgIpc::startMsg);
  tellReaders();
}

void MsgIpc::setReader(const char* name, Reader* reader) {
  const auto entry = readers_.find(name);
  if (entry != readers_.end()) {
    // In the entry that is there: it may be that of the message in hand, whose rest goes to the new reader then.
    entry->second = reader;
  } else {
    readers_.emplace(name, reader);
  }
}

void MsgIpc::removeReader(Reader* reader) {
  for (auto entry = readers_.begin(); entry != readers_.end();) {
    entry = entry->second == reader ? eraseReader(entry) : std::next(entry);
  }
}

void MsgIpc::removeReader(const char* name) {
  const auto entry = readers_.find(name);
  if (entry != readers_.end()) {
    eraseReader(entry);
  }
}

MsgIpc::Readers::iterator MsgIpc::eraseReader(Readers::iterator entry) {
  // The message in hand has lost its reader. What is left of it is skipped, or the next message would begin in the
  // middle of this one.
  if (entry == curReader_) {
    curReader_ = readers_.end();
    if (inState(&MsgIpc::dispatch)) {
      stateMachine_.set(&MsgIpc::skip);
    }
  }
  return readers_.erase(entry);
}

bool MsgIpc::allowed(const char* name, bool isWrite) {
  if (!callback_ || callback_->msgAllowed(*this, name, isWrite)) {
    return true;
  }
  Ipc::log().info("%s: Message '%s' not currently allowed", ipc_.name(), name);
  return false;
}

rdr::FramedOutStream& MsgIpc::writeMsg(const char* name) {
  // Ahead of the frame: a message that is refused leaves nothing behind on the link.
  if (!allowed(name, true)) {
    throw plat::Exception("MsgIpc::writeMsg: Message not currently allowed");
  }
  if (logDiscards_ && !ipc_.attached()) {
    Ipc::log().debug("%s: Discarding message '%s'", ipc_.name(), name);
  }
  out_.startMsg();
  out_.writeShortString(name);
  return out_;
}

void MsgIpc::close(bool notify) {
  const bool wasAttached = ipc_.attached();
  ipc_.close();
  useLinkStreams();
  stateMachine_.set(nullptr);
  if (!wasAttached) {
    return;
  }
  tellReaders();
  if (notify && callback_) {
    callback_->msgIpcClosed(*this);
  }
}

std::unique_ptr<Io> MsgIpc::detach() noexcept {
  std::unique_ptr<Io> io = ipc_.detach();
  useLinkStreams();
  stateMachine_.set(nullptr);
  return io;
}

void MsgIpc::useLinkStreams() noexcept {
  // Either stream also forgets a message that it was in: its bytes went with the link.
  in_.setUnderlying(ipc_.in());
  out_.setUnderlying(ipc_.out());
}

bool MsgIpc::isRegistered(const Reader* reader) const noexcept {
  for (const auto& [name, registered] : readers_) {
    if (registered == reader) {
      return true;
    }
  }
  return false;
}

void MsgIpc::tellReaders() {
  // A reader may add and remove readers, itself included, when it is told.
  std::vector<Reader*> distinct;
  for (const auto& [name, reader] : readers_) {
    bool known = false;
    for (const Reader* other : distinct) {
      known = known || other == reader;
    }
    if (!known) {
      distinct.push_back(reader);
    }
  }
  for (Reader* reader : distinct) {
    if (isRegistered(reader)) {
      reader->connectionChanged(*this);
    }
  }
}

void MsgIpc::ipcReadable(Ipc&) {
  if (!in_.underlying()) {
    return;
  }
  stateMachine_.run(*this, [this] {
    in_.checkpoint();
    return in_.underlying() != nullptr;
  });
}

void MsgIpc::ipcClosed(Ipc&) {
  useLinkStreams();
  tellReaders();
  if (callback_) {
    callback_->msgIpcClosed(*this);
  }
}

void MsgIpc::ipcError(Ipc&, const plat::Exception& error) {
  if (callback_) {
    callback_->msgIpcError(*this, error);
  }
}

bool MsgIpc::startMsg() {
  // Here every burst of input ends. The answer false leaves the loop without the cost of an exception.
  if (!in_.startMsg(false)) {
    return false;
  }
  stateMachine_.set(&MsgIpc::readName);
  return true;
}

bool MsgIpc::readName() {
  const std::uint8_t length = in_.readU8();
  in_.readBytesInto(length, msgName_, true);
  // "badMsg" passes as well: it is the answer of a peer that does not know the message which this one was to answer.
  if (expectedMsg_ && std::strcmp(msgName(), expectedMsg_) != 0 && std::strcmp(msgName(), BadMsg) != 0) {
    throw plat::Exception(plat::Formatted, "MsgIpc: expected message %s, got %s", expectedMsg_, msgName());
  }
  curReader_ = readers_.find(msgName());
  if (curReader_ == readers_.end()) {
    curReader_ = readers_.find(static_cast<const char*>(nullptr));
  }
  if (curReader_ != readers_.end()) {
    stateMachine_.set(&MsgIpc::dispatch);
  } else {
    noReader();
  }
  return true;
}

void MsgIpc::noReader() {
  if (std::strcmp(msgName(), BadMsg) == 0) {
    peerReportsBadMsg();
  }
  if (replyBadMsg_) {
    writeMsg(BadMsg).writeShortString(msgName());
    out_.endMsg(true);
  } else {
    Ipc::log().info("%s: Bad msg name '%s'", ipc_.name(), msgName());
    if (closeOnBadName_ && static_cast<unsigned char>(*msgName()) <= LastCorruptByte) {
      close(true);
    }
  }
  stateMachine_.set(&MsgIpc::skip);
}

void MsgIpc::peerReportsBadMsg() {
  // Read ahead of the log line, for a block leads through here again.
  const plat::String unknown = in_.readShortString(true);
  Ipc::log().info("%s: Peer reports bad msg name '%s'", ipc_.name(), unknown.orEmpty());
  throw plat::Exception(plat::Formatted, "MsgIpc: expected message %s, peer reports bad msg name '%s'",
                        expectedMsg_ ? expectedMsg_ : "<null>", unknown.orEmpty());
}

bool MsgIpc::dispatch() {
  if (!allowed(msgName(), false)) {
    stateMachine_.set(&MsgIpc::skip);
    return true;
  }
  // The filter may have taken the reader away, which has moved the state on.
  if (!inState(&MsgIpc::dispatch)) {
    return true;
  }
  if (!curReader_->second->readMsg(msgName(), in_, *this)) {
    // A reader that has gone in the meantime will not come back for the rest.
    return !inState(&MsgIpc::dispatch);
  }
  curReader_ = readers_.end();
  stateMachine_.set(&MsgIpc::skip);
  return true;
}

bool MsgIpc::skip() {
  // Not so if the reader, or noReader(), has closed the channel: the message went with the link.
  if (in_.inMsg()) {
    in_.skipRestOfMsg();
    in_.endMsg();
  }
  stateMachine_.set(&MsgIpc::startMsg);
  return true;
}

}  // namespace io
