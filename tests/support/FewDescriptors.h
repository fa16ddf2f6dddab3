#pragma once

#include "tests/support/descriptors.h"

namespace test {

/// Lets the process open `spare` more descriptors and no further one, while it lives.
class FewDescriptors {
public:
  explicit FewDescriptors(int spare) : limit_(fewDescriptors(spare)) {}

private:
  const FdLimit limit_;
};

}  // namespace test
