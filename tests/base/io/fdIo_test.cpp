#include "base/io/FdIo.h"

#include "base/io/FdSelectManager.h"
#include "base/io/IoHandler.h"
#include "base/plat/config/Configuration.h"
#include "tests/base/io/FdPair.h"
#include "tests/support/prelude.h"

namespace {

using namespace testing;
using io::FdIo;
using plat::AssertionFail;
using test::messageFrom;

using Events = std::vector<std::string>;

/// A connection that tells of its death.
class TestIo final : public FdIo {
public:
  TestIo(int fd, Events& events, bool isConnecting = false) : FdIo(fd, true, isConnecting), events_(events) {}
  ~TestIo() override { events_.emplace_back("deleted"); }
  using FdIo::attach;

private:
  Events& events_;
};

/// Writes the calls of the handler down, then does what the test wants.
class FdIoTest : public Test, public io::IoHandler {
protected:
  void ioReadable(io::Io& io) override { note("readable", io); }
  void ioWritable(io::Io& io) override { note("writable", io); }
  void ioClosed(io::Io& io) override { note("closed", io); }
  void note(const char* what, io::Io& io) {
    events.emplace_back(what);
    if (const auto action = on.find(what); action != on.end()) {
      action->second(io);
    }
  }

  /// A connection with its handler, its first ioWritable behind it.
  TestIo* attached(test::FdPair& ends) {
    auto* const io = new TestIo(ends.takeNear(), events);
    io->setHandler(this, true);
    turn();
    return io;
  }

  /// What happens in so many turns alone.
  Events turn(int count = 1) {
    events.clear();
    for (int i = 0; i < count; ++i) {
      manager->processEvents(0);
    }
    return events;
  }
  static void write(io::Io& io, std::string_view bytes) {
    test::put(*io.out(), bytes);
    io.out()->flush();
  }
  /// Turns until the buffer is empty. @return what has arrived at the far end by then.
  std::string drain(io::Io& io) {
    std::string got;
    while (io.out()->nPending() > 0) {
      got += pair.receive();
      EXPECT_FALSE(pair.farEnded());
      turn();
    }
    return got + pair.receive();
  }

  test::ManualClock clock;
  test::RecordingDest log{"FdIo:rec:100"};
  test::FdPair pair;
  Events events;
  std::map<std::string, std::function<void(io::Io&)>> on;
  // Goes first: connections that are shutting down die with it, and tell so.
  std::unique_ptr<io::FdSelectManager> manager = std::make_unique<io::FdSelectManager>();
};

const std::string Much(4 << 20, 'm');  // more than any socket takes at once

TEST_F(FdIoTest, aNewHandlerHearsOnceThatItMayWriteAndOfWhatIsUnreadAndWhenAConnectingOneIsWritable) {
  TestIo io(pair.takeNear(), events);
  pair.send("abc");
  EXPECT_EQ(io.in()->readU8(), 'a');
  io.in()->checkpoint();
  io.setHandler(this, true);
  EXPECT_THAT(turn(), ElementsAre("readable", "writable"));
  EXPECT_THAT(turn(), IsEmpty()) << "the window's bytes are told of once";
  io.markReadable();
  EXPECT_THAT(turn(), ElementsAre("readable"));
  EXPECT_EQ(io.in()->readU16(), 0x6263);
  io.in()->checkpoint();
  io.setHandler(this, false);
  pair.send("d");
  EXPECT_THAT(turn(), ElementsAre("writable")) << "without interest in input";

  test::FdPair full;
  TestIo connecting(full.takeNear(), events, true);
  while (::write(connecting.fd(), Much.data(), Much.size()) > 0) {
  }
  connecting.setHandler(this, true);
  EXPECT_THAT(turn(), IsEmpty());
  full.receive();
  EXPECT_THAT(turn(), ElementsAre("writable"));
  EXPECT_THAT(turn(), IsEmpty()) << "the interest is one-shot";
}

TEST_F(FdIoTest, streamsWaitUnlessThereIsAHandler) {
  TestIo io(pair.takeNear(), events);
  io.setTimeout(0);
  EXPECT_THROW(io.in()->readU8(), plat::TimedOut);
  EXPECT_THROW(write(io, Much), plat::TimedOut);
  io.setHandler(this, true);
  EXPECT_THROW(io.in()->readU8(), rdr::BlockException);
  write(io, Much);
  io.setHandler(nullptr, true);
  EXPECT_THAT(log.lines(), Contains("0 FdIo: setHandler: [TimedOut] Timed out")) << "it waited for the rest to go";
  EXPECT_THROW(io.in()->readU8(), plat::TimedOut);
  clock.advanceMs(60000);
  EXPECT_THAT(turn(), IsEmpty());
  io.setHandler(this, true);  // it changes hands
  drain(io);
  EXPECT_THAT(turn(), ElementsAre("writable"));
}

TEST_F(FdIoTest, whatTheHandlerLetsOutEndsTheConnectionUnlessItIsOnlyABlock) {
  TestIo* io = attached(pair);
  on["readable"] = [](io::Io& c) { EXPECT_EQ(c.in()->readU16(), 0x6162); };
  for (const char* half : {"a", "b"}) {
    pair.send(half);
    EXPECT_THAT(turn(), ElementsAre("readable"));
  }
  pair.closeFar();
  EXPECT_THAT(turn(2), ElementsAre("readable", "closed", "deleted"));
  EXPECT_THAT(log.lines(), ElementsAre("30 FdIo: Read error: End of IO stream",
                                       MatchesRegex("100 FdIo: shutdown 0x.* .fd=.*, flush false .tellHandler true."),
                                       StartsWith("100 FdIo: shutdown complete 0x")));
  test::FdPair writer, leaver;
  io = attached(writer);
  on["writable"] = [](io::Io&) { throw plat::Exception("enough"); };
  write(*io, "x");
  EXPECT_THAT(turn(2), ElementsAre("writable", "closed", "deleted"));
  EXPECT_THAT(log.lines(), Contains("30 FdIo: Write error: enough"));
  on.clear();
  io = attached(leaver);
  io->setHandler(this, false);
  write(*io, Much);
  leaver.closeFar();
  EXPECT_THAT(turn(2), ElementsAre("closed", "deleted"));
  EXPECT_THAT(log.lines(), Contains(HasSubstr("Write error: write: ")));
}

TEST_F(FdIoTest, aPeerThatTakesNothingForTheSetTimeIsAReadError) {
  on["readable"] = [](io::Io& connection) { connection.in()->readU8(); };
  for (const auto& [seconds, ms] : {std::pair("2147483", 2147483000LL), {"2147484", 2147483647LL}, {"60", 60000LL}}) {
    SCOPED_TRACE(seconds);
    test::FdPair silent;
    ASSERT_TRUE(plat::Configuration::global().set("LazyFlushTimeout", seconds, 10));
    write(*attached(silent), Much);
    turn();  // tries again and finds no room
    clock.advanceTicks((ms - 1) * plat::TicksPerMs);
    EXPECT_THAT(turn(), IsEmpty());
    clock.advanceMs(1);
    EXPECT_THAT(turn(2), ElementsAre("readable", "closed", "deleted"));
    EXPECT_THAT(log.lines(), Contains("30 FdIo: Read error: Timed out"));
    log.clear();
  }
  TestIo* const slow = attached(pair);  // takes a little now and then
  write(*slow, Much);
  for (int i = 0; i < 3; ++i) {
    turn();
    clock.advanceMs(59999);
    turn();
    pair.receive();
    turn();
  }
  drain(*slow);
  clock.advanceMs(60000);
  turn();
  EXPECT_THAT(log.lines(), Not(Contains("100 FdIo: flush timer")));
  slow->shutdown(false, false);
}

TEST_F(FdIoTest, shutdownEndsInALaterTurnAndHearsOfNoFailure) {
  on["closed"] = [](io::Io& io) {
    io.setHandler(nullptr, true);
    throw plat::Exception("too late");
  };
  for (const auto& [flush, tell] : {std::pair(false, false), {false, true}, {true, false}, {true, true}}) {
    SCOPED_TRACE(Message() << "flush " << flush << ", tell " << tell);
    log.clear();
    test::FdPair other;
    TestIo* const io = attached(other);
    write(*io, "now");
    io->shutdown(flush, tell);
    io->markReadable();
    EXPECT_EQ(turn(flush ? 2 : 1), tell ? Events({"closed", "deleted"}) : Events({"deleted"}));
    EXPECT_EQ(other.receive(), "now");
    EXPECT_TRUE(other.farEnded());
    EXPECT_THAT(log.lines(), Contains("30 FdIo: Shutdown error: too late").Times(tell ? 1 : 0));
  }
}

TEST_F(FdIoTest, aFlushAtTheEndGivesUpOnAStalledPeerIfThereIsSomebodyToTell) {
  for (const bool tell : {true, false}) {
    test::FdPair stalled;
    TestIo* const io = attached(stalled);
    write(*io, Much);
    io->shutdown(true, tell);
    turn(2);
    clock.advanceMs(59999);
    EXPECT_THAT(turn(2), IsEmpty());
    clock.advanceMs(1);
    if (tell) {
      EXPECT_THAT(turn(2), ElementsAre("closed", "deleted"));
      EXPECT_LT(stalled.receive().size(), Much.size());
      EXPECT_TRUE(stalled.farEnded());
    } else {
      EXPECT_THAT(messageFrom<AssertionFail>([this] { turn(); }), HasSubstr("'handler'"));
    }
  }
}

TEST_F(FdIoTest, aHalfCloseWaitsForTheBufferAndLeavesTheInputOpenAndAHandlerMayDestroyTheConnection) {
  TestIo* const io = attached(pair);
  write(*io, Much);
  io->out()->closeWrite();
  EXPECT_EQ(drain(*io), Much);
  EXPECT_THAT(turn(), IsEmpty()) << "a closing writer is not asked for more";
  EXPECT_TRUE(pair.farEnded());
  pair.send("x");
  EXPECT_THAT(turn(), ElementsAre("readable"));
  EXPECT_EQ(io->in()->readU8(), 'x');
  on["readable"] = [](io::Io& connection) { delete &connection; };
  pair.send("x");
  EXPECT_THAT(turn(2), ElementsAre("readable", "deleted"));
}

TEST_F(FdIoTest, theManagersEndCompletesAShutdownAndOtherwiseOnlyLetsGo) {
  TestIo* io = attached(pair);
  events.clear();
  manager = nullptr;
  EXPECT_THAT(events, IsEmpty());
  EXPECT_THAT(messageFrom<AssertionFail>([&] { io->setHandler(this, true); }), HasSubstr("'fdMgr'"));
  manager = std::make_unique<io::FdSelectManager>();
  io->setHandler(this, true);
  pair.send("x");
  EXPECT_THAT(turn(), ElementsAre("readable", "writable")) << "another manager takes over";
  io->shutdown(true, true);
  manager = nullptr;
  EXPECT_THAT(events, ElementsAre("readable", "writable", "closed", "deleted"));
  EXPECT_THAT(log.lines(), Contains(HasSubstr("shutdown completed by FdManager dtor 0x")));

  test::FdPair other;
  io = new TestIo(other.takeNear(), events);
  EXPECT_THAT(messageFrom<AssertionFail>([&] { io->shutdown(false, true); }), HasSubstr("'!tellHandler'"));
  io->shutdown(false, false);
  EXPECT_EQ(events.size(), 5U) << "without a manager it ends at once";
}

TEST_F(FdIoTest, tellsTheSocketsErrorAndClosesOnlyWhatItOwns) {
  int pipeFds[2];
  ASSERT_EQ(::pipe2(pipeFds, O_CLOEXEC), 0);
  {
    TestIo late(-1, events);
    late.attach(pipeFds[0]);
    EXPECT_THAT(messageFrom<AssertionFail>([&] { late.attach(pipeFds[1]); }), HasSubstr("'fd < 0'"));
    EXPECT_THAT(messageFrom([&] { late.socketError(); }), StartsWith("getsockopt: ")) << "no socket";
    const FdIo borrowed(pipeFds[1], false, false);
  }
  EXPECT_EQ(::fcntl(pipeFds[0], F_GETFD), -1) << "owned";
  EXPECT_EQ(::close(pipeFds[1]), 0) << "not owned";
}

}  // namespace
