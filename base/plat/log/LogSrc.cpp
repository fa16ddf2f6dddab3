#include "base/plat/log/LogSrc.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <list>
#include <map>

#include "base/plat/NeverDestroyed.h"
#include "base/plat/String.h"
#include "base/plat/assert.h"
#include "base/plat/fixedText.h"
#include "base/plat/log/LogDest.h"
#include "base/plat/log/LogDestMem.h"
#include "base/plat/utf8.h"

// A line's way: the level test, inlined where the compiler can; formatting (logFormatted, logV); escaping (write); then
// each destination with a route that admits it (deliver) or, if none takes it, LogDestMem.

namespace plat {

struct LogRoutes {
  std::map<LogDest*, int> levels;
};

namespace {

constinit LogSrc* firstSource = nullptr;
constinit std::atomic<bool> started{false};

/// The routes of every source there has been. They are never freed, since a source goes on being used after its
/// destructor; there is a handful of sources in a program.
std::list<LogRoutes>& routePool() {
  static NeverDestroyed<std::list<LogRoutes>> pool;
  return *pool;
}

bool isPlain(const char* text) noexcept {
  for (; *text != '\0'; ++text) {
    if (*text < 0x20 || *text >= '~') {
      return false;
    }
  }
  return true;
}

/// Made at the first use, since an assertion may fail while other sources are still being initialised. Never
/// destroyed: destructors fail too.
LogSrc& assertionLog() {
  static NeverDestroyed<LogSrc> log("Assertion");
  return *log;
}

/// Makes the source in any case, so that it can be addressed from the start.
[[maybe_unused]] const LogSrc& registered = []() -> LogSrc& {
  setAssertReporter([](const char* line) { assertionLog().error("%s", line); });
  return assertionLog();
}();

}  // namespace

LogSrc::LogSrc(const char* name) noexcept : name_(name), next_(firstSource) {
  firstSource = this;
  constructed_ = true;
}

/// Leaves all fields as they are, for whoever logs later still.
LogSrc::~LogSrc() {
  for (LogSrc** link = &firstSource; *link != nullptr; link = &(*link)->next_) {
    if (*link == this) {
      *link = next_;
      return;
    }
  }
}

LogSrc* LogSrc::first() noexcept {
  return firstSource;
}

void LogSrc::updateLevel() {
  int level = -1;
  if (routes_ != nullptr) {
    for (const auto& [dest, routeLevel] : routes_->levels) {
      level = std::max(level, std::min(routeLevel, dest->maxLevel()));
    }
  }
  setLevel(level);
}

void LogSrc::setLevel(int level) noexcept {
  level_ = level;
  if (logStarted()) {
    applyLevel();
  }
}

void LogSrc::applyLevel() noexcept {
  suppressed_.store(static_cast<std::uint32_t>(INT_MAX) - static_cast<std::uint32_t>(level_),
                    std::memory_order_relaxed);
}

bool LogSrc::startAll() noexcept {
  if (started.exchange(true)) {
    return false;
  }
  for (LogSrc* source = first(); source != nullptr; source = source->next()) {
    source->applyLevel();
  }
  return true;
}

void LogSrc::clearRoutes() noexcept {
  if (routes_ != nullptr) {
    routes_->levels.clear();
  }
  setLevel(-1);
}

void LogSrc::setRoute(LogDest& dest, int level) {
  if (routes_ == nullptr) {
    routes_ = &routePool().emplace_back();
  }
  routes_->levels[&dest] = level;
}

void LogSrc::forget(LogDest& dest) noexcept {
  for (LogRoutes& routes : routePool()) {
    routes.levels.erase(&dest);
  }
  for (LogSrc* source = first(); source != nullptr; source = source->next()) {
    // The others have nothing to lose; one that was never routed keeps the level at which everything passes.
    if (source->routes_ != nullptr) {
      source->updateLevel();
    }
  }
}

void LogSrc::logV(int level, const char* fmt, std::va_list args) {
  char line[4096];
  line[0] = '\0';
  strFormatAppendV(line, sizeof line, fmt, args);
  write(level, line);
}

#define PLAT_LOG_FORMATTED(level) \
  std::va_list args;              \
  va_start(args, fmt);            \
  logV(level, fmt, args);         \
  va_end(args)

void LogSrc::logFormatted(int level, const char* fmt, ...) {
  PLAT_LOG_FORMATTED(level);
}

// Compilers that cannot inline the entry points (see the header) call these.
#if !defined(__GNUC__) || defined(__clang__)
#define PLAT_LOG_ENTRY(level)  \
  if (enabled(level)) {        \
    PLAT_LOG_FORMATTED(level); \
  }

void LogSrc::error(const char* fmt, ...) {
  PLAT_LOG_ENTRY(LogError)
}
void LogSrc::info(const char* fmt, ...) {
  PLAT_LOG_ENTRY(LogInfo)
}
void LogSrc::debug(const char* fmt, ...) {
  PLAT_LOG_ENTRY(LogDebug)
}
void LogSrc::verbose(const char* fmt, ...) {
  PLAT_LOG_ENTRY(LogVerbose)
}
void LogSrc::log(int level, const char* fmt, ...) {
  PLAT_LOG_ENTRY(level)
}
#endif

/// Works on a source that is not constructed yet (to tell so) and on one that is destroyed already, as promised; the
/// sanitizer would object to either.
__attribute__((no_sanitize("vptr"))) void LogSrc::write(int level, const char* text) {
  PLAT_REQUIRE_AS(constructed_, "constructed", "base/plat/LogSrc", __LINE__);
  const bool routed = routes_ != nullptr && !routes_->levels.empty();
  // Nobody will come for the line any more; until logStart() somebody may.
  if (!routed && logStarted()) {
    return;
  }
  String escaped;
  if (text == nullptr) {
    text = "";
  } else if (!isPlain(text)) {
    escaped = utf8Escape(text, '~');
    text = escaped.get();
  }
  if (!(routed && deliver(level, text))) {
    LogDestMem::instance().tryLog(level, name_, text);
  }
}

__attribute__((no_sanitize("vptr"))) bool LogSrc::deliver(int level, const char* text) {
  bool delivered = false;
  for (const auto& [dest, routeLevel] : routes_->levels) {
    if (!dest->isEnabled() || routeLevel < level) {
      continue;
    }
    delivered = true;
    dest->tryLog(level, name_, text);
  }
  return delivered;
}

void LogSrc::writeLines(int level, const char* text) {
  while (text != nullptr && *text != '\0') {
    const std::size_t length = std::strcspn(text, "\n");
    if (length > 0) {
      write(level, String(text, length).get());
    }
    text += length;
    text += *text == '\n' ? 1 : 0;
  }
}

bool logStarted() noexcept {
  return started.load(std::memory_order_relaxed);
}

void logUpdateLevels() {
  for (LogSrc* source = LogSrc::first(); source != nullptr; source = source->next()) {
    source->updateLevel();
  }
}

void logPrintSources(int width, std::FILE* stream) {
  int column = 0;  // on the current line, 0 before the first name
  for (const LogSrc* source = LogSrc::first(); source != nullptr; source = source->next()) {
    const int needed = static_cast<int>(std::strlen(source->name())) + 2;
    const char* separator = ", ";
    if (column == 0 || column + needed > width) {
      separator = column == 0 ? "  " : ",\n  ";
      column = 2;
    }
    std::fprintf(stream, "%s%s", separator, source->name());
    column += needed;
  }
  std::fputc('\n', stream);
}

}  // namespace plat
