#include "base/rdr/fileReadBytes.h"

#include "base/plat/exceptions.h"
#include "base/rdr/exceptions.h"

namespace plat {

std::size_t fileReadBytes(std::FILE* stream, void* buffer, std::size_t count) {
  const std::size_t length = std::fread(buffer, 1, count, stream);
  if (length > 0) {
    return length;
  }
  if (std::feof(stream)) {
    throw rdr::EndOfStream("End of file");
  }
  throw StdlibException("reading from file failed");
}

}  // namespace plat
