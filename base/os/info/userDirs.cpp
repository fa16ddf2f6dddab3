#include "base/os/info/userDirs.h"

#include <cstdlib>
#include <cstring>

#include "base/os/info/sysInfo.h"
#include "base/plat/DString.h"
#include "base/plat/Exception.h"
#include "base/plat/file/file.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/strings.h"
#include "base/plat/utf8.h"
#include "base/rdr/FileInStream.h"

namespace os {

namespace {

constexpr const char* UserDirsFile = "$HOME/.config/user-dirs.dirs";

/// The folder that an assignment names; null if there is none.
plat::String assignedFolder(const char* value) {
  if (!plat::isValidUtf8(value)) {
    return nullptr;
  }
  // The format has values either absolute or below "$HOME", written so.
  plat::String path = plat::expandVars(value, nullptr, false, true);
  return plat::fileIsDir(path.orEmpty()) ? path : plat::String();
}

// The answer of `preferred`, or if that fails of `otherwise`.
template <class First, class Second>
plat::String firstOf(First preferred, Second otherwise) {
  try {
    return preferred();
  } catch (const plat::Exception&) {
    return otherwise();
  }
}

plat::String usualDir(const char* key, const char* name, plat::String (*fallback)()) {
  return firstOf([&] { return getXdgUserDir(key); },
                 [&] { return firstOf([&] { return getHomeSubDir(name); }, fallback); });
}

}  // namespace

plat::String getHomeDir() {
  const char* const home = std::getenv("HOME");
  if (home == nullptr || !plat::fileIsDir(home)) {
    throw plat::Exception("HOME dir not found");
  }
  return home;
}

plat::String getHomeSubDir(const char* name) {
  plat::String path = plat::fileJoin(getHomeDir().get(), name);
  if (!plat::fileIsDir(path.get())) {
    throw plat::Exception("Subdir of HOME not found");
  }
  return path;
}

plat::String getXdgUserDir(const char* key) {
  rdr::FileInStream in(plat::expandVars(UserDirsFile, nullptr, true, true).get());
  plat::DString line;
  while (true) {  // until the end of the file, which leaves as an exception
    const char* const value = readAssignment(in, line);
    if (value != nullptr && std::strcmp(line.orEmpty(), key) == 0) {
      plat::String path = assignedFolder(value);
      if (!path.isNull()) {
        return path;
      }
    }
  }
}

plat::String getDesktopDir() {
  return usualDir("XDG_DESKTOP_DIR", "Desktop", getHomeDir);
}
plat::String getDocumentsDir() {
  return usualDir("XDG_DOCUMENTS_DIR", "Documents", getDesktopDir);
}
plat::String getDownloadsDir() {
  return usualDir("XDG_DOWNLOAD_DIR", "Downloads", getDocumentsDir);
}
plat::String getVideosDir() {
  return usualDir("XDG_VIDEOS_DIR", "Videos", getDocumentsDir);
}

}  // namespace os
