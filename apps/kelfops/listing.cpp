#include "apps/kelfops/listing.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include <sys/stat.h>
#include <unistd.h>

#include "apps/kelfops/terminalText.h"
#include "base/plat/Time.h"
#include "libs/fops/DirEntry.h"

namespace {

// Few writes, but not the whole output at once: a long listing would stand in memory a second time.
constexpr std::size_t FlushBytes = 65536;

/// "YYYY-MM-DD HH:MM" in local time. Files written together share their minute, so the last answer is kept.
class MinuteText {
public:
  const char* of(plat::FileTime time) {
    std::int64_t seconds = 0;
    std::int64_t microseconds = 0;
    plat::fileTimeToUnix(time, seconds, microseconds);
    // Rounded down, also before 1970, where division would put two minutes into one.
    const std::int64_t minute = seconds >= 0 ? seconds / 60 : (seconds - 59) / 60;
    if (minute != minute_ || text_[0] == 0) {
      minute_ = minute;
      const std::time_t unixTime = static_cast<std::time_t>(seconds);
      std::tm broken = {};
      localtime_r(&unixTime, &broken);
      std::strftime(text_, sizeof text_, "%Y-%m-%d %H:%M", &broken);
    }
    return text_;
  }

private:
  std::int64_t minute_ = 0;
  char text_[40] = "";
};

void appendMode(std::string& line, const fops::DirEntry& entry) {
  const unsigned mode = fops::unixMode(entry);
  char text[11] = "?rwxrwxrwx";
  // No other kinds: special files do not travel, and a link shows as what it leads to.
  text[0] = entry.flags & fops::Directory ? 'd' : '-';
  for (int bit = 0; bit < 9; ++bit) {
    if (!(mode & (0400U >> bit))) {
      text[1 + bit] = '-';
    }
  }
  line += text;
}

void appendLongLine(std::string& line, const fops::DirEntry& entry, MinuteText& times) {
  appendMode(line, entry);
  char size[24];
  std::snprintf(size, sizeof size, " %12lld ", static_cast<long long>(entry.size));
  line += size;
  line += times.of(entry.modifyTime);
  line += ' ';
}

}  // namespace

std::string longListingLine(const fops::DirEntry& entry) {
  MinuteText times;
  std::string line;
  appendLongLine(line, entry, times);
  return line + entry.name.orEmpty();
}

void printListing(const std::vector<fops::DirEntry>& list, bool longFormat) {
  const bool isTerminal = isatty(STDOUT_FILENO);
  MinuteText times;
  std::string output;
  output.reserve(FlushBytes + 4096);
  for (const fops::DirEntry& entry : list) {
    if (longFormat) {
      appendLongLine(output, entry, times);
    }
    output += isTerminal ? terminalText(entry.name.orEmpty(), stdout) : entry.name.orEmpty();
    output += '\n';
    if (output.size() >= FlushBytes) {
      std::fwrite(output.data(), 1, output.size(), stdout);
      output.clear();
    }
  }
  std::fwrite(output.data(), 1, output.size(), stdout);
}
