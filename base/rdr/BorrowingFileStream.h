#pragma once

#include <array>

#include <sys/uio.h>

#include "base/rdr/BlockLender.h"
#include "base/rdr/FileFdOutStream.h"

namespace os {

/// A file stream for bulk data out of one stream's buffer: it points to the blocks that it is given there, and writes
/// many of them in one call, at the latest when the lender wants them back. Other data is copied, as by its base. Only
/// flush() and the destructor see to the blocks: nPending(), tryFlush() and the like know of what was copied alone.
///
/// Ownership: observes the lender, which must outlive it.
/// Failure:   that of writing borrowed blocks shows at the next writeBytes() or flush(), and from then on at each:
///            plat::SystemException "write".
class BorrowingFileStream final : public FileFdOutStream, private rdr::BlockLender::Borrower {
public:
  /// @throws plat::SystemException "fileOpenFd(%s)"
  BorrowingFileStream(const char* path, OpenArgs openArgs, rdr::BlockLender& lender);
  /// Writes what is pending, like its base.
  ~BorrowingFileStream() override;

  void writeBytes(const void* data, int length) override;
  void flush() override;

protected:
  int writeFromBuffer(const std::uint8_t* data, int len, bool needWrite) override;

private:
  void giveBack() noexcept override;
  void writeBorrowed();

  rdr::BlockLender& lender_;
  std::array<iovec, 64> blocks_;  ///< those borrowed; what lies in the base's buffer comes behind them
  int blockCount_ = 0;
  int failure_ = 0;  ///< error number of the write that failed
};

}  // namespace os
