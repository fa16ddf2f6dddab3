#include "base/plat/ipc/LogDestIpc.h"

#include "base/plat/Lock.h"
#include "base/plat/assert.h"
#include "base/plat/ipc/Kicker.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/InStream.h"

// A line's way: log() queues it under the lock, on whatever thread, and kicks once; on the loop's thread kicked() has
// flush() take the whole queue and send it. So the channel is touched by one thread alone, and never from within a log
// call.

namespace plat {

namespace {

const char* const LogMsg = "logMsg";
const char* const SetLogLevel = "setLogLevel";

}  // namespace

LogDestIpc& LogDestIpc::instance() {
  // Never destroyed: log lines may come until the very end, from the destructors of other static objects.
  static NeverDestroyed<LogDestIpc> theInstance;
  return *theInstance;
}

LogDestIpc::LogDestIpc() : LogDest("ipc") {
  setAssertFlushHook([] { instance().flush(); });
}

LogDestIpc::~LogDestIpc() = default;

void LogDestIpc::setIpc(io::MsgIpc* ipc) {
  const Lock lock(mutex_);
  if (channel()) {
    ipc_->removeReader(this);
  }
  ipc_ = ipc;
  msgIpc = ipc;
  levelKnown_ = false;
  kicked_ = false;
  if (ipc) {
    // By this message the parent says how much it wants; nothing is sent before.
    ipc->setReader(SetLogLevel, this);
  }
  kicker_ = ipc ? std::make_unique<Kicker>(*this) : nullptr;
}

void LogDestIpc::setPrefix(const char* prefix) {
  const Lock lock(mutex_);
  prefix_ = prefix;
}

void LogDestIpc::log(int level, const char* source, const char* text) {
  const Lock lock(mutex_);
  if (level > maxLevel_ || queue_.size() > MaxQueued) {
    return;
  }
  if (queue_.size() == MaxQueued) {
    queue_.push_back({0, "LogDestIpc", "Too many messages, discarding further ones"});
  } else {
    queue_.push_back({level, source, text});
  }
  if (kicker_ && levelKnown_ && !kicked_) {
    kicked_ = true;
    kicker_->kick();
  }
}

void LogDestIpc::kicked() {
  flush();
}

void LogDestIpc::flush() {
  std::vector<StoredMessage> taken;
  io::MsgIpc* target = nullptr;
  String prefix;
  int maxLevel = 0;
  {
    const Lock lock(mutex_);
    kicked_ = false;
    target = channel();
    // Without a connection the lines wait for the next one. Writing them would only lose them, and each loss is a log
    // line of its own.
    if (!levelKnown_ || !target || !target->attached()) {
      return;
    }
    taken.swap(queue_);
    prefix = prefix_;
    maxLevel = maxLevel_;
  }
  // Without the lock, for writing may log in its turn, and other threads are not to wait for the channel.
  for (const StoredMessage& message : taken) {
    if (message.level <= maxLevel) {
      send(*target, message, prefix);
    }
  }
  target->flush();
}

io::MsgIpc* LogDestIpc::channel() const noexcept {
  // The base class forgets a channel that goes without being taken away first.
  return msgIpc == ipc_ ? ipc_ : nullptr;
}

void LogDestIpc::send(io::MsgIpc& channel, const StoredMessage& message, const String& prefix) {
  rdr::FramedOutStream& out = channel.writeMsg(LogMsg);
  out.writeS32(message.level);
  if (prefix.isNull()) {
    out.writeShortString(message.source.get());
  } else {
    out.writeShortString(String::format("%s: %s", prefix.get(), message.source.orEmpty()).get());
  }
  out.writeString(message.text.get(), MaxTextLength);
  channel.endMsg(false);
}

bool LogDestIpc::readMsg(const char*, rdr::InStream& in, io::MsgIpc&) {
  const std::int32_t level = in.readS32();
  {
    const Lock lock(mutex_);
    maxLevel_ = level;
    levelKnown_ = true;
  }
  logUpdateLevels();
  flush();
  return true;
}

}  // namespace plat
