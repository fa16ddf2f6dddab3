#pragma once

#include <cstddef>
#include <cstdio>

namespace plat {

/// Reads at most `count` bytes, `count` above 0. @return bytes read, at least 1.
/// Called by FileInStream; calls fread(3), which is one read(2) where the stream has no buffer.
/// @throws rdr::EndOfStream "End of file"
/// @throws StdlibException "reading from file failed"
std::size_t fileReadBytes(std::FILE* stream, void* buffer, std::size_t count);

}  // namespace plat
