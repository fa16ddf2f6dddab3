// String files out of arbitrary bytes: what comes out is valid UTF-8, and written down again it reads as the same
// entries, without a complaint.

#include "base/loc/PoParser.h"
#include "base/plat/log/LogDest.h"
#include "base/plat/logging/logging.h"
#include "fuzz/target.h"

namespace {

using fuzz::require;

constexpr std::size_t MaxLine = 262144;

/// Counts the complaints.
class CountingDest final : public plat::LogDest {
public:
  CountingDest() : LogDest("count") { plat::logOverride("Localize:count:0"); }
  void log(int, const char*, const char*) override { ++lines; }

  int lines = 0;
};

struct Collector final : loc::PoParser::Callback {
  void storeString(const char*, const char* key, const char* text) override {
    require(*key && plat::isValidUtf8(key) && plat::isValidUtf8(text));
    entries.emplace_back(key, text);
  }

  std::vector<std::pair<std::string, std::string>> entries;
};

auto parse(std::string_view text) {
  Collector collector;
  rdr::MemInStream in = fuzz::streamOver(text);
  try {
    loc::PoParser("f", "de", collector).parse(in);
  } catch (const rdr::StringTooLongException&) {
    require(text.size() > MaxLine);
  }
  return collector.entries;
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '\n') {
      result += "\\n\"\n\"";
    } else if (c == '\r') {
      result += "\\r";
    } else {
      result += (c == '"' || c == '\\') ? std::string{'\\', c} : std::string(1, c);
    }
  }
  return result + "\"\n";
}

}  // namespace

void fuzz::run(std::string_view input) {
  static CountingDest complaints;
  const auto entries = parse(input);
  std::string again;
  for (const auto& [key, text] : entries) {
    again += "msgid " + quoted(key) + "msgstr " + quoted(text) + "\n";
  }
  complaints.lines = 0;
  require(again.size() > MaxLine || (parse(again) == entries && complaints.lines == 0));
}
