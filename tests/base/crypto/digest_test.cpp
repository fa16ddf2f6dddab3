#include "base/crypto/Digest.h"

#include <string>

#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/hex.h"

namespace {

using crypto::DigestType;

TEST(Digest, agreesWithThePublishedExamples) {
  const struct {
    DigestType type;
    std::string data;
    const char* digest;
  } cases[] = {
      {DigestType::Sha1, "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {DigestType::Sha224, "abc", "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7"},
      {DigestType::Sha256, "", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {DigestType::Sha256, "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {DigestType::Sha384, "abc",
       "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7"},
      {DigestType::Sha512, "abc",
       "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd"
       "454d4423643ce80e2a9ac94fa54ca49f"},
  };
  for (const auto& c : cases) {
    std::uint8_t out[64];
    const auto size = static_cast<std::size_t>(crypto::digestBits(c.type) / 8);
    crypto::digest(c.type, c.data.data(), c.data.size(), out, size, c.type == DigestType::Sha1);
    EXPECT_EQ(plat::binToHex(out, size), c.digest);
  }
}

TEST(Digest, refusesASmallBufferAndSha1ForNewCode) {
  std::uint8_t out[32] = {};
  EXPECT_THROW(crypto::digest(DigestType::Sha1, "abc", 3, out, 32), plat::AssertionFail);
  try {
    crypto::digest(DigestType::Sha256, "abc", 3, out, 31);
    FAIL();
  } catch (const plat::AssertionFail& e) {
    EXPECT_STREQ(e.expression, "bufSize >= digestBits/8");
  }
  EXPECT_EQ(std::string(out, out + 32), std::string(32, '\0')) << "nothing was written";
}

}  // namespace
