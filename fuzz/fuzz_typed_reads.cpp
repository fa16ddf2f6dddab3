// A program of reads, one per byte, over bytes that arrive in pieces: it must read the same as over memory, and leave
// the stream at its checkpoint whenever it runs dry.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/plat/DString.h"
#include "base/plat/Exception.h"
#include "base/plat/String.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/exceptions.h"
#include "tests/support/TestStreams.h"

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

/// Does what `op` says and gives what was read as a text.
std::string perform(std::uint8_t op, rdr::InStream& in) {
  const unsigned amount = op >> 4;
  switch (op & 0x0F) {
    case 0:
      return std::to_string(in.readU8());
    case 1:
      return std::to_string(in.readU16());
    case 2:
      return std::to_string(in.readU32());
    case 3:
      return std::to_string(in.readU64());
    case 4:
      return in.readShortString(true).get();
    case 5:
      return in.readString(amount * 8, true).get();
    case 6:
      return in.readFixedString(amount, false).get();
    case 7:
      in.skip(static_cast<int>(amount));
      return "skipped";
    case 8: {
      plat::DString text;
      in.readBytesInto(amount, text, true);
      return text.get();
    }
    case 9: {
      char scratch[16];
      return {reinterpret_cast<const char*>(in.readOrCopy(scratch, static_cast<int>(amount))), amount};
    }
    case 10: {
      char scratch[16];
      int n = 1;
      const int itemSize = static_cast<int>(amount % 15 + 1);
      return {reinterpret_cast<const char*>(in.getItemsOrCopy(scratch, itemSize, &n)),
              static_cast<std::size_t>(itemSize)};
    }
    case 11:
      return std::to_string(in.readUniform(amount));
    default:
      in.checkpoint();
      return "checkpoint";
  }
}

std::string outcome(std::uint8_t op, rdr::InStream& in) {
  try {
    return perform(op, in);
  } catch (const rdr::EndOfStream&) {
    return "end";
  } catch (const rdr::BlockException&) {
    throw;
  } catch (const plat::Exception& e) {
    return e.message;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2 || size > 4096) {
    return 0;
  }
  const std::size_t nOps = std::min<std::size_t>(data[0], (size - 2));
  const std::size_t piece = data[1] % 32 + 1;
  const std::string_view ops(reinterpret_cast<const char*>(data) + 2, nOps);
  const std::string_view bytes = std::string_view(reinterpret_cast<const char*>(data), size).substr(2 + nOps);

  rdr::MemInStream whole(bytes.data(), static_cast<int>(bytes.size()));
  test::FedInStream pieces(1 << 16);
  std::size_t fed = 0;
  for (const char op : ops) {
    const std::string expected = outcome(static_cast<std::uint8_t>(op), whole);
    if (expected == "end") {
      break;  // what a failed read leaves unread differs between the two
    }
    pieces.checkpoint();
    const std::uint32_t start = pieces.offset();
    while (true) {
      try {
        require(outcome(static_cast<std::uint8_t>(op), pieces) == expected);
        break;
      } catch (const rdr::BlockException&) {
        require(pieces.offset() == start);
        require(fed < bytes.size());
        pieces.feed(bytes.substr(fed, piece));
        fed += piece;
      }
    }
    require(pieces.offset() == whole.offset());
  }
  return 0;
}
