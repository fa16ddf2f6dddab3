#include "base/os/unix/DirEnum.h"

#include <cerrno>
#include <climits>
#include <cstring>

#include <fcntl.h>

#include "base/os/unix/UniqueFd.h"
#include "base/plat/assert.h"
#include "base/plat/exceptions.h"

namespace os {

namespace {

bool isDotOrDotDot(const char* name) noexcept {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

}  // namespace

DirEnum::DirEnum(const char* path, bool followLink) {
  const std::size_t dirLen = path != nullptr ? std::strlen(path) : 0;
  PLAT_REQUIRE_AS(dirLen > 0, "dirLen > 0", "base/os/unix/DirEnum", __LINE__);
  // So that no element makes it grow.
  buffer_.reserve(dirLen + 1 + NAME_MAX);
  buffer_.assign(path, dirLen);
  if (buffer_.back() != '/') {
    buffer_ += '/';
  }
  prefixLength_ = buffer_.size();
  UniqueFd fd(::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | (followLink ? 0 : O_NOFOLLOW)));
  dir_ = fd ? ::fdopendir(fd.get()) : nullptr;
  if (dir_ == nullptr) {
    throw plat::StdlibException("opendir(%s)", path);
  }
  fd.release();  // from here on the stream's
}

DirEnum::~DirEnum() {
  ::closedir(dir_);
}

const char* DirEnum::next() {
  do {
    // The end and a failure are the same null from readdir(3); errno alone tells them apart.
    errno = 0;
    entry_ = ::readdir(dir_);
  } while (entry_ != nullptr && isDotOrDotDot(entry_->d_name));
  buffer_.resize(prefixLength_);
  if (entry_ != nullptr) {
    buffer_ += entry_->d_name;
    return name();
  }
  if (errno != 0) {
    throw plat::SystemException("readdir", errno);
  }
  return nullptr;
}

int DirEnum::fd() const noexcept {
  return ::dirfd(dir_);
}

}  // namespace os
