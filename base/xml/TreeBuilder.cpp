#include "base/xml/TreeBuilder.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <expat.h>

#include "base/xml/escape.h"

namespace xml {

namespace {

/// What the parser is fed at a time: it copies what it is given, so a whole text would be held twice.
constexpr std::size_t PieceBytes = 64UL * 1024;

// The parser's memory is counted, since it alone decides how much of a piece of markup it has to hold. Its hooks know
// no caller; one run at a time on a thread makes the thread's own counter do.
thread_local std::size_t parserBytes;
thread_local bool parserRefused;

/// In front of each block of the parser.
struct alignas(std::max_align_t) BlockHeader {
  std::size_t size;
};

void* countedRealloc(void* block, std::size_t size) {
  BlockHeader* const old = block ? static_cast<BlockHeader*>(block) - 1 : nullptr;
  const std::size_t others = parserBytes - (old ? old->size : 0);
  // Both blocks may exist for a moment.
  if (size > Document::MaxParserBytes || parserBytes + size > Document::MaxParserBytes) {
    parserRefused = true;
    return nullptr;
  }
  auto* const header = static_cast<BlockHeader*>(std::realloc(old, sizeof(BlockHeader) + size));
  if (header == nullptr) {
    return nullptr;
  }
  header->size = size;
  parserBytes = others + size;
  return header + 1;
}

void* countedMalloc(std::size_t size) {
  return countedRealloc(nullptr, size);
}

void countedFree(void* block) {
  if (block != nullptr) {
    BlockHeader* const header = static_cast<BlockHeader*>(block) - 1;
    parserBytes -= header->size;
    std::free(header);
  }
}

constexpr XML_Memory_Handling_Suite CountedMemory = {countedMalloc, countedRealloc, countedFree};

}  // namespace

TreeBuilder::TreeBuilder(Document& document, const char* rootName) : document_(document), rootName_(rootName) {
  parserBytes = 0;
  parserRefused = false;
  parser_ = XML_ParserCreate_MM(nullptr, &CountedMemory, nullptr);
  if (parser_ == nullptr) {
    return;
  }
  XML_SetUserData(parser_, this);
  XML_SetElementHandler(parser_, startElement, endElement);
  // Entities can be declared there only: without it none can multiply without bound or name a file.
  XML_SetStartDoctypeDeclHandler(parser_, startDoctype);
}

TreeBuilder::~TreeBuilder() {
  XML_ParserFree(parser_);
}

TreeBuilder::Result TreeBuilder::run(std::string_view text) {
  if (parser_ == nullptr) {
    // There is no parser to ask for a place.
    return {XML_ERROR_NO_MEMORY, 0, 0};
  }
  bool last = false;
  while (!last) {
    const std::string_view piece = text.substr(0, PieceBytes);
    text.remove_prefix(piece.size());
    // An empty text is parsed as well, as its last piece: only so does the parser say that there is no element.
    last = text.empty();
    if (XML_Parse(parser_, piece.data(), static_cast<int>(piece.size()), last) != XML_STATUS_OK) {
      return stopped_.code != NoError ? stopped_ : failure(XML_GetErrorCode(parser_));
    }
  }
  return {NoError, 0, 0};
}

TreeBuilder::Result TreeBuilder::failure(int code) const {
  // The parser cannot tell our refusal from the system's; to the user the text is too long.
  if (code == XML_ERROR_NO_MEMORY && parserRefused) {
    code = TooMuchText;
  }
  return {code, static_cast<int>(XML_GetCurrentLineNumber(parser_)),
          // The parser counts columns from 0, but lines from 1.
          static_cast<int>(XML_GetCurrentColumnNumber(parser_)) + 1};
}

void TreeBuilder::startElement(void* self, const char* name, const char** attributes) {
  static_cast<TreeBuilder*>(self)->open(name, attributes);
}

void TreeBuilder::endElement(void* self, const char*) {
  auto& builder = *static_cast<TreeBuilder*>(self);
  if (builder.stopped_.code == NoError) {  // the end of an empty element is told even after a stop at its start
    builder.open_.pop_back();
  }
}

void TreeBuilder::startDoctype(void* self, const char*, const char*, const char*, int) {
  static_cast<TreeBuilder*>(self)->stop(HasDoctype);
}

void TreeBuilder::stop(ErrorCode code) {
  if (stopped_.code == NoError) {
    stopped_ = failure(code);
    XML_StopParser(parser_, XML_FALSE);
  }
}

void TreeBuilder::open(const char* name, const char** attributes) {
  if (stopped_.code != NoError) {
    return;
  }
  // Each limit is tested ahead of what it limits; together they keep all indices and offsets within 32 bits.
  if (open_.empty() && std::strcmp(name, rootName_) != 0) {
    return stop(WrongRoot);
  }
  if (open_.size() == Document::MaxDepth) {
    return stop(TooDeep);
  }
  if (document_.nodes_.size() == Document::MaxElements) {
    return stop(TooManyElements);
  }
  const auto node = static_cast<std::uint32_t>(document_.nodes_.size());
  const auto firstAttribute = static_cast<std::uint32_t>(document_.attributes_.size());
  const std::uint32_t nameText = store(name);
  for (; *attributes != nullptr && stopped_.code == NoError; attributes += 2) {
    if (document_.attributes_.size() == Document::MaxAttributes) {
      return stop(TooManyAttributes);
    }
    const std::uint32_t attributeName = store(attributes[0]);
    document_.attributes_.push_back({attributeName, store(attributes[1])});
  }
  const auto attributeCount = static_cast<std::uint32_t>(document_.attributes_.size()) - firstAttribute;
  document_.nodes_.push_back({nameText, firstAttribute, attributeCount, 0, 0});
  link(node);
  open_.push_back({node, 0});
}

/// The last child is remembered while its parent is open: looking for it would make a long row of children quadratic.
void TreeBuilder::link(std::uint32_t node) {
  if (open_.empty()) {
    return;
  }
  Open& parent = open_.back();
  if (parent.lastChild == 0) {
    document_.nodes_[parent.node].firstChild = node;
  } else {
    document_.nodes_[parent.lastChild].nextSibling = node;
  }
  parent.lastChild = node;
}

std::uint32_t TreeBuilder::store(const char* text) {
  const auto offset = static_cast<std::uint32_t>(document_.texts_.size());
  if (document_.texts_.size() + std::strlen(text) + 1 > Document::MaxTextBytes) {
    stop(TooMuchText);
    return offset;
  }
  appendUnescaped(document_.texts_, text);
  document_.texts_ += '\0';
  return offset;
}

}  // namespace xml
