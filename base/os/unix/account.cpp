#include "base/os/unix/account.h"

#include <cerrno>
#include <cstddef>
#include <vector>

#include <pwd.h>

#include "base/plat/exceptions.h"

namespace os {

namespace {

constexpr std::size_t FirstBuffer = 1024;
constexpr std::size_t LargestBuffer = 16 << 20;  // a database that wants still more is broken

plat::String textOf(const char* field) {
  return field != nullptr ? field : "";
}

}  // namespace

Account findAccount(uid_t uid) {
  passwd entry = {};
  passwd* found = nullptr;
  std::vector<char> buffer(FirstBuffer);
  int err = 0;
  while ((err = ::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found)) != 0) {
    // Nothing tells beforehand how long an entry is.
    if (err == ERANGE && buffer.size() < LargestBuffer) {
      buffer.resize(buffer.size() * 2);
    } else if (err != EINTR) {
      throw plat::SystemExceptionFmt("%s(%u)", err, "getpwuid", uid);
    }
  }
  if (found == nullptr) {
    // The call reports success here; a message that ends in that word would puzzle.
    throw plat::SystemExceptionFmt("%s(%u): account not found", ENOENT, "getpwuid", uid);
  }
  return {entry.pw_uid, entry.pw_gid, textOf(entry.pw_name), textOf(entry.pw_dir), textOf(entry.pw_shell)};
}

}  // namespace os
