// Trees out of arbitrary bytes: written out again from the tree, a text must give the same tree.

#include "base/xml/Document.h"
#include "base/xml/escape.h"
#include "fuzz/target.h"

namespace {

using Element = xml::Document::Element;
using fuzz::require;

constexpr const char* AttributeNames[] = {"name", "data", "a"};

void compare(const Element& a, const Element& b) {
  require(std::string(a.name()) == b.name());
  require(a.childCount(nullptr) == b.childCount(nullptr));
  for (const char* const name : AttributeNames) {
    const char* const value = a.attribute(name);
    const char* const same = b.attribute(name);
    require((value == nullptr) == (same == nullptr));
    // What no text of ours can hold is replaced where it is written.
    require(value == nullptr || !plat::isValidUtf8(value) || std::string(value) == same);
  }
  std::uint32_t indexA = 0;
  std::uint32_t indexB = 0;
  while (const Element child = a.nextChild(nullptr, indexA)) {
    compare(child, b.nextChild(nullptr, indexB));
  }
}

void write(std::string& out, const Element& element) {
  out.append("<").append(element.name());
  for (const char* const name : AttributeNames) {
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

void fuzz::run(std::string_view input) {
  xml::Document document;
  const int code = document.parse(input, "config");
  require((code == 0) == static_cast<bool>(document.root()));
  require((code == 0) == (document.errorLine() == 0));
  if (code != 0) {
    require(*xml::Document::errorMessage(code) != '\0');
    return;
  }
  std::string text;
  write(text, document.root());
  xml::Document again;
  require(again.parse(text, "config") == 0);
  compare(document.root(), again.root());
}
