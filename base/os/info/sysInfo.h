#pragma once

#include <string>
#include <vector>

#include "base/os/unix/hostName.h"
#include "base/plat/String.h"
#include "base/plat/stackTrace.h"

namespace rdr {
class InStream;
}  // namespace rdr

namespace plat {
class DString;
}  // namespace plat

namespace os {

/// What the running system says of itself, for product texts. Nothing here throws over a system that keeps silent.

/// "Linux 6.1.0": the kernel's release up to its first "-". The error's text if uname(2) fails.
plat::String kernelDescription();

/// "x86_64" and the like, at most 31 characters. The error's text if uname(2) fails.
plat::String machineName();

/// "Debian GNU/Linux 12", by the files that distributions leave in `etc`; null if none says so.
plat::String distributionName(const char* etc = "/etc");

/// Whether the system calls itself Debian, or alike. @param osRelease the file that tells.
bool isDebianFamily(const char* osRelease = "/etc/os-release");

/// The values of two keys in a file of shell assignments, joined by a blank; null if one is missing, or the file.
plat::String readKeyValues(const char* path, const char* firstKey, const char* secondKey);

/// A distribution's name and version out of the first line of its release file; null if there is none.
/// @param label the name to put ahead of a line that is only a version; null for a line that must have both.
plat::String readReleaseFile(const char* path, const char* label);

/// Reads a line and splits it at its first "=": `line` keeps the key. Quotes around the value come off.
/// @return the value, inside `line`; null without a "=" or with an open quote. @throws rdr::EndOfStream
const char* readAssignment(rdr::InStream& in, plat::DString& line);

/// The calling function and its callers, innermost first, one "%2d %s" line each; at most 61.
[[gnu::always_inline]] inline void backtraceLines(std::vector<std::string>& dest) {
  dest = plat::stackTrace();  // inlined, so that no frame of ours is listed
}

}  // namespace os
