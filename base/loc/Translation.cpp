#include "base/loc/Translation.h"

#include <cstring>

#include "base/loc/Localize.h"
#include "base/loc/format.h"
#include "base/plat/AssertionFail.h"
#include "base/plat/assert.h"

namespace loc {

const char* Translation::use(bool raw) {
  if (state_ == State::Unset) {
    state_ = raw ? State::Raw : State::Formatted;
    if (!raw && std::strchr(text_, '%')) {
      text_ = Localize::instance().keep(format(text_, {}).orEmpty());
    }
  }
  if (raw != (state_ == State::Raw)) {
    plat::assertFailed(plat::AssertionFail("(raw == (state == TR_RAW))", "base/loc/Translation", __LINE__,
                                           plat::Formatted, "Can't use same string as both raw and formatted - %s",
                                           text_));
  }
  return text_;
}

}  // namespace loc
