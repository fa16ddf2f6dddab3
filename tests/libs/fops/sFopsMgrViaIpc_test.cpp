#include "libs/fops/SFopsMgrViaIpc.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "base/io/FdIo.h"
#include "base/io/FdSelectManager.h"
#include "base/plat/AssertionFail.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

class SFopsMgrViaIpcTest : public ::testing::Test {
protected:
  SFopsMgrViaIpcTest() {
    setenv("HOME", "/", 1);
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

  /// Sends one message of the session in one frame and gives what came back for it.
  std::string exchange(const char* type, const Body& payload = Body()) {
    const std::string body = Body().shortText("fops").shortText(type).raw(payload);
    const std::string wire = test::frames(body);
    EXPECT_EQ(static_cast<ssize_t>(wire.size()), send(peer, wire.data(), wire.size(), MSG_NOSIGNAL));
    runLoop();
    char buffer[4096];
    const ssize_t n = recv(peer, buffer, sizeof buffer, MSG_DONTWAIT);
    return {buffer, static_cast<std::size_t>(std::max<ssize_t>(n, 0))};
  }

  io::FdSelectManager manager;
  std::unique_ptr<io::MsgIpc> channel;
  std::unique_ptr<SFopsMgrViaIpc> bridge;
  int peer = -1;
};

TEST_F(SFopsMgrViaIpcTest, leavesTheChannelWithItsEndAndWhenItCannotBeBuilt) {
  connect();
  const std::string started = test::frames(Body().shortText("fopsNotification").u8(1));
  EXPECT_EQ(exchange("ClientInit", Body().u8(4)).substr(0, started.size()), started);
  bridge.reset();
  EXPECT_EQ(exchange("ClientInit", Body().u8(4)), "");
  const ParameterValue relative("FopsDir", "srv");
  EXPECT_THROW(connect(), plat::AssertionFail);
  EXPECT_EQ(exchange("ClientInit", Body().u8(4)), "");
  EXPECT_TRUE(channel->attached());
}

TEST_F(SFopsMgrViaIpcTest, outlivesTheChannel) {
  connect();
  channel.reset();
  bridge.reset();
}

}  // namespace
}  // namespace fops
