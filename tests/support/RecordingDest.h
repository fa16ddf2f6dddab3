#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "base/plat/Lock.h"
#include "base/plat/Mutex.h"
#include "base/plat/log/LogDest.h"
#include "base/plat/logging/logging.h"

namespace test {

/// A log destination `rec` that keeps its lines as "<level> <source>: <text>". Applies `setting` as long as it lives.
class RecordingDest final : public plat::LogDest {
public:
  explicit RecordingDest(const char* setting = nullptr, const char* name = "rec") : LogDest(name) {
    if (setting != nullptr) {
      plat::logOverride(setting);
      clear();
    }
  }
  ~RecordingDest() override { plat::logOverride(nullptr); }

  void log(int level, const char* source, const char* text) override {
    const plat::Lock lock(mutex_);
    lines_.push_back(std::to_string(level) + " " + source + ": " + text);
  }
  [[nodiscard]] bool isEnabled() const override { return enabled; }

  [[nodiscard]] std::vector<std::string> lines() const {
    const plat::Lock lock(mutex_);
    return lines_;
  }
  void clear() {
    const plat::Lock lock(mutex_);
    lines_.clear();
  }
  void limit(int maxLevel) { maxLevel_ = maxLevel; }

  bool enabled = true;

private:
  mutable plat::Mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace test
