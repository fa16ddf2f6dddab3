#include "base/io/Io.h"

#include "base/plat/assert.h"

namespace io {

Io::~Io() = default;

void Io::markReadable() {
  PLAT_REQUIRE_AS(false, "Io::markReadable() not implemented for this Io", __FILE__, __LINE__);
}

plat::String Io::resolvedPeerEndpoint() {
  return peerEndpoint();
}

void Io::writeFlags(rdr::OutStream& out) const {
  PLAT_REQUIRE_AS(flags_.size() < 256, "flags.size() < 256", __FILE__, __LINE__);
  out.writeU8(static_cast<std::uint8_t>(flags_.size()));
  for (const std::string& flag : flags_) {
    out.writeShortString(flag.c_str());
  }
}

void Io::readFlags(rdr::InStream& in) {
  for (int left = in.readU8(); left > 0; --left) {
    // Added and not replaced, so that a second run behind a block changes nothing.
    flags_.emplace(in.readShortString(true).orEmpty());
  }
}

}  // namespace io
