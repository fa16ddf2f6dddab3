#pragma once

namespace rdr {
class InStream;
}  // namespace rdr

namespace io {

class FdKicker;

/// Learns on the loop's thread that a kicker was kicked. Implemented by os::SignalHandler and plat::Kicker.
class FdKickerCallback {
public:
  /// @param in the bytes of the kicks. rdr::BlockException may be let out when it runs dry; anything else leaves the
  ///        event loop. The kicker must not be destroyed from here.
  virtual void fdKicked(FdKicker& kicker, rdr::InStream& in) = 0;

  virtual ~FdKickerCallback();
};

}  // namespace io
