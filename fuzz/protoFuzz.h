#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "base/rdr/InStream.h"
#include "base/rdr/NullOutStream.h"
#include "libs/fops/FopsProto.h"

// What the fuzz targets of the two session ends share.

/// A message body of which a first part is there and the rest comes later, as over a link.
class CutStream : public rdr::InStream {
public:
  CutStream(const std::uint8_t* data, std::size_t size, std::size_t cut) : start_(data), size_(size) {
    ptr = checkpointPtr = data;
    end = data + std::min(cut, size);
  }
  void arriveAll() { end = start_ + size_; }

  std::uint32_t offset() override { return static_cast<std::uint32_t>(ptr - start_); }

protected:
  bool overrun(int itemSize) override { return end - ptr >= itemSize; }

private:
  const std::uint8_t* start_;
  std::size_t size_;
};

/// Writes messages to nowhere.
class NullWriter : public fops::FopsProto::Writer {
public:
  rdr::OutStream& startMsg(const char*) override { return out_; }
  void endMsg() override {}

private:
  rdr::NullOutStream out_;
};

/// Ends of transfers that take everything, and look at every byte of a chunk.
class NullEnds : public fops::DataSender, public fops::DataReceiver {
public:
  void dataReq(fops::TransferId, std::uint64_t) override {}
  void cancelByReceiver(fops::TransferId, const plat::Exception&) override {}
  void dataChunk(fops::TransferId, std::uint64_t, std::int32_t length, const std::uint8_t* data) override {
    for (std::int32_t i = 0; i < length; ++i)
      sum_ = static_cast<std::uint8_t>(sum_ + data[i]);
  }
  void cancelBySender(fops::TransferId, const plat::Exception&) override {}

private:
  volatile std::uint8_t sum_ = 0;
};

/// Cuts the input into messages (a length in two bytes, a place to cut it in two, the body) and gives each to `run`,
/// twice: with its first part, and with all of it.
template <class Run>
void forEachMessage(const std::uint8_t* data, std::size_t size, const Run& run) {
  while (size >= 4) {
    const std::size_t length = std::min<std::size_t>(static_cast<std::size_t>(data[0]) << 8 | data[1], size - 4);
    const std::size_t cut = static_cast<std::size_t>(data[2]) << 8 | data[3];
    run(data + 4, length, std::min(cut, length));
    data += 4 + length;
    size -= 4 + length;
  }
}
