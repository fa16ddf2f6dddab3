#include "base/plat/ipc/LogDestIpc.h"

#include "base/io/FdSelectManager.h"
#include "base/plat/log/LogSrc.h"
#include "tests/base/io/MemIo.h"
#include "tests/support/prelude.h"

namespace {

using namespace plat;
using namespace test;

LogSrc testLog("logDestIpcTest");

/// What goes out for a line.
std::string line(std::uint32_t level, const std::string& source, const std::string& text) {
  return namedMsg("logMsg", Body().u32(level).shortText(source).text(text));
}

class LogDestIpcTest : public testing::Test {
protected:
  LogDestIpcTest() {
    attach();
    dest.setIpc(&ipc);
    for (const int level : {-1, INT_MAX}) {  // lets go of what other tests have left in the one instance
      setLevel(level);
    }
    ipc.close(false);
    attach();
    dest.setIpc(&ipc);
  }
  ~LogDestIpcTest() override {
    logOverride("");
    dest.setPrefix(nullptr);
    dest.setIpc(nullptr);
  }

  void attach() { ipc.accept(io = new MemIo(log)); }
  void setLevel(int level) { io->arrive(namedMsg("setLogLevel", Body().u32(static_cast<std::uint32_t>(level)))); }
  /// What one turn of the loop sends.
  std::string turn() {
    manager.processEvents(0);
    return io->sent();
  }

  io::FdSelectManager manager;
  LogDestIpc& dest = LogDestIpc::instance();
  std::shared_ptr<MemIoLog> log = std::make_shared<MemIoLog>();
  io::MsgIpc ipc{nullptr, "test", false, false};
  MemIo* io = nullptr;
};

TEST_F(LogDestIpcTest, linesWaitForTheParentsFirstLevelAndThenForTheLoop) {
  dest.log(200, "source", "one");
  EXPECT_EQ(turn(), "");
  setLevel(200);
  EXPECT_EQ(io->sent(), line(200, "source", "one"));
  for (int i = 0; i < 3; ++i) {
    dest.log(30, "source", "two");
    dest.log(0, "source", "three");
    EXPECT_EQ(io->sent(), "") << "a caller of the log touches no channel";
    io->sink->writes = 0;
    EXPECT_EQ(turn(), line(30, "source", "two") + line(0, "source", "three"));
    EXPECT_EQ(io->sink->writes, 1) << "one flush for all lines";
  }
}

TEST_F(LogDestIpcTest, sourceAndTextAreCutAndOverflowLeavesOneLineThatSaysSo) {
  dest.setPrefix("1234");
  dest.log(30, "src", std::string(2000, 't').c_str());
  dest.log(30, std::string(300, 's').c_str(), "x");
  for (int i = 3; i <= 1100; ++i) {
    dest.log(30, "src", ("line " + std::to_string(i)).c_str());
  }
  setLevel(200);
  EXPECT_THAT(io->sent(), AllOf(StartsWith(line(30, "1234: src", std::string(1024, 't')) +
                                           line(30, "1234: " + std::string(249, 's'), "x")),
                                EndsWith(line(30, "1234: src", "line 1000") +
                                         line(0, "1234: LogDestIpc", "Too many messages, discarding further ones"))));
  dest.log(30, "src", "after");
  EXPECT_EQ(turn(), line(30, "1234: src", "after"));
}

TEST_F(LogDestIpcTest, levelCutAtAnyByteIsTightenedAtTheEntryPointsToo) {
  logStart();
  logOverride("*:ipc:200");
  const std::string bytes = namedMsg("setLogLevel", Body().u32(0));
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    setLevel(INT_MAX);
    io->arrive(bytes.substr(0, cut));
    EXPECT_TRUE(testLog.enabled(LogDebug));
    dest.log(100, "source", "queued before");
    io->arrive(bytes.substr(cut));
    EXPECT_FALSE(testLog.enabled(LogDebug));
    dest.log(1, "source", "above");
    testLog.error("at the level");
    dest.flush();
    EXPECT_EQ(io->sent(), line(0, "logDestIpcTest", "at the level"));
  }
}

TEST_F(LogDestIpcTest, otherThreadsWakeTheLoopAndALineLoggedWhileLinesAreSentWaitsForTheNextTurn) {
  setLevel(200);
  std::thread writer([this] { dest.log(30, "thread", "text"); });
  manager.processEvents(30'000);
  writer.join();
  EXPECT_EQ(io->sent(), line(30, "thread", "text"));

  struct : io::MsgIpc::Callback {
    void msgIpcClosed(io::MsgIpc&) override {}
    bool msgAllowed(io::MsgIpc&, const char*, bool isWrite) override {
      if (isWrite && !std::exchange(logged, true)) {
        LogDestIpc::instance().log(30, "inner", "text");
      }
      return true;
    }
    bool logged = false;
  } callback;
  io::MsgIpc chatty{&callback, "chatty", false, false};
  dest.setIpc(&chatty);
  chatty.accept(io = new MemIo(log));
  setLevel(200);
  dest.log(30, "outer", "text");
  EXPECT_EQ(turn(), line(30, "outer", "text"));
  EXPECT_EQ(turn(), line(30, "inner", "text"));
}

TEST_F(LogDestIpcTest, linesWaitForTheNextConnectionAndForTheLevelOfANewChannelWhichMayGoFirst) {
  setLevel(200);
  ipc.close(false);
  dest.log(30, "source", "text");
  manager.processEvents(0);
  attach();
  dest.log(30, "source", "more");
  EXPECT_EQ(turn(), line(30, "source", "text") + line(30, "source", "more"));

  auto other = std::make_unique<io::MsgIpc>(nullptr, "other", false, false);
  dest.setIpc(other.get());
  setLevel(0);  // the old channel is nobody any more
  dest.log(30, "source", "text");
  dest.flush();
  other->accept(io = new MemIo(log));
  EXPECT_EQ(io->sent(), "");
  setLevel(200);
  EXPECT_EQ(io->sent(), line(30, "source", "text"));
  other.reset();
  dest.log(30, "source", "text");
  EXPECT_NO_THROW(dest.flush());
}

}  // namespace
