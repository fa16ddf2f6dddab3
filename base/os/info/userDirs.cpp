#include "base/os/info/userDirs.h"

#include <cstdlib>
#include <cstring>
#include <string>

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

// Takes the marks off a quoted value, and within double marks the backslashes. False if the marks do not pair up.
bool unquote(std::string& value) {
  const char mark = value.empty() ? '\0' : value.front();
  if (mark != '"' && mark != '\'') {
    return true;
  }
  if (value.size() < 2 || value.back() != mark) {
    return false;
  }
  value = value.substr(1, value.size() - 2);
  for (std::size_t at = 0; mark == '"' && at + 1 < value.size(); ++at) {
    if (value[at] == '\\' && std::strchr("\"'\\$`", value[at + 1]) != nullptr) {
      value.erase(at, 1);
    }
  }
  return true;
}

// The folder that a line assigns to the key; null if the line does no such thing.
plat::String folderFromLine(const std::string& line, const char* key) {
  const std::size_t equals = line.find('=');
  if (equals == std::string::npos || line.compare(0, equals, key) != 0) {
    return nullptr;
  }
  std::string value = line.substr(equals + 1);
  if (!unquote(value) || !plat::isValidUtf8(value.c_str())) {
    return nullptr;
  }
  plat::String path = plat::expandVars(value.c_str(), nullptr, false, true);
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
    line.clear();
    in.readLine(line);
    plat::String path = folderFromLine(line.orEmpty(), key);
    if (!path.isNull()) {
      return path;
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
