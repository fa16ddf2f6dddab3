#include "base/rdr/ByteReader.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "base/plat/Exception.h"
#include "base/plat/alloc.h"
#include "base/plat/utf8.h"
#include "base/rdr/InStream.h"
#include "base/rdr/exceptions.h"

namespace rdr {

void ByteReader::init(InStream* stream, std::uint32_t length, std::uint8_t* buffer, bool copyAlways) {
  if (len_ != 0) {
    if (len_ != length) {
      throw plat::Exception("ByteReader::init: bad len");
    }
    return;
  }
  reset();
  in = stream;
  len_ = length;
  buf = buffer;
  ownsBuf = buffer == nullptr;
  forceCopy = copyAlways;
  in->checkpoint();
}

std::pair<std::int32_t, const std::uint8_t*> ByteReader::read(bool throwIfBlock) {
  static constexpr std::uint8_t nothing = 0;
  const auto count = static_cast<std::int32_t>(len_);
  if (nRead == 0) {
    if (len_ == 0) {
      const std::uint8_t* where = buf != nullptr ? buf : in->getPtr();
      return {0, where != nullptr ? where : &nothing};  // null would say "not yet"
    }
    // One byte is asked for, not the length, which may be more than the window can ever hold: what is there is taken.
    if (in->nUnread() == 0 && !in->check(throwIfBlock, 1)) {
      return {0, nullptr};
    }
    if (!forceCopy && static_cast<std::uint32_t>(in->nUnread()) >= len_) {
      return {count, in->readInPlace(count)};
    }
  }
  if (buf == nullptr) {
    buf = static_cast<std::uint8_t*>(plat::allocOrDie(len_));
  }
  while (nRead < len_) {
    if (in->nUnread() == 0 && !in->check(throwIfBlock, 1)) {
      return {0, nullptr};
    }
    const std::uint32_t piece = std::min(len_ - nRead, static_cast<std::uint32_t>(in->nUnread()));
    std::memcpy(buf + nRead, in->readInPlace(static_cast<int>(piece)), piece);
    nRead += piece;
    in->checkpoint();
  }
  return {count, buf};
}

bool ByteReader::skip(bool throwIfBlock) {
  while (nRead < len_) {
    if (in->nUnread() == 0 && !in->check(throwIfBlock, 1)) {
      return false;
    }
    const std::uint32_t piece = std::min(len_ - nRead, static_cast<std::uint32_t>(in->nUnread()));
    in->readInPlace(static_cast<int>(piece));
    nRead += piece;
    in->checkpoint();
  }
  return true;
}

const std::uint8_t* ByteReader::readItems(bool throwIfBlock, int* nItems) {
  if (!forceCopy && nRead == 0 && len_ != 0 && len_ <= INT_MAX) {
    if (const std::uint8_t* items = in->getItems(static_cast<int>(len_), nItems, throwIfBlock)) {
      return items;
    }
  }
  *nItems = 1;
  return read(throwIfBlock).second;
}

void ByteReader::reset() noexcept {
  if (ownsBuf) {
    std::free(buf);
  }
  in = nullptr;
  buf = nullptr;
  nRead = 0;
  len_ = 0;
  ownsBuf = false;
  forceCopy = false;
}

plat::String ByteReader::readStringResumable(ByteReader& reader, InStream& in, std::uint32_t maxLength,
                                             bool throwIfBlock) {
  if (reader.len_ == 0) {
    const std::uint32_t length = in.readU32();
    if (length > maxLength || length > INT_MAX - 1) {
      throw StringTooLongException();
    }
    auto* const buffer = static_cast<std::uint8_t*>(plat::allocOrDie(std::size_t{length} + 1));
    buffer[length] = 0;
    reader.init(&in, length, buffer, true);
    // init() takes a buffer that it is given for the caller's. This one goes with the reader, should the rest never
    // come.
    reader.ownsBuf = true;
  }
  if (reader.read(throwIfBlock).second == nullptr) {
    return {};
  }
  plat::String text = plat::String::adopt(reinterpret_cast<char*>(std::exchange(reader.buf, nullptr)));
  // The parser may yet block behind the text; it must not come back for the bytes, which have been given away.
  in.checkpoint();
  reader.reset();
  return plat::isValidUtf8(text.get()) ? std::move(text) : plat::utf8Repair(text.get());
}

}  // namespace rdr
