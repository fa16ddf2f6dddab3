#include "libs/fops/path.h"

#include <cstring>

#include "base/plat/strings.h"
#include "base/plat/utf8.h"
#include "libs/fops/exceptions.h"

namespace fops {

namespace {

/// The tests that every name has to pass, in the order in which their reasons are reported.
void checkName(const char* name, bool refuseBackslash) {
  if (!plat::isValidUtf8(name)) {
    throw BadPath("Invalid path: bad UTF-8");
  }
  // Not for what was cut at its slashes, but for names that come by themselves: of entries, and of new folders.
  if (std::strchr(name, '/')) {
    throw BadPath("Invalid path: element contains /");
  }
  if (refuseBackslash && std::strchr(name, '\\')) {
    throw BadPath("Invalid path: element contains \\");
  }
  if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) {
    throw BadPath("Invalid path: . or ..");
  }
}

void checkRelative(const char* path) {
  if (!path) {
    throw BadPath("Invalid path: null");
  }
  if (path[0] == '/') {
    throw BadPath("Invalid path: starts with /");
  }
}

}  // namespace

void checkPathElement(const char* element, unsigned flags) {
  if (!element || !*element) {
    if (flags & AllowEmptyElement) {
      return;
    }
    throw BadPath("Invalid path: empty");
  }
  checkName(element, flags & RefuseBackslash);
}

void checkPath(const char* path) {
  checkRelative(path);
  // A copy, since the elements are cut in place.
  plat::String scratch(path);
  for (char* cursor = scratch.data(); cursor;) {
    checkPathElement(plat::strToken(cursor, '/', false), 0);
  }
}

void checkDirPath(const char* path) {
  checkRelative(path);
  plat::String scratch(path);
  for (char* cursor = scratch.data(); cursor;) {
    const char* element = plat::strToken(cursor, '/', false);
    if (*element) {
      checkName(element, false);
    }
  }
}

}  // namespace fops
