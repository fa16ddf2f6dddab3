#include "libs/fops/TransferId.h"

#include <charconv>

namespace fops {

TransferIdText::TransferIdText(TransferId id) noexcept {
  char* const limit = text_ + sizeof text_;
  char* end = std::to_chars(text_, limit, static_cast<std::uint32_t>(id)).ptr;
  *end++ = '.';
  end = std::to_chars(end, limit, static_cast<std::uint32_t>(id >> 32)).ptr;
  *end = '\0';
}

}  // namespace fops
