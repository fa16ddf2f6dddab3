#include "base/loc/BuiltInTexts.h"

#include "base/loc/Localize.h"

namespace loc {

void BuiltInTexts::add(const TextRow* rows, std::size_t count) {
  Localize& localize = Localize::instance();
  for (const TextRow* row = rows; row != rows + count; ++row) {
    localize.addBuiltIn("en", row->key, row->en);
  }
}

}  // namespace loc
