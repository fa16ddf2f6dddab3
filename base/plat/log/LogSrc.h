#pragma once

#include <atomic>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "base/plat/NonCopyable.h"

namespace plat {

class LogDest;
struct LogRoutes;

/// The levels of the entry points; smaller is more important, and any number between may be used too.
enum LogLevel : int {
  LogError = 0,      ///< errors and caught exceptions
  LogInfo = 30,      ///< noteworthy events
  LogDebug = 100,    ///< debugging
  LogVerbose = 110,  ///< chatter: parameter defaults, traces of single items
};

/// A module's named source of log lines.
///
/// Purpose:   where a module writes what it has to tell. The parameter `Log` decides, by name, which destinations
///            take a line and up to which level. A line that no destination takes is kept for a later one (LogDestMem)
///            until logStart(), from where on a source without routes is silent.
/// Ownership: one static object per module; it registers itself, so that it can be addressed from the start.
///            A source that is used by static initialisers of other files is made inside a function.
/// Thread:    lines may come from any thread; routes and levels change on the main thread only.
/// Lifecycle: works from construction on, and goes on working after its destructor ran at exit, for objects that are
///            destroyed even later. Lines of a static source from before its construction are an assertion (thrown).
/// Nothing that goes wrong in a destination reaches whoever logs.
class LogSrc : private NonCopyable {
public:
  /// @param name observed, not copied.
  explicit LogSrc(const char* name) noexcept;
  virtual ~LogSrc();

  /// Works the level out anew: the highest that any route admits, taking the destinations' own limits into account;
  /// -1 without routes.
  virtual void updateLevel();

  void error(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  void info(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  void debug(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  void verbose(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  /// A line of more than 4095 bytes is cut at the end of a character.
  void log(int level, const char* fmt, ...) __attribute__((format(printf, 3, 4)));

  /// Delivers one line of any length as it stands, without the test of enabled(). What is not printable arrives in an
  /// escaped form, a tilde doubled.
  /// @throws AssertionFail if this source is not constructed yet.
  void write(int level, const char* text);
  /// Delivers each line of `text` that is not empty.
  void writeLines(int level, const char* text);

  /// The level test of the entry points: one comparison. Before logStart() everything passes.
  [[nodiscard]] bool enabled(int level) const noexcept {
    return static_cast<std::uint32_t>(INT_MAX) - static_cast<std::uint32_t>(level) >=
           suppressed_.load(std::memory_order_relaxed);
  }

  [[nodiscard]] const char* name() const noexcept { return name_; }
  /// The highest level that any route admits; INT_MAX until the parameter `Log` was first applied.
  [[nodiscard]] int level() const noexcept { return level_; }

  /// All sources, the one constructed last first.
  static LogSrc* first() noexcept;
  [[nodiscard]] LogSrc* next() const noexcept { return next_; }

  /// Takes every route away; the level becomes -1.
  void clearRoutes() noexcept;
  /// Routes lines up to `level` to a destination, replacing the route to it that may be there. The level of this source
  /// follows with updateLevel().
  void setRoute(LogDest& dest, int level);
  /// From here on every source's level test counts, and a source without routes is silent. Part of logStart().
  /// @return false if it was so already
  static bool startAll() noexcept;
  /// Takes a destination that is about to go out of the routes of all sources.
  static void forget(LogDest& dest) noexcept;

private:
  void logFormatted(int level, const char* fmt, ...) __attribute__((format(printf, 3, 4), cold));
  void logV(int level, const char* fmt, std::va_list args) __attribute__((format(printf, 3, 0)));
  void setLevel(int level) noexcept;
  void applyLevel() noexcept;
  bool deliver(int level, const char* text);

  const char* name_;
  int level_ = INT_MAX;
  LogRoutes* routes_ = nullptr;  ///< from a pool that is never freed: used even after the destructor
  LogSrc* next_ = nullptr;
  /// INT_MAX less the highest level that passes. So all levels pass a source whose constructor has not run yet, and
  /// write() gets to tell.
  std::atomic<std::uint32_t> suppressed_{0};
  bool constructed_ = false;  ///< set last
};

/// Whether logStart() was called. Any thread.
[[nodiscard]] bool logStarted() noexcept;

/// Every source's updateLevel(), for after a change of a destination's maxLevel().
void logUpdateLevels();

/// Prints the names of all sources, in lines of at most `width` columns.
void logPrintSources(int width, std::FILE* stream);

// The level test has to be inlined into the callers, where a suppressed line then costs a load and a comparison. An
// ordinary function cannot be inlined if it takes a variable number of arguments; with GCC it can pass them on unseen.
#if defined(__GNUC__) && !defined(__clang__)
#define PLAT_LOG_INLINE inline __attribute__((gnu_inline, always_inline, artificial))

PLAT_LOG_INLINE void LogSrc::error(const char* fmt, ...) {
  if (enabled(LogError)) {
    logFormatted(LogError, fmt, __builtin_va_arg_pack());
  }
}

PLAT_LOG_INLINE void LogSrc::info(const char* fmt, ...) {
  if (enabled(LogInfo)) {
    logFormatted(LogInfo, fmt, __builtin_va_arg_pack());
  }
}

PLAT_LOG_INLINE void LogSrc::debug(const char* fmt, ...) {
  if (enabled(LogDebug)) {
    logFormatted(LogDebug, fmt, __builtin_va_arg_pack());
  }
}

PLAT_LOG_INLINE void LogSrc::verbose(const char* fmt, ...) {
  if (enabled(LogVerbose)) {
    logFormatted(LogVerbose, fmt, __builtin_va_arg_pack());
  }
}

PLAT_LOG_INLINE void LogSrc::log(int level, const char* fmt, ...) {
  if (enabled(level)) {
    logFormatted(level, fmt, __builtin_va_arg_pack());
  }
}

#undef PLAT_LOG_INLINE
#endif

}  // namespace plat
