#include "base/plat/CircularVector.h"

#include <deque>
#include <random>

#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"

namespace plat {
namespace {

TEST(CircularVector, behavesLikeAQueueThroughGrowthWrapAroundAndErasure) {
  std::mt19937 random(7);
  CircularVector<int> ring;
  std::deque<int> model;
  for (int step = 0; step < 20'000; ++step) {
    const auto dice = random() % 10;
    if (dice < 5 || (step < 300 && dice < 8)) {
      ring.pushBack(step);
      model.push_back(step);
    } else if (model.empty()) {
      ASSERT_TRUE(ring.empty());
    } else if (dice < 9) {
      ASSERT_EQ(ring.popFront(), model.front());
      model.pop_front();
    } else {
      const auto at = static_cast<std::uint32_t>(random() % model.size());
      ring.erase(at);
      model.erase(model.begin() + at);
    }
    ASSERT_EQ(ring.size(), model.size());
    for (std::uint32_t i = 0; i < ring.size(); i += 1 + i / 4) {
      ASSERT_EQ(ring[i], model[i]) << "step " << step << " index " << i;
    }
  }
}

TEST(CircularVector, refusesWhatItCannotCount) {
  CircularVector<char> ring;
  ring.reserve(17);
  EXPECT_EQ(ring.capacity(), 32u) << "a power of two";
  for (const std::uint32_t count : {0x20000001u, 0x40000000u, 0xffffffffu}) {
    EXPECT_THROW(ring.reserve(count), AssertionFail) << count;
  }
}

}  // namespace
}  // namespace plat
