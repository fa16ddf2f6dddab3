#include "libs/fops/DirEntry.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/IntParameter.h"
#include "libs/fops/path.h"

namespace fops {

namespace {

plat::IntParameter maxDirEntries("_MaxDirEntries", "", 1048576, false, nullptr, 0, 2147483647);
plat::BoolParameter preserveTimestamps("_FopsPreserveTimestamps", "", false);

constexpr std::string_view UnixAttr = "UNIX";

}  // namespace

plat::IntParameter& maxDirEntriesParameter() {
  return maxDirEntries;
}

bool fopsPreserveTimestamps() {
  return preserveTimestamps.getValue();
}

DirEntry::DirEntry(const char* entryName, std::uint32_t entryFlags) : flags(entryFlags) {
  checkPathElement(entryName, 0);
  name = plat::String(entryName);
}

bool operator==(const DirEntry& a, const DirEntry& b) noexcept {
  return a.name == b.name && a.flags == b.flags && a.size == b.size && a.createTime == b.createTime &&
         a.accessTime == b.accessTime && a.modifyTime == b.modifyTime && a.osAttrs == b.osAttrs;
}

const DirEntry* findDirEntry(const std::vector<DirEntry>& list, const char* name) noexcept {
  const auto found = std::ranges::find_if(list, [name](const DirEntry& entry) { return entry.name == name; });
  return found == list.end() ? nullptr : std::to_address(found);
}

std::uint16_t unixMode(const DirEntry& entry) noexcept {
  for (const OsAttr& attr : entry.osAttrs) {
    const auto value = attr.value();
    if (value.size() == 2 && attr.nameView() == UnixAttr) {
      return static_cast<std::uint16_t>(value[0] << 8 | value[1]);
    }
  }
  // The entry of a system that knows no such modes.
  const unsigned readable = entry.flags & Directory ? 0555 : 0444;
  const unsigned writable = entry.flags & ReadOnly ? 0 : 0200;
  return static_cast<std::uint16_t>(readable | writable);
}

bool isPrivateMode(const DirEntry& entry) noexcept {
  return (unixMode(entry) & 077) == 0;
}

void setUnixMode(DirEntry& entry, std::uint16_t mode) {
  const std::uint8_t value[] = {static_cast<std::uint8_t>(mode >> 8), static_cast<std::uint8_t>(mode)};
  entry.osAttrs.push_back(OsAttr(UnixAttr, value));
}

}  // namespace fops
