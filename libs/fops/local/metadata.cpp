#include "libs/fops/local/metadata.h"

#include <cstring>
#include <utility>

#include <malloc.h>
#include <sys/stat.h>

#include "base/os/unix/DirEnum.h"
#include "base/plat/Exception.h"
#include "base/plat/assert.h"
#include "base/plat/exceptions.h"
#include "libs/fops/exceptions.h"
#include "libs/fops/local/StatResult.h"
#include "libs/fops/local/metadataLog.h"

namespace fops {

plat::LogSrc metadataLog("getDirEntry");

namespace {

/// Whether a directory holds directories: the flags to add for it.
std::uint32_t subdirFlags(const char* path) {
  try {
    os::DirEnum elements(path);
    while (elements.next()) {
      if (StatResult(elements).isDir()) {
        return HasSubdirs;
      }
    }
    return 0;
  } catch (const plat::Exception&) {
    return SubdirsUnknown;
  }
}

void fillEntry(DirEntry& entry, const char* path, const StatResult& found) {
  if (found.error != 0) {
    throw plat::SystemExceptionFmt("stat(%s)", found.error, path);
  }
  const struct stat& st = found.st;
  if (!S_ISREG(st.st_mode) && !S_ISDIR(st.st_mode)) {
    throw SpecialFileException("%s is a special file", path);
  }
  if (S_ISDIR(st.st_mode)) {
    entry.flags |= Directory;
  }
  // By the path: the name may be another, as that of the top of the tree is for display.
  if (std::strrchr(path, '/')[1] == '.') {
    entry.flags |= Hidden;
  }
  if ((st.st_mode & S_IWUSR) == 0) {
    entry.flags |= ReadOnly;
  }
  entry.size = st.st_size;
  // stat(2) knows no time of creation; that of the last change of the file's status stands in for it.
  entry.createTime = plat::fileTimeFromUnix(st.st_ctime);
  entry.accessTime = plat::fileTimeFromUnix(st.st_atime);
  entry.modifyTime = plat::fileTimeFromUnix(st.st_mtime);
  setUnixMode(entry, static_cast<std::uint16_t>(st.st_mode));
  if (S_ISDIR(st.st_mode)) {
    entry.flags |= subdirFlags(path);
  }
}

const char* lastElement(const char* path) noexcept {
  const char* const slash = std::strrchr(path, '/');
  return slash ? slash + 1 : path;
}

void requireAbsolute(const char* path) {
  PLAT_ASSERT_AS(path[0] == '/', "filePath[0] == '/'", "libs/fops/unix/metadata", __LINE__);
}

}  // namespace

DirEntry getDirEntry(const char* path, const char* name) {
  DirEntry entry(name ? name : lastElement(path), 0);
  requireAbsolute(path);
  fillEntry(entry, path, StatResult(path));
  return entry;
}

DirEntry getOpenEntry(int fd, const char* path) {
  DirEntry entry(lastElement(path), 0);
  requireAbsolute(path);
  fillEntry(entry, path, StatResult(fd));
  return entry;
}

std::vector<DirEntry> scanDir(const char* local, bool includeDirs, bool includeFiles) {
  std::vector<DirEntry> list;
  os::DirEnum elements(local);
  while (const char* name = elements.next()) {
    // One stat serves for the kind of the element and for its entry.
    const StatResult found(elements);
    // What stat(2) could not look at counts as a file, and so is told to the log below where files are wanted.
    if (!(found.isDir() ? includeDirs : includeFiles)) {
      continue;
    }
    try {
      DirEntry entry(name, 0);
      requireAbsolute(elements.path());
      fillEntry(entry, elements.path(), found);
      list.push_back(std::move(entry));
    } catch (const SpecialFileException&) {
      // Pipes, sockets and devices are simply absent.
    } catch (const plat::Exception& error) {
      if (metadataLog.enabled(plat::LogDebug)) {
        metadataLog.debug("Error for '%s': %s", elements.path(), plat::ExceptionText(error).get());
      }
    }
  }
  return list;
}

void releaseList(std::vector<DirEntry>& list) noexcept {
  const bool big = list.capacity() >= BigListEntries;
  std::vector<DirEntry>().swap(list);
  if (big) {
    ::malloc_trim(0);
  }
}

}  // namespace fops
