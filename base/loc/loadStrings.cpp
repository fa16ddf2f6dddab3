#include "base/loc/loadStrings.h"

#include <cerrno>

#include "base/loc/BuiltInResource.h"
#include "base/loc/localeLog.h"
#include "base/plat/Exception.h"
#include "base/plat/String.h"
#include "base/plat/file/file.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/FileInStream.h"
#include "base/rdr/MemInStream.h"

namespace loc {

namespace {

bool isPlainName(const char* locale) {
  for (const char* c = locale; *c; ++c) {
    if (!((*c >= 'a' && *c <= 'z') || (*c >= 'A' && *c <= 'Z') || *c == '_')) {
      return false;
    }
  }
  return true;
}

/// Runs `read`, which parses the source called `name`, and logs how that went.
template <class Read>
void readLogged(const char* name, const Read& read) {
  try {
    read();
    localeLog().info("Loaded strings from %s", name);
  } catch (const plat::Exception& e) {
    localeLog().error("Error loading strings from %s: %s", name, plat::ExceptionText(e).get());
  }
}

}  // namespace

bool loadStringFile(const char* dir, const char* locale, PoParser::Callback& callback) {
  if (!isPlainName(locale)) {
    return false;
  }
  const plat::String path = plat::String::format("%s%cstrings.%s.po", dir, '/', locale);
  // At start-up most of these files are not there, which must not cost an exception each.
  if (!plat::fileExistsNoThrow(path.get()) && (errno == ENOENT || errno == ENOTDIR)) {
    return false;
  }
  readLogged(path.get(), [&] {
    rdr::FileInStream in(path.get());
    PoParser(path.get(), locale, callback).parse(in);
  });
  return true;
}

bool loadStringResource(const char* locale, PoParser::Callback& callback) {
  const plat::String resourceName = plat::String::format("strings.%s.po", locale);
  const BuiltInResource* resource = BuiltInResource::find(resourceName.get());
  if (!resource) {
    return false;
  }
  const plat::String name = plat::String::format("built-in resource %s", resourceName.get());
  readLogged(name.get(), [&] {
    rdr::MemInStream in(resource->data(), resource->size());
    PoParser(name.get(), locale, callback).parse(in);
  });
  return true;
}

}  // namespace loc
