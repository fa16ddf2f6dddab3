#include "base/plat/file/fileLinks.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

#include "base/plat/Exception.h"
#include "base/plat/assert.h"
#include "base/plat/exceptions.h"
#include "base/plat/file/file.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/file/filePerms.h"

namespace plat {

namespace {

constexpr int MaxLinks = 21;
constexpr std::size_t LinkBufferSize = 4096;

[[noreturn]] void failRealPath(const char* reported, int error) {
  throw SystemExceptionFmt("realpath(%s)", error, reported);
}

std::string readTarget(const char* reported, const char* link) {
  char target[LinkBufferSize];
  const ssize_t length = ::readlink(link, target, sizeof target);
  if (length < 0) {
    failRealPath(reported, errno);
  }
  // readlink(2) cuts off without a word: a buffer that is full may hold half a target.
  if (static_cast<std::size_t>(length) >= sizeof target) {
    failRealPath(reported, EIO);
  }
  return {target, static_cast<std::size_t>(length)};
}

/// Replaces the first link on the path by its target, and leaves a path that is not normalised. False if there is none.
bool followFirstLink(const char* reported, std::string& path) {
  std::size_t end = 0;
  while (true) {
    const std::size_t begin = path.find_first_not_of('/', end);
    if (begin == std::string::npos) {
      return false;
    }
    end = std::min(path.find('/', begin), path.size());
    const std::string prefix = path.substr(0, end);
    struct stat info;
    if (::lstat(prefix.c_str(), &info) != 0) {
      failRealPath(reported, errno);
    }
    if (S_ISLNK(info.st_mode)) {
      // The caller goes over the result from its front again, since the target may lead through links as well.
      const std::string target = readTarget(reported, prefix.c_str());
      // An absolute target takes the place of the whole way to the link, another one that of its name.
      const std::size_t replaced = target.starts_with('/') ? 0 : begin;
      path.replace(replaced, end - replaced, target + "/");
      return true;
    }
    if (!S_ISDIR(info.st_mode) && path.find_first_not_of('/', end) != std::string::npos) {
      failRealPath(reported, ENOTDIR);
    }
  }
}

}  // namespace

String fileRealPath(const char* reported, const char* path, int depth) {
  PLAT_ASSERT_AS(path != nullptr && path[0] == '/', "path[0] == '/'", "base/plat/file", __LINE__);
  std::string resolved(path);
  for (;; ++depth) {
    if (depth >= MaxLinks) {
      failRealPath(reported, ELOOP);
    }
    if (!followFirstLink(reported, resolved)) {
      return String(std::string_view(resolved));
    }
    resolved = fileNormalise(resolved.c_str()).orEmpty();
  }
}

String fileAbsPath(const char* path) {
  const String absolute = fileNormalise(isAbsolutePath(path) ? path : fileJoin(getWorkingDir().get(), path).orEmpty());
  return fileRealPath(path, absolute.get());
}

String fileMakeSecureDir(const char* path, const char* link) {
  PLAT_ASSERT_AS(path != nullptr && path[0] == '/', "path[0] == '/'", "base/plat/file", __LINE__);
  if (link != nullptr && !fileExists(path)) {
    throw Exception(Formatted, "%s must be created and point to %s", path, link);
  }
  String real = fileAbsPath(path);
  filePathPermsCheck(real.get(), {0});
  return real;
}

}  // namespace plat
