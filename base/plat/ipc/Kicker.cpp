#include "base/plat/ipc/Kicker.h"

#include "base/plat/ipc/Kickee.h"

namespace plat {

Kicker::Kicker(Kickee& kickee) : kickee_(kickee), kicker_(this) {}

Kicker::~Kicker() = default;

void Kicker::fdKicked(io::FdKicker& kicker, rdr::InStream&) {
  kicker.drain();
  kickee_.kicked();
}

}  // namespace plat
