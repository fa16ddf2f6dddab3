#include "base/io/FdManager.h"

#include "base/io/FdKicker.h"
#include "base/io/FdKickerCallback.h"
#include "base/io/FdSelectManager.h"
#include "base/rdr/InStream.h"
#include "tests/base/io/FdPair.h"
#include "tests/support/prelude.h"

namespace {

using io::FdManager;
using io::FdSelectManager;
using test::Later;

/// Writes its calls down behind its name (" aR" for a read, " aW" for a write), then does what the test wants.
class TestHandler : public io::FdHandler {
public:
  TestHandler(char name, std::string& events, int fd = -1) : name_(name), events_(events) {
    fd_ = fd;
    ownFd = false;
  }
  ~TestHandler() override {
    if (FdManager* const manager = FdManager::current()) {
      manager->setRegistered(*this, false);
    }
  }
  void readable() override { note("R", onReadable); }
  void writable() override { note("W", onWritable); }
  void managerGone() override { note(" gone"); }

  std::function<void()> onReadable = [] {}, onWritable = [] {};

private:
  void note(
      const char* what, std::function<void()> action = [] {}) {  // a copy: the action may destroy this handler
    events_.append(" ").append(1, name_).append(what);
    action();
  }

  const char name_;
  std::string& events_;
};

struct FdManagerTest : testing::Test {
  TestHandler& add(int slot, bool read = false, bool write = false, int fd = -1) {
    TestHandler& handler = slots[slot].emplace(static_cast<char>('a' + slot), events, fd);
    manager.setRegistered(handler, true);
    manager.setInterest(handler, read, write);
    return handler;
  }
  std::string turn(int timeoutMs = 0) {
    events.clear();
    manager.processEvents(timeoutMs);
    return events;
  }

  FdSelectManager manager;
  std::string events;
  test::FdPair pair, other;
  std::optional<TestHandler> slots[2];  // "a" and "b", which is at the higher address and so goes first
};

TEST_F(FdManagerTest, timersThenReadsThenWritesEachFromTheHighestAddress) {
  pair.send("x");
  other.send("x");
  add(0, true, true, pair.near());
  add(1, true, true, other.near());
  const Later timer([this] { events += " timer"; });
  EXPECT_EQ(turn(), " timer bR aR bW aW");
  EXPECT_EQ(turn(), " bR aR bW aW") << "readiness is told until it is gone";
  slots[1].reset();
  EXPECT_EQ(turn(), " aR aW");
  slots[0].reset();
  EXPECT_FALSE(manager.processEvents(0)) << "unregistered, a handler is forgotten with its interests";
}

TEST_F(FdManagerTest, whatIsMarkedForALaterKindRunsInTheSameTurn) {
  TestHandler& a = add(0);
  TestHandler& b = add(1);
  const Later timer([&] { manager.setPendingRead(a); });
  a.onReadable = [&] { manager.setPendingWrite(b); };
  EXPECT_EQ(turn(), " aR bW");
  EXPECT_FALSE(manager.processEvents(0)) << "nothing is left to wake up for";
  a.onReadable = [&] { manager.setPendingRead(b); };
  manager.setPendingRead(a);
  EXPECT_EQ(turn(), " aR");
  EXPECT_EQ(turn(60000), " bR") << "the same kind waits for the next turn, which comes at once";
  const test::Fd high(pair.highNear());
  pair.send("x");
  TestHandler& unwatched = add(1, true, true, high);
  EXPECT_EQ(turn(), "") << "descriptors from 1024 up are not watched";
  manager.setPendingRead(unwatched);
  EXPECT_EQ(turn(), " bR");
}

TEST_F(FdManagerTest, callsThatAreDueCanBeTakenBackByTheCallBeforeThem) {
  const std::tuple<const char*, std::function<void()>, const char*, const char*> cases[] = {
      // what is called, if it is done in b's readable(), and if in b's writable()
      {"nothing", [] {}, " bR aR bW aW", " bR aR bW aW"},
      {"a dies", [this] { slots[0].reset(); }, " bR bW", " bR aR bW"},
      {"b dies in its own call", [this] { slots[1].reset(); }, " bR aR aW", " bR aR bW aW"},
      {"a wants no reads", [this] { manager.setInterest(*slots[0], false, true); }, " bR bW aW", " bR aR bW aW"},
      {"a wants no writes", [this] { manager.setInterest(*slots[0], true, false); }, " bR aR bW", " bR aR bW"},
      {"b's write is taken back", [this] { manager.clearPendingWrite(*slots[1]); }, " bR aR aW", " bR aR bW aW"},
      {"a round ends with an exception", [] { throw plat::Exception("no"); }, " bR bW aW", " bR aR bW"},
  };
  for (const auto& [name, action, calledInRead, calledInWrite] : cases) {
    for (const bool inWrite : {false, true}) {
      SCOPED_TRACE(testing::Message() << name << (inWrite ? " in write" : " in read"));
      for (int i : {0, 1}) {
        TestHandler& handler = add(i, true, true);
        manager.setPendingRead(handler);
        manager.setPendingWrite(handler);
      }
      (inWrite ? slots[1]->onWritable : slots[1]->onReadable) = action;
      if (test::messageFrom([this] { turn(); }) == "no") {
        manager.processEvents(0);
      }
      EXPECT_EQ(events, inWrite ? calledInWrite : calledInRead);
      EXPECT_EQ(turn(), "");
    }
  }
}

TEST_F(FdManagerTest, severalWakesAreOneWakeUpOfTheNextWait) {
  manager.wake();
  manager.wake();
  EXPECT_TRUE(manager.processEvents(60000));
  EXPECT_FALSE(manager.processEvents(0));
  TestHandler& a = add(0);
  a.onReadable = [this] { manager.wake(); };
  manager.setPendingRead(a);
  manager.processEvents(60000);
  EXPECT_TRUE(manager.processEvents(0)) << "asked for in a turn, it counts for the next wait";
}

TEST_F(FdManagerTest, aSignalEndsTheWaitAndTheTurnGoesOn) {
  static test::ManualClock* clock;
  test::ManualClock localClock;
  clock = &localClock;
  std::signal(SIGALRM, [](int) { clock->advanceMs(3600000); });
  const Later timer([this] { events += " timer"; }, 3600000);
  add(0, true, false, pair.near());
  ::ualarm(10000, 10000);  // again and again, lest the first comes before the wait
  EXPECT_TRUE(manager.processEvents(-1));
  ::ualarm(0, 0);
  std::signal(SIGALRM, SIG_DFL);
  EXPECT_EQ(events, " timer") << "and not the descriptor, of which nothing is known";
}

TEST_F(FdManagerTest, theLastOneMadeIsCurrentAndTellsItsHandlersOfItsEnd) {
  TestHandler a('a', events), b('b', events);
  {
    FdSelectManager inner;
    EXPECT_EQ(FdManager::current(), &inner);
    inner.setRegistered(a, true);
    inner.setRegistered(b, true);
    inner.setRegistered(b, true);  // no second entry
    inner.setRegistered(a, false);
  }
  EXPECT_EQ(events, " b gone");
  EXPECT_EQ(FdManager::current(), &manager);
}

TEST_F(FdManagerTest, aChildCanCloseAllConnectionsButItsOwnAndAClosedOneFailsTheTurn) {
  const TestHandler& closed = add(0, true, false, ::dup(pair.near()));
  const TestHandler& kept = add(1, true, false, ::dup(other.near()));
  manager.closeAllExcept(kept.fd());
  EXPECT_EQ(::fcntl(closed.fd(), F_GETFD), -1);
  EXPECT_EQ(test::messageFrom([this] { turn(); }), "select: Bad file descriptor (9)");
  EXPECT_EQ(::close(kept.fd()), 0);
}

struct KickCallback : io::FdKickerCallback {
  void fdKicked(io::FdKicker&, rdr::InStream& in) override { action(in); }
  std::function<void(rdr::InStream&)> action;
};

TEST(FdKicker, bytesComeInOrderAndWhatTheCallbackDoesNotReadIsKept) {
  FdSelectManager manager;
  KickCallback callback;
  io::FdKicker kicker(&callback);
  std::string bytes;
  callback.action = [&bytes](rdr::InStream& in) { bytes += static_cast<char>(in.readU8()); };
  kicker.kick('a');
  kicker.kick('b');
  manager.processEvents(-1);
  EXPECT_EQ(bytes, "a");
  EXPECT_TRUE(kicker.hasData());
  callback.action = [&bytes](rdr::InStream& in) {
    for (;; in.checkpoint()) {
      bytes += static_cast<char>(in.readU8());
    }
  };
  kicker.kick('\0');
  manager.processEvents(-1);
  EXPECT_EQ(bytes, std::string("ab\0", 3));
  EXPECT_FALSE(kicker.hasData());
  EXPECT_FALSE(manager.processEvents(0)) << "an empty pipe wakes nobody";
  callback.action = [](rdr::InStream&) { throw plat::Exception("not a block"); };
  kicker.kick('x');
  EXPECT_EQ(test::messageFrom([&] { manager.processEvents(0); }), "not a block");
}

TEST(FdKicker, mayOutliveItsManagerAndLeavesNoDescriptorBehind) {
  const auto before = test::openFds();
  KickCallback callback;
  {
    auto manager = std::make_unique<FdSelectManager>();
    io::FdKicker kicker(&callback);
    manager.reset();
    kicker.kick('b');
  }
  EXPECT_THAT(test::messageFrom([&] { const io::FdKicker orphan(&callback); }), testing::HasSubstr("'fdMgr'"));
  EXPECT_EQ(test::openFds(), before);
}

}  // namespace
