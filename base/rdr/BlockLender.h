#pragma once

#include <vector>

#include "base/plat/NonCopyable.h"
#include "base/rdr/BufferedInStream.h"

namespace rdr {

/// Lets blocks that lie in a stream's buffer be used for longer than the read that gave them, so that bulk data can be
/// passed on many blocks at a time without a copy.
///
/// Ownership: a member of whoever reads the stream; observes the stream, which may go first, and the borrowers, which
///            take themselves off the list before they go.
/// Thread:    the stream's.
class BlockLender final : private BufferedInStream::Observer, private plat::NonCopyable {
public:
  /// Points to blocks that it was lent.
  class Borrower {
  public:
    /// The last moment to use them. The borrower is off the list when this is called.
    virtual void giveBack() noexcept = 0;

  protected:
    ~Borrower() = default;  // never deleted through this interface
  };

  /// @param stream may be null: nothing is lent then. It has no other observer.
  explicit BlockLender(BufferedInStream* stream);
  ~BlockLender();

  /// Whether what `block` points to may be borrowed: it lies in the stream's buffer.
  [[nodiscard]] bool lends(const void* block) const noexcept { return stream_ && stream_->holds(block); }

  /// Puts a borrower on the list, until it is told to give back or taken off.
  void add(Borrower& borrower);
  void remove(const Borrower& borrower) noexcept;

private:
  [[nodiscard]] bool needsBuffer() const noexcept override { return !borrowers_.empty(); }
  void bufferChanges() noexcept override;
  void bufferGone() noexcept override;

  BufferedInStream* stream_;  ///< null once it has gone
  std::vector<Borrower*> borrowers_;
};

}  // namespace rdr
