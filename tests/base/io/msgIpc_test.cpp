#include "base/io/MsgIpc.h"

#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "base/io/FdIo.h"
#include "base/io/FdSelectManager.h"
#include "base/rdr/BlockException.h"
#include "base/rdr/EndOfStream.h"
#include "tests/base/io/MemIo.h"

namespace {

using io::MsgIpc;
using test::MemIo;
using test::MemIoLog;
using test::namedMsg;
using test::raised;
using testing::ElementsAre;
using testing::IsEmpty;

class RecordingCallback : public MsgIpc::Callback {
public:
  void msgIpcClosed(MsgIpc&) override { events.emplace_back("closed"); }
  bool msgAllowed(MsgIpc&, const char* name, bool isWrite) override {
    return std::string(isWrite ? "out " : "in ") + name != forbidden;
  }
  void msgIpcError(MsgIpc&, const plat::Exception& error) override { events.emplace_back(error.message); }

  std::string forbidden;
  std::vector<std::string> events;
};

/// Takes each message as a U32 length and that many bytes of text, or does what the test says.
class RecordingReader : public MsgIpc::Reader {
public:
  bool readMsg(const char* name, rdr::InStream& in, MsgIpc& ipc) override {
    if (act) {
      return act(name, in, ipc);
    }
    messages.push_back(std::string(name) + "=" + in.readString(100000, true).orEmpty());
    return true;
  }
  void connectionChanged(MsgIpc& ipc) override { changes.push_back(ipc.attached()); }
  void msgIpcGone(MsgIpc& ipc) override {
    ++gone;
    Reader::msgIpcGone(ipc);
  }

  std::function<bool(const char*, rdr::InStream&, MsgIpc&)> act;
  std::vector<std::string> messages;
  std::vector<bool> changes;
  int gone = 0;
};

std::string textBody(std::string_view text) {
  return test::u32(static_cast<std::uint32_t>(text.size())).append(text);
}

std::string textMsg(std::string_view name, std::string_view text, std::size_t maxPayload = 32766) {
  return namedMsg(name, textBody(text), maxPayload);
}

class MsgIpcTest : public testing::Test {
protected:
  MsgIpcTest() { accept(); }

  void accept() {
    io = new MemIo(log);
    ipc.accept(io);
  }

  std::shared_ptr<MemIoLog> log = std::make_shared<MemIoLog>();
  RecordingCallback callback;
  RecordingReader reader;
  MsgIpc ipc{&callback, "test", false, true};
  MemIo* io = nullptr;
};

TEST_F(MsgIpcTest, writesTheNameAheadOfTheBody) {
  ipc.writeMsg("fops").writeU8(7);
  EXPECT_EQ(io->sent(), "");
  ipc.endMsg(true);
  EXPECT_EQ(io->sent(), std::string("\x80\x06\x04"
                                    "fops\x07"));
}

TEST_F(MsgIpcTest, messageCutAtAnyByteArrivesOnceAndWhole) {
  ipc.setReader("fops", &reader);
  const std::string bytes =
      textMsg("fops", "a text of some length", 7) + textMsg("fops", "", 3) + textMsg("fops", "end");
  const auto expected = ElementsAre("fops=a text of some length", "fops=", "fops=end");
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
  io->fed->feedSingly(bytes);
  reader.messages.clear();
  io->report();
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    io->report();
  }
  EXPECT_THAT(reader.messages, expected);
  EXPECT_THAT(callback.events, IsEmpty());
}

TEST_F(MsgIpcTest, readerThatAsksForMoreIsCalledAgainFromTheBodysStart) {
  ipc.setReader("fops", &reader);
  std::string seen;
  reader.act = [&seen](const char*, rdr::InStream& in, MsgIpc&) {
    seen += std::to_string(in.readU8());
    return in.check(false, 1) && in.readU8() == 9;
  };
  const std::string bytes = namedMsg("fops", "\x05\x09");
  io->arrive(bytes.substr(0, bytes.size() - 1));
  io->arrive(bytes.substr(bytes.size() - 1));
  EXPECT_EQ(seen, "55");
}

TEST_F(MsgIpcTest, whatTheReaderLeavesIsSkipped) {
  ipc.setReader("some", &reader);
  ipc.setReader("fops", &reader);
  const std::string rest(70000, 'x');  // over more than one frame and more than one input buffer
  const std::string bytes = namedMsg("some", textBody("first") + rest) + textMsg("fops", "second");
  for (std::size_t at = 0; at < bytes.size(); at += 1000) {
    io->arrive(bytes.substr(at, 1000));
  }
  EXPECT_THAT(reader.messages, ElementsAre("some=first", "fops=second"));
}

TEST_F(MsgIpcTest, readingPastTheMessageEndsTheLink) {
  ipc.setReader("fops", &reader);
  reader.act = [](const char*, rdr::InStream& in, MsgIpc&) { return in.readU32() != 0; };
  io->arrive(namedMsg("fops", "abc") + namedMsg("fops", "abcd"));
  EXPECT_THAT(callback.events, ElementsAre("End of message", "closed"));
}

TEST_F(MsgIpcTest, messageOfMoreThanTheInputBufferEndsTheLink) {
  ipc.setReader("fops", &reader);
  const std::string bytes = textMsg("fops", std::string(20000, 'x'));
  io->arrive(bytes.substr(0, 10000));
  EXPECT_THAT(callback.events, IsEmpty());
  reader.act = [](const char*, rdr::InStream& in, MsgIpc&) {
    for (int i = 0; i < 20000; ++i) {
      in.readU8();  // a reader that keeps no progress
    }
    return true;
  };
  io->fed->feed(bytes.substr(10000));
  io->report();
  EXPECT_THAT(callback.events, ElementsAre("InStream overrun: buffer size exceeded", "closed"));
}

TEST_F(MsgIpcTest, namesOf255BytesPassAndLongerOnesAreCut) {
  const std::string longest(255, 'n');
  for (const std::string& name : {longest, longest + "more"}) {
    ipc.writeMsg(name.c_str()).writeString("x");
    ipc.endMsg(true);
    ipc.setReader(longest.c_str(), &reader);
    io->arrive(io->sent());
  }
  EXPECT_THAT(reader.messages, ElementsAre(longest + "=x", longest + "=x"));
}

TEST_F(MsgIpcTest, malformedNameIsRepairedBeforeItIsLookedUp) {
  ipc.setReader("na\xEF\xBF\xBDme", &reader);
  io->arrive(textMsg("na\xFFme", "x"));
  EXPECT_THAT(reader.messages, ElementsAre("na\xEF\xBF\xBDme=x"));
}

TEST_F(MsgIpcTest, unknownNameIsSkippedOrTakenForACorruptStream) {
  const struct {
    const char* name;
    bool staysUp;
  } cases[] = {{"Zzz", true}, {"A", true}, {"\xC3\xA9", true}, {"1zz", false},
               {"@", false},  {"", false}, {"\x01", false},    {" x", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    callback.events.clear();
    reader.messages.clear();
    ipc.setReader("fops", &reader);
    io->arrive(namedMsg(c.name, "some body") + textMsg("fops", "next"));
    EXPECT_EQ(ipc.attached(), c.staysUp);
    EXPECT_EQ(reader.messages.size(), c.staysUp ? 1U : 0U);
    EXPECT_EQ(callback.events.size(), c.staysUp ? 0U : 1U);
    if (!c.staysUp) {
      accept();
    }
  }
  ipc.setCloseOnBadName(false);
  io->arrive(namedMsg("1zz", ""));
  EXPECT_TRUE(ipc.attached());
}

TEST_F(MsgIpcTest, badMsgFromThePeerEndsTheLinkUnlessItHasAReader) {
  const std::string bytes = namedMsg("badMsg", "\x04what");
  io->arrive(bytes.substr(0, bytes.size() - 1));
  EXPECT_THAT(callback.events, IsEmpty());
  io->arrive(bytes.substr(bytes.size() - 1));
  EXPECT_THAT(callback.events,
              ElementsAre("MsgIpc: expected message <null>, peer reports bad msg name 'what'", "closed"));

  accept();
  callback.events.clear();
  ipc.setReader("badMsg", &reader);
  reader.act = [](const char*, rdr::InStream&, MsgIpc&) { return true; };
  io->arrive(bytes);
  EXPECT_THAT(callback.events, IsEmpty());
}

TEST_F(MsgIpcTest, answersUnknownNamesIfAskedTo) {
  ipc.setReplyBadMsg(true);
  ipc.setReader("fops", &reader);
  io->arrive(namedMsg("1zz", "body") + textMsg("fops", "next"));
  EXPECT_EQ(io->sent(), namedMsg("badMsg",
                                 "\x03"
                                 "1zz"));
  EXPECT_THAT(reader.messages, ElementsAre("fops=next"));
}

TEST_F(MsgIpcTest, defaultReaderGetsWhatNobodyOwns) {
  RecordingReader others;
  ipc.setReader("fops", &reader);
  ipc.setReader(nullptr, &others);
  io->arrive(textMsg("fops", "1") + textMsg("1zz", "2") + textMsg("", "3"));
  EXPECT_THAT(reader.messages, ElementsAre("fops=1"));
  EXPECT_THAT(others.messages, ElementsAre("1zz=2", "=3"));
  ipc.removeReader(&others);
}

TEST_F(MsgIpcTest, readerMayTakeItselfAwayWhileItReads) {
  for (const bool done : {true, false}) {
    SCOPED_TRACE(done);
    RecordingReader other;
    ipc.setReader("fops", &reader);
    ipc.setReader("other", &other);
    int calls = 0;
    reader.act = [&](const char*, rdr::InStream& in, MsgIpc& channel) {
      ++calls;
      in.readU8();
      channel.removeReader(&reader);
      return done;
    };
    io->arrive(namedMsg("fops", "body") + textMsg("other", "next") + namedMsg("fops", "body"));
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(other.messages, ElementsAre("other=next"));
    ipc.removeReader("other");
    io->arrive(textMsg("other", "again"));
    EXPECT_EQ(other.messages.size(), 1U);
  }
  EXPECT_TRUE(ipc.attached());
}

TEST_F(MsgIpcTest, readerMayCloseTheChannelWhileItReads) {
  ipc.setReader("fops", &reader);
  reader.act = [](const char*, rdr::InStream& in, MsgIpc& channel) {
    in.readU8();
    channel.close(true);
    return true;
  };
  io->arrive(namedMsg("fops", "body") + namedMsg("fops", "body"));
  EXPECT_THAT(callback.events, ElementsAre("closed"));
  EXPECT_THAT(log->events, testing::Contains("gone"));
  accept();
  reader.act = nullptr;
  io->arrive(textMsg("fops", "new"));
  EXPECT_THAT(reader.messages, ElementsAre("fops=new"));
}

TEST_F(MsgIpcTest, readersHearOnceOfEachChangeOfConnection) {
  ipc.setReader("fops", &reader);
  ipc.setReader("other", &reader);
  ipc.setReader(nullptr, &reader);
  ipc.close(false);
  EXPECT_THAT(reader.changes, ElementsAre(false));
  ipc.close(true);  // not attached any more
  accept();
  EXPECT_THAT(reader.changes, ElementsAre(false, true));
  const std::unique_ptr<MemIo> ended(io);
  io->end();
  EXPECT_THAT(reader.changes, ElementsAre(false, true, false));
  EXPECT_THAT(callback.events, ElementsAre("closed"));
}

TEST_F(MsgIpcTest, forbiddenMessagesPassInNeitherDirection) {
  ipc.setReader("fops", &reader);
  callback.forbidden = "in fops";
  io->arrive(textMsg("fops", "1"));
  EXPECT_NO_THROW(ipc.writeMsg("fops"));
  ipc.endMsg(true);
  callback.forbidden = "out fops";
  io->arrive(textMsg("fops", "2"));
  EXPECT_THAT(reader.messages, ElementsAre("fops=2"));
  EXPECT_EQ(raised([&] { ipc.writeMsg("fops"); }), "MsgIpc::writeMsg: Message not currently allowed");
  EXPECT_NO_THROW(ipc.writeMsg("other"));  // nothing was left open
}

TEST_F(MsgIpcTest, writersCannotNest) {
  ipc.writeMsg("one").writeU8(1);
  EXPECT_EQ(raised([&] { ipc.writeMsg("two"); }), "FramedOutStream::startMsg: already in msg");
  ipc.endMsg(true);
  EXPECT_EQ(io->sent(), namedMsg("one", "\x01"));
}

TEST_F(MsgIpcTest, newConnectionStartsBetweenMessages) {
  ipc.setReader("fops", &reader);
  ipc.writeMsg("one").writeU8(1);
  io->arrive(textMsg("fops", "half").substr(0, 9));
  ipc.close(false);
  ipc.writeMsg("lost").writeU32(1);
  ipc.endMsg(true);
  accept();
  ipc.writeMsg("two").writeU8(2);
  ipc.endMsg(true);
  EXPECT_EQ(io->sent(), namedMsg("two", "\x02"));
  io->arrive(textMsg("fops", "whole"));
  EXPECT_THAT(reader.messages, ElementsAre("fops=whole"));
}

TEST_F(MsgIpcTest, detachedConnectionGoesOnElsewhere) {
  ipc.setReader("fops", &reader);
  const std::string second = textMsg("fops", "2");
  reader.act = [&](const char*, rdr::InStream&, MsgIpc&) {
    reader.act = nullptr;
    return true;
  };
  io->arrive(textMsg("fops", "1"));
  std::unique_ptr<io::Io> connection = ipc.detach();
  EXPECT_EQ(connection.get(), io);
  EXPECT_FALSE(ipc.attached());
  MsgIpc next(nullptr, "next", false, false);
  next.setReader("fops", &reader);
  next.accept(connection.release());
  io->arrive(second);
  EXPECT_THAT(reader.messages, ElementsAre("fops=2"));
  EXPECT_THAT(callback.events, IsEmpty());
}

TEST_F(MsgIpcTest, destructorLetsItsReadersGo) {
  class KeepingReader : public RecordingReader {
  public:
    explicit KeepingReader(MsgIpc* channel) { msgIpc = channel; }
    MsgIpc* channel() const { return msgIpc; }
  };
  auto channel = std::make_unique<MsgIpc>(&callback, "dying", false, false);
  KeepingReader own(channel.get());
  KeepingReader foreign(&ipc);
  for (const char* name : {"a", "b"}) {
    channel->setReader(name, &own);
  }
  channel->setReader("c", &foreign);
  channel->accept(new MemIo(log));
  channel.reset();
  EXPECT_EQ(own.gone, 1);
  EXPECT_EQ(own.channel(), nullptr);
  EXPECT_EQ(foreign.channel(), &ipc);
  EXPECT_THAT(log->events, testing::Contains("gone"));
  EXPECT_THAT(callback.events, IsEmpty());
}

class BlockingMsgIpcTest : public MsgIpcTest {
protected:
  BlockingMsgIpcTest() : channel(&callback, "blocking", true, false) {
    io = new MemIo(log);
    channel.accept(io);
    channel.setReader("fops", &reader);
    channel.setReader("other", &reader);
  }
  ~BlockingMsgIpcTest() override { channel.close(false); }

  MsgIpc channel;
};

TEST_F(BlockingMsgIpcTest, readsOneMessageAtATime) {
  io->fed->feedSingly(textMsg("fops", "1", 5) + textMsg("other", "2") + textMsg("fops", "3") + textMsg("other", "4"));
  io->fed->finish();
  channel.readMessage(nullptr);
  EXPECT_THAT(reader.messages, ElementsAre("fops=1"));
  channel.readMessage("other");
  EXPECT_THAT(reader.messages, ElementsAre("fops=1", "other=2"));
  channel.readUntil("other");
  EXPECT_THAT(reader.messages, ElementsAre("fops=1", "other=2", "fops=3", "other=4"));
  EXPECT_THROW(channel.readMessage(nullptr), rdr::EndOfStream);
}

TEST_F(BlockingMsgIpcTest, wrongMessageIsSkipped) {
  io->fed->feed(textMsg("other", "1") + textMsg("fops", "2") + textMsg("fops", "3"));
  io->fed->finish();
  EXPECT_EQ(raised([&] { channel.readMessage("fops"); }), "MsgIpc: expected message fops, got other");
  channel.readMessage("fops");
  channel.readAll();
  EXPECT_THAT(reader.messages, ElementsAre("fops=2", "fops=3"));
}

TEST_F(BlockingMsgIpcTest, peersBadMsgIsAlwaysLookedAt) {
  io->fed->feed(namedMsg("badMsg", "\x04what") + textMsg("fops", "1"));
  EXPECT_EQ(raised([&] { channel.readMessage("fops"); }),
            "MsgIpc: expected message fops, peer reports bad msg name 'what'");
  channel.readMessage(nullptr);
  EXPECT_THAT(reader.messages, ElementsAre("fops=1"));
}

TEST_F(BlockingMsgIpcTest, failingReaderLosesOnlyItsMessage) {
  io->fed->feed(textMsg("fops", "1") + textMsg("fops", "2"));
  reader.act = [&](const char*, rdr::InStream&, MsgIpc&) -> bool { throw plat::Exception("cannot"); };
  EXPECT_EQ(raised([&] { channel.readMessage(nullptr); }), "cannot");
  reader.act = nullptr;
  channel.readMessage(nullptr);
  EXPECT_THAT(reader.messages, ElementsAre("fops=2"));
}

TEST_F(BlockingMsgIpcTest, refusesToStartInsideAMessage) {
  reader.act = [&](const char*, rdr::InStream&, MsgIpc& self) {
    EXPECT_EQ(raised([&] { self.readMessage(nullptr); }), "MsgIpc::readMessage: not in state startMsg");
    return true;
  };
  io->fed->feed(textMsg("fops", "1"));
  channel.readMessage(nullptr);
  channel.close(false);
  EXPECT_EQ(raised([&] { channel.readMessage(nullptr); }), "MsgIpc::readMessage: not in state startMsg");
}

TEST_F(MsgIpcTest, blockingReadOnALinkThatDoesNotWaitSaysSo) {
  EXPECT_THROW(ipc.readMessage(nullptr), rdr::BlockException);
  EXPECT_TRUE(ipc.attached());
}

/// The channel on a socket in a real event loop; `peer` is the other end.
class MsgIpcLoopTest : public testing::Test {
protected:
  MsgIpcLoopTest() {
    int fds[2] = {-1, -1};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    peer = fds[1];
    ipc.setReader("fops", &reader);
    ipc.accept(new io::FdIo(fds[0], true, false));
  }
  ~MsgIpcLoopTest() override { ::close(peer); }

  void send(const std::string& bytes) {
    EXPECT_EQ(::write(peer, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  void turn(int turns = 4) {
    while (turns-- > 0) {
      manager.processEvents(10);
    }
  }

  io::FdSelectManager manager;
  RecordingCallback callback;
  RecordingReader reader;
  MsgIpc ipc{&callback, "test", false, true};
  int peer = -1;
};

TEST_F(MsgIpcLoopTest, messagesComeAndGo) {
  reader.act = [](const char*, rdr::InStream& in, MsgIpc& channel) {
    channel.writeMsg("reply").writeU8(static_cast<std::uint8_t>(in.readU8() + 1));
    channel.endMsg(true);
    return true;
  };
  const std::string bytes = namedMsg("fops", "\x01") + namedMsg("fops", "\x02");
  send(bytes.substr(0, 9));
  turn();
  send(bytes.substr(9));
  turn();
  const std::string expected = namedMsg("reply", "\x02") + namedMsg("reply", "\x03");
  std::string received(100, '\0');
  received.resize(static_cast<std::size_t>(::recv(peer, received.data(), received.size(), 0)));
  EXPECT_EQ(received, expected);
}

TEST_F(MsgIpcLoopTest, failingReaderEndsTheLinkAndNotTheLoop) {
  reader.act = [](const char*, rdr::InStream&, MsgIpc&) -> bool { throw plat::Exception("cannot"); };
  send(namedMsg("fops", "") + namedMsg("fops", ""));
  turn();
  EXPECT_THAT(callback.events, ElementsAre("cannot", "closed"));
  char byte = 0;
  EXPECT_LE(::recv(peer, &byte, 1, 0), 0);
}

TEST_F(MsgIpcLoopTest, readerMayCloseTheLinkUnderTheLoop) {
  reader.act = [](const char*, rdr::InStream&, MsgIpc& channel) {
    channel.close(true);
    return true;
  };
  send(namedMsg("fops", "") + namedMsg("fops", ""));
  turn();
  EXPECT_THAT(callback.events, ElementsAre("closed"));
  char byte = 0;
  EXPECT_LE(::recv(peer, &byte, 1, 0), 0);
}

TEST_F(MsgIpcLoopTest, peerThatHangsUpClosesTheChannel) {
  ::shutdown(peer, SHUT_WR);
  turn();
  EXPECT_THAT(callback.events, ElementsAre("End of IO stream", "closed"));
  EXPECT_FALSE(ipc.attached());
}

}  // namespace
