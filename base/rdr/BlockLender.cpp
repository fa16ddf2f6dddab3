#include "base/rdr/BlockLender.h"

namespace rdr {

BlockLender::BlockLender(BufferedInStream* stream) : stream_(stream) {
  if (stream_) {
    stream_->setObserver(this);
  }
}

BlockLender::~BlockLender() {
  if (stream_) {
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
    borrowers_.pop_back();
    borrower->giveBack();
  }
}

void BlockLender::bufferGone() noexcept {
  bufferChanges();
  stream_ = nullptr;
}

}  // namespace rdr
