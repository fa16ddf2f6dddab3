#include "base/crypto/Digest.h"

#include <string>

#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/hex.h"

namespace {

using crypto::DigestType;

std::string hexDigest(DigestType type, const std::string& data, bool allowSha1 = false) {
  std::uint8_t out[64];
  const auto size = static_cast<std::size_t>(crypto::digestBits(type) / 8);
  crypto::digest(type, data.data(), data.size(), out, sizeof out, allowSha1);
  return plat::binToHex(out, size).get();
}

// The examples that NIST publishes with FIPS 180-4.
const char* const TwoBlocks = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";

TEST(Digest, agreesWithThePublishedExamples) {
  const struct {
    DigestType type;
    std::string data;
    const char* digest;
  } cases[] = {
      {DigestType::Sha1, "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {DigestType::Sha1, TwoBlocks, "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
      {DigestType::Sha224, "abc", "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7"},
      {DigestType::Sha256, "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {DigestType::Sha256, "", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {DigestType::Sha256, TwoBlocks, "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {DigestType::Sha256, std::string(1000000, 'a'),
       "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
      {DigestType::Sha384, "abc",
       "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7"},
      {DigestType::Sha512, "abc",
       "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd454d4423643ce80"
       "e"
       "2a9ac94fa54ca49f"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(hexDigest(c.type, c.data, c.type == DigestType::Sha1), c.digest);
  }
}

TEST(Digest, sha1IsForLegacyCodeOnly) {
  EXPECT_THROW(hexDigest(DigestType::Sha1, "abc"), plat::AssertionFail);
  EXPECT_NO_THROW(hexDigest(DigestType::Sha1, "abc", true));
}

TEST(Digest, writesNothingIntoABufferThatIsTooSmall) {
  std::uint8_t out[32] = {};
  try {
    crypto::digest(DigestType::Sha256, "abc", 3, out, 31);
    FAIL();
  } catch (const plat::AssertionFail& e) {
    EXPECT_STREQ(e.expression, "bufSize >= digestBits/8");
  }
  for (const std::uint8_t byte : out) {
    EXPECT_EQ(byte, 0);
  }
  EXPECT_NO_THROW(crypto::digest(DigestType::Sha256, nullptr, 0, out, 32));
}

}  // namespace
