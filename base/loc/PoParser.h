#pragma once

#include <string>

namespace rdr {
class InStream;
}

namespace loc {

/// Reads the texts of one `.po` file: entries of a `msgid` (the key) and a `msgstr` (the text), quoted as in C and
/// continued on lines that begin with a quote. An empty line ends an entry, a line with `#` in front is skipped.
///
/// Purpose:   a mistake costs the line it stands in, never the file: it is logged at level 0 with the file's path and
///            the number of the line, and the next line is read as if the bad one were not there.
/// Ownership: a local; observes all that it is given.
/// Thread:    any, one at a time.
class PoParser final {
public:
  /// Takes the entries. Implemented by loc::Localize.
  class Callback {
  public:
    /// Called inside parse() for each entry with a key, in the order of the file. Both texts are valid UTF-8.
    virtual void storeString(const char* locale, const char* key, const char* text) = 0;

  protected:
    ~Callback() = default;
  };

  /// @param path names the source in log lines. @param locale the locale that the texts belong to.
  PoParser(const char* path, const char* locale, Callback& callback);

  /// Reads up to the end of the stream; once for each parser. Lines may have up to 262144 bytes.
  /// @throws rdr::StringTooLongException for a longer line, and what the stream raises, its end apart; the entries
  ///   before that have been stored.
  void parse(rdr::InStream& in);

private:
  enum class State { AwaitId, InId, InText };

  const char* takeLine(const char* line);
  void endEntry();
  void report(const char* error) const;

  const char* path_;
  const char* locale_;
  Callback& callback_;
  int line_ = 0;  ///< number of the line in hand, from 1
  State state_ = State::AwaitId;
  std::string msgid_;
  std::string msgstr_;
};

}  // namespace loc
