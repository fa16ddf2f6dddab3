#include "base/rdr/BorrowingFileStream.h"

#include <cerrno>
#include <cstddef>
#include <utility>

#include "base/plat/exceptions.h"

namespace os {

BorrowingFileStream::BorrowingFileStream(const char* path, OpenArgs openArgs, rdr::BlockLender& lender)
    : FileFdOutStream(path, openArgs), lender_(lender) {}

BorrowingFileStream::~BorrowingFileStream() {
  giveBack();
  lender_.remove(*this);
  if (failure_ != 0) {
    discardPending();  // it would stand where the lost blocks should
  }
}

void BorrowingFileStream::writeBytes(const void* data, int length) {
  if (length < 1) {
    return;
  }
  if (!lender_.lends(data)) {
    writeBorrowed();
    FileFdOutStream::writeBytes(data, length);
    return;
  }
  // What is pending in the base's buffer stands behind the blocks borrowed so far; another block can only come behind
  // that once all of it is in the file.
  if (nPending() > 0 || blockCount_ == static_cast<int>(blocks_.size()) || failure_ != 0) {
    flush();
  }
  if (blockCount_ == 0) {
    lender_.add(*this);
  }
  blocks_[static_cast<std::size_t>(blockCount_++)] = {const_cast<void*>(data), static_cast<std::size_t>(length)};
  countWritten(length);
}

void BorrowingFileStream::flush() {
  writeBorrowed();
  FileFdOutStream::flush();
}

int BorrowingFileStream::writeFromBuffer(const std::uint8_t* data, int len, bool needWrite) {
  writeBorrowed();
  return FileFdOutStream::writeFromBuffer(data, len, needWrite);
}

void BorrowingFileStream::writeBorrowed() {
  if (blockCount_ > 0) {
    lender_.remove(*this);
    giveBack();
  }
  if (failure_ != 0) {
    throw plat::SystemException("write", failure_);
  }
}

/// Here a failure can only be kept: it is the reader of the lender's stream who has called.
void BorrowingFileStream::giveBack() noexcept {
  iovec* next = blocks_.data();
  int left = std::exchange(blockCount_, 0);
  while (left > 0 && failure_ == 0) {
    const ssize_t written = writev(fd(), next, left);
    if (written <= 0) {
      failure_ = written < 0 ? errno : EIO;  // nothing taken of something: going on might never end
      if (failure_ == EINTR) {
        failure_ = 0;
        continue;
      }
      return;
    }
    auto rest = static_cast<std::size_t>(written);
    for (; left > 0 && rest >= next->iov_len; ++next, --left) {
      rest -= next->iov_len;
    }
    if (left > 0) {
      next->iov_base = static_cast<std::byte*>(next->iov_base) + rest;
      next->iov_len -= rest;
    }
  }
}

}  // namespace os
