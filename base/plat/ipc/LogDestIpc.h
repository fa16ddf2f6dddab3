#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "base/io/MsgIpc.h"
#include "base/plat/Mutex.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/String.h"
#include "base/plat/ipc/Kickee.h"
#include "base/plat/log/LogDest.h"
#include "base/plat/log/StoredMessage.h"

namespace plat {

class Kicker;

/// The log destination "ipc": carries log lines over the message channel to the parent, which says through
/// "setLogLevel" how much it wants.
///
/// Purpose:   lines queue under a mutex, from any thread, and go out on the event loop's thread after a kick. No log
///            entry point ever touches the channel, so a line that is logged while lines are being sent waits for the
///            next kick.
/// Ownership: one instance for the process; observes the channel, which must be taken away before it dies.
/// Thread:    log() from any thread; everything else on the event loop's thread.
/// Lifecycle: made on first use, lives until exit. setIpc() starts the queueing, the parent's first "setLogLevel" the
///            sending.
class LogDestIpc final : public LogDest, public Kickee, public io::MsgIpc::Reader {
public:
  /// Lines that are kept while they cannot go out; one more says that there were more.
  static constexpr std::size_t MaxQueued = 1000;
  /// Bytes of text in one "logMsg"; the rest is cut.
  static constexpr int MaxTextLength = 1024;

  static LogDestIpc& instance();

  ~LogDestIpc() override;

  /// Moves to another channel, or to none with null. Nothing is sent before its peer has set a level.
  void setIpc(io::MsgIpc* ipc);

  /// A text ahead of each source name, as "<prefix>: <source>"; null for none.
  void setPrefix(const char* prefix);
  const String& prefix() const noexcept { return prefix_; }

  /// Sends what is queued, then flushes the channel. Does nothing before the first "setLogLevel" or without a
  /// connection. Call it between messages only.
  /// @throws what writing to the channel throws; the lines that have been taken off the queue are lost
  void flush();

  void log(int level, const char* source, const char* text) override;
  void kicked() override;
  bool readMsg(const char* name, rdr::InStream& in, io::MsgIpc& ipc) override;

private:
  friend class NeverDestroyed<LogDestIpc>;

  LogDestIpc();

  io::MsgIpc* channel() const noexcept;
  static void send(io::MsgIpc& channel, const StoredMessage& message, const String& prefix);

  Mutex mutex_;  // guards what follows
  std::vector<StoredMessage> queue_;
  io::MsgIpc* ipc_ = nullptr;
  bool levelKnown_ = false;  // the parent has set a level on this channel
  bool kicked_ = false;      // a flush is on its way that will find all that is queued
  String prefix_;
  std::unique_ptr<Kicker> kicker_;
};

}  // namespace plat
