#include "base/plat/textWrap.h"

#include <cstring>
#include <string>

#include "base/plat/utf8.h"

namespace plat {

String wrapWords(const char* text, int width, int indent) {
  if (text == nullptr) {
    return nullptr;
  }
  std::string out;
  int column = 0;
  bool lineHasWord = false;
  while (*text != '\0') {
    if (*text == '\n') {
      out += *text++;
      column = 0;
      lineHasWord = false;
      continue;
    }
    const std::size_t blanks = std::strspn(text, " ");
    const char* const word = text + blanks;
    const char* const wordEnd = word + std::strcspn(word, " \n");
    const int wordWidth = utf8Width(word, wordEnd);
    // A line without a word is never left: the break would only make an empty line.
    if (lineHasWord && wordEnd != word && column + static_cast<int>(blanks) + wordWidth > width) {
      out += '\n';
      out.append(indent > 0 ? static_cast<std::size_t>(indent) : 0, ' ');
      column = indent > 0 ? indent : 0;
    } else {
      out.append(blanks, ' ');
      column += static_cast<int>(blanks);
    }
    out.append(word, wordEnd);
    column += wordWidth;
    lineHasWord = lineHasWord || wordEnd != word;
    text = wordEnd;
  }
  return String(out);
}

}  // namespace plat
