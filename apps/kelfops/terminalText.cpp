#include "apps/kelfops/terminalText.h"

#include <unistd.h>

#include "base/plat/utf8.h"

std::string terminalText(const char* text, std::FILE* stream) {
  return isatty(fileno(stream)) ? plat::utf8Escape(text, '~').orEmpty() : text;
}
