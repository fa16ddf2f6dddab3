#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/plat/NonCopyable.h"
#include "base/xml/Document.h"
#include "base/xml/errors.h"

struct XML_ParserStruct;

namespace xml {

/// One run of the parser, which puts what it meets into a document and stops it at the first limit that is passed.
///
/// Ownership: a local variable of Document::parse(); owns the parser, observes the document.
/// Thread:    that of the caller; not re-entered.
class TreeBuilder : private plat::NonCopyable {
public:
  struct Result {
    int code;  ///< 0, an ErrorCode or one of the parser
    int line;
    int column;
  };

  TreeBuilder(Document& document, const char* rootName);
  ~TreeBuilder();

  Result run(std::string_view text);

private:
  static void startElement(void* self, const char* name, const char** attributes);
  static void endElement(void* self, const char* name);
  static void startDoctype(void* self, const char* name, const char* systemId, const char* publicId, int hasSubset);

  void open(const char* name, const char** attributes);
  void stop(ErrorCode code);
  std::uint32_t store(const char* text);
  void link(std::uint32_t node);
  [[nodiscard]] Result failure(int code) const;

  /// An element whose end tag has not come, and its last child, 0 for none.
  struct Open {
    std::uint32_t node;
    std::uint32_t lastChild;
  };

  Document& document_;
  const char* rootName_;
  XML_ParserStruct* parser_;
  std::vector<Open> open_;            ///< from the root down
  Result stopped_ = {NoError, 0, 0};  ///< the first limit that was passed, and where
};

}  // namespace xml
