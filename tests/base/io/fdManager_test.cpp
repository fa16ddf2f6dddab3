#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/time.h>

#include "base/io/FdHandler.h"
#include "base/io/FdSelectManager.h"
#include "base/plat/SystemException.h"
#include "base/plat/Timer.h"
#include "tests/base/io/FdPair.h"
#include "tests/support/ManualClock.h"

namespace {

thread_local std::size_t allocations = 0;

}  // namespace

// For the promise that a turn does not allocate.
void* operator new(std::size_t size) {
  ++allocations;
  if (void* const memory = std::malloc(size != 0 ? size : 1)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

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
  void readable() override { note("read", onReadable); }
  void writable() override { note("write", onWritable); }
  void managerGone() override { events_.push_back(name_ + " gone"); }

  std::function<void()> onReadable;
  std::function<void()> onWritable;

private:
  void note(const char* what, const std::function<void()>& action) {
    events_.push_back(name_ + " " + what);
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
  TestHandler& add(std::optional<TestHandler>& handler, const char* name, bool read = false, bool write = false,
                   int fd = -1) {
    handler.emplace(name, events, fd);
    manager.setRegistered(*handler, true);
    manager.setInterest(*handler, read, write);
    return *handler;
  }
  Events turn(int timeoutMs = 0) {
    events.clear();
    manager.processEvents(timeoutMs);
    return events;
  }

  FdSelectManager manager;
  Events events;
  FdPair pair;
  // In one array, so that the order of addresses is known: `slots[2]` goes before `slots[0]`.
  std::optional<TestHandler> slots[3];
};

TEST_F(FdManagerTest, timersThenReadsThenWritesEachFromTheHighestAddress) {
  FdPair other;
  pair.send("x");
  other.send("x");
  add(slots[0], "a", true, true, pair.near());
  add(slots[1], "b", true, true, other.near());
  TestTimer timer([this] { events.push_back("timer"); });
  timer.start(0);
  EXPECT_THAT(turn(), ElementsAre("timer", "b read", "a read", "b write", "a write"));
  EXPECT_THAT(turn(), ElementsAre("b read", "a read", "b write", "a write")) << "readiness is told until it is gone";
}

TEST_F(FdManagerTest, whatIsMarkedForALaterKindRunsInTheSameTurn) {
  TestHandler& a = add(slots[0], "a");
  TestHandler& b = add(slots[1], "b");
  TestTimer timer([&] { manager.setPendingRead(a); });
  a.onReadable = [&] {
    manager.setPendingWrite(b);
    manager.setPendingRead(b);
  };
  timer.start(0);
  EXPECT_THAT(turn(), ElementsAre("a read", "b write"));
  EXPECT_THAT(turn(60000), ElementsAre("b read")) << "the same kind waits for the next turn, which comes at once";
  EXPECT_FALSE(manager.processEvents(0)) << "and nothing is left to wake up for";
}

TEST_F(FdManagerTest, callsThatAreDueCanBeTakenBackByTheCallBeforeThem) {
  struct Case {
    const char* name;
    std::function<void(FdManagerTest&)> action;  // done in b's read; a's read and write, and b's write, are due
    Events expected;
  };
  const Case cases[] = {
      {"nothing", [](FdManagerTest&) {}, {"b read", "a read", "b write", "a write"}},
      {"a dies", [](FdManagerTest& t) { t.slots[0].reset(); }, {"b read", "b write"}},
      {"b dies in its own call", [](FdManagerTest& t) { t.slots[1].reset(); }, {"b read", "a read", "a write"}},
      {"a wants no reads",
       [](FdManagerTest& t) { t.manager.setInterest(*t.slots[0], false, true); },
       {"b read", "b write", "a write"}},
      {"a wants no writes",
       [](FdManagerTest& t) { t.manager.setInterest(*t.slots[0], true, false); },
       {"b read", "a read", "b write"}},
      {"b's write is taken back",
       [](FdManagerTest& t) { t.manager.clearPendingWrite(*t.slots[1]); },
       {"b read", "a read", "a write"}},
      {"a is unregistered",
       [](FdManagerTest& t) { t.manager.setRegistered(*t.slots[0], false); },
       {"b read", "b write"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    add(slots[0], "a", true, true);
    add(slots[1], "b", true, true);
    for (int i : {0, 1}) {
      manager.setPendingRead(*slots[i]);
      manager.setPendingWrite(*slots[i]);
    }
    slots[1]->onReadable = [&] { c.action(*this); };
    EXPECT_EQ(turn(), c.expected);
    EXPECT_THAT(turn(), IsEmpty());
  }
}

TEST_F(FdManagerTest, aHandlerThatIsUnregisteredWithItsInterestsIsForgotten) {
  add(slots[0], "a", true, true, pair.near());
  slots[0].reset();
  pair.send("x");
  EXPECT_THAT(turn(), IsEmpty());
}

TEST_F(FdManagerTest, handlersMayBeAddedFromACall) {
  TestHandler& a = add(slots[0], "a", true, false, pair.near());
  FdPair other;
  other.send("x");
  a.onReadable = [&] { add(slots[1], "b", true, false, other.near()); };
  pair.send("x");
  EXPECT_THAT(turn(), ElementsAre("a read"));
  EXPECT_THAT(turn(), ElementsAre("b read", "a read"));
}

TEST_F(FdManagerTest, descriptorsFrom1024UpAreNotWatchedButTheirPendingCallsRun) {
  rlimit limit = {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit higher = {1100, limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &higher), 0);
  const int high = ::fcntl(pair.near(), F_DUPFD_CLOEXEC, 1024);
  ::setrlimit(RLIMIT_NOFILE, &limit);
  ASSERT_GE(high, 1024);
  TestHandler& a = add(slots[0], "a", true, true, high);
  pair.send("x");
  EXPECT_THAT(turn(), IsEmpty());
  manager.setPendingRead(a);
  EXPECT_THAT(turn(), ElementsAre("a read"));
  ::close(high);
}

TEST_F(FdManagerTest, tellsAPlainTimeOutFromEverythingElse) {
  test::ManualClock clock;
  TestTimer timer([] {});
  EXPECT_FALSE(manager.processEvents(0));
  timer.start(1);
  EXPECT_FALSE(manager.processEvents(0)) << "the limit came first";
  EXPECT_TRUE(manager.processEvents(1)) << "a tie goes to the timer";
  clock.advanceMs(1);
  EXPECT_TRUE(manager.processEvents(0)) << "a due timer";
  add(slots[0], "a", true, false, pair.near());
  pair.send("x");
  EXPECT_TRUE(manager.processEvents(60000)) << "a descriptor";
}

TEST_F(FdManagerTest, severalWakesAreOneWakeUp) {
  manager.wake();
  manager.wake();
  EXPECT_TRUE(manager.processEvents(60000));
  EXPECT_FALSE(manager.processEvents(0));
  TestHandler& a = add(slots[0], "a");
  a.onReadable = [this] { manager.wake(); };
  manager.setPendingRead(a);
  manager.processEvents(60000);
  EXPECT_TRUE(manager.processEvents(60000)) << "asked for during a turn, it counts for the next wait";
}

volatile sig_atomic_t alarms = 0;

TEST_F(FdManagerTest, aSignalEndsTheWaitAndTheTurnGoesOn) {
  static test::ManualClock* clock;
  test::ManualClock localClock;
  clock = &localClock;
  struct sigaction action = {}, before = {};
  action.sa_handler = [](int) {
    alarms = alarms + 1;
    clock->advanceMs(3600000);
  };
  ASSERT_EQ(::sigaction(SIGALRM, &action, &before), 0);
  TestTimer timer([this] { events.push_back("timer"); });
  timer.start(3600000);
  const itimerval soon = {{0, 10000}, {0, 10000}};  // again and again, lest the first comes before the wait
  ::setitimer(ITIMER_REAL, &soon, nullptr);
  EXPECT_TRUE(manager.processEvents(-1));
  const itimerval never = {};
  ::setitimer(ITIMER_REAL, &never, nullptr);
  ::sigaction(SIGALRM, &before, nullptr);
  EXPECT_GE(alarms, 1);
  EXPECT_THAT(events, ElementsAre("timer"));
}

TEST_F(FdManagerTest, aFailingSelectIsRaised) {
  const int fd = ::dup(pair.near());
  add(slots[0], "a", true, false, fd);
  ::close(fd);
  try {
    manager.processEvents(0);
    FAIL() << "waited on a closed descriptor";
  } catch (const plat::SystemException& e) {
    EXPECT_THAT(e.message, testing::StartsWith("select: "));
    EXPECT_EQ(e.err, EBADF);
  }
}

TEST_F(FdManagerTest, aTurnDoesNotAllocateOnceTheListsHaveTheirSize) {
  add(slots[0], "a", true, true, pair.near());
  add(slots[1], "b");
  pair.send("x");
  slots[0]->onReadable = [] {};
  const auto mixedTurn = [&] {
    manager.setPendingWrite(*slots[1]);
    manager.setInterest(*slots[0], true, false);
    manager.setInterest(*slots[0], true, true);
    manager.processEvents(0);
    events.clear();
  };
  events.reserve(100);
  for (int i = 0; i < 3; ++i) {
    mixedTurn();
  }
  const std::size_t before = allocations;
  for (int i = 0; i < 10; ++i) {
    mixedTurn();
  }
  EXPECT_EQ(allocations, before);
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
  add(slots[0], "a", true, false, ::dup(pair.near()));
  add(slots[1], "b", true, false, ::dup(other.near()));
  add(slots[2], "c");
  manager.closeAllExcept(slots[1]->fd());
  EXPECT_EQ(::fcntl(slots[0]->fd(), F_GETFD), -1);
  EXPECT_NE(::fcntl(slots[1]->fd(), F_GETFD), -1);
  ::close(slots[1]->fd());
}

}  // namespace
