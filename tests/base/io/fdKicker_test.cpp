#include "base/io/FdKicker.h"

#include <functional>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/io/FdKickerCallback.h"
#include "base/io/FdSelectManager.h"
#include "base/plat/AssertionFail.h"
#include "base/rdr/InStream.h"
#include "tests/support/openFds.h"
#include "tests/support/thrown.h"

namespace {

using io::FdKicker;

/// Keeps the bytes of the kicks, unless the test wants something else.
class TestCallback : public io::FdKickerCallback {
public:
  void fdKicked(FdKicker&, rdr::InStream& in) override {
    ++calls;
    if (action) {
      action(in);
      return;
    }
    for (;;) {
      bytes += static_cast<char>(in.readU8());
      in.checkpoint();
    }
  }
  std::function<void(rdr::InStream&)> action;
  std::string bytes;
  int calls = 0;
};

TEST(FdKicker, bytesComeInOrderAndWhatTheCallbackDoesNotReadIsKept) {
  io::FdSelectManager manager;
  TestCallback callback;
  FdKicker kicker(&callback);
  callback.action = [&callback](rdr::InStream& in) { callback.bytes += static_cast<char>(in.readU8()); };
  kicker.kick('a');
  kicker.kick('b');
  manager.processEvents(-1);
  EXPECT_EQ(callback.bytes, "a");
  EXPECT_TRUE(kicker.hasData());
  callback.action = nullptr;
  kicker.kick('\0');
  manager.processEvents(-1);
  EXPECT_EQ(callback.bytes, std::string("ab\0", 3));
  EXPECT_FALSE(kicker.hasData());
  EXPECT_FALSE(manager.processEvents(0)) << "an empty pipe wakes nobody";
}

TEST(FdKicker, aFullPipeDropsKicksAndDrainEmptiesIt) {
  io::FdSelectManager manager;
  TestCallback callback;
  FdKicker kicker(&callback);
  for (int i = 0; i < 100'000; ++i) {
    kicker.kick('x');
  }
  callback.action = [&kicker](rdr::InStream&) { kicker.drain(); };
  manager.processEvents(0);
  EXPECT_EQ(callback.calls, 1);
  EXPECT_FALSE(kicker.hasData());
  EXPECT_FALSE(manager.processEvents(0));

  callback.action = [](rdr::InStream&) { throw plat::Exception("not a block"); };
  kicker.kick('x');
  EXPECT_EQ(test::messageFrom([&] { manager.processEvents(0); }), "not a block");
}

TEST(FdKicker, mayOutliveItsManagerAndLeavesNoDescriptorBehind) {
  const auto before = test::openFds();
  TestCallback callback;
  auto manager = std::make_unique<io::FdSelectManager>();
  auto kicker = std::make_unique<FdKicker>(&callback);
  manager.reset();
  kicker->kick('b');
  kicker.reset();
  EXPECT_EQ(test::openFds(), before);
  EXPECT_THAT(test::messageFrom<plat::AssertionFail>([&] { const FdKicker orphan(&callback); }),
              testing::HasSubstr("'fdMgr'"));
  EXPECT_EQ(test::openFds(), before);
}

}  // namespace
