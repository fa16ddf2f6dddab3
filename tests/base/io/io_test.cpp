#include "base/io/Io.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "tests/base/io/MemIo.h"
#include "tests/support/thrown.h"

namespace {

using plat::AssertionFail;
using test::messageFrom;
using testing::ElementsAre;
using testing::HasSubstr;

std::string written(const io::Io& io) {
  rdr::MemOutStream out;
  io.writeFlags(out);
  return {reinterpret_cast<const char*>(out.data()), out.length()};
}

TEST(Io, flagsCrossALinkInOrderOfTheirBytes) {
  test::MemIo io(std::make_shared<test::MemIoLog>());
  EXPECT_EQ(written(io), std::string(1, '\0'));
  io.flags() = {"b\xff", "", "secureTransport"};
  const std::string bytes = written(io);
  EXPECT_EQ(bytes, std::string("\3\0\2b\xff\17secureTransport", 21));

  test::MemIo other(std::make_shared<test::MemIoLog>());
  other.flags().insert("own");
  rdr::MemInStream in(bytes.data(), static_cast<int>(bytes.size()));
  other.readFlags(in);
  EXPECT_THAT(other.flags(), ElementsAre("", "b\xef\xbf\xbd", "own", "secureTransport")) << "added, and repaired";
  EXPECT_TRUE(in.atEnd());

  while (io.flags().size() < 255) {
    io.flags().insert(std::to_string(io.flags().size()));
  }
  EXPECT_EQ(written(io)[0], '\xff');
  io.flags().insert("one more");
  EXPECT_THAT(messageFrom<AssertionFail>([&] { written(io); }), HasSubstr("'flags.size() < 256'"));
  EXPECT_THAT(messageFrom<AssertionFail>([&] { io.Io::markReadable(); }),
              HasSubstr("'Io::markReadable() not implemented for this Io'"));
}

}  // namespace
