#include "base/plat/thread/Thread.h"

#include <atomic>
#include <string>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/plat/Exception.h"
#include "base/plat/Lock.h"
#include "base/plat/Mutex.h"
#include "base/plat/thread/Condition.h"
#include "tests/support/RecordingDest.h"

namespace {

using plat::Thread;
using testing::MatchesRegex;

template <class F>
struct RunF final : Thread::Runnable {
  F body;
  explicit RunF(F f) : body(std::move(f)) {}
  void run(Thread& thread) override { body(thread); }
};

TEST(Mutex, mayBeTakenAgainByItsHolderAndExcludesOthers) {
  plat::Mutex mutex;
  int value = 0;
  RunF add([&](Thread&) {
    for (int i = 0; i < 20'000; ++i) {
      const plat::Lock outer(mutex), inner(mutex);
      ++value;
    }
  });
  Thread a("a", &add), b("b", &add);
  a.start();
  b.start();
  a.join();
  b.join();
  EXPECT_EQ(value, 40'000);
}

TEST(Condition, letsGoOfTheMutexInAWaitAndHoldsItAgainBehindIt) {
  plat::Mutex mutex;
  plat::Condition condition(&mutex);
  std::string turns;
  RunF play([&](Thread& self) {
    for (int i = 0; i < 1'000; ++i) {
      const plat::Lock lock(mutex);
      while ((turns.size() % 2 == 0) != (*self.name() == 'a')) {
        condition.wait();
      }
      turns += self.name();
      condition.signal();
    }
  });
  Thread a("a", &play), b("b", &play);
  a.start();
  b.start();
  a.join();
  b.join();
  std::string expected;
  while (expected.size() < 2'000) {
    expected += "ab";
  }
  EXPECT_EQ(turns, expected);
}

TEST(ConditionDeathTest, hasNoTimedWait) {
  plat::Mutex mutex;
  plat::Condition condition(&mutex);
  const plat::Lock lock(mutex);
  EXPECT_DEATH(condition.wait(0),
               "Assertion 'timeoutMs == -1' failed at base/plat/Threading:[0-9]+: Condition timed wait not implemented "
               "yet");
}

TEST(Thread, runsOnceKnowsItselfAndLogsItsLife) {
  test::RecordingDest log("Threading:rec:100");
  Thread* seen = nullptr;
  int runs = 0;
  RunF body([&](Thread&) {
    seen = Thread::current();
    ++runs;
  });
  {
    Thread thread("worker", &body);
    thread.start();
    thread.start();
    EXPECT_EQ(thread.join(), &thread);
    EXPECT_EQ(thread.join(), &thread);
    EXPECT_EQ(thread.state(), Thread::Joined);
    EXPECT_TRUE(seen == &thread && runs == 1);
  }
  // "started" may come before or after "join": the two threads log side by side.
  const auto line = [](const char* event) {
    return MatchesRegex(std::string("100 Threading: ") + event + " worker [0-9a-f]+");
  };
  EXPECT_THAT(log.lines(),
              testing::UnorderedElementsAre(line("created  "), line("started  "), line("join     "), line("stopped  "),
                                            line("joined   "), line("destroy  "), line("destroyed")));
}

TEST(Thread, endsWithALogLineWhenItsBodyThrows) {
  test::RecordingDest log("Threading:rec:100");
  RunF body([](Thread&) { throw plat::Exception("out of luck"); });
  Thread thread("doomed", &body);
  thread.start();
  thread.join();
  EXPECT_THAT(log.lines(), testing::Contains(MatchesRegex(".* failed    doomed [0-9a-f]+: out of luck")));
  EXPECT_THAT(log.lines(), testing::Not(testing::Contains(testing::HasSubstr("stopped"))));
}

TEST(Thread, hasOneNativeObjectPerForeignThread) {
  Thread* const own = Thread::current();
  EXPECT_STREQ(own->name(), "Native");
  EXPECT_EQ(own->join(), nullptr);
  EXPECT_EQ(Thread::current(), own);
  std::thread([own] { EXPECT_NE(Thread::current(), own); }).join();
}

TEST(Thread, destroysItselfWhenDetached) {
  struct Detached final : Thread {
    std::atomic<int>& state;
    explicit Detached(std::atomic<int>& s) : Thread("detached"), state(s) {}
    ~Detached() override { state = 2; }
    void run() override { state = 1; }
  };
  std::atomic<int> state{0};
  auto* const thread = new Detached(state);
  thread->detach();
  EXPECT_EQ(thread->join(), nullptr);
  thread->start();
  for (int i = 0; i < 5'000 && state != 2; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(state, 2);
}

}  // namespace
