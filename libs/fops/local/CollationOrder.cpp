#include "libs/fops/local/CollationOrder.h"

#include <algorithm>
#include <cstring>

#include "base/plat/utf8.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/local/naturalCompare.h"

namespace fops {

namespace {

constexpr char LevelEnd = 1;  // between the levels of a key from strxfrm; no weight holds it

}  // namespace

CollationOrder::CollationOrder(const std::vector<DirEntry>& list, bool utf8, bool byteOrder)
    : utf8_(utf8), byteOrder_(byteOrder), keys_(1, '\0') {
  names_.reserve(list.size());
  steps_.reserve(list.size() * 2);
  PrefixIndex index;
  for (const DirEntry& entry : list) {
    takeApart(entry.name.get(), index);
  }
}

void CollationOrder::takeApart(const char* text, PrefixIndex& index) {
  const auto length = static_cast<std::uint32_t>(text ? std::strlen(text) : 0);
  names_.push_back({text, length, static_cast<std::uint32_t>(steps_.size())});
  if (!text) {
    return;
  }
  for (std::uint32_t start = 0;;) {
    Step step{{}, start, 0, 0, false};
    const char* digitsEnd = nullptr;
    const char* digits = findNumber(text + start, digitsEnd);
    step.hasNumber = digits && readNumber(digits, digitsEnd, step.number);
    if (step.hasNumber) {
      const std::string_view prefix(text + start, static_cast<std::size_t>(digits - text) - start);
      const auto [i, isNew] = index.try_emplace(prefix, static_cast<std::uint32_t>(prefixes_.size()));
      if (isNew) {
        prefixes_.push_back({prefix, {}});
      }
      // By number from here on: where both names have the same prefix, comparing need not look at its text.
      step.prefix = i->second;
      start = static_cast<std::uint32_t>(digitsEnd - text);
    }
    steps_.push_back(step);
    if (!step.hasNumber) {
      return;
    }
  }
}

int CollationOrder::compare(std::uint32_t a, std::uint32_t b) {
  const Name& aName = names_[a];
  const Name& bName = names_[b];
  if (!aName.text || !bName.text) {
    return (aName.text != nullptr) - (bName.text != nullptr);
  }
  Step* aStep = &steps_[aName.firstStep];
  Step* bStep = &steps_[bName.firstStep];
  while (aStep->hasNumber && bStep->hasNumber && samePrefix(aStep->prefix, bStep->prefix)) {
    if (aStep->number != bStep->number) {
      return aStep->number < bStep->number ? -1 : 1;
    }
    ++aStep;
    ++bStep;
  }
  return compareTexts({aName.text + aStep->start, aName.length - aStep->start}, aStep->restKey,
                      {bName.text + bStep->start, bName.length - bStep->start}, bStep->restKey);
}

bool CollationOrder::samePrefix(std::uint32_t a, std::uint32_t b) {
  return a == b || compareTexts(prefixes_[a].text, prefixes_[a].key, prefixes_[b].text, prefixes_[b].key) == 0;
}

int CollationOrder::compareTexts(std::string_view a, Key& aKey, std::string_view b, Key& bKey) {
  if (aKey.place == 0) {
    makeKey(a, aKey);
  }
  if (bKey.place == 0) {
    makeKey(b, bKey);
  }
  // The first byte is the highest, so numbers compare as the bytes do. No byte of a key is zero, so that the padding
  // of a short one comes before all that a longer one could have there.
  if (aKey.head != bKey.head) {
    return aKey.head < bKey.head ? -1 : 1;
  }
  // Only now: making a key lengthens the text that holds all of them, and may move it.
  const std::string_view keys = keys_;
  const int order = keys.substr(aKey.place, aKey.length).compare(keys.substr(bKey.place, bKey.length));
  if (order != 0 || byteOrder_ || a == b) {
    return order;
  }
  // Copies, since strcoll(3) wants texts that are terminated where these end.
  return collate(std::string(a).c_str(), std::string(b).c_str());
}

void CollationOrder::makeKey(std::string_view text, Key& key) {
  scratch_.assign(text);
  // As collate() does, whose order this has to give.
  if (!utf8_) {
    scratch_ = plat::utf8ToLatin1(scratch_.c_str()).orEmpty();
  }
  const std::size_t place = keys_.size();
  std::size_t length = scratch_.size();
  if (byteOrder_) {
    keys_ += scratch_;
  } else {
    std::size_t room = scratch_.size() * 8 + 32;  // most keys fit; a longer one takes a second pass
    for (;; room = length + 1) {
      keys_.resize(place + room);
      length = std::strxfrm(keys_.data() + place, scratch_.c_str(), room);
      if (length < room) {
        break;
      }
    }
    length = std::min(length, std::string_view(keys_).substr(place, length).find(LevelEnd));
    keys_.resize(place + length);
  }
  key.place = static_cast<std::uint32_t>(place);
  key.length = static_cast<std::uint32_t>(length);
  for (std::size_t i = 0; i < sizeof key.head; ++i) {
    key.head = key.head << 8 | (i < length ? static_cast<unsigned char>(keys_[place + i]) : 0U);
  }
}

}  // namespace fops
