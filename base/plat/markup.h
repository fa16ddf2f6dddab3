#pragma once

#include "base/plat/DString.h"

namespace plat {

// The little HTML that about texts and the like are made of. Everything appends; texts and attribute values are
// escaped, style texts are built from the functions below and are taken as they are.

enum class TextAlign { Left, Right, Center, Justify };

/// `text` with the characters that mean something in HTML replaced by their entities; null appends nothing.
void appendEscaped(DString& out, const char* text);
/// An `a` element; no `style` attribute for null.
void appendLink(DString& out, const char* href, const char* text, const char* style = nullptr);
/// A `span` element.
void appendSpan(DString& out, const char* text, const char* style);
/// A `b` element.
void appendBold(DString& out, const char* text);
/// Opens a `div` element; the caller closes it by appending "</div>". `style` follows the alignment, may be null.
void openDiv(DString& out, TextAlign align, const char* style = nullptr);

void appendFontStyle(DString& style, int sizePercent, int weight);
void appendItalicStyle(DString& style);
void appendUnderlineStyle(DString& style);
void appendColorStyle(DString& style, const char* color);
void appendBackgroundStyle(DString& style, const char* color);

}  // namespace plat
