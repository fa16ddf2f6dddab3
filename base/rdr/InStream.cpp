#include "base/rdr/InStream.h"

#include <algorithm>
#include <cstring>

#include "base/plat/Exception.h"
#include "base/rdr/exceptions.h"

// For texts see InStreamText.cpp.

namespace rdr {

InStream::~InStream() = default;

std::uint32_t InStream::checkpoint() {
  checkpointOffset = offset();
  checkpointPtr = ptr;
  return checkpointOffset;
}

void InStream::rewind() {
  if (!rewindable_) {
    throw plat::Exception("Attempt to rewind a non-rewindable stream");
  }
  ptr = checkpointPtr;
}

void InStream::reposition(std::uint32_t target) {
  // Only the difference counts, so offsets may have wrapped between the two.
  const auto delta = static_cast<std::int32_t>(target - checkpointOffset);
  if (delta < 0) {
    throw plat::Exception("Can't reposition before checkpoint");
  }
  rewind();
  skip(delta);
}

bool InStream::atEnd() {
  return false;
}

bool InStream::check(bool throwIfBlock, int itemSize) {
  if (!rewindable_) {
    // Nobody comes back, so that whatever has been read may make room.
    checkpoint();
  }
  bool available = false;
  try {
    available = overrun(itemSize);
  } catch (const BlockException&) {
    // A stream below ran dry inside something of its own, such as a frame header.
  }
  if (available) {
    if (ptr == end) {
      // The bytes since the checkpoint fill the whole buffer: waiting for more would never end.
      throw plat::Exception("InStream overrun: buffer size exceeded");
    }
    return true;
  }
  if (rewindable_) {
    rewind();
  }
  if (throwIfBlock) {
    throw BlockException();
  }
  return false;
}

void InStream::skip(int n) {
  while (n > 0) {
    if (ptr == end) {
      check(true, 1);
    }
    const int piece = std::min(n, nUnread());
    ptr += piece;
    n -= piece;
  }
}

const std::uint8_t* InStream::getItems(int itemSize, int* nItems, bool throwIfBlock) {
  PLAT_REQUIRE(*nItems > 0);
  PLAT_REQUIRE(itemSize > 0);
  if (nUnread() < itemSize && (!check(throwIfBlock, itemSize) || nUnread() < itemSize)) {
    return nullptr;
  }
  *nItems = std::min(*nItems, nUnread() / itemSize);
  return readInPlace(itemSize * *nItems);
}

const std::uint8_t* InStream::getItemsOrCopy(void* buf, int itemSize, int* nItems) {
  if (const std::uint8_t* items = getItems(itemSize, nItems, true)) {
    return items;
  }
  *nItems = 1;
  return readOrCopy(buf, itemSize);
}

const std::uint8_t* InStream::readOrCopy(void* scratch, int n) {
  if (nUnread() < n) {
    // Asked for as a whole first, by which a buffer mostly gives them in place; what remains to be copied is what lies
    // across the end of a frame, or is larger than the buffer.
    check(true, n);
  }
  if (nUnread() >= n) {
    return readInPlace(n);
  }
  auto* const bytes = static_cast<std::uint8_t*>(scratch);
  for (int done = 0; done < n;) {
    if (ptr == end) {
      check(true, 1);
    }
    const int piece = std::min(n - done, nUnread());
    std::memcpy(bytes + done, readInPlace(piece), static_cast<std::size_t>(piece));
    done += piece;
  }
  return bytes;
}

}  // namespace rdr
