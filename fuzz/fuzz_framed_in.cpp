// Frames from a peer, read in pieces as they arrive and then all at once: both ways must give the same messages, and
// no input may break the bookkeeping of the framing.

#include <optional>

#include "base/plat/AssertionFail.h"
#include "base/rdr/InStreamV4.h"
#include "fuzz/target.h"

namespace {

/// One step of a parser as event handlers are: nothing if more data is needed.
std::optional<std::string> readMessage(rdr::InStreamV4& in) {
  if (!in.startMsg(false)) {
    return std::nullopt;
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
  return bytes;
}

std::vector<std::string> messages(std::string_view wire, std::size_t piece) {
  std::vector<std::string> found;
  test::FedInStream link(1 << 17);
  rdr::InStreamV4 in(&link);
  for (std::size_t at = 0; at < wire.size(); at += piece) {
    link.feed(wire.substr(at, piece));
    try {
      while (const auto payload = readMessage(in)) {
        found.push_back(*payload);
      }
    } catch (const rdr::BlockException&) {
      // and again when the next piece is there
    }
  }
  return found;
}

}  // namespace

void fuzz::run(std::string_view input) {
  if (input.empty() || input.size() > 4096) {
    return;
  }
  const std::size_t piece = static_cast<std::uint8_t>(input[0]) % 64 + 1U;
  const std::string_view wire = input.substr(1);
  try {
    require(messages(wire, piece) == messages(wire, wire.size() + 1));
  } catch (const plat::AssertionFail&) {
    require(false);
  } catch (const plat::Exception&) {
    // a message that a link would be closed for
  }
}
