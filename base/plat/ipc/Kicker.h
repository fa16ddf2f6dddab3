#pragma once

#include "base/io/FdKicker.h"
#include "base/io/FdKickerCallback.h"
#include "base/plat/NonCopyable.h"

namespace plat {

class Kickee;

/// Wakes a Kickee on the event loop's thread, from any thread.
///
/// Ownership: owned by what it wakes, which must outlive it.
/// Thread:    made and destroyed on the loop's thread, whose event manager must exist; kick() from anywhere.
class Kicker final : public io::FdKickerCallback, private NonCopyable {
public:
  explicit Kicker(Kickee& kickee);

  /// Never waits. A full pipe drops the byte: the earlier ones will do.
  void kick() { kicker_.kick(0); }

  void fdKicked(io::FdKicker& kicker, rdr::InStream& in) override;
  ~Kicker() override;

private:
  Kickee& kickee_;
  io::FdKicker kicker_;
};

}  // namespace plat
