#pragma once

#include <cstddef>
#include <cstdint>

namespace crypto {

/// The digests of FIPS 180-4 that this product uses.
enum class DigestType { Sha1, Sha224, Sha256, Sha384, Sha512 };

/// Length of a digest in bits, 160 to 512.
int digestBits(DigestType type) noexcept;

/// Computes the digest of `len` bytes in one go.
/// @param data may be null if `len` is 0. @param out gets digestBits / 8 bytes. @param bufSize bytes of room in `out`.
/// @param allowSha1ForLegacyCode must be set for DigestType::Sha1: its collisions are practical, so only code that must
///   agree with an old peer may ask for it.
/// @throws plat::AssertionFail "bufSize >= digestBits/8"; for SHA-1 without the flag; if the library has no such digest
void digest(DigestType type, const void* data, std::size_t len, std::uint8_t* out, std::size_t bufSize,
            bool allowSha1ForLegacyCode = false);

}  // namespace crypto
