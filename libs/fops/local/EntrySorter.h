#pragma once

#include <vector>

namespace fops {

struct DirEntry;

/// Puts lists of entries in the order of a listing: directories first, each group by naturalCompare of the names.
///
/// The name order costs a collation of locale and text, so it is computed once per name, not once per comparison. Where
/// the locale collates by byte, every name becomes one key of bytes; elsewhere collation keys are made when a
/// comparison first needs them. The sort stays in bounds although naturalCompare is no strict weak order, loses no
/// entry, and keeps equal names in their order.
///
/// Road:      LocalDirActions::dirScan() gives it what scanDir() found; it goes by ByteOrderKeys or CollationOrder and
///            mergeSort().
/// Lifecycle: a local of whoever sorts, inside the loc::LocaleSetter whose order it is to take.
class EntrySorter final {
public:
  /// Takes the collation of the thread's current locale.
  EntrySorter();

  void sort(std::vector<DirEntry>& list) const;

private:
  bool utf8_;       // the locale's codeset is UTF-8
  bool byteOrder_;  // the locale collates by byte
};

}  // namespace fops
