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
  in_ = stream;
  len_ = length;
  buf_ = buffer;
  ownsBuf_ = buffer == nullptr;
  forceCopy_ = copyAlways;
  in_->checkpoint();
}

std::pair<std::int32_t, const std::uint8_t*> ByteReader::read(bool throwIfBlock) {
  static constexpr std::uint8_t nothing = 0;
  const auto count = static_cast<std::int32_t>(len_);
  if (nRead_ == 0) {
    if (len_ == 0) {
      const std::uint8_t* where = buf_ != nullptr ? buf_ : in_->getPtr();
      return {0, where != nullptr ? where : &nothing};  // null would say "not yet"
    }
    // One byte is asked for, not the length, which may be more than the window can ever hold: what is there is taken.
    if (in_->nUnread() == 0 && !in_->check(throwIfBlock, 1)) {
      return {0, nullptr};
    }
    if (!forceCopy_ && static_cast<std::uint32_t>(in_->nUnread()) >= len_) {
      return {count, in_->readInPlace(count)};
    }
  }
  if (buf_ == nullptr) {
    buf_ = static_cast<std::uint8_t*>(plat::allocOrDie(len_));
  }
  while (nRead_ < len_) {
    if (in_->nUnread() == 0 && !in_->check(throwIfBlock, 1)) {
      return {0, nullptr};
    }
    const std::uint32_t piece = std::min(len_ - nRead_, static_cast<std::uint32_t>(in_->nUnread()));
    std::memcpy(buf_ + nRead_, in_->readInPlace(static_cast<int>(piece)), piece);
    nRead_ += piece;
    in_->checkpoint();
  }
  return {count, buf_};
}

bool ByteReader::skip(bool throwIfBlock) {
  while (nRead_ < len_) {
    if (in_->nUnread() == 0 && !in_->check(throwIfBlock, 1)) {
      return false;
    }
    const std::uint32_t piece = std::min(len_ - nRead_, static_cast<std::uint32_t>(in_->nUnread()));
    in_->readInPlace(static_cast<int>(piece));
    nRead_ += piece;
    in_->checkpoint();
  }
  return true;
}

const std::uint8_t* ByteReader::readItems(bool throwIfBlock, int* nItems) {
  if (!forceCopy_ && nRead_ == 0 && len_ != 0 && len_ <= INT_MAX) {
    if (const std::uint8_t* items = in_->getItems(static_cast<int>(len_), nItems, throwIfBlock)) {
      return items;
    }
  }
  *nItems = 1;
  return read(throwIfBlock).second;
}

void ByteReader::reset() noexcept {
  if (ownsBuf_) {
    std::free(buf_);
  }
  in_ = nullptr;
  buf_ = nullptr;
  nRead_ = 0;
  len_ = 0;
  ownsBuf_ = false;
  forceCopy_ = false;
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
    reader.ownsBuf_ = true;
  }
  if (reader.read(throwIfBlock).second == nullptr) {
    return {};
  }
  plat::String text = plat::String::adopt(reinterpret_cast<char*>(std::exchange(reader.buf_, nullptr)));
  // The parser may yet block behind the text; it must not come back for the bytes, which have been given away.
  in.checkpoint();
  reader.reset();
  return plat::isValidUtf8(text.get()) ? std::move(text) : plat::utf8Repair(text.get());
}

}  // namespace rdr
