#pragma once

#include "base/plat/MBuf.h"
#include "base/rdr/OutStream.h"
#include "base/rdr/mallocBytes.h"

namespace plat {
class DString;
}  // namespace plat

namespace rdr {

/// Writes into a buffer of its own that doubles as it fills, up to an optional limit.
///
/// Ownership: owns the buffer until one of the take operations hands it over uncopied; the stream is then empty and
///            may be used again.
/// Failure:   what would exceed the limit raises OutStreamFull and leaves the contents unchanged.
class MemOutStream final : public OutStream {
public:
  /// @param initialCapacity bytes allocated at once; negative for 256, 0 for nothing before the first write.
  /// @param limit           most bytes that the contents may have; 0 for no limit but 2^31 - 1.
  explicit MemOutStream(int initialCapacity = -1, int limit = 0);

  void writeBytes(const void* data, int length) override;
  [[nodiscard]] std::uint32_t length() override;
  [[nodiscard]] int spaceLeft() override;
  int overrun(int itemSize, int nItems) override;

  /// The contents, length() bytes; null before anything was allocated.
  [[nodiscard]] const std::uint8_t* data() const noexcept { return start_.get(); }
  /// Bytes allocated.
  [[nodiscard]] int allocated() const noexcept { return capacity_; }
  /// Sets another limit. One below length() lets nothing more in and cuts nothing off.
  void setMaxSize(int limit) noexcept;
  /// Gives the buffer away. The stream is empty and without a buffer then; the limit stays.
  [[nodiscard]] MallocBytes takeBuffer() noexcept;
  /// Moves the contents over. What `buffer` held before is wiped if it is marked secure, and freed.
  void takeInto(plat::MBuf<unsigned char>& buffer);
  /// Moves the contents over as a text, with ensureNul().
  void takeInto(plat::DString& text);
  /// Appends a zero byte unless the contents end in one. It may exceed the limit by that byte.
  void ensureNul();

private:
  void setEnd() noexcept;
  void reallocate(int newCapacity);

  MallocBytes start_;
  int capacity_ = 0;
  int maxSize_ = 0;  ///< 0 for none
};

}  // namespace rdr
