#pragma once

#include "base/loc/PoParser.h"

namespace loc {

// The places that texts come from besides the built-in tables. Failures are logged and end nothing; the result tells
// whether there was a source at all, from which texts may have come even if it failed half way.

/// Reads the file `strings.<locale>.po` of the folder `dir`, if there is one. A locale name that has anything but
/// letters and `_` is not looked for, so that no name leads out of the folder.
bool loadStringFile(const char* dir, const char* locale, PoParser::Callback& callback);

/// Reads the resource "strings.<locale>.po" that the program carries in itself, if it does.
bool loadStringResource(const char* locale, PoParser::Callback& callback);

}  // namespace loc
