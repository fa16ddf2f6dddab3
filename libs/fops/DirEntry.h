#pragma once

#include <cstdint>
#include <vector>

#include "base/plat/String.h"
#include "base/plat/Time.h"
#include "libs/fops/OsAttr.h"

namespace plat {
class IntParameter;
}

namespace fops {

enum DirEntryFlags : std::uint32_t {
  Directory = 0x1,
  Hidden = 0x2,
  ReadOnly = 0x4,
  HasSubdirs = 0x8,       // a directory that holds at least one directory
  SubdirsUnknown = 0x10,  // a directory that could not be enumerated for that test
};

/// The one description of a file or directory: what a listing returns, what an upload announces, what a download
/// confirms. A value, copied freely; its wire form is in dirEntryIo.h.
struct DirEntry {
  plat::String name;              // one path element, or the display name of the root; null in an empty entry
  std::uint32_t flags = 0;        // DirEntryFlags
  std::int64_t size = 0;          // bytes
  plat::FileTime createTime = 0;  // 100 ns ticks since 1601-01-01 UTC, as the two below
  plat::FileTime accessTime = 0;
  plat::FileTime modifyTime = 0;
  OsAttrs osAttrs;  // fewer than 256

  DirEntry() = default;
  /// @throws BadPath if the name is none that a path could hold.
  DirEntry(const char* entryName, std::uint32_t entryFlags);
};

bool operator==(const DirEntry& a, const DirEntry& b) noexcept;

/// The first entry of exactly that name, or null. Null names equal each other.
const DirEntry* findDirEntry(const std::vector<DirEntry>& list, const char* name) noexcept;

/// The file's mode: from the first attribute "UNIX" of two bytes, else derived from Directory and ReadOnly.
std::uint16_t unixMode(const DirEntry& entry) noexcept;

/// True if the mode gives nothing to group and others.
bool isPrivateMode(const DirEntry& entry) noexcept;

/// Appends the attribute "UNIX": type and permission bits, most significant byte first. Allocates nothing if it is the
/// entry's only attribute.
void setUnixMode(DirEntry& entry, std::uint16_t mode);

/// `_MaxDirEntries`: a list read from the peer must be shorter than this.
plat::IntParameter& maxDirEntriesParameter();

/// Whether `_FopsPreserveTimestamps` is set: an uploaded file takes over the times of its entry.
bool fopsPreserveTimestamps();

}  // namespace fops
