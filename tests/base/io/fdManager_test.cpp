#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/time.h>

#include "base/io/FdHandler.h"
#include "base/io/FdSelectManager.h"
#include "base/plat/Timer.h"
#include "tests/base/io/FdPair.h"
#include "tests/base/io/allocationCount.h"
#include "tests/support/ManualClock.h"
#include "tests/support/thrown.h"

namespace {

using io::FdManager;
using io::FdSelectManager;
using test::FdPair;
using testing::ElementsAre;
using testing::IsEmpty;

using Events = std::vector<std::string>;

/// Writes its calls down under its name, then does what the test wants.
class TestHandler : public io::FdHandler {
public:
  TestHandler(std::string name, Events& events, int fd = -1) : name_(std::move(name)), events_(events) {
    fd_ = fd;
    ownFd = false;
  }
  ~TestHandler() override {
    if (FdManager* const manager = FdManager::current()) {
      manager->setRegistered(*this, false);
    }
  }
  void readable() override { note(" read", onReadable); }
  void writable() override { note(" write", onWritable); }
  void managerGone() override { events_.push_back(name_ + " gone"); }

  std::function<void()> onReadable;
  std::function<void()> onWritable;

private:
  void note(const char* what, const std::function<void()>& action) {
    events_.push_back(name_ + what);
    if (action) {
      const std::function<void()> copy = action;  // the action may destroy this handler
      copy();
    }
  }

  std::string name_;
  Events& events_;
};

class TestTimer : private plat::Timer::Callback {
public:
  explicit TestTimer(std::function<void()> action) : action_(std::move(action)) {}
  void start(int ms) { timer_.start(ms); }

private:
  bool timerFired(plat::Timer&) override {
    action_();
    return false;
  }
  std::function<void()> action_;
  plat::Timer timer_{this};
};

class FdManagerTest : public testing::Test {
public:
  TestHandler& add(int slot, bool read = false, bool write = false, int fd = -1) {
    TestHandler& handler = slots[slot].emplace(std::string(1, static_cast<char>('a' + slot)), events, fd);
    manager.setRegistered(handler, true);
    manager.setInterest(handler, read, write);
    return handler;
  }
  Events turn(int timeoutMs = 0) {
    events.clear();
    manager.processEvents(timeoutMs);
    return events;
  }

  FdSelectManager manager;
  Events events;
  FdPair pair;
  std::optional<TestHandler> slots[2];  // "a" and "b", which is at the higher address and so goes first
};

TEST_F(FdManagerTest, timersThenReadsThenWritesEachFromTheHighestAddress) {
  FdPair other;
  pair.send("x");
  other.send("x");
  add(0, true, true, pair.near());
  add(1, true, true, other.near());
  TestTimer timer([this] { events.push_back("timer"); });
  timer.start(0);
  EXPECT_THAT(turn(), ElementsAre("timer", "b read", "a read", "b write", "a write"));
  EXPECT_THAT(turn(), ElementsAre("b read", "a read", "b write", "a write")) << "readiness is told until it is gone";
  slots[1].reset();
  EXPECT_THAT(turn(), ElementsAre("a read", "a write"));
  slots[0].reset();
  EXPECT_FALSE(manager.processEvents(0)) << "unregistered, a handler is forgotten with its interests";
}

TEST_F(FdManagerTest, whatIsMarkedForALaterKindRunsInTheSameTurn) {
  TestHandler& a = add(0);
  TestHandler& b = add(1);
  TestTimer timer([&] { manager.setPendingRead(a); });
  a.onReadable = [&] { manager.setPendingWrite(b); };
  timer.start(0);
  EXPECT_THAT(turn(), ElementsAre("a read", "b write"));
  EXPECT_FALSE(manager.processEvents(0)) << "nothing is left to wake up for";
  a.onReadable = [&] { manager.setPendingRead(b); };
  manager.setPendingRead(a);
  EXPECT_THAT(turn(), ElementsAre("a read"));
  EXPECT_THAT(turn(60000), ElementsAre("b read")) << "the same kind waits for the next turn, which comes at once";
}

TEST_F(FdManagerTest, anExceptionDropsTheRestOfItsRoundForGood) {
  add(0);
  add(1).onReadable = [] { throw plat::Exception("no"); };
  manager.setPendingRead(*slots[0]);
  manager.setPendingRead(*slots[1]);
  EXPECT_EQ(test::messageFrom([this] { turn(); }), "no");
  EXPECT_THAT(turn(), IsEmpty());
  EXPECT_THAT(turn(), IsEmpty());
}

TEST_F(FdManagerTest, callsThatAreDueCanBeTakenBackByTheCallBeforeThem) {
  struct Case {
    const char* name;
    std::function<void(FdManagerTest&)> action;
    Events inRead, inWrite;  // what is called, if it is done in b's readable() or in b's writable()
  };
  const Events all = {"b read", "a read", "b write", "a write"};
  const Case cases[] = {
      {"nothing", [](FdManagerTest&) {}, all, all},
      {"a dies", [](FdManagerTest& t) { t.slots[0].reset(); }, {"b read", "b write"}, {"b read", "a read", "b write"}},
      {"b dies in its own call", [](FdManagerTest& t) { t.slots[1].reset(); }, {"b read", "a read", "a write"}, all},
      {"a wants no reads",
       [](FdManagerTest& t) { t.manager.setInterest(*t.slots[0], false, true); },
       {"b read", "b write", "a write"},
       all},
      {"a wants no writes",
       [](FdManagerTest& t) { t.manager.setInterest(*t.slots[0], true, false); },
       {"b read", "a read", "b write"},
       {"b read", "a read", "b write"}},
      {"b's write is taken back",
       [](FdManagerTest& t) { t.manager.clearPendingWrite(*t.slots[1]); },
       {"b read", "a read", "a write"},
       all},
  };
  for (const Case& c : cases) {
    for (const bool inWrite : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.name << (inWrite ? " in write" : " in read"));
      for (int i : {0, 1}) {
        TestHandler& handler = add(i, true, true);
        manager.setPendingRead(handler);
        manager.setPendingWrite(handler);
      }
      (inWrite ? slots[1]->onWritable : slots[1]->onReadable) = [&] { c.action(*this); };
      EXPECT_EQ(turn(), inWrite ? c.inWrite : c.inRead);
      EXPECT_THAT(turn(), IsEmpty());
    }
  }
}

TEST_F(FdManagerTest, descriptorsFrom1024UpAreNotWatchedButTheirPendingCallsRun) {
  rlimit limit = {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit higher = {1100, limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &higher), 0);
  const int high = ::fcntl(pair.near(), F_DUPFD_CLOEXEC, 1024);
  ::setrlimit(RLIMIT_NOFILE, &limit);
  ASSERT_GE(high, 1024);
  TestHandler& a = add(0, true, true, high);
  pair.send("x");
  EXPECT_THAT(turn(), IsEmpty());
  manager.setPendingRead(a);
  EXPECT_THAT(turn(), ElementsAre("a read"));
  ::close(high);
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
  TestTimer timer([this] { events.push_back("timer"); });
  timer.start(3600000);
  add(0, true, false, pair.near());
  const itimerval soon = {{0, 10000}, {0, 10000}};  // again and again, lest the first comes before the wait
  ::setitimer(ITIMER_REAL, &soon, nullptr);
  EXPECT_TRUE(manager.processEvents(-1));
  const itimerval never = {};
  ::setitimer(ITIMER_REAL, &never, nullptr);
  std::signal(SIGALRM, SIG_DFL);
  EXPECT_THAT(events, ElementsAre("timer")) << "and not the descriptor, of which nothing is known";
}

TEST_F(FdManagerTest, aFailingSelectIsRaised) {
  const int fd = ::dup(pair.near());
  add(0, true, false, fd);
  ::close(fd);
  const plat::SystemException failure = test::failureFrom([this] { manager.processEvents(0); });
  EXPECT_THAT(failure.message, testing::StartsWith("select: "));
  EXPECT_EQ(failure.err, EBADF);
}

TEST_F(FdManagerTest, aTurnDoesNotAllocateOnceTheListsHaveTheirSize) {
  add(0, true, true, pair.near());
  add(1);
  pair.send("x");
  events.reserve(100);
  std::size_t before = 0;
  for (int i = 0; i < 13; ++i) {
    if (i == 3) {
      before = test::allocationCount();
      ASSERT_GT(before, 0u);
    }
    manager.setPendingWrite(*slots[1]);
    manager.setInterest(*slots[0], true, false);
    manager.setInterest(*slots[0], true, true);
    manager.processEvents(0);
    events.clear();
  }
  EXPECT_EQ(test::allocationCount(), before);
}

TEST(FdManager, theLastOneMadeIsCurrentAndTellsItsHandlersOfItsEnd) {
  Events events;
  EXPECT_EQ(FdManager::current(), nullptr);
  FdSelectManager outer;
  TestHandler a("a", events), b("b", events);
  {
    FdSelectManager inner;
    EXPECT_EQ(FdManager::current(), &inner);
    inner.setRegistered(a, true);
    inner.setRegistered(b, true);
    inner.setRegistered(b, true);  // no second entry
    inner.setRegistered(a, false);
  }
  EXPECT_THAT(events, ElementsAre("b gone"));
  EXPECT_EQ(FdManager::current(), &outer);
}

TEST_F(FdManagerTest, aChildCanCloseAllConnectionsButItsOwn) {
  FdPair other;
  const TestHandler& closed = add(0, true, false, ::dup(pair.near()));
  const TestHandler& kept = add(1, true, false, ::dup(other.near()));
  manager.closeAllExcept(kept.fd());
  EXPECT_EQ(::fcntl(closed.fd(), F_GETFD), -1);
  EXPECT_EQ(::close(kept.fd()), 0);
}

}  // namespace
