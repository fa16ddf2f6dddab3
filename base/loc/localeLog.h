#pragma once

namespace plat {
class LogSrc;
}

namespace loc {

/// The log source "Localize", shared by the sources of this folder; usable from any static initialiser.
plat::LogSrc& localeLog();

}  // namespace loc
