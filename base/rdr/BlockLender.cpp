#include "base/rdr/BlockLender.h"

namespace rdr {

BlockLender::BlockLender(BufferedInStream* stream) : stream_(stream) {
  if (stream_) {
    stream_->setObserver(this);
  }
}

BlockLender::~BlockLender() {
  if (stream_) {
    // The stream first: it must not ask a lender that is going.
    stream_->setObserver(nullptr);
  }
  bufferChanges();
}

void BlockLender::add(Borrower& borrower) {
  borrowers_.push_back(&borrower);
}

void BlockLender::remove(const Borrower& borrower) noexcept {
  std::erase(borrowers_, &borrower);
}

void BlockLender::bufferChanges() noexcept {
  while (!borrowers_.empty()) {
    Borrower* const borrower = borrowers_.back();
    // Off the list ahead of the call, from which the borrower may be destroyed, or borrow anew.
    borrowers_.pop_back();
    borrower->giveBack();
  }
}

void BlockLender::bufferGone() noexcept {
  bufferChanges();
  stream_ = nullptr;
}

}  // namespace rdr
