#include "base/plat/file/filePaths.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "base/plat/strings.h"

namespace plat {

namespace {

std::string_view viewOf(const char* text) noexcept {
  return text != nullptr ? text : std::string_view();
}

/// Takes the next element off `rest`, which has no slash at its front; empty at the end.
std::string_view takeElement(std::string_view& rest) noexcept {
  const std::string_view element = rest.substr(0, rest.find('/'));
  rest.remove_prefix(element.size());
  rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
  return element;
}

bool endsInParent(std::string_view path) noexcept {
  return path == ".." || path.ends_with("/..");
}

void appendElement(std::string& path, std::string_view element) {
  if (!path.empty() && path.back() != '/') {
    path += '/';
  }
  path += element;
}

std::string normalise(std::string_view path) {
  const bool absolute = path.starts_with('/');
  std::string out(absolute ? "/" : "");
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  while (!path.empty()) {
    const std::string_view element = takeElement(path);
    if (element == ".") {
      continue;
    }
    // With nothing before it but others of its kind there is nothing that ".." could cancel.
    const bool staysParent = !absolute && (out.empty() || endsInParent(out));
    if (element != ".." || staysParent) {
      appendElement(out, element);
    } else {
      // At the top of an absolute path there is nothing to take off: "/.." is "/".
      const std::size_t slash = out.rfind('/');
      out.resize(slash == std::string::npos ? 0 : slash == 0 && absolute ? 1 : slash);
    }
  }
  return out.empty() ? "." : out;
}

}  // namespace

bool isAbsolutePath(const char* path) noexcept {
  return path != nullptr && path[0] == '/';
}

String fileNormalise(const char* path) {
  return String(std::string_view(normalise(viewOf(path))));
}

String fileDirName(const char* path) {
  std::string normal = normalise(viewOf(path));
  if (normal == ".") {
    return "..";
  }
  if (endsInParent(normal)) {
    // Cutting off the last ".." would lead down again.
    return String(std::string_view(normal + "/.."));
  }
  const std::size_t slash = normal.rfind('/');
  if (slash == std::string::npos) {
    return ".";
  }
  normal.resize(slash == 0 ? 1 : slash);
  return String(std::string_view(normal));
}

String fileBaseName(const char* path, const char* suffix) {
  const std::string normal = normalise(viewOf(path));
  if (endsInParent(normal)) {
    return ".";
  }
  String element(normal.c_str() + (normal.rfind('/') + 1));  // npos + 1 is 0
  const std::size_t cut = viewOf(suffix).size();
  // Shorter, so that a file which is called like the suffix keeps a name.
  if (cut > 0 && cut < element.length() && strEndsWithNoCase(element.get(), suffix)) {
    element.data()[element.length() - cut] = '\0';
  }
  return element;
}

String fileJoin(const char* dir, const char* name) {
  const std::string_view prefix = viewOf(dir);
  std::string path(prefix);
  if (!prefix.ends_with('/')) {
    path += '/';
  }
  path += viewOf(name);
  return String(std::string_view(path));
}

/// A name from elsewhere must stay one name, and must not carry control sequences into listings and logs. Going by
/// bytes is safe in UTF-8, where every byte of a longer character is above 127.
String fileSanitiseName(const char* name, char with) {
  String copy(name);
  for (char* at = copy.data(); at != nullptr && *at != '\0'; ++at) {
    const auto byte = static_cast<unsigned char>(*at);
    if (byte == '/' || byte < 32 || byte == 127) {
      *at = with;
    }
  }
  return copy;
}

}  // namespace plat
