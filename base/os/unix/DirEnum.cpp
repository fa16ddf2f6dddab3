#include "base/os/unix/DirEnum.h"

#include <cerrno>
#include <climits>
#include <cstring>

#include "base/plat/StdlibException.h"
#include "base/plat/SystemException.h"
#include "base/plat/assert.h"

namespace os {

namespace {

bool isDotOrDotDot(const char* name) noexcept {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

}  // namespace

DirEnum::DirEnum(const char* path) {
  const std::size_t dirLen = path != nullptr ? std::strlen(path) : 0;
  PLAT_REQUIRE_AS(dirLen > 0, "dirLen > 0", "base/os/unix/DirEnum", __LINE__);
  buffer.reserve(dirLen + 1 + NAME_MAX);
  buffer.assign(path, dirLen);
  if (buffer.back() != '/') {
    buffer += '/';
  }
  prefixLength = buffer.size();
  dir = ::opendir(path);
  if (dir == nullptr) {
    throw plat::StdlibException("opendir(%s)", path);
  }
}

DirEnum::~DirEnum() {
  ::closedir(dir);
}

const char* DirEnum::next() {
  do {
    errno = 0;
    entry = ::readdir(dir);
  } while (entry != nullptr && isDotOrDotDot(entry->d_name));
  buffer.resize(prefixLength);
  if (entry != nullptr) {
    buffer += entry->d_name;
    return name();
  }
  if (errno != 0) {
    throw plat::SystemException("readdir", errno);
  }
  return nullptr;
}

int DirEnum::fd() const noexcept {
  return ::dirfd(dir);
}

}  // namespace os
