#include "base/crypto/Digest.h"

#include <mbedtls/md.h>

#include "base/plat/Exception.h"
#include "base/plat/assert.h"

namespace crypto {

namespace {

mbedtls_md_type_t libraryType(DigestType type) noexcept {
  switch (type) {
    case DigestType::Sha1:
      return MBEDTLS_MD_SHA1;
    case DigestType::Sha224:
      return MBEDTLS_MD_SHA224;
    case DigestType::Sha256:
      return MBEDTLS_MD_SHA256;
    case DigestType::Sha384:
      return MBEDTLS_MD_SHA384;
    case DigestType::Sha512:
      return MBEDTLS_MD_SHA512;
  }
  return MBEDTLS_MD_NONE;
}

}  // namespace

int digestBits(DigestType type) noexcept {
  switch (type) {
    case DigestType::Sha1:
      return 160;
    case DigestType::Sha224:
      return 224;
    case DigestType::Sha256:
      return 256;
    case DigestType::Sha384:
      return 384;
    case DigestType::Sha512:
      return 512;
  }
  return 0;
}

void digest(DigestType type, const void* data, std::size_t len, std::uint8_t* out, std::size_t bufSize,
            bool allowSha1ForLegacyCode) {
  PLAT_REQUIRE(type != DigestType::Sha1 || allowSha1ForLegacyCode);
  const auto bits = static_cast<std::size_t>(digestBits(type));
  const mbedtls_md_info_t* const info = mbedtls_md_info_from_type(libraryType(type));
  PLAT_REQUIRE_AS(info && mbedtls_md_get_size(info) * std::size_t{8} == bits, "digestSize*8 == digestBits",
                  "base/crypto/Digest", __LINE__);
  PLAT_REQUIRE_AS(bufSize >= bits / 8, "bufSize >= digestBits/8", "base/crypto/Digest", __LINE__);
  static const unsigned char nothing = 0;
  const int error = mbedtls_md(info, len == 0 ? &nothing : static_cast<const unsigned char*>(data), len, out);
  if (error != 0) {
    throw plat::Exception(plat::Formatted, "digest: error %d", error);
  }
}

}  // namespace crypto
