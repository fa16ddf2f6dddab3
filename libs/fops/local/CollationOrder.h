#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/plat/NonCopyable.h"

namespace fops {

struct DirEntry;

/// naturalCompare over the names of one list, for sorting it in any locale: a name is taken apart once, and each
/// collation key that a comparison asks for is made once.
///
/// A key is the first level of strxfrm's: letters and digits without case, accents and punctuation. Texts that differ
/// there are in order; the few that do not go to strcoll, also because the C library's strxfrm contradicts its strcoll
/// in the last level ("--1B" and "1_B" in most languages).
///
/// Lifecycle: a local of EntrySorter::sort; the names of the list must stay where they are meanwhile, and the thread's
/// locale must not change.
class CollationOrder final : private plat::NonCopyable {
public:
  /// @param utf8 the locale's codeset is UTF-8. @param byteOrder the locale collates by byte.
  CollationOrder(const std::vector<DirEntry>& list, bool utf8, bool byteOrder);

  /// naturalCompare of the names at two indices of the list.
  int compare(std::uint32_t a, std::uint32_t b);

private:
  /// A collation key in keys_, made when it is first needed.
  struct Key {
    std::uint64_t head = 0;   // its first eight bytes, with which most comparisons end
    std::uint32_t place = 0;  // 0 until it is made
    std::uint32_t length = 0;
  };
  /// One step through a name: text up to a number, the number, and what follows, where the next step begins.
  struct Step {
    Key restKey;           // of the text from this step to the name's end
    std::uint32_t start;   // of this step in the name
    std::uint32_t prefix;  // the text up to the number, in prefixes_
    std::uint32_t number;
    bool hasNumber;  // false on a name's last step: no digits, or more than 32 bits of them
  };
  struct Name {
    const char* text;  // may be null
    std::uint32_t length;
    std::uint32_t firstStep;
  };
  struct Prefix {
    std::string_view text;
    Key key;
  };
  using PrefixIndex = std::unordered_map<std::string_view, std::uint32_t>;

  void takeApart(const char* text, PrefixIndex& index);
  bool samePrefix(std::uint32_t a, std::uint32_t b);
  int compareTexts(std::string_view a, Key& aKey, std::string_view b, Key& bKey);
  void makeKey(std::string_view text, Key& key);

  const bool utf8_;
  const bool byteOrder_;
  std::vector<Name> names_;
  std::vector<Step> steps_;
  std::vector<Prefix> prefixes_;  // each text once: names of one folder share most of theirs
  std::string keys_;              // begins with a byte of padding, so that no key is at 0
  std::string scratch_;           // a zero-terminated copy for strxfrm
};

}  // namespace fops
