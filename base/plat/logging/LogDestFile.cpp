#include "base/plat/logging/LogDestFile.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <sys/stat.h>
#include <unistd.h>

#include "base/os/info/AppInfo.h"
#include "base/os/unix/hostName.h"
#include "base/plat/Exception.h"
#include "base/plat/Lock.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/Time.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/dateText.h"
#include "base/plat/file/file.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/logging/logFile.h"
#include "base/plat/logging/logParameters.h"
#include "base/plat/strings.h"

// A file's life: setPath() names it, the first line has it opened (logFile.cpp rotates what lies there), closeIfFull()
// ends it for good. One that cannot be opened is replaced by the default one, and each line tries again while there is
// none.

namespace plat {

namespace {

/// Opens every file. Never destroyed: lines are written until the very end.
String& headerText() {
  static NeverDestroyed<String> text;
  return *text;
}

bool redirectStderr = false;

/// How a line is marked, for levels up to `upTo` that are above the band before.
struct Band {
  int upTo;
  int priority;        ///< as syslog counts: severity and the facility "user" (RFC 5424, 6.2.1)
  const char* colour;  ///< parameters of the terminal's "select graphic rendition"
};

const Band& bandOf(int level) noexcept {
  static constexpr Band Bands[] = {
      {0, 11, "31;1"}, {5, 12, "31;1"}, {10, 13, "31"}, {30, 14, "36"}, {INT_MAX, 15, "0"}};
  const Band* band = Bands;
  while (level > band->upTo) {
    ++band;
  }
  return *band;
}

bool showsColours(std::FILE* stream) noexcept {
  const char* const term = std::getenv("TERM");
  return term != nullptr && isatty(fileno(stream)) != 0 &&
         (std::strstr(term, "xterm") || std::strstr(term, "ansi") || std::strstr(term, "color"));
}

}  // namespace

LogDestFile::LogDestFile(const char* name, std::FILE* stream)
    : LogDest(name), ident_(os::AppInfo::app(true)), hostName_(os::hostNameShort()) {
  if (stream != nullptr) {
    file_.attach(stream, false);
    colour_ = showsColours(stream);
  }
}

bool LogDestFile::isEnabled() const {
  const Lock lock(mutex_);
  return !path_.isNull() || file_.isOpen();
}

String LogDestFile::path() const {
  const Lock lock(mutex_);
  return path_;
}

void LogDestFile::setHeader(const char* text) {
  headerText() = text;
}

void LogDestFile::setRedirectStderr(bool redirect) noexcept {
  redirectStderr = redirect;
}

void LogDestFile::setMaxFileSize(std::int64_t bytes) {
  const Lock lock(mutex_);
  maxFileSize_ = bytes;
  full_ = false;
}

void LogDestFile::setPath(const char* path) {
  const Lock lock(mutex_);
  if (path_ == path) {
    return;
  }
  path_ = path;
  closeFile();
}

void LogDestFile::reopenIfReplaced() {
  const Lock lock(mutex_);
  if (path_.isNull() || !file_.isOpen()) {
    return;
  }
  try {
    if (fileIsSameAsFd(fileno(file_.get()), path_.get())) {
      return;
    }
  } catch (const Exception&) {
    return;  // whether it was replaced is unknown; the open file is as good as any
  }
  closeFile();
  ensureOpen();
}

void LogDestFile::log(int level, const char* source, const char* text) {
  const Lock lock(mutex_);
  // Opened with the first line, so that a program with nothing to say leaves no file behind.
  if (full_ || !(file_.isOpen() || ensureOpen())) {
    return;
  }
  writeLine(level, source, text);
  closeIfFull();
}

void LogDestFile::writeLine(int level, const char* source, const char* text) {
  std::FILE* const stream = file_.get();
  if (!headerWritten_ && !headerText().isNull()) {
    std::fprintf(stream, "%s\n", wrapWords(headerText().get(), 79, 0).get());
    headerWritten_ = true;
  }
  const Band& band = bandOf(level);
  if (colour_) {
    std::fprintf(stream, "\033[%sm", band.colour);
  }
  const FileTime now = getTime();
  if (compactLogParameter().getValue()) {
    const std::tm t = localBreakdown(now);
    const int ms = static_cast<int>(now % TicksPerSecond / TicksPerMs);
    std::fprintf(stream, "%02d:%02d:%02d.%03d %s: %s\n", t.tm_hour, t.tm_min, t.tm_sec, ms, source, text);
  } else {
    timeBuffer_ = formatIsoUtc(now, true);
    std::fprintf(stream, "<%d> %s %s %s[%lld]: %s: %s\n", band.priority, timeBuffer_.get(), hostName_.get(),
                 ident_.orEmpty(), static_cast<long long>(getpid()), source, text);
  }
  if (colour_) {
    std::fprintf(stream, "\033[%sm", "0");
  }
  // Each line by itself: the last ones before a crash are those that are wanted.
  std::fflush(stream);
}

void LogDestFile::closeIfFull() {
  struct stat info;
  // Asked of the system, not counted: descriptor 2 may lead to the same file, and what arrives by it counts too.
  if (maxFileSize_ > 0 && fstat(fileno(file_.get()), &info) == 0 && info.st_size >= maxFileSize_) {
    full_ = true;
    closeFile();
  }
}

void LogDestFile::closeFile() noexcept {
  try {
    file_.close();
  } catch (const Exception& e) {
    // Not logged: this is the log.
    std::fprintf(stderr, "Error closing log file: %s\n", ExceptionText(e).get());
  }
}

bool LogDestFile::ensureOpen() noexcept {
  if (path_.empty()) {
    return false;
  }
  try {
    openPath(path_.get());
  } catch (const Exception& e) {
    const ExceptionText failure(e);
    std::fprintf(stderr, "Error opening log file: %s\n", failure.get());
    openDefault(failure.get());
  }
  return file_.isOpen();
}

void LogDestFile::openPath(const char* path) {
  openLogFile(file_, path);
  headerWritten_ = false;
  if (redirectStderr) {
    // What libraries and the system print has no other way into the log.
    dup2(fileno(file_.get()), STDERR_FILENO);
  }
}

/// The last resort when the chosen file cannot be opened: if somebody chose it, the one that was meant originally,
/// with the failure as its first line.
void LogDestFile::openDefault(const char* failure) {
  const StringParameter& dir = logDirParameter();
  const StringParameter& file = logFileParameter();
  if (dir.getPriority() <= PriorityDefault && file.getPriority() <= PriorityDefault) {
    return;
  }
  try {
    const String path = logFilePath(dir.getDefaultStr().get(), file.getDefaultStr().get());
    std::fprintf(stderr, "Reverting to default log file %s\n", path.get());
    openPath(path.get());
    writeLine(LogError, "LogDestFile: Error opening log file", failure);
  } catch (const Exception& e) {
    std::fprintf(stderr, "Error opening default log file: %s\n", ExceptionText(e).get());
  }
}

}  // namespace plat
