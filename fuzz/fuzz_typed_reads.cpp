// A program of reads, one per byte, over bytes that arrive in pieces: it must read the same as over memory, and leave
// the stream at its checkpoint whenever it runs dry.

#include "base/plat/DString.h"
#include "base/plat/String.h"
#include "fuzz/target.h"

namespace {

std::string textAt(const std::uint8_t* bytes, std::size_t size) {
  return {reinterpret_cast<const char*>(bytes), size};
}

/// Does what `op` says and gives what was read as a text.
std::string perform(std::uint8_t op, rdr::InStream& in) {
  const unsigned amount = op >> 4;
  char scratch[16];
  plat::DString text;
  int one = 1;
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
    case 8:
      in.readBytesInto(amount, text, true);
      return text.get();
    case 9:
      return textAt(in.readOrCopy(scratch, static_cast<int>(amount)), amount);
    case 10:
      return textAt(in.getItemsOrCopy(scratch, static_cast<int>(amount % 15 + 1), &one), amount % 15 + 1);
    case 11:
      return std::to_string(in.readUniform(amount));
    default:
      in.checkpoint();
      return "checkpoint";
  }
}

std::string outcome(char op, rdr::InStream& in) {
  try {
    return perform(static_cast<std::uint8_t>(op), in);
  } catch (const rdr::EndOfStream&) {
    return "end";
  } catch (const rdr::BlockException&) {
    throw;
  } catch (const plat::Exception& e) {
    return e.message;
  }
}

}  // namespace

void fuzz::run(std::string_view input) {
  if (input.size() < 2 || input.size() > 4096) {
    return;
  }
  const std::size_t piece = static_cast<std::uint8_t>(input[1]) % 32 + 1U;
  const std::string_view ops = input.substr(2, static_cast<std::uint8_t>(input[0]));
  std::string_view coming = input.substr(2 + ops.size());

  rdr::MemInStream whole = streamOver(coming);
  test::FedInStream pieces(1 << 16);
  for (const char op : ops) {
    const std::string expected = outcome(op, whole);
    if (expected == "end") {
      break;  // what a failed read leaves unread differs between the two
    }
    const std::uint32_t start = pieces.checkpoint();
    for (bool done = false; !done;) {
      try {
        require(outcome(op, pieces) == expected);
        done = true;
      } catch (const rdr::BlockException&) {
        require(pieces.offset() == start);
        require(!coming.empty());
        pieces.feed(coming.substr(0, piece));
        coming.remove_prefix(std::min(piece, coming.size()));
      }
    }
    require(pieces.offset() == whole.offset());
  }
}
