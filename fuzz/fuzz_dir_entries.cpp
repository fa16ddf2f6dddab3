// The reader of entry lists: whatever it accepts must come out the same when written and read again.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/plat/Exception.h"
#include "base/plat/config/Configuration.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/dirEntryIo.h"

namespace {

// Repair makes texts longer; one that has outgrown its limit is cut or refused the second time.
bool fitsTheWire(const fops::DirEntry& entry) {
  return entry.name.length() <= fops::MaxEntryNameLength &&
         std::all_of(entry.osAttrs.begin(), entry.osAttrs.end(),
                     [](const fops::OsAttr& attr) { return attr.nameView().size() <= 255; });
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Room for the count alone: a list is resized before its entries are read.
  plat::Configuration::global().set("_MaxDirEntries", "1000", 40);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<fops::DirEntry> list;
  try {
    rdr::MemInStream in(data, static_cast<int>(size));
    std::int32_t cursor = -1;
    fops::readDirEntries(list, in, cursor);
  } catch (const plat::Exception&) {
    return 0;
  }
  if (!std::all_of(list.begin(), list.end(), fitsTheWire))
    return 0;
  rdr::MemOutStream out;
  fops::writeDirEntries(list, out);
  rdr::MemInStream again(out.data(), static_cast<int>(out.length()));
  std::vector<fops::DirEntry> copy;
  std::int32_t cursor = -1;
  fops::readDirEntries(copy, again, cursor);
  if (cursor != -1 || !(copy == list) || !again.atEnd())
    std::abort();
  return 0;
}
