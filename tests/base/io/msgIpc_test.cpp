#include "base/io/MsgIpc.h"

#include "base/io/FdIo.h"
#include "tests/base/io/FdPair.h"
#include "tests/base/io/MemIo.h"
#include "tests/support/prelude.h"

namespace {

using namespace test;
using io::MsgIpc;

/// Takes each message as a U32 length and that many bytes of text, or does what the test says.
struct RecordingReader : MsgIpc::Reader {
  bool readMsg(const char* name, rdr::InStream& in, MsgIpc& ipc) override {
    if (act) {
      return act(in, ipc);
    }
    messages.push_back(std::string(name) + "=" + in.readString(100000, true).orEmpty());
    return true;
  }
  void connectionChanged(MsgIpc& ipc) override { changes.push_back(ipc.attached()); }
  void msgIpcGone(MsgIpc&) override { ++gone; }

  std::function<bool(rdr::InStream&, MsgIpc&)> act;
  std::vector<std::string> messages;
  std::vector<bool> changes;
  int gone = 0;
};

/// @param rest what the reader leaves of the message.
std::string textMsg(std::string_view name, std::string_view text, std::string_view rest = "", int maxPayload = 32766) {
  return namedMsg(name, Body().text(text).raw(rest), maxPayload);
}

class MsgIpcTest : public Test, public MsgIpc::Callback {
protected:
  explicit MsgIpcTest(bool blocking = false) : ipc(this, "test", blocking, true) {
    accept();
    ipc.setReader("fops", &reader);
    ipc.setReader("other", &reader);
  }
  void msgIpcClosed(MsgIpc&) override { events.emplace_back("closed"); }
  bool msgAllowed(MsgIpc&, const char* name, bool isWrite) override {
    return std::string(isWrite ? "out " : "in ") + name != forbidden;
  }
  void msgIpcError(MsgIpc&, const plat::Exception& error) override { events.emplace_back(error.message); }

  void accept() {
    log = std::make_shared<MemIoLog>();
    io = new MemIo(log);
    ipc.accept(io);
  }
  void write(const char* name, std::uint8_t body) {
    ipc.writeMsg(name).writeU8(body);
    ipc.endMsg(true);
  }

  std::string forbidden;
  std::vector<std::string> events;
  RecordingReader reader;
  MsgIpc ipc;
  std::shared_ptr<MemIoLog> log;  // of the last connection
  MemIo* io = nullptr;
};

TEST_F(MsgIpcTest, messageCutAtAnyByteArrivesOnceAndWhole) {
  const std::string bytes = textMsg("fops", "a text of some length", "that nobody reads", 7) +
                            textMsg("other", "", "", 3) + textMsg("fops", "end");
  const auto expected = ElementsAre("fops=a text of some length", "other=", "fops=end");
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    SCOPED_TRACE(cut);
    reader.messages.clear();
    io->arrive(bytes.substr(0, cut));
    io->arrive(bytes.substr(cut));
    EXPECT_THAT(reader.messages, expected);
  }
  reader.messages.clear();
  for (const char byte : bytes) {
    io->arrive({&byte, 1});
  }
  EXPECT_THAT(reader.messages, expected);
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(MsgIpcTest, messageThatEndsTooEarlyOrTooLateForItsReaderEndsTheLink) {
  reader.act = [](rdr::InStream& in, MsgIpc&) {
    for (int i = 0; i < 20000; ++i) {
      in.readU8();  // a reader that keeps no progress
    }
    return true;
  };
  io->arrive(namedMsg("fops", std::string(9999, 'x')));
  accept();
  io->arrive(namedMsg("fops", std::string(20000, 'x')));
  EXPECT_THAT(events, ElementsAre("End of message", "closed", "InStream overrun: buffer size exceeded", "closed"));
}

TEST_F(MsgIpcTest, namesAreCutAt255BytesAndRepaired) {
  const std::string longest(255, 'n');
  ipc.setReader(nullptr, &reader);
  for (const std::string& name : {longest, longest + "more", std::string("na\xFFme")}) {
    ipc.writeMsg(name.c_str()).writeString("x");
    EXPECT_EQ(io->sent(), "");
    ipc.endMsg(true);
    io->arrive(io->sent());
  }
  EXPECT_THAT(reader.messages, ElementsAre(longest + "=x", longest + "=x", "na\xEF\xBF\xBDme=x"));
}

TEST_F(MsgIpcTest, unknownNameIsSkippedOrTakenForACorruptStreamAndAPeersComplaintEndsTheLink) {
  for (const auto& [name, staysUp] :
       {std::pair("Zzz", true), {"A", true}, {"\xC3\xA9", true}, {"1zz", false}, {"@", false}, {"", false}}) {
    SCOPED_TRACE(name);
    reader.messages.clear();
    io->arrive(namedMsg(name, "some body") + textMsg("fops", "next"));
    EXPECT_EQ(ipc.attached(), staysUp);
    EXPECT_EQ(reader.messages.size(), staysUp ? 1U : 0U);
    if (!staysUp) {
      accept();
    }
  }
  ipc.setCloseOnBadName(false);
  ipc.setReplyBadMsg(true);
  io->arrive(namedMsg("1zz", "body") + textMsg("fops", "last"));
  EXPECT_EQ(io->sent(), namedMsg("badMsg", Body().shortText("1zz")));
  EXPECT_EQ(reader.messages.back(), "fops=last");

  events.clear();
  const std::string bytes = namedMsg("badMsg", "\x04what");
  io->arrive(bytes);
  EXPECT_THAT(events, ElementsAre("MsgIpc: expected message <null>, peer reports bad msg name 'what'", "closed"));
  accept();
  ipc.setReader("badMsg", &reader);
  reader.act = [](rdr::InStream&, MsgIpc&) { return true; };
  io->arrive(bytes);
  EXPECT_TRUE(ipc.attached());
}

TEST_F(MsgIpcTest, readerMayTakeItselfAwayWhileItReads) {
  for (const bool done : {true, false}) {
    SCOPED_TRACE(done);
    RecordingReader fleeting;
    ipc.setReader("fops", &fleeting);
    ipc.setReader("alias", &fleeting);
    int calls = 0;
    fleeting.act = [&](rdr::InStream& in, MsgIpc& channel) {
      ++calls;
      in.readU8();
      channel.removeReader(&fleeting);
      return done;
    };
    reader.messages.clear();
    io->arrive(namedMsg("fops", "body") + textMsg("other", "next") + namedMsg("alias", "body"));
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(reader.messages, ElementsAre("other=next"));
  }
  ipc.removeReader("other");
  io->arrive(textMsg("other", "again"));
  EXPECT_EQ(reader.messages.size(), 1U);
}

TEST_F(MsgIpcTest, newConnectionStartsBetweenMessages) {
  ipc.writeMsg("one").writeU8(1);
  io->arrive(textMsg("fops", "half").substr(0, 9));
  ipc.close(false);
  write("lost", 1);
  accept();
  write("two", 2);
  EXPECT_EQ(io->sent(), namedMsg("two", "\x02"));
  reader.act = [this](rdr::InStream& in, MsgIpc& channel) {
    in.readU8();
    channel.close(true);
    accept();
    return true;
  };
  io->arrive(namedMsg("fops", "body") + namedMsg("fops", "body"));
  EXPECT_THAT(events, ElementsAre("closed"));
  reader.act = nullptr;
  io->arrive(textMsg("fops", "whole"));
  EXPECT_THAT(reader.messages, ElementsAre("fops=whole"));
}

TEST_F(MsgIpcTest, readersHearOnceOfEachChangeOfConnection) {
  ipc.close(false);
  EXPECT_THAT(reader.changes, ElementsAre(false));
  ipc.close(true);  // not attached any more
  accept();
  EXPECT_THAT(reader.changes, ElementsAre(false, true));
  const std::unique_ptr<MemIo> ended(io);
  io->end();
  EXPECT_THAT(reader.changes, ElementsAre(false, true, false));
  EXPECT_THAT(events, ElementsAre("closed"));
  accept();
  RecordingReader own;
  {
    MsgIpc next(nullptr, "next", false, false);
    next.setReader("fops", &own);
    next.setReader("other", &own);
    next.setCloseOnDestroy(true);
    next.accept(ipc.detach().release());
    io->arrive(textMsg("fops", "2"));
    EXPECT_THAT(own.messages, ElementsAre("fops=2")) << "a detached connection goes on elsewhere";
  }
  EXPECT_EQ(own.gone, 1);
  EXPECT_THAT(log->events, testing::IsSupersetOf({"shutdown", "gone"})) << "and is closed in good order";
}

TEST_F(MsgIpcTest, forbiddenMessagesPassInNeitherDirectionAndBlockingReadsSayIfTheLinkDoesNotWait) {
  forbidden = "in fops";
  io->arrive(textMsg("fops", "1") + textMsg("other", "2"));
  EXPECT_THAT(reader.messages, ElementsAre("other=2"));
  forbidden = "out fops";
  EXPECT_EQ(messageFrom([&] { ipc.writeMsg("fops"); }), "MsgIpc::writeMsg: Message not currently allowed");
  write("one", 1);
  EXPECT_EQ(io->sent(), namedMsg("one", "\x01"));

  EXPECT_THROW(ipc.readMessage(nullptr), rdr::BlockException) << "a blocking read on a link that does not wait";
  EXPECT_EQ(messageFrom([&] { rdr::StateMachine<MsgIpc>().step(ipc); }),
            "Assertion 'stateFn' failed at base/rdr/StateMachine:77");
}

struct BlockingMsgIpcTest : MsgIpcTest {
  BlockingMsgIpcTest() : MsgIpcTest(true) {}
};

TEST_F(BlockingMsgIpcTest, failureCostsOneMessage) {
  io->fed->feed(textMsg("other", "1") + namedMsg("badMsg", "\x04what") + textMsg("fops", "2") + textMsg("fops", "3"));
  EXPECT_EQ(messageFrom([&] { ipc.readMessage("fops"); }), "MsgIpc: expected message fops, got other");
  EXPECT_EQ(messageFrom([&] { ipc.readMessage("fops"); }),
            "MsgIpc: expected message fops, peer reports bad msg name 'what'");
  reader.act = [&](rdr::InStream&, MsgIpc& self) {
    self.readMessage(nullptr);
    return true;
  };
  EXPECT_EQ(messageFrom([&] { ipc.readMessage("fops"); }), "MsgIpc::readMessage: not in state startMsg");
  reader.act = nullptr;
  ipc.readMessage(nullptr);
  EXPECT_THAT(reader.messages, ElementsAre("fops=3"));
}

TEST_F(BlockingMsgIpcTest, aLinkThatIsClosedFromInsideIsReadNoMore) {
  for (const bool fails : {false, true}) {
    reader.act = [fails](rdr::InStream&, MsgIpc& self) {
      self.close(false);
      return fails ? throw plat::Exception("too much") : false;
    };
    io->fed->feed(textMsg("fops", "1"));
    const std::string failure = messageFrom([&] { ipc.readMessage(nullptr); });
    EXPECT_EQ(failure == "too much", fails) << failure;
    EXPECT_EQ(messageFrom([&] { ipc.readMessage(nullptr); }), "MsgIpc::readMessage: not in state startMsg");
    accept();
  }
}

TEST_F(BlockingMsgIpcTest, readsOnADescriptorWaitForMessagesThatComeInPieces) {
  FdPair pair;
  ipc.close(false);
  ipc.accept(new io::FdIo(pair.takeNear(), true, false));
  std::thread peer([&pair] {
    for (const char byte : textMsg("fops", "1") + textMsg("other", "2") + textMsg("fops", "3")) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      pair.send({&byte, 1});
    }
    pair.closeFar();
  });
  ipc.readMessage("fops");
  EXPECT_THAT(reader.messages, ElementsAre("fops=1"));
  ipc.readUntil("other");
  EXPECT_THAT(reader.messages, ElementsAre("fops=1", "other=2"));
  ipc.readAll();
  EXPECT_THAT(reader.messages, ElementsAre("fops=1", "other=2", "fops=3"));
  EXPECT_EQ(messageFrom([this] { ipc.readUntil("other"); }), "End of IO stream");
  peer.join();
}

}  // namespace
