#include "libs/fops/SFopsMgrViaIpc.h"

#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "tests/base/io/MemIo.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

TEST(SFopsMgrViaIpc, leavesTheChannelWithItsEndAndWhenItCannotBeBuilt) {
  setenv("HOME", "/", 1);
  auto channel = std::make_unique<io::MsgIpc>(nullptr, "test", false, true);
  auto* const link = new test::MemIo(std::make_shared<test::MemIoLog>());
  channel->accept(link);
  const auto answer = [link] {
    link->arrive(test::namedMsg("fops", Body().shortText("ClientInit").u8(4)));
    return link->sent();
  };
  auto bridge = std::make_unique<SFopsMgrViaIpc>(*channel);
  const std::string started = test::namedMsg("fopsNotification", Body().u8(1));
  EXPECT_EQ(answer().substr(0, started.size()), started);
  bridge.reset();
  EXPECT_EQ(answer(), "");
  {
    const ParameterValue relative("FopsDir", "srv");
    EXPECT_THROW(SFopsMgrViaIpc{*channel}, plat::AssertionFail);
  }
  EXPECT_EQ(answer(), "");
  EXPECT_TRUE(channel->attached());
  bridge = std::make_unique<SFopsMgrViaIpc>(*channel);
  channel.reset();  // and the bridge outlives it
}

}  // namespace
}  // namespace fops
