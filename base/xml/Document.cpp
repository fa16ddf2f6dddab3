#include "base/xml/Document.h"

#include <cstring>

#include <expat.h>

#include "base/xml/TreeBuilder.h"
#include "base/xml/errors.h"

namespace xml {

namespace {

/// The last index of a run: no node has it.
constexpr std::uint32_t AtEnd = UINT32_MAX;

bool matches(const char* wanted, const char* name) noexcept {
  return wanted == nullptr || std::strcmp(wanted, name) == 0;
}

}  // namespace

const char* Document::Element::name() const noexcept {
  return document_->text(document_->nodes_[node_].name);
}

const char* Document::Element::attribute(const char* name) const noexcept {
  const Node& node = document_->nodes_[node_];
  for (std::uint32_t i = 0; i < node.attributeCount; ++i) {
    const Attribute& attribute = document_->attributes_[node.firstAttribute + i];
    if (std::strcmp(document_->text(attribute.name), name) == 0) {
      return document_->text(attribute.value);
    }
  }
  return nullptr;
}

int Document::Element::childCount(const char* name) const noexcept {
  int count = 0;
  for (std::uint32_t index = 0; nextChild(name, index);) {
    ++count;
  }
  return count;
}

Document::Element Document::Element::nextChild(const char* name, std::uint32_t& index) const noexcept {
  if (index == AtEnd) {
    return {};
  }
  std::uint32_t child = index == 0 ? document_->nodes_[node_].firstChild : index;
  while (child != 0 && !matches(name, document_->text(document_->nodes_[child].name))) {
    child = document_->nodes_[child].nextSibling;
  }
  // The index runs ahead to where the next call begins, so that a walk over all children looks at each one once.
  const std::uint32_t following = child == 0 ? 0 : document_->nodes_[child].nextSibling;
  index = following == 0 ? AtEnd : following;
  return child == 0 ? Element() : Element(document_, child);
}

void Document::clear() noexcept {
  nodes_ = {};
  attributes_ = {};
  texts_ = {};
  errorLine_ = 0;
  errorColumn_ = 0;
}

int Document::parse(std::string_view text, const char* rootName) {
  clear();
  TreeBuilder builder(*this, rootName);
  const TreeBuilder::Result result = builder.run(text);
  if (result.code != NoError) {
    clear();
    // After clear(), which forgets the place: half a tree is never seen, but where it broke off is.
    errorLine_ = result.line;
    errorColumn_ = result.column;
  }
  return result.code;
}

const char* Document::errorMessage(int code) noexcept {
  // Our own codes first; all others are the parser's.
  switch (code) {
    case NoError:
      return "";
    case WrongRoot:
      return "unexpected root element";
    case HasDoctype:
      return "document type declaration not allowed";
    case TooDeep:
      return "elements nested too deeply";
    case TooManyElements:
      return "too many elements";
    case TooManyAttributes:
      return "too many attributes";
    case TooMuchText:
      return "too much text";
    default:
      break;
  }
  const char* const known = XML_ErrorString(static_cast<XML_Error>(code));
  return known != nullptr ? known : "unknown error";
}

}  // namespace xml
