// Trees out of arbitrary bytes: written out again from the tree, a text must give the same tree.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "base/plat/utf8.h"
#include "base/xml/Document.h"
#include "base/xml/escape.h"

namespace {

using Element = xml::Document::Element;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

void compare(const Element& a, const Element& b) {
  require(std::string(a.name()) == b.name());
  for (const char* const name : {"name", "data", "a"}) {
    const char* const value = a.attribute(name);
    const char* const same = b.attribute(name);
    require((value == nullptr) == (same == nullptr));
    // What no text of ours can hold is replaced where it is written.
    require(value == nullptr || !plat::isValidUtf8(value) || std::string(value) == same);
  }
}

void write(std::string& out, const Element& element) {
  out.append("<").append(element.name());
  for (const char* const name : {"name", "data", "a"}) {
    if (const char* const value = element.attribute(name)) {
      out.append(" ").append(name).append("=\"").append(xml::escapeAttribute(value).get()).append("\"");
    }
  }
  out += ">";
  for (std::uint32_t index = 0; const Element child = element.nextChild(nullptr, index);) {
    write(out, child);
  }
  out.append("</").append(element.name()).append(">");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  xml::Document document;
  const int code = document.parse({reinterpret_cast<const char*>(data), size}, "config");
  require((code == 0) == static_cast<bool>(document.root()));
  require((code == 0) == (document.errorLine() == 0));
  if (code != 0) {
    require(*xml::Document::errorMessage(code) != '\0');
    return 0;
  }
  std::string text;
  write(text, document.root());
  xml::Document again;
  require(again.parse(text, "config") == 0);
  std::vector<std::pair<Element, Element>> pending = {{document.root(), again.root()}};
  while (!pending.empty()) {
    const auto [a, b] = pending.back();
    pending.pop_back();
    compare(a, b);
    require(a.childCount(nullptr) == b.childCount(nullptr));
    std::uint32_t indexA = 0;
    std::uint32_t indexB = 0;
    while (const Element child = a.nextChild(nullptr, indexA)) {
      pending.emplace_back(child, b.nextChild(nullptr, indexB));
    }
  }
  return 0;
}
