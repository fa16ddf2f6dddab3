#include "libs/fops/SFopsMgrViaIpc.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "base/io/FdIo.h"
#include "base/io/FdSelectManager.h"
#include "base/plat/AssertionFail.h"
#include "tests/libs/fops/protoTestSupport.h"
#include "tests/support/TempDir.h"

namespace fops {
namespace {

/// One channel message in one frame.
std::string frame(const Body& message) {
  return Body().u16(0x8000u | static_cast<unsigned>(message.bytes().size())).raw(message.bytes()).bytes();
}

std::string request(const char* type, const Body& payload) {
  return frame(Body().shortText("fops").shortText(type).raw(payload.bytes()));
}

/// The channel messages in `wire`, as their name, a blank and their body.
std::vector<std::string> messagesOf(const std::string& wire) {
  std::vector<std::string> messages;
  std::string message;
  for (std::size_t at = 0; at + 2 <= wire.size();) {
    const unsigned header = static_cast<unsigned char>(wire[at]) << 8u | static_cast<unsigned char>(wire[at + 1]);
    message += wire.substr(at + 2, header & 0x7FFF);
    at += 2 + (header & 0x7FFF);
    if (header & 0x8000) {
      const std::size_t nameLength = static_cast<unsigned char>(message[0]);
      messages.push_back(message.substr(1, nameLength) + ' ' + message.substr(1 + nameLength));
      message.clear();
    }
  }
  EXPECT_TRUE(message.empty()) << "an unfinished message";
  return messages;
}

class SFopsMgrViaIpcTest : public ::testing::Test {
protected:
  SFopsMgrViaIpcTest() {
    setenv("HOME", root.path().c_str(), 1);
    int fds[2];
    EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds));
    peer = fds[1];
    channel = std::make_unique<io::MsgIpc>(nullptr, "test", false, true);
    channel->accept(std::make_unique<io::FdIo>(fds[0], true, false, 65536).release());
  }
  ~SFopsMgrViaIpcTest() override {
    bridge.reset();
    channel.reset();
    runLoop();
    close(peer);
  }

  void connect() { bridge = std::make_unique<SFopsMgrViaIpc>(*channel); }

  void runLoop() {
    while (manager.processEvents(0)) {
    }
  }

  /// Sends `wire` and gives what came back for it.
  std::vector<std::string> exchange(const std::string& wire) {
    EXPECT_EQ(static_cast<ssize_t>(wire.size()), send(peer, wire.data(), wire.size(), MSG_NOSIGNAL));
    runLoop();
    std::string answer;
    char buffer[4096];
    ssize_t n;
    while ((n = recv(peer, buffer, sizeof buffer, MSG_DONTWAIT)) > 0)
      answer.append(buffer, static_cast<std::size_t>(n));
    return messagesOf(answer);
  }

  test::TempDir root;
  const ParameterValue fopsDir{"FopsDir", root.path().c_str()};
  io::FdSelectManager manager;
  std::unique_ptr<io::MsgIpc> channel;
  std::unique_ptr<SFopsMgrViaIpc> bridge;
  int peer = -1;
};

const std::string Started = Body().raw("fopsNotification ").u8(1).bytes();
const std::string Ended = Body().raw("fopsNotification ").u8(0).bytes();

TEST_F(SFopsMgrViaIpcTest, announcesTheSessionAheadOfServerInit) {
  connect();
  const std::string init =
      "\x80\x11\x04"
      "fops\x0A"
      "ClientInit\x04";
  for (int round = 0; round < 2; ++round) {  // the second one renegotiates
    const auto answer = exchange(init);
    ASSERT_EQ(2u, answer.size());
    EXPECT_EQ(Started, answer[0]);
    const std::string expected = Body().raw("fops ").shortText("ServerInit").u8(4).u8('/').u8(0).bytes();
    EXPECT_EQ(expected, answer[1].substr(0, expected.size()));
  }
  EXPECT_EQ(std::vector<std::string>{Ended}, exchange(request("ClientClose", Body())));
}

TEST_F(SFopsMgrViaIpcTest, answersAMessageThatArrivesByteByByte) {
  connect();
  exchange(request("ClientInit", Body().u8(4)));
  root.write("f", "12345");
  const std::string wire = request("DirScan", Body().text("").u8(1).u8(1));
  for (std::size_t i = 0; i + 1 < wire.size(); ++i)
    EXPECT_TRUE(exchange(wire.substr(i, 1)).empty());
  const auto answer = exchange(wire.substr(wire.size() - 1));
  ASSERT_EQ(1u, answer.size());
  const std::string expected = Body().raw("fops ").shortText("DirScanResult").u32(1).text("f").u64(5).bytes();
  EXPECT_EQ(expected, answer[0].substr(0, expected.size()));
}

TEST_F(SFopsMgrViaIpcTest, leavesTheChannelWithItsEnd) {
  connect();
  bridge.reset();
  EXPECT_TRUE(exchange(request("ClientInit", Body().u8(4))).empty());
  EXPECT_TRUE(channel->attached());
}

TEST_F(SFopsMgrViaIpcTest, leavesTheChannelWhenTheServiceCannotBeBuilt) {
  const ParameterValue relative("FopsDir", "srv");
  EXPECT_THROW(connect(), plat::AssertionFail);
  EXPECT_TRUE(exchange(request("ClientInit", Body().u8(4))).empty());
  EXPECT_TRUE(channel->attached());
}

TEST_F(SFopsMgrViaIpcTest, outlivesTheChannel) {
  connect();
  channel.reset();
  bridge.reset();
}

}  // namespace
}  // namespace fops
