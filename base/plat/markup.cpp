#include "base/plat/markup.h"

#include <cstring>

namespace plat {

namespace {

/// Quotes are replaced in texts too, where they need not be, so that one function serves for attribute values as well.
/// The apostrophe goes by its number: HTML 4 knows no name for it.
const char* entity(char c) noexcept {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    default:
      return "&#39;";
  }
}

const char* alignWord(TextAlign align) noexcept {
  switch (align) {
    case TextAlign::Left:
      return "left";
    case TextAlign::Right:
      return "right";
    case TextAlign::Center:
      return "center";
    case TextAlign::Justify:
      return "justify";
  }
  return "left";
}

}  // namespace

/// Runs of plain text are appended whole, in one pass: nothing that was put in is looked at again, so the ampersand of
/// an entity is not escaped a second time.
void appendEscaped(DString& out, const char* text) {
  while (text != nullptr && *text != '\0') {
    const std::size_t plain = std::strcspn(text, "&<>\"'");
    out.append(text, static_cast<int>(plain));
    text += plain;
    if (*text != '\0') {
      out.append(entity(*text++));
    }
  }
}

void appendLink(DString& out, const char* href, const char* text, const char* style) {
  out.append("<a href=\"");
  appendEscaped(out, href);
  out.append("\"");
  if (style != nullptr) {
    out.append(" style=\"").append(style).append("\"");
  }
  out.append(">");
  appendEscaped(out, text);
  out.append("</a>");
}

void appendSpan(DString& out, const char* text, const char* style) {
  out.append("<span style=\"").append(style).append("\">");
  appendEscaped(out, text);
  out.append("</span>");
}

void appendBold(DString& out, const char* text) {
  out.append("<b>");
  appendEscaped(out, text);
  out.append("</b>");
}

void openDiv(DString& out, TextAlign align, const char* style) {
  out.append("<div style=\"text-align:").append(alignWord(align)).append(";").append(style).append("\">");
}

void appendFontStyle(DString& style, int sizePercent, int weight) {
  style.appendFormat("font-size:%d%%;font-weight:%d;", sizePercent, weight);
}

void appendItalicStyle(DString& style) {
  style.append("font-style:italic;");
}

void appendUnderlineStyle(DString& style) {
  style.append("text-decoration:underline;");
}

void appendColorStyle(DString& style, const char* color) {
  style.appendFormat("color:%s;", color != nullptr ? color : "");
}

void appendBackgroundStyle(DString& style, const char* color) {
  style.appendFormat("background-color:%s;", color != nullptr ? color : "");
}

}  // namespace plat
