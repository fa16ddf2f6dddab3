#include "base/plat/ipc/LogDestIpc.h"

#include <climits>
#include <functional>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/io/FdSelectManager.h"
#include "base/plat/LogSrc.h"
#include "base/plat/logging.h"
#include "base/rdr/InStreamV4.h"
#include "base/rdr/MemInStream.h"
#include "tests/base/io/MemIo.h"

namespace {

using plat::LogDestIpc;
using test::MemIo;
using test::MemIoLog;
using test::namedMsg;
using test::u32;
using testing::ElementsAre;
using testing::IsEmpty;

plat::LogSrc testLog("logDestIpcTest");

struct Callback : io::MsgIpc::Callback {
  void msgIpcClosed(io::MsgIpc&) override {}
  bool msgAllowed(io::MsgIpc&, const char*, bool isWrite) override {
    if (isWrite && onWrite) {
      onWrite();
    }
    return true;
  }
  std::function<void()> onWrite;
};

class LogDestIpcTest : public testing::Test {
protected:
  LogDestIpcTest() {
    // Lets go of what other tests have left in the one instance.
    attach();
    dest.setIpc(&ipc);
    setLevel(-1);
    setLevel(INT_MAX);
    ipc.close(false);
    attach();
    dest.setIpc(&ipc);
  }
  ~LogDestIpcTest() override {
    plat::logOverride("");
    dest.setPrefix(nullptr);
    dest.setIpc(nullptr);
  }

  void attach() {
    io = new MemIo(log);
    ipc.accept(io);
  }
  void setLevel(std::int32_t level) { io->arrive(namedMsg("setLogLevel", u32(static_cast<std::uint32_t>(level)))); }

  /// The lines that have gone out, as "<level> <source>: <text>".
  std::vector<std::string> lines() {
    const std::string bytes = io->sent();
    rdr::MemInStream link(bytes.data(), static_cast<int>(bytes.size()));
    rdr::InStreamV4 in(&link);
    std::vector<std::string> found;
    while (!link.atEnd()) {
      in.startMsg(true);
      EXPECT_STREQ(in.readShortString(false).get(), "logMsg");
      const std::int32_t level = in.readS32();
      const plat::String source = in.readShortString(false);
      const plat::String text = in.readString(LogDestIpc::MaxTextLength, false);
      in.endMsg();
      found.push_back(std::to_string(level) + " " + source.orEmpty() + ": " + text.orEmpty());
    }
    return found;
  }

  /// What one turn of the loop sends.
  std::vector<std::string> turn() {
    manager.processEvents(0);
    return lines();
  }

  io::FdSelectManager manager;
  LogDestIpc& dest = LogDestIpc::instance();
  std::shared_ptr<MemIoLog> log = std::make_shared<MemIoLog>();
  Callback callback;
  io::MsgIpc ipc{&callback, "test", false, false};
  MemIo* io = nullptr;
};

TEST_F(LogDestIpcTest, linesWaitForTheParentsFirstLevelAndThenForTheLoop) {
  dest.log(200, "source", "one");
  EXPECT_THAT(turn(), IsEmpty());
  setLevel(200);
  EXPECT_THAT(lines(), ElementsAre("200 source: one"));
  for (int i = 0; i < 3; ++i) {
    dest.log(30, "source", "two");
    dest.log(0, "source", "three");
    EXPECT_THAT(lines(), IsEmpty()) << "a caller of the log touches no channel";
    io->sink->writes = 0;
    EXPECT_THAT(turn(), ElementsAre("30 source: two", "0 source: three"));
    EXPECT_EQ(io->sink->writes, 1) << "one flush for all lines";
  }
}

TEST_F(LogDestIpcTest, recordIsLevelSourceAndTextEachCut) {
  setLevel(200);
  dest.log(30, "src", "text");
  dest.flush();
  EXPECT_EQ(io->sent(), namedMsg("logMsg", u32(30) + "\x03src" + u32(4) + "text"));
  dest.setPrefix("1234");
  dest.log(30, "src", std::string(2000, 't').c_str());
  dest.log(30, std::string(300, 's').c_str(), "x");
  dest.flush();
  EXPECT_THAT(lines(),
              ElementsAre("30 1234: src: " + std::string(1024, 't'), "30 1234: " + std::string(249, 's') + ": x"));
}

TEST_F(LogDestIpcTest, overflowLeavesOneLineThatSaysSo) {
  for (int i = 0; i < 1100; ++i) {
    dest.log(30, "source", std::to_string(i).c_str());
  }
  setLevel(200);
  const std::vector<std::string> sent = lines();
  ASSERT_EQ(sent.size(), 1001U);
  EXPECT_EQ(sent[999], "30 source: 999");
  EXPECT_EQ(sent.back(), "0 LogDestIpc: Too many messages, discarding further ones");
  dest.log(30, "source", "after");
  EXPECT_THAT(turn(), ElementsAre("30 source: after"));
}

TEST_F(LogDestIpcTest, levelCutAtAnyByteIsTightenedAtTheEntryPointsToo) {
  plat::logStart();
  plat::logOverride("*:ipc:200");
  const std::string bytes = namedMsg("setLogLevel", u32(0));
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    setLevel(INT_MAX);
    io->arrive(bytes.substr(0, cut));
    EXPECT_TRUE(testLog.enabled(plat::LogDebug));
    dest.log(100, "source", "queued before");
    io->arrive(bytes.substr(cut));
    EXPECT_FALSE(testLog.enabled(plat::LogDebug));
    dest.log(1, "source", "above");
    testLog.error("at the level");
    dest.flush();
    EXPECT_THAT(lines(), ElementsAre("0 logDestIpcTest: at the level"));
  }
}

TEST_F(LogDestIpcTest, otherThreadsWakeTheLoop) {
  setLevel(200);
  std::thread writer([this] {
    for (int i = 0; i < 500; ++i) {
      dest.log(30, "thread", "text");
    }
  });
  std::size_t count = 0;
  for (int turns = 0; count < 500 && turns < 1000; ++turns) {
    manager.processEvents(1000);
    count += lines().size();
  }
  writer.join();
  EXPECT_EQ(count, 500U);
}

TEST_F(LogDestIpcTest, lineLoggedWhileLinesAreSentWaitsForTheNextTurn) {
  setLevel(200);
  int logged = 0;
  callback.onWrite = [&] {
    if (logged++ == 0) {
      dest.log(30, "inner", "text");
    }
  };
  dest.log(30, "outer", "text");
  EXPECT_THAT(turn(), ElementsAre("30 outer: text"));
  EXPECT_THAT(turn(), ElementsAre("30 inner: text"));
}

TEST_F(LogDestIpcTest, linesWaitForTheNextConnection) {
  setLevel(200);
  ipc.close(false);
  dest.log(30, "source", "text");
  manager.processEvents(0);
  attach();
  dest.log(30, "source", "more");
  EXPECT_THAT(turn(), ElementsAre("30 source: text", "30 source: more"));
}

TEST_F(LogDestIpcTest, newChannelHasToSetItsOwnLevelAndMayGoFirst) {
  setLevel(200);
  auto other = std::make_unique<io::MsgIpc>(nullptr, "other", false, false);
  dest.setIpc(other.get());
  setLevel(0);  // the old channel is nobody any more
  dest.log(30, "source", "text");
  dest.flush();
  io = new MemIo(log);
  other->accept(io);
  EXPECT_THAT(lines(), IsEmpty());
  setLevel(200);
  EXPECT_THAT(lines(), ElementsAre("30 source: text"));
  other.reset();
  dest.log(30, "source", "text");
  EXPECT_NO_THROW(dest.flush());
}

}  // namespace
