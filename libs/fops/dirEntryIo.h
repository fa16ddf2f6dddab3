#pragma once

#include <cstdint>
#include <vector>

namespace rdr {
class InStream;
class OutStream;
}  // namespace rdr

namespace fops {

struct DirEntry;

// The wire form of an entry, all integers big-endian: name (u32 length, bytes), size, createTime, accessTime,
// modifyTime (64 bits each), flags (u32), attribute count (u8), and for each attribute name (u8 length, bytes) and
// value (u16 length, bytes). A list is a u32 count and the entries.
// Road: SFopsProto writes lists and entries into its replies with these, and reads the entries of uploads; CFopsProto
// does the reverse.

/// Longest name that readDirEntry takes, in bytes.
inline constexpr std::uint32_t MaxEntryNameLength = 1024;

/// @throws plat::AssertionFail if the entry has 256 attributes or more; the fields ahead of them have been written.
void writeDirEntry(const DirEntry& entry, rdr::OutStream& out);

void writeDirEntries(const std::vector<DirEntry>& list, rdr::OutStream& out);

/// Replaces the contents of `entry`. Malformed UTF-8 is repaired.
/// @param allowEmptyName an empty name is read as null instead of refused: the entry of a reply that failed.
/// @throws BadPath for a name that no path could hold, after the whole record has been consumed.
/// @throws rdr::StringTooLongException for a name longer than MaxEntryNameLength.
/// @throws rdr::BlockException if the record is not there yet; `in` is then back at its checkpoint.
void readDirEntry(DirEntry& entry, rdr::InStream& in, bool allowEmptyName);

/// Reads a list, however large against the window of `in`: each entry is checkpointed once it is read, so a read that
/// runs out of data is taken up at the entry where it stopped.
/// @param list must be kept between the calls for one list.
/// @param cursor -1 before the first call and again once the list is complete; in between the caller leaves it alone.
/// @throws plat::AssertionFail if the count is negative or not below `_MaxDirEntries`.
/// @throws rdr::BlockException if the list is not complete; call again with the same list and cursor.
void readDirEntries(std::vector<DirEntry>& list, rdr::InStream& in, std::int32_t& cursor);

}  // namespace fops
