#pragma once

namespace plat {

/// Gets a call on the event loop's thread some time after anybody has kicked. Implemented by LogDestIpc.
class Kickee {
public:
  /// Several kicks may come as one call. What this throws leaves the event loop.
  virtual void kicked() = 0;

  virtual ~Kickee() = default;
};

}  // namespace plat
