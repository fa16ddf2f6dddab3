#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/io/FdIo.h"
#include "base/io/MsgIpc.h"
#include "base/rdr/EndOfStream.h"
#include "tests/base/io/FdPair.h"

namespace {

/// Keeps what it reads, a 32-bit number per message.
class NumberReader final : public io::MsgIpc::Reader {
public:
  bool readMsg(const char* name, rdr::InStream& in, io::MsgIpc&) override {
    messages.push_back(name + ("=" + std::to_string(in.readU32())));
    return true;
  }
  std::vector<std::string> messages;
};

TEST(MsgIpcOnADescriptor, blockingReadsWaitForMessagesThatComeInPieces) {
  test::FdPair pair;
  NumberReader reader;
  io::MsgIpc ipc(nullptr, "waiting", true, false);
  ipc.setReader(nullptr, &reader);
  ipc.accept(new io::FdIo(pair.takeNear(), true, false));
  const std::string one(
      "\x80\x06\x01"
      "a"
      "\0\0\0\x01",
      8);
  const std::string two(
      "\x80\x06\x01"
      "b"
      "\0\0\0\x02",
      8);
  std::thread peer([&] {
    for (const char byte : one + two + one + one) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      pair.send({&byte, 1});
    }
    pair.closeFar();
  });
  ipc.readMessage("a");
  EXPECT_THAT(reader.messages, testing::ElementsAre("a=1"));
  ipc.readUntil("b");
  EXPECT_THAT(reader.messages, testing::ElementsAre("a=1", "b=2"));
  ipc.readAll();
  EXPECT_THAT(reader.messages, testing::ElementsAre("a=1", "b=2", "a=1", "a=1"));
  EXPECT_THROW(ipc.readUntil("b"), rdr::EndOfStream);
  peer.join();
  ipc.removeReader(&reader);
}

}  // namespace
