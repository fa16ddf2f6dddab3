// The reader of entry lists: whatever it accepts must come out the same when written and read again.

#include <algorithm>

#include "base/plat/config/Configuration.h"
#include "fuzz/target.h"
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

void fuzz::run(std::string_view input) {
  std::vector<fops::DirEntry> list;
  std::int32_t cursor = -1;
  try {
    rdr::MemInStream in = streamOver(input);
    fops::readDirEntries(list, in, cursor);
  } catch (const plat::Exception&) {
    return;
  }
  if (!std::all_of(list.begin(), list.end(), fitsTheWire)) {
    return;
  }
  rdr::MemOutStream out;
  fops::writeDirEntries(list, out);
  const std::string written = test::contents(out);
  rdr::MemInStream again = streamOver(written);
  std::vector<fops::DirEntry> copy;
  cursor = -1;
  fops::readDirEntries(copy, again, cursor);
  require(cursor == -1 && copy == list && again.atEnd());
}
