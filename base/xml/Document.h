#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace xml {

/// The tree of elements that a text describes: names and attributes, no character data.
///
/// Purpose:   reads descriptions from outside. What a hostile one can cost is bounded by the limits below, a few
///            megabytes in all, and by time that grows with its length; one that passes a limit is refused. Document
///            type declarations are refused too, and with them entities of one's own and everything external.
/// Ownership: owns all nodes and texts, in four blocks; nothing recurses, however deep the tree. Elements observe it.
/// Thread:    any, one at a time.
/// Lifecycle: parse() any number of times; each drops the tree before, and every Element of it.
class Document {
public:
  static constexpr std::size_t MaxDepth = 64;
  static constexpr std::size_t MaxElements = 16384;
  static constexpr std::size_t MaxAttributes = 65536;         ///< of all elements together
  static constexpr std::size_t MaxTextBytes = 1024UL * 1024;  ///< of all names and attribute values, with terminators
  static constexpr std::size_t MaxParserBytes = 3145728;      ///< the parser at work; a comment of 1 MB takes it all

  /// A place in a tree, or none. A small value, to be passed around freely.
  class Element {
  public:
    Element() noexcept = default;
    [[nodiscard]] explicit operator bool() const noexcept { return document_ != nullptr; }
    [[nodiscard]] const char* name() const noexcept;
    /// The attribute's value, null if it has none of that name; lives as long as the tree.
    [[nodiscard]] const char* attribute(const char* name) const noexcept;
    /// How many children have that name; null for all.
    [[nodiscard]] int childCount(const char* name) const noexcept;
    /// The next child of that name, null for any; none at the end.
    /// @param index runs along: 0 before the first call, and then left as it is.
    [[nodiscard]] Element nextChild(const char* name, std::uint32_t& index) const noexcept;

  private:
    friend class Document;
    Element(const Document* document, std::uint32_t node) noexcept : document_(document), node_(node) {}

    const Document* document_ = nullptr;
    std::uint32_t node_ = 0;
  };

  /// Reads a whole text, in UTF-8 or in the encoding that it declares, of which the outermost element must be called
  /// `rootName`.
  /// @return 0, or the code of the error; there is no tree then.
  int parse(std::string_view text, const char* rootName);
  /// What a code means, in English; "" for 0.
  [[nodiscard]] static const char* errorMessage(int code) noexcept;
  /// Where the last parse() met its error, both counted from 1, columns in characters; 0 if it met none.
  [[nodiscard]] int errorLine() const noexcept { return errorLine_; }
  [[nodiscard]] int errorColumn() const noexcept { return errorColumn_; }
  /// The outermost element; none without a tree.
  [[nodiscard]] Element root() const noexcept { return nodes_.empty() ? Element() : Element(this, 0); }

private:
  friend class TreeBuilder;

  struct Node {
    std::uint32_t name;            ///< offset of a text
    std::uint32_t firstAttribute;  ///< they lie one behind the other
    std::uint32_t attributeCount;
    std::uint32_t firstChild;   ///< 0 for none: the root is no child
    std::uint32_t nextSibling;  ///< 0 for none
  };
  struct Attribute {
    std::uint32_t name;
    std::uint32_t value;
  };

  void clear() noexcept;
  [[nodiscard]] const char* text(std::uint32_t offset) const noexcept { return texts_.c_str() + offset; }

  std::vector<Node> nodes_;  ///< in the order of their start tags
  std::vector<Attribute> attributes_;
  std::string texts_;  ///< zero-terminated, one behind the other
  int errorLine_ = 0;
  int errorColumn_ = 0;
};

}  // namespace xml
