#pragma once

#include <cstdint>

#include "base/os/unix/UniqueFd.h"
#include "base/rdr/BufferedInStream.h"

/// A local file to be sent, read in large pieces: one piece becomes one chunk, and large chunks cost less on both
/// sides.
///
/// Ownership: by the element of fops::FileSender. Thread: the loop's; reads block it.
class UploadStream final : public rdr::BufferedInStream {
public:
  /// @param size of the file in bytes, as announced; a small file gets a small buffer.
  /// @throws plat::SystemException if the file cannot be opened.
  UploadStream(const char* path, std::int64_t size);

private:
  int readBlock(std::uint8_t* dest, int len) override;

  os::UniqueFd fd_;
};
