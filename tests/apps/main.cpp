#include <gtest/gtest.h>

#include "tests/apps/Environment.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  environment::setUp();
  const int result = RUN_ALL_TESTS();
  environment::tearDown();
  return result;
}
