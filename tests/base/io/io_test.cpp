#include "base/io/Io.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"

namespace {

using testing::ElementsAre;

/// A connection that has names and nothing else.
class NamedIo final : public io::Io {
public:
  void setHandler(io::IoHandler*, bool) override {}
  void shutdown(bool, bool) override {}
  const char* displayName() override { return "<named>"; }
  plat::String peerEndpoint() override { return "peer:1"; }
  plat::String peerAddress() override { return "peer"; }
  plat::String myEndpoint() override { return "me:1"; }
  void setTimeout(int) override {}
};

std::string written(const NamedIo& io) {
  rdr::MemOutStream out;
  io.writeFlags(out);
  return {reinterpret_cast<const char*>(out.data()), out.length()};
}

TEST(Io, flagsCrossALinkInOrderOfTheirBytes) {
  NamedIo io;
  EXPECT_EQ(written(io), std::string(1, '\0'));
  io.flags() = {"b", "", "secureTransport"};
  const std::string bytes = written(io);
  EXPECT_EQ(bytes, std::string("\3\0\1b\17secureTransport", 20));

  NamedIo other;
  other.flags().insert("own");
  rdr::MemInStream in(bytes.data(), static_cast<int>(bytes.size()));
  other.readFlags(in);
  EXPECT_THAT(other.flags(), ElementsAre("", "b", "own", "secureTransport")) << "reading adds";
  EXPECT_TRUE(in.atEnd());
}

TEST(Io, malformedFlagsAreRepaired) {
  NamedIo io;
  rdr::MemInStream in("\1\2a\xff", 4);
  io.readFlags(in);
  EXPECT_THAT(io.flags(), ElementsAre("a\xef\xbf\xbd"));
}

TEST(Io, at256FlagsTheCountDoesNotFit) {
  NamedIo io;
  for (int i = 0; i < 255; ++i) {
    io.flags().insert(std::to_string(i));
  }
  EXPECT_EQ(written(io)[0], '\xff');
  io.flags().insert("one more");
  try {
    written(io);
    FAIL() << "wrote them";
  } catch (const plat::AssertionFail& e) {
    EXPECT_STREQ(e.expression, "flags.size() < 256");
  }
}

TEST(Io, whatAConnectionDoesNotOffer) {
  NamedIo io;
  EXPECT_EQ(io.extension(), nullptr);
  EXPECT_STREQ(io.resolvedPeerEndpoint().get(), "peer:1");
  try {
    io.markReadable();
    FAIL() << "marked";
  } catch (const plat::AssertionFail& e) {
    EXPECT_STREQ(e.expression, "Io::markReadable() not implemented for this Io");
  }
}

}  // namespace
