#pragma once

namespace xml {

/// Codes of Document::parse() beside those of the parser, which lie below.
enum ErrorCode : int {
  NoError = 0,
  WrongRoot = 1000,   ///< the outermost element has another name
  HasDoctype,         ///< a document type declaration: nobody who means well needs one
  TooDeep,            ///< Document::MaxDepth
  TooManyElements,    ///< Document::MaxElements
  TooManyAttributes,  ///< Document::MaxAttributes
  TooMuchText,        ///< Document::MaxTextBytes, or markup so long that the parser would pass Document::MaxParserBytes
};

}  // namespace xml
