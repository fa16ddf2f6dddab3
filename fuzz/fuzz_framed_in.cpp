// Frames from a peer, read in pieces as they arrive and then all at once: both ways must give the same messages, and
// no input may break the bookkeeping of the framing.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "base/plat/AssertionFail.h"
#include "base/rdr/InStreamV4.h"
#include "base/rdr/exceptions.h"
#include "tests/support/TestStreams.h"

namespace {

/// One step of a parser as event handlers are: false if more data is needed.
bool readMessage(rdr::InStreamV4& in, std::string& payload) {
  if (!in.startMsg(false)) {
    return false;
  }
  // Wide reads first, so that values straddle frames; the rest byte by byte up to the end of the message.
  std::string bytes;
  try {
    while (true) {
      const std::uint32_t value = in.readU32();
      for (int shift = 24; shift >= 0; shift -= 8) {
        bytes += static_cast<char>(value >> shift);
      }
    }
  } catch (const rdr::EndOfMsg&) {
    in.rewind();
    in.skip(static_cast<int>(bytes.size()));
    while (!in.atEnd()) {
      bytes += static_cast<char>(in.readU8());
    }
  }
  in.endMsg();
  payload = std::move(bytes);
  return true;
}

std::vector<std::string> messages(std::string_view wire, std::size_t piece) {
  std::vector<std::string> found;
  test::FedInStream link(1 << 17);
  rdr::InStreamV4 in(&link);
  for (std::size_t at = 0; at < wire.size(); at += piece) {
    link.feed(wire.substr(at, piece));
    try {
      std::string payload;
      while (readMessage(in, payload)) {
        found.push_back(payload);
      }
    } catch (const rdr::BlockException&) {
      // and again when the next piece is there
    }
  }
  return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1 || size > 4096) {
    return 0;
  }
  const std::string_view wire(reinterpret_cast<const char*>(data) + 1, size - 1);
  try {
    if (messages(wire, std::size_t{data[0]} % 64 + 1) != messages(wire, wire.size() + 1)) {
      std::abort();
    }
  } catch (const plat::AssertionFail&) {
    std::abort();
  } catch (const plat::Exception&) {
    // a message that a link would be closed for
  }
  return 0;
}
