#include "base/io/FdKicker.h"

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/io/FdKickerCallback.h"
#include "base/io/FdSelectManager.h"
#include "base/plat/AssertionFail.h"
#include "base/rdr/InStream.h"

namespace {

using io::FdKicker;

/// Keeps the bytes of the kicks, as many of them at a time as the test wants.
class TestCallback : public io::FdKickerCallback {
public:
  void fdKicked(FdKicker& kicker, rdr::InStream& in) override {
    ++calls;
    if (action) {
      action(kicker, in);
      return;
    }
    for (;;) {
      bytes += static_cast<char>(in.readU8());
      in.checkpoint();
    }
  }
  std::function<void(FdKicker&, rdr::InStream&)> action;
  std::string bytes;
  int calls = 0;
};

int openDescriptors() {
  DIR* const dir = ::opendir("/proc/self/fd");
  int count = 0;
  while (::readdir(dir) != nullptr) {
    ++count;
  }
  ::closedir(dir);
  return count;
}

TEST(FdKicker, wakesTheLoopFromAnotherThreadWithTheBytesInOrder) {
  io::FdSelectManager manager;
  TestCallback callback;
  FdKicker kicker(&callback);
  std::thread other([&kicker] {
    for (char c : {'a', 'b', '\0', 'c'}) {
      kicker.kick(static_cast<std::uint8_t>(c));
    }
  });
  while (callback.bytes.size() < 4) {
    manager.processEvents(-1);
  }
  other.join();
  EXPECT_EQ(callback.bytes, std::string("ab\0c", 4));
  EXPECT_FALSE(manager.processEvents(0)) << "an empty pipe wakes nobody";
}

TEST(FdKicker, whatTheCallbackDoesNotReadIsKept) {
  io::FdSelectManager manager;
  TestCallback callback;
  FdKicker kicker(&callback);
  callback.action = [&callback](FdKicker&, rdr::InStream& in) { callback.bytes += static_cast<char>(in.readU8()); };
  kicker.kick('a');
  kicker.kick('b');
  manager.processEvents(0);
  EXPECT_EQ(callback.bytes, "a");
  EXPECT_TRUE(kicker.hasData());
  kicker.kick('c');
  manager.processEvents(0);
  EXPECT_EQ(callback.bytes, "ab");
  kicker.drain();
  EXPECT_FALSE(kicker.hasData());
}

TEST(FdKicker, aFullPipeDropsKicksAndDrainEmptiesIt) {
  io::FdSelectManager manager;
  TestCallback callback;
  FdKicker kicker(&callback);
  for (int i = 0; i < 200'000; ++i) {
    kicker.kick('x');
  }
  callback.action = [](FdKicker& k, rdr::InStream&) { k.drain(); };
  manager.processEvents(0);
  EXPECT_EQ(callback.calls, 1);
  EXPECT_FALSE(kicker.hasData());
  EXPECT_FALSE(manager.processEvents(0));
}

TEST(FdKicker, otherExceptionsLeaveTheLoop) {
  io::FdSelectManager manager;
  TestCallback callback;
  FdKicker kicker(&callback);
  callback.action = [](FdKicker&, rdr::InStream&) { throw plat::Exception("no"); };
  kicker.kick('a');
  EXPECT_THROW(manager.processEvents(0), plat::Exception);
}

TEST(FdKicker, mayOutliveItsManagerAndLeavesNoDescriptorBehind) {
  const int before = openDescriptors();
  TestCallback callback;
  auto manager = std::make_unique<io::FdSelectManager>();
  auto kicker = std::make_unique<FdKicker>(&callback);
  kicker->kick('a');
  manager.reset();
  kicker->kick('b');
  EXPECT_EQ(callback.calls, 0);
  kicker.reset();
  EXPECT_EQ(openDescriptors(), before);

  try {
    FdKicker orphan(&callback);
    FAIL() << "made without a manager";
  } catch (const plat::AssertionFail& e) {
    EXPECT_STREQ(e.expression, "fdMgr");
  }
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
