#include <cctype>
#include <cstring>

#include "base/os/info/sysInfo.h"
#include "base/os/unix/DirEnum.h"
#include "base/plat/DString.h"
#include "base/plat/Exception.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/strings.h"
#include "base/rdr/FileInStream.h"
#include "base/rdr/exceptions.h"

namespace os {

namespace {

/// Words that the names of release files begin with.
constexpr const char* Distributions[] = {"SuSE",     "debian",      "fedora",     "redhat",    "centos",
                                         "mandrake", "mandriva",    "rocks",      "slackware", "yellowdog",
                                         "gentoo",   "UnitedLinux", "turbolinux", "arch",      "mageia"};

/// Calls visit(key, value) for each assignment in the file. @throws plat::Exception if the file can't be read
template <class Visitor>
void forEachAssignment(const char* path, Visitor visit) {
  rdr::FileInStream in(path);
  plat::DString line;
  try {
    for (;;) {
      const char* const value = readAssignment(in, line);
      if (value != nullptr) {
        visit(line.orEmpty(), value);
      }
    }
  } catch (const rdr::EndOfStream&) {
    // the whole file has been read
  }
}

/// Drops the backslash of each escape that double quotes allow for.
void unescape(char* text) noexcept {
  char* to = text;
  for (const char* from = text; *from != '\0'; ++from) {
    if (*from == '\\' && from[1] != '\0' && std::strchr("$`\"'\\", from[1]) != nullptr) {
      ++from;
    }
    *to++ = *from;
  }
  *to = '\0';
}

/// Whether "<something>-<word>" or "<something>_<word>" is in the name.
bool namesFile(const char* name, const char* word) noexcept {
  const char* const place = std::strstr(name, word);
  return place != nullptr && place > name && (place[-1] == '-' || place[-1] == '_');
}

plat::String readReleaseFileNamed(const char* etc, const char* name) {
  const bool isRelease = std::strstr(name, "release") != nullptr;
  if (!namesFile(name, isRelease ? "release" : "version")) {
    return nullptr;
  }
  for (const char* const word : Distributions) {
    if (plat::strStartsWith(name, word)) {
      const plat::String path = plat::fileJoin(etc, name);
      plat::String text = readReleaseFile(path.get(), isRelease ? nullptr : word);
      if (!text.isNull()) {
        return text;
      }
    }
  }
  return nullptr;
}

/// Takes name and version out of a release file's line; `hasVersion` is set if a "release" or "(" tells that they are
/// both there.
plat::DString parseReleaseLine(char* line, bool& hasVersion) {
  plat::DString text;
  bool isLast = false;
  char* cursor = line;
  while (const char* word = plat::strTokenAny(cursor, " \t", nullptr, true)) {
    if (std::strcmp(word, "release") == 0) {
      hasVersion = isLast = true;
      continue;
    }
    if (*word == '(' && !isLast) {
      hasVersion = true;
      break;
    }
    if (!text.empty()) {
      text.appendChar(' ');
    }
    text.append(word);
    if (isLast || std::isdigit(static_cast<unsigned char>(*word)) != 0) {
      break;
    }
  }
  return text;
}

}  // namespace

const char* readAssignment(rdr::InStream& in, plat::DString& line) {
  line.clear();
  in.readLine(line);
  char* value = line.data() != nullptr ? std::strchr(line.data(), '=') : nullptr;
  if (value == nullptr) {
    return nullptr;
  }
  *value++ = '\0';
  const char quote = *value;
  if (quote != '"' && quote != '\'') {
    return value;
  }
  const std::size_t length = std::strlen(value);
  if (length < 2 || value[length - 1] != quote) {
    return nullptr;
  }
  value[length - 1] = '\0';
  ++value;
  if (quote == '"') {
    unescape(value);
  }
  return value;
}

plat::String readKeyValues(const char* path, const char* firstKey, const char* secondKey) {
  plat::String first, second;
  try {
    forEachAssignment(path, [&](const char* key, const char* value) {
      if (std::strcmp(key, firstKey) == 0) {
        first = value;
      } else if (std::strcmp(key, secondKey) == 0) {
        second = value;
      }
    });
  } catch (const plat::Exception&) {
    return nullptr;
  }
  return first.isNull() || second.isNull() ? plat::String() : plat::String::format("%s %s", first.get(), second.get());
}

plat::String readReleaseFile(const char* path, const char* label) {
  constexpr std::uint32_t MaxLine = 1024;
  plat::DString line;
  try {
    rdr::FileInStream in(path);
    in.readLine(line, MaxLine);
  } catch (const plat::Exception&) {
    return nullptr;
  }
  bool hasVersion = false;
  plat::DString text = parseReleaseLine(line.data(), hasVersion);
  if (text.empty()) {
    return nullptr;
  }
  if (hasVersion) {
    return text.takeString();
  }
  if (label == nullptr || *label == '\0') {
    return nullptr;
  }
  plat::String result = plat::String::format("%s %s", label, text.get());
  result.data()[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(result.get()[0])));
  return result;
}

plat::String distributionName(const char* etc) {
  plat::String name = readKeyValues(plat::fileJoin(etc, "os-release").get(), "NAME", "VERSION_ID");
  if (name.isNull()) {
    name = readKeyValues(plat::fileJoin(etc, "lsb-release").get(), "DISTRIB_ID", "DISTRIB_RELEASE");
  }
  if (!name.isNull()) {
    return name;
  }
  try {
    DirEnum dir(etc);
    while (name.isNull() && dir.next() != nullptr) {
      name = readReleaseFileNamed(etc, dir.name());
    }
  } catch (const plat::Exception&) {
    // a folder that cannot be read tells nothing
  }
  return name;
}

bool isDebianFamily(const char* osRelease) {
  bool isDebian = false;
  try {
    forEachAssignment(osRelease, [&](const char* key, const char* value) {
      const bool tells = std::strcmp(key, "ID") == 0 || std::strcmp(key, "ID_LIKE") == 0;
      isDebian = isDebian || (tells && ::strcasestr(value, "debian") != nullptr);
    });
  } catch (const plat::Exception&) {
    // no such file, no such family
  }
  return isDebian;
}

}  // namespace os
