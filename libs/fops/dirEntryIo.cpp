#include "libs/fops/dirEntryIo.h"

#include <algorithm>
#include <utility>

#include "base/plat/assert.h"
#include "base/plat/config/IntParameter.h"
#include "base/rdr/InStream.h"
#include "base/rdr/OutStream.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/path.h"

namespace fops {

namespace {

/// What assertions about the record name as their place, whichever file holds them.
constexpr char RecordSource[] = "libs/fops/DirEntry";

void writeOsAttr(const OsAttr& attr, rdr::OutStream& out) {
  const auto value = attr.value();
  out.writeShortString(attr.name());
  out.writeU16(static_cast<std::uint16_t>(value.size()));
  out.writeBytes(value.data(), static_cast<int>(value.size()));
}

bool isPlainText(const std::uint8_t* text, std::size_t length) {
  return std::all_of(text, text + length, [](std::uint8_t c) { return c > 0 && c < 0x80; });
}

/// The usual attribute lies whole in the window and has a name that needs no repair: it is taken from there with one
/// copy and no allocation.
/// @return false, with nothing consumed, if it is not of that kind
bool readOsAttrInPlace(OsAttrs& attrs, rdr::InStream& in) {
  const std::uint8_t* const record = in.getPtr();
  const auto available = static_cast<std::size_t>(in.nUnread());
  if (available < 1) {
    return false;
  }
  const std::size_t nameEnd = 1 + record[0];
  if (available < nameEnd + 2 || !isPlainText(record + 1, record[0])) {
    return false;
  }
  const std::size_t valueLength = static_cast<std::size_t>(record[nameEnd]) << 8 | record[nameEnd + 1];
  const std::uint8_t* const value = record + nameEnd + 2;
  if (available < nameEnd + 2 + valueLength) {
    return false;
  }
  attrs.push_back(OsAttr({reinterpret_cast<const char*>(record + 1), record[0]}, {value, valueLength}));
  in.setPtr(value + valueLength);
  return true;
}

void readOsAttr(OsAttrs& attrs, rdr::InStream& in) {
  if (readOsAttrInPlace(attrs, in)) {
    return;
  }
  const plat::String name = in.readShortString(true);
  const std::uint16_t valueLength = in.readU16();
  std::vector<std::uint8_t> scratch(valueLength);
  const std::uint8_t* value = valueLength ? in.readOrCopy(scratch.data(), valueLength) : nullptr;
  attrs.push_back(OsAttr(name.view(), {value, valueLength}));
}

}  // namespace

void writeDirEntry(const DirEntry& entry, rdr::OutStream& out) {
  out.writeString(entry.name.get());
  out.writeU64(static_cast<std::uint64_t>(entry.size));
  out.writeU64(static_cast<std::uint64_t>(entry.createTime));
  out.writeU64(static_cast<std::uint64_t>(entry.accessTime));
  out.writeU64(static_cast<std::uint64_t>(entry.modifyTime));
  out.writeU32(entry.flags);
  const OsAttrs& osAttrs = entry.osAttrs;
  PLAT_REQUIRE_AS(osAttrs.size() < 256, "osAttrs.size() < 256", RecordSource, __LINE__);
  out.writeU8(static_cast<std::uint8_t>(osAttrs.size()));
  for (const OsAttr& attr : osAttrs) {
    writeOsAttr(attr, out);
  }
}

void writeDirEntries(const std::vector<DirEntry>& list, rdr::OutStream& out) {
  out.writeU32(static_cast<std::uint32_t>(list.size()));
  for (const DirEntry& entry : list) {
    writeDirEntry(entry, out);
  }
}

void readDirEntry(DirEntry& entry, rdr::InStream& in, bool allowEmptyName) {
  entry.osAttrs.clear();
  entry.name = in.readString(MaxEntryNameLength, true);
  entry.size = static_cast<std::int64_t>(in.readU64());
  entry.createTime = static_cast<plat::FileTime>(in.readU64());
  entry.accessTime = static_cast<plat::FileTime>(in.readU64());
  entry.modifyTime = static_cast<plat::FileTime>(in.readU64());
  entry.flags = in.readU32();
  for (int left = in.readU8(); left > 0; --left) {
    readOsAttr(entry.osAttrs, in);
  }
  // Checked last, when the whole record has been read: what is behind it in the stream is in its place either way.
  if (allowEmptyName && entry.name.empty()) {
    entry.name = nullptr;
  } else {
    checkPathElement(entry.name.get(), 0);
  }
}

void readDirEntries(std::vector<DirEntry>& list, rdr::InStream& in, std::int32_t& cursor) {
  if (cursor == -1) {
    const auto count = static_cast<std::int32_t>(in.readU32());
    const int maxDirEntries = maxDirEntriesParameter().getValueInt();
    PLAT_REQUIRE_AS(count >= 0 && count < maxDirEntries, "count >= 0 && count < maxDirEntries", RecordSource, __LINE__);
    in.checkpoint();
    list.clear();
    // Made at once by the peer's word, which is why the count has a bound; the entries then come in their own time.
    list.resize(static_cast<std::size_t>(count));
    cursor = 0;
  }
  // Each is read aside: a record that is cut off by a block leaves nothing half read in the list.
  DirEntry scratch;
  while (static_cast<std::size_t>(cursor) < list.size()) {
    readDirEntry(scratch, in, false);
    list[static_cast<std::size_t>(cursor)] = std::move(scratch);
    in.checkpoint();
    ++cursor;
  }
  cursor = -1;
}

}  // namespace fops
