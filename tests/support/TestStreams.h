#pragma once

#include <algorithm>
#include <deque>
#include <random>
#include <string>
#include <string_view>

#include "base/rdr/BufferedLazyOutStream.h"
#include "base/rdr/BufferedNonBlockableInStream.h"
#include "base/rdr/MemOutStream.h"
#include "base/rdr/OutStream.h"
#include "base/rdr/exceptions.h"

namespace test {

/// A source that gives one block per feed() and runs dry in between; ended, it is at its end once it has run dry.
class FedInStream final : public rdr::BufferedNonBlockableInStream {
public:
  explicit FedInStream(int size = -1) : BufferedNonBlockableInStream(size) {}
  FedInStream(std::string_view bytes, int size) : FedInStream(size) { feed(bytes); }

  void feed(std::string_view bytes) {
    if (!bytes.empty()) {
      blocks_.emplace_back(bytes);
    }
  }
  /// Feeds every byte as a block of its own.
  void feedSingly(std::string_view bytes) {
    for (const char& byte : bytes) {
      feed({&byte, 1});
    }
  }
  void finish() { ended_ = true; }

  int asked = 0;  ///< the room that the last readBlock() was given

protected:
  int readBlock(std::uint8_t* dest, int len) override {
    asked = len;
    if (blocks_.empty()) {
      return ended_ ? throw rdr::EndOfStream("End of IO stream") : 0;
    }
    std::string& block = blocks_.front();
    const std::size_t n = block.copy(reinterpret_cast<char*>(dest), static_cast<std::size_t>(len));
    block.erase(0, n);
    if (block.empty()) {
      blocks_.pop_front();
    }
    return static_cast<int>(n);
  }

private:
  std::deque<std::string> blocks_;
  bool ended_ = false;
};

/// A sink that takes `willing` bytes without being waited for, and `perWait` more each time that it is.
class SinkStream final : public rdr::BufferedLazyOutStream {
public:
  using BufferedLazyOutStream::BufferedLazyOutStream;

  std::string bytes;
  int willing = 0, perWait = 0;
  int waits = 0, writes = 0;  ///< counted
  bool failing = false;

protected:
  int writeFromBuffer(const std::uint8_t* data, int len, bool needWrite) override {
    ++writes;
    if (failing) {
      throw plat::Exception("no more");
    }
    int n = std::min(len, willing);
    willing -= n;
    if (n == 0 && needWrite) {
      ++waits;
      n = std::min(len, perWait);
    }
    bytes.append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(n));
    return n;
  }
};

inline void put(rdr::OutStream& out, std::string_view bytes) {
  out.writeBytes(bytes.data(), static_cast<int>(bytes.size()));
}

/// The contents of a memory stream.
inline std::string contents(rdr::MemOutStream& out) {
  return {reinterpret_cast<const char*>(out.data()), out.length()};
}

/// One message in frames of at most `maxPayload` bytes, as it stands on the link, with an empty frame before each if
/// asked for.
inline std::string frames(std::string_view payload, std::size_t maxPayload = 32766, bool emptyFrames = false) {
  std::string bytes;
  do {
    const std::string_view piece = payload.substr(0, maxPayload);
    payload.remove_prefix(piece.size());
    bytes.append(emptyFrames ? 2 : 0, '\0');
    bytes += static_cast<char>((payload.empty() ? 0x80 : 0) | piece.size() >> 8);
    bytes += static_cast<char>(piece.size() & 0xff);
    bytes += piece;
  } while (!payload.empty());
  return bytes;
}

/// `size` bytes in which no two positions near each other look alike.
inline std::string pattern(std::size_t size) {
  std::string bytes(size, '\0');
  std::minstd_rand random;
  std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<char>(random() >> 16); });
  return bytes;
}

}  // namespace test
