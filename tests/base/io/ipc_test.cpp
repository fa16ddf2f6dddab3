#include "base/io/Ipc.h"

#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/rdr/BlockException.h"
#include "tests/base/io/MemIo.h"

namespace {

using io::Ipc;
using test::MemIo;
using test::MemIoLog;
using testing::ElementsAre;
using testing::IsEmpty;

class RecordingCallback : public Ipc::Callback {
public:
  void ipcReadable(Ipc& ipc) override {
    if (onReadable) {
      onReadable(ipc);
    }
  }
  void ipcClosed(Ipc& ipc) override {
    EXPECT_FALSE(ipc.attached());
    events.emplace_back("closed");
  }
  void ipcError(Ipc& ipc, const plat::Exception& error) override {
    events.emplace_back(error.message);
    if (onError) {
      onError(ipc);
    }
  }

  std::function<void(Ipc&)> onReadable;
  std::function<void(Ipc&)> onError;
  std::vector<std::string> events;
};

class IpcTest : public testing::Test {
protected:
  MemIo* attach(Ipc& ipc) {
    auto* const io = new MemIo(log);
    ipc.accept(io);
    return io;
  }

  std::shared_ptr<MemIoLog> log = std::make_shared<MemIoLog>();
  RecordingCallback callback;
};

TEST_F(IpcTest, outputIsThereWithAndWithoutAConnection) {
  Ipc ipc("test", &callback, false);
  const auto writeAndFlush = [&ipc] {
    ipc.out()->writeU32(0x61626364);
    ipc.out()->flush();
  };
  writeAndFlush();
  MemIo* io = attach(ipc);
  EXPECT_EQ(ipc.out(), io->out());
  EXPECT_EQ(ipc.in(), io->in());
  writeAndFlush();
  EXPECT_EQ(io->sent(), "abcd");
  ipc.close();
  EXPECT_EQ(ipc.in(), nullptr);
  for (int i = 0; i < 1000; ++i) {  // more than the null stream's buffer
    writeAndFlush();
  }
  io = attach(ipc);
  writeAndFlush();
  EXPECT_EQ(io->sent(), "abcd");
}

TEST_F(IpcTest, modeDecidesOnHandlerAndRewinding) {
  Ipc ipc("test", &callback, false);
  const MemIo* const io = attach(ipc);
  EXPECT_TRUE(io->fed->rewindable());
  ipc.setBlocking(true);
  EXPECT_FALSE(io->fed->rewindable());
  ipc.setBlocking(false);
  EXPECT_TRUE(io->fed->rewindable());
  EXPECT_THAT(log->events, ElementsAre("handler", "no handler", "handler"));

  log->events.clear();
  Ipc blocking("test", &callback, true);
  EXPECT_FALSE(attach(blocking)->fed->rewindable());
  EXPECT_THAT(log->events, ElementsAre("no handler"));
}

TEST_F(IpcTest, failingReaderEndsTheLinkOnce) {
  Ipc ipc("test", &callback, false);
  MemIo* const io = attach(ipc);
  callback.onReadable = [](Ipc&) { throw rdr::BlockException(); };
  io->report();
  EXPECT_TRUE(ipc.attached());
  EXPECT_THAT(callback.events, IsEmpty());

  callback.onReadable = [](Ipc&) { throw plat::Exception("bad bytes"); };
  callback.onError = [](Ipc& link) {
    ASSERT_TRUE(link.attached());  // the last words can still go out
    link.out()->writeU8('!');
    link.out()->flush();
  };
  io->report();
  EXPECT_THAT(callback.events, ElementsAre("bad bytes", "closed"));
  EXPECT_THAT(log->events, ElementsAre("handler", "no handler", "shutdown", "gone"));
  EXPECT_EQ(log->sent, "!");
}

TEST_F(IpcTest, callbackThatClosesOnErrorHearsOfNoFurtherEnd) {
  Ipc ipc("test", &callback, false);
  MemIo* const io = attach(ipc);
  callback.onReadable = [](Ipc&) { throw plat::Exception("bad bytes"); };
  callback.onError = [](Ipc& link) { link.close(); };
  io->report();
  EXPECT_THAT(callback.events, ElementsAre("bad bytes"));
  EXPECT_FALSE(ipc.attached());
}

TEST_F(IpcTest, endOfTheConnectionIsNotAnsweredByAShutdown) {
  Ipc ipc("test", &callback, false);
  const std::unique_ptr<MemIo> io(attach(ipc));  // its own shutdown is under way, and deletes it later
  io->end();
  EXPECT_THAT(callback.events, ElementsAre("closed"));
  EXPECT_THAT(log->events, ElementsAre("handler", "no handler"));
}

TEST_F(IpcTest, detachGivesTheLiveConnectionAway) {
  Ipc ipc("test", &callback, false);
  MemIo* const io = attach(ipc);
  const std::unique_ptr<io::Io> detached = ipc.detach();
  EXPECT_EQ(detached.get(), io);
  EXPECT_FALSE(ipc.attached());
  EXPECT_THAT(log->events, ElementsAre("handler", "no handler"));
  EXPECT_EQ(ipc.detach(), nullptr);
  EXPECT_THAT(callback.events, IsEmpty());
}

TEST_F(IpcTest, closeFlushesOnlyIfAskedTo) {
  for (const bool flush : {false, true}) {
    Ipc ipc("test", &callback, false);
    ipc.setFlushOnClose(flush);
    attach(ipc)->out()->writeU8('x');
    ipc.close();
    EXPECT_EQ(log->sent, flush ? "x" : "");
  }
  EXPECT_THAT(callback.events, IsEmpty());
}

TEST_F(IpcTest, failingFlushDoesNotKeepTheLinkOpen) {
  struct FailingSink final : rdr::BufferedLazyOutStream {
    using BufferedLazyOutStream::BufferedLazyOutStream;
    int writeFromBuffer(const std::uint8_t*, int, bool) override { throw plat::Exception("no more"); }
  };
  struct FailingIo final : io::Io {
    explicit FailingIo(bool& isGone) : gone(isGone) {
      in_ = std::make_unique<test::FedInStream>();
      out_ = std::make_unique<FailingSink>(-1, -1);
    }
    ~FailingIo() override { gone = true; }
    void setHandler(io::IoHandler*, bool) override {}
    void shutdown(bool, bool) override { delete this; }
    const char* displayName() override { return ""; }
    plat::String peerEndpoint() override { return ""; }
    plat::String peerAddress() override { return ""; }
    plat::String myEndpoint() override { return ""; }
    void setTimeout(int) override {}
    bool& gone;
  };
  bool gone = false;
  Ipc ipc("test", &callback, false);
  ipc.setFlushOnClose(true);
  ipc.accept(new FailingIo(gone));
  ipc.out()->writeU8('x');
  EXPECT_NO_THROW(ipc.close());
  EXPECT_TRUE(gone);
}

TEST_F(IpcTest, destructorEndsTheConnection) {
  {
    Ipc ipc("test", &callback, false);
    attach(ipc);
  }
  EXPECT_THAT(log->events, ElementsAre("handler", "no handler", "shutdown", "gone"));
  EXPECT_THAT(callback.events, IsEmpty());
}

using IpcDeathTest = IpcTest;

TEST_F(IpcDeathTest, secondConnectionIsFatal) {
  EXPECT_DEATH(
      {
        Ipc ipc("test", &callback, false);
        attach(ipc);
        attach(ipc);
      },
      "Assertion '!io' failed at base/io/Ipc:30");
}

}  // namespace
