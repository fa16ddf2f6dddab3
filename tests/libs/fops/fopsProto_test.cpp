#include "libs/fops/FopsProto.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/plat/ProtocolError.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

// Both local ends: notes what the protocol calls on them.
class RecordingEnds : public FopsProto::Callback, private DataSender, private DataReceiver {
public:
  DataSender& getDataSender() override { return *this; }
  DataReceiver& getDataReceiver() override { return *this; }

  std::vector<std::string> calls;
  std::string chunkBytes;
  const std::uint8_t* chunkData = nullptr;
  bool failChunks = false;

private:
  void note(const char* name, TransferId id, const std::string& rest = "") {
    calls.push_back(std::string(name) + ' ' + TransferIdText(id).get() + rest);
  }
  static std::string shown(const plat::Exception& error) {
    return std::string(" ") + error.message + " [" + error.type + ']';
  }
  void dataReq(TransferId id, std::uint64_t position) override { note("dataReq", id, ' ' + std::to_string(position)); }
  void cancelByReceiver(TransferId id, const plat::Exception& error) override {
    note("cancelByReceiver", id, shown(error));
  }
  void complete(TransferId id) override { note("complete", id); }
  void dataChunk(TransferId id, std::uint64_t offset, std::int32_t length, const std::uint8_t* data) override {
    note("dataChunk", id, ' ' + std::to_string(offset) + ' ' + std::to_string(length));
    chunkBytes.assign(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
    chunkData = data;
    if (failChunks)
      throw plat::Exception("no room");
  }
  void cancelBySender(TransferId id, const plat::Exception& error) override {
    note("cancelBySender", id, shown(error));
  }
};

// The shared part alone, with a message loop as small as can be.
class PlainProto : public FopsProto {
public:
  using FopsProto::endMsg;
  using FopsProto::FopsProto;
  using FopsProto::startMsg;

  bool run(rdr::InStream& input) { return runStates(stateFn, static_cast<StateFn>(&PlainProto::readMsgType), input); }

private:
  bool setState(StateFn state) override {
    stateFn.set(state);
    return true;
  }
  bool readMsgType() {
    readType();
    return dispatch() || ignoreMsg(protoLog());
  }

  rdr::StateMachine<FopsProto> stateFn;
};

class FopsProtoTest : public ::testing::Test {
protected:
  /// Feeds one message whole.
  void receive(const std::string& wire) {
    FeedStream in(wire);
    in.arriveAll();
    EXPECT_TRUE(proto.run(in));
  }

  RecordingWriter writer;
  RecordingEnds ends;
  PlainProto proto{writer, ends};
};

constexpr TransferId Id = 0x0000000700000005;

std::string chunkWire(std::uint64_t offset, std::uint32_t length, const std::string& data) {
  return Body().shortText("DataChunk").id(5, 7).u64(offset).u32(length).raw(data).bytes();
}

TEST(TransferIdText, showsTheLowHalfFirst) {
  EXPECT_STREQ("5.7", TransferIdText(Id).get());
  EXPECT_STREQ("4294967295.4294967295", TransferIdText(~TransferId{0}).get());
}

TEST_F(FopsProtoTest, writesTheDataMessages) {
  proto.dataReq(Id, 0x0102030405060708);
  proto.complete(Id);
  proto.dataChunk(Id, 3, 2, reinterpret_cast<const std::uint8_t*>("xy"));
  proto.cancelByReceiver(Id, plat::Exception("full", "System-28"));
  proto.cancelBySender(Id, plat::Exception("gone"));
  const std::vector<Message> expected = {
      {"DataReq", Body().id(5, 7).u64(0x0102030405060708).bytes()},
      {"Complete", Body().id(5, 7).bytes()},
      {"DataChunk", Body().id(5, 7).u64(3).u32(2).raw("xy").bytes()},
      {"CancelByReceiver", Body().id(5, 7).result("full", "System-28").bytes()},
      {"CancelBySender", Body().id(5, 7).result("gone", "").bytes()},
  };
  EXPECT_EQ(expected, writer.messages);
}

TEST_F(FopsProtoTest, actsOnceOnAMessageCutAtAnyByte) {
  struct {
    std::string wire;
    const char* call;
  } const cases[] = {
      {Body().shortText("DataReq").id(5, 7).u64(1ULL << 40).bytes(), "dataReq 5.7 1099511627776"},
      {Body().shortText("Complete").id(5, 7).bytes(), "complete 5.7"},
      {Body().shortText("CancelByReceiver").id(5, 7).result("why", "Kind").bytes(), "cancelByReceiver 5.7 why [Kind]"},
      {Body().shortText("CancelBySender").id(5, 7).result("", "").bytes(), "cancelBySender 5.7  []"},
      {chunkWire(9, 4, "data"), "dataChunk 5.7 9 4"},
      {chunkWire(9, 0, ""), "dataChunk 5.7 9 0"},
  };
  for (const auto& c : cases) {
    for (std::size_t cut = 0; cut < c.wire.size(); ++cut) {
      SCOPED_TRACE(std::string(c.call) + " cut at " + std::to_string(cut));
      ends.calls.clear();
      FeedStream in(c.wire);
      in.arrive(cut);
      EXPECT_FALSE(proto.run(in));
      EXPECT_TRUE(ends.calls.empty());
      in.arriveAll();
      EXPECT_TRUE(proto.run(in));
      EXPECT_EQ(std::vector<std::string>{c.call}, ends.calls);
      EXPECT_EQ(c.wire.size(), in.consumed());
    }
  }
}

TEST_F(FopsProtoTest, cutsTheTextsOfACancelToTheBuffersOfAnException) {
  receive(Body().shortText("CancelBySender").id(5, 7).result(std::string(255, 'm'), std::string(255, 't')).bytes());
  EXPECT_EQ("cancelBySender 5.7 " + std::string(255, 'm') + " [" + std::string(63, 't') + ']', ends.calls.at(0));
}

TEST_F(FopsProtoTest, handsAChunkOutOfTheWindowWithoutACopy) {
  const std::string wire = chunkWire(0, 5, "12345");
  FeedStream in(wire);
  in.arriveAll();
  EXPECT_TRUE(proto.run(in));
  EXPECT_EQ("12345", ends.chunkBytes);
  EXPECT_EQ(in.getPtr(), ends.chunkData + 5) << "the bytes were copied";
}

TEST_F(FopsProtoTest, givesAnEmptyChunkAPointer) {
  receive(chunkWire(9, 0, ""));
  EXPECT_NE(nullptr, ends.chunkData);
}

TEST_F(FopsProtoTest, gathersAChunkThatIsLargerThanTheWindow) {
  std::string data;
  for (int i = 0; i < 1000; ++i)
    data += static_cast<char>(i * 7);
  const std::string wire = chunkWire(1, 1000, data) + Body().shortText("Complete").id(5, 7).bytes();
  FeedStream in(wire, 64);
  std::size_t arrived = 0;
  while (!proto.run(in)) {
    EXPECT_TRUE(ends.calls.empty());
    arrived += 50;
    in.arrive(arrived);
    ASSERT_LT(arrived, 2 * wire.size());
  }
  EXPECT_EQ(std::vector<std::string>{"dataChunk 5.7 1 1000"}, ends.calls);
  EXPECT_EQ(data, ends.chunkBytes);
  in.arriveAll();
  EXPECT_TRUE(proto.run(in));
  EXPECT_EQ("complete 5.7", ends.calls.back());
}

TEST_F(FopsProtoTest, refusesAChunkOfTheLimitOrMore) {
  EXPECT_EQ(4194304, parameterInt("_FopsMaxChunkSize"));
  receive(chunkWire(0, 4194303, std::string(4194303, 'x')));
  EXPECT_EQ("dataChunk 5.7 0 4194303", ends.calls.at(0));

  for (const std::uint32_t length : {4194304u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(length);
    PlainProto fresh(writer, ends);
    FeedStream in(chunkWire(0, length, ""));
    in.arriveAll();
    try {
      fresh.run(in);
      ADD_FAILURE() << "was taken";
    } catch (const plat::ProtocolError& e) {
      EXPECT_STREQ("Protocol error: Fops chunk too large", e.message);
    }
  }
}

TEST_F(FopsProtoTest, refusesEvenTheEmptyChunkWithALimitOfZero) {
  const ParameterValue limit("_FopsMaxChunkSize", "0");
  FeedStream in(chunkWire(0, 0, ""));
  in.arriveAll();
  EXPECT_THROW(proto.run(in), plat::ProtocolError);
}

TEST_F(FopsProtoTest, standsBehindAChunkWhoseReceiverThrew) {
  for (const std::size_t window : {std::size_t{1000}, std::size_t{40}}) {  // in place, and gathered
    ends.calls.clear();
    const std::string chunk = chunkWire(0, 100, std::string(100, 'x'));
    FeedStream in(chunk + Body().shortText("Complete").id(5, 7).bytes(), window);
    in.arrive(chunk.size());
    ends.failChunks = true;
    EXPECT_THROW(proto.run(in), plat::Exception);
    EXPECT_EQ(chunk.size(), in.consumed());
    in.arriveAll();
    EXPECT_TRUE(proto.run(in));
    EXPECT_EQ("complete 5.7", ends.calls.back());
  }
}

TEST_F(FopsProtoTest, turnsOutputOffForGoodAfterAnAbandonedMessage) {
  LogLines log;
  proto.startMsg("Abandoned");
  proto.complete(Id);
  proto.dataReq(Id, 1);
  proto.endMsg();
  EXPECT_TRUE(writer.messages.empty());
  EXPECT_TRUE(log.has("FopsProto 100 Discarding outgoing message Complete"));
  EXPECT_TRUE(log.has("FopsProto 100 Discarding outgoing message DataReq"));
  EXPECT_FALSE(log.has("FopsProto 100 Discarding outgoing message Abandoned"));
}

}  // namespace
}  // namespace fops
