#include "base/plat/log/LogDest.h"

#include "base/plat/log/LogSrc.h"
#include "base/plat/strings.h"

namespace plat {

namespace {

constinit LogDest* firstDest = nullptr;

}  // namespace

LogDest::LogDest(const char* name) noexcept : name_(name) {
  if (name != nullptr) {
    next_ = firstDest;
    firstDest = this;
  }
}

LogDest::~LogDest() {
  for (LogDest** link = &firstDest; *link != nullptr; link = &(*link)->next_) {
    if (*link == this) {
      *link = next_;
      break;
    }
  }
  // Or sources would go on calling it.
  LogSrc::forget(*this);
}

bool LogDest::isEnabled() const {
  return true;
}

void LogDest::tryLog(int level, const char* source, const char* text) noexcept {
  try {
    log(level, source, text);
  } catch (...) {  // there is nowhere left to tell
  }
}

LogDest* LogDest::find(const char* name) noexcept {
  LogDest* dest = firstDest;
  while (dest != nullptr && strCompareNoCase(dest->name_, name) != 0) {
    dest = dest->next_;
  }
  return dest;
}

void LogDest::printAll(std::FILE* stream) {
  for (const LogDest* dest = firstDest; dest != nullptr; dest = dest->next_) {
    std::fprintf(stream, "  %s\n", dest->name_);
  }
}

}  // namespace plat
