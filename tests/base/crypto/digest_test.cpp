#include "base/crypto/Digest.h"

#include "base/plat/hex.h"
#include "tests/support/prelude.h"

using crypto::DigestType;

TEST(Digest, agreesWithThePublishedExamples) {
  const struct {
    DigestType type;
    std::string data;
    std::size_t size;
    const char* first;
  } cases[] = {
      {DigestType::Sha1, "abc", 20, "a9993e364706816a"},   {DigestType::Sha224, "abc", 28, "23097d223405d822"},
      {DigestType::Sha256, "abc", 32, "ba7816bf8f01cfea"}, {DigestType::Sha256, "", 32, "e3b0c44298fc1c14"},
      {DigestType::Sha384, "abc", 48, "cb00753f45a35e8b"}, {DigestType::Sha512, "abc", 64, "ddaf35a193617aba"},
  };
  for (const auto& c : cases) {
    std::uint8_t out[64];
    crypto::digest(c.type, c.data.data(), c.data.size(), out, c.size, c.type == DigestType::Sha1);
    EXPECT_EQ(plat::binToHex(out, 8), c.first);
  }
}

TEST(Digest, refusesASmallBufferAndSha1ForNewCode) {
  std::uint8_t out[32] = {};
  EXPECT_THROW(crypto::digest(DigestType::Sha1, "abc", 3, out, 32), plat::AssertionFail);
  EXPECT_THAT(test::messageFrom([&] { crypto::digest(DigestType::Sha256, "abc", 3, out, 31); }),
              testing::HasSubstr("'bufSize >= digestBits/8'"));
  EXPECT_EQ(std::string(out, out + 32), std::string(32, '\0')) << "nothing was written";
}
