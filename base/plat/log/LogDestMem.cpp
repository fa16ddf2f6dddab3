#include "base/plat/log/LogDestMem.h"

#include <cstddef>

#include "base/plat/Lock.h"

namespace plat {

namespace {

constexpr std::size_t MaxStored = 500;
constexpr const char* OwnSource = "LogDestMem";

}  // namespace

LogDestMem::LogDestMem() noexcept : LogDest(nullptr) {}

LogDestMem& LogDestMem::instance() {
  static NeverDestroyed<LogDestMem> dest;
  return *dest;
}

void LogDestMem::log(int level, const char* source, const char* text) {
  const Lock lock(mutex_);
  if (replaying_ || stored_.size() > MaxStored) {
    return;
  }
  // One more than fits, to say that there were more.
  if (stored_.size() == MaxStored) {
    stored_.push_back({0, OwnSource, "Too many messages, discarding further ones"});
    return;
  }
  stored_.push_back({level, source, text});
}

void LogDestMem::replay(LogDest& dest, int level) {
  const Lock lock(mutex_);
  // The lock is held throughout; a destination that logs meanwhile comes back on the same thread and finds the flag.
  struct Replaying {
    bool& flag;
    explicit Replaying(bool& f) : flag(f) { flag = true; }
    ~Replaying() { flag = false; }
  } const replaying(replaying_);

  bool any = false;
  for (const StoredMessage& message : stored_) {
    if (message.level > level) {
      continue;
    }
    if (!any) {
      dest.tryLog(level, OwnSource, "Start replaying stored messages");
      any = true;
    }
    dest.tryLog(message.level, message.source.orEmpty(), message.text.orEmpty());
  }
  if (any) {
    dest.tryLog(level, OwnSource, "Finished replaying stored messages");
  }
}

void LogDestMem::discard(int level) {
  const Lock lock(mutex_);
  std::erase_if(stored_, [level](const StoredMessage& message) { return message.level <= level; });
  if (stored_.empty()) {
    stored_.shrink_to_fit();
  }
}

}  // namespace plat
