#include "base/loc/BuiltInTexts.h"

#include "base/loc/Localize.h"

namespace loc {

void BuiltInTexts::add(const TextRow* rows, std::size_t count) {
  Localize::instance().addBuiltInTable({rows, count});
}

}  // namespace loc
