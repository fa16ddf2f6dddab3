#include "base/plat/thread/Thread.h"

#include <future>

#include "base/plat/Lock.h"
#include "base/plat/Mutex.h"
#include "base/plat/thread/Condition.h"
#include "tests/support/prelude.h"

namespace {

using namespace plat;
using namespace test;

struct Body final : Thread::Runnable {
  explicit Body(std::function<void(Thread&)> f) : body(std::move(f)) {}
  void run(Thread& thread) override { body(thread); }
  std::function<void(Thread&)> body;
};

/// Carries `body` out on two threads, "a" and "b".
void runTwice(std::function<void(Thread&)> body) {
  Body shared(std::move(body));
  Thread a("a", &shared), b("b", &shared);
  a.start();
  b.start();
}

TEST(Mutex, mayBeTakenAgainByItsHolderExcludesOthersAndIsLetGoOfInAWait) {
  Mutex mutex;
  int value = 0;
  runTwice([&](Thread&) {
    for (int i = 0; i < 20'000; ++i) {
      const Lock outer(mutex), inner(mutex);
      ++value;
    }
  });
  EXPECT_EQ(value, 40'000);

  Condition condition(&mutex);
  std::string turns;
  runTwice([&](Thread& self) {
    for (int i = 0; i < 1'000; ++i) {
      const Lock lock(mutex);
      while ((turns.size() % 2 == 0) != (*self.name() == 'a')) {
        condition.wait();
      }
      turns += self.name();
      condition.signal();
    }
  });
  EXPECT_EQ(turns.size(), 2'000U);
  EXPECT_THAT(turns, Not(AnyOf(HasSubstr("aa"), HasSubstr("bb"))));
  EXPECT_DEATH(condition.wait(0),
               "Assertion 'timeoutMs == -1' failed at base/plat/Threading:[0-9]+: Condition timed wait not implemented "
               "yet");
}

TEST(Thread, runsOnceKnowsItselfAndLogsItsLifeAlsoWhenItsBodyThrows) {
  RecordingDest log("Threading:rec:100");
  for (const bool failing : {false, true}) {
    log.clear();
    std::vector<Thread*> seen;
    Body body([&](Thread&) {
      seen.push_back(Thread::current());
      if (failing) {
        throw Exception("out of luck");
      }
    });
    {
      Thread thread("worker", &body);
      thread.start();
      thread.start();
      EXPECT_EQ(thread.join(), &thread);
      EXPECT_EQ(thread.join(), &thread);
      EXPECT_EQ(thread.state(), Thread::Joined);
      EXPECT_THAT(seen, ElementsAre(&thread));
    }
    const auto line = [](const char* event, const char* detail = "") {
      return MatchesRegex(std::string("100 Threading: ") + event + " worker [0-9a-f]+" + detail);
    };
    // "started" may come before or after "join": the two threads log side by side.
    EXPECT_THAT(log.lines(), UnorderedElementsAre(line("created  "), line("started  "), line("join     "),
                                                  failing ? line("failed   ", ": out of luck") : line("stopped  "),
                                                  line("joined   "), line("destroy  "), line("destroyed")));
  }
}

TEST(Thread, hasOneNativeObjectPerForeignThreadAndDestroysItselfWhenDetached) {
  Thread* const own = Thread::current();
  EXPECT_STREQ(own->name(), "Native");
  EXPECT_EQ(own->join(), nullptr);
  EXPECT_EQ(Thread::current(), own);
  std::thread([own] { EXPECT_NE(Thread::current(), own); }).join();

  struct Detached final : Thread {
    Detached() : Thread("detached") {}
    ~Detached() override { gone.set_value(ran); }
    void run() override { ran = true; }
    std::promise<bool> gone;
    bool ran = false;
  };
  auto* const thread = new Detached;
  std::future<bool> end = thread->gone.get_future();
  thread->detach();
  EXPECT_EQ(thread->join(), nullptr);
  thread->start();
  EXPECT_TRUE(end.get());
}

}  // namespace
