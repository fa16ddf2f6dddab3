#include "base/io/Ipc.h"

#include "base/rdr/MemInStream.h"
#include "tests/base/io/MemIo.h"
#include "tests/support/prelude.h"

namespace {

using namespace test;
using io::Ipc;

std::string writtenFlags(const io::Io& io) {
  rdr::MemOutStream out;
  io.writeFlags(out);
  return contents(out);
}

TEST(Io, flagsCrossALinkInOrderOfTheirBytes) {
  MemIo io(std::make_shared<MemIoLog>()), other(std::make_shared<MemIoLog>());
  EXPECT_EQ(writtenFlags(io), std::string(1, '\0'));
  io.flags() = {"b\xff", "", "secureTransport"};
  const std::string bytes = writtenFlags(io);
  EXPECT_EQ(bytes, std::string("\3\0\2b\xff\17secureTransport", 21));
  other.flags().insert("own");
  rdr::MemInStream in(bytes.data(), static_cast<int>(bytes.size()));
  other.readFlags(in);
  EXPECT_THAT(other.flags(), ElementsAre("", "b\xef\xbf\xbd", "own", "secureTransport")) << "added, and repaired";
  EXPECT_TRUE(in.atEnd());
  while (io.flags().size() < 255) {
    io.flags().insert(std::to_string(io.flags().size()));
  }
  EXPECT_EQ(writtenFlags(io)[0], '\xff');
  io.flags().insert("one more");
  EXPECT_THAT(messageFrom([&] { writtenFlags(io); }), HasSubstr("'flags.size() < 256'"));
  EXPECT_THAT(messageFrom([&] { io.Io::markReadable(); }), HasSubstr("not implemented for this Io'"));
}

class IpcTest : public Test, public Ipc::Callback {
protected:
  void ipcReadable(Ipc& link) override { onReadable(link); }
  void ipcClosed(Ipc& link) override {
    EXPECT_FALSE(link.attached());
    events.emplace_back("closed");
  }
  void ipcError(Ipc& link, const plat::Exception& error) override {
    events.emplace_back(error.message);
    onError(link);
  }
  MemIo* attach() {
    auto* const io = new MemIo(log);
    ipc.accept(io);
    return io;
  }

  std::shared_ptr<MemIoLog> log = std::make_shared<MemIoLog>();
  std::function<void(Ipc&)> onReadable, onError;
  std::vector<std::string> events;
  Ipc ipc{"test", this, false};
};

TEST_F(IpcTest, outputIsThereWithAndWithoutAConnection) {
  for (int i = 0; i < 1000; ++i) {  // more than the null stream's buffer
    ipc.out()->writeU32(0x6c6f7374);
  }
  for (const bool flush : {true, false}) {
    MemIo* const io = attach();
    EXPECT_TRUE(io->fed->rewindable());
    ipc.setBlocking(true);
    EXPECT_FALSE(io->fed->rewindable());
    ipc.setBlocking(false);
    ipc.setFlushOnClose(flush);
    ipc.out()->writeU8('x');
    ipc.close();
    EXPECT_EQ(log->sent, flush ? "x" : "");
  }
  MemIo* const failing = attach();
  failing->out()->writeU8('x');
  failing->sink->failing = true;
  ipc.setFlushOnClose(true);
  log->events.clear();
  EXPECT_NO_THROW(ipc.close());
  EXPECT_THAT(log->events, ElementsAre("no handler", "shutdown", "gone")) << "a flush that fails keeps no link open";
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(IpcTest, aFailingReaderOrTheConnectionItselfEndsTheLinkOnceAndASecondConnectionIsFatal) {
  for (const bool closesItself : {false, true}) {
    MemIo* const io = attach();
    onReadable = [](Ipc&) { throw rdr::BlockException(); };
    io->report();
    EXPECT_TRUE(ipc.attached());
    onReadable = [](Ipc&) { throw plat::Exception("bad bytes"); };
    onError = [closesItself](Ipc& link) {
      link.out()->writeU8('!');  // the last words can still go out
      link.out()->flush();
      if (closesItself) {
        link.close();
      }
      throw plat::Exception("swallowed");
    };
    EXPECT_NO_THROW(io->report());
    EXPECT_EQ(log->sent, "!");
    EXPECT_THAT(log->events, ElementsAre("handler", "no handler", "shutdown", "gone"));
    log->events.clear();
  }
  EXPECT_THAT(std::exchange(events, {}), ElementsAre("bad bytes", "closed", "bad bytes"));

  const std::unique_ptr<MemIo> ended(attach());  // its own shutdown is under way, and deletes it later
  ended->end();
  EXPECT_THAT(events, ElementsAre("closed"));
  EXPECT_THAT(log->events, ElementsAre("handler", "no handler"));
  EXPECT_DEATH(attach() && attach(), "Assertion '!io' failed at base/io/Ipc:30");
}

}  // namespace
