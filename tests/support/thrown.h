#pragma once

#include <string>

#include "base/plat/exceptions.h"

namespace test {

/// The message of the exception of type E, or of one derived from it, that `call` ends in; what the test then compares
/// with cannot be mistaken for one if there is none.
template <class E = plat::Exception, class Call>
std::string messageFrom(const Call& call) {
  try {
    call();
  } catch (const E& e) {
    return e.message;
  }
  return "(nothing was thrown)";
}

/// The system failure that `call` ends in, with an `err` of -1 if there is none.
template <class Call>
plat::SystemException failureFrom(const Call& call) {
  try {
    call();
  } catch (const plat::SystemException& e) {
    return e;
  }
  return {"(nothing was thrown)", -1};
}

}  // namespace test
