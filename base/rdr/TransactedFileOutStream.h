#pragma once

#include "base/plat/String.h"
#include "base/plat/file/FilePtr.h"
#include "base/rdr/FileOutStream.h"

namespace rdr {

/// Replaces a file as a whole: writes to "<path>.tmp" and renames that over the target on commit(), so that a reader
/// of the target never sees half of it.
///
/// Lifecycle: construct, write, commit(). Without a commit, or after one that failed, the destructor removes the
///            temporary file and the target is as it was.
/// Limit:     the name of the temporary file is fixed, so two writers on one target share it.
class TransactedFileOutStream final : public FileOutStream {
public:
  /// The temporary file gets the permissions of an existing target; if that fails, the failure is logged.
  /// @param flags as for plat::FilePtr, with 16 for a private file: an existing target's permissions for group and
  ///              others are then taken away too, and the file is given to the effective user.
  /// @throws plat::SystemExceptionFmt "Error opening \"%s\""; nothing remains then
  explicit TransactedFileOutStream(const char* path, int flags = 0);
  ~TransactedFileOutStream() override;

  /// Puts the file in place. Without effect the second time, also if the first failed to rename.
  /// @throws plat::StdlibException "writing to file failed", "fflush", "fclose"
  /// @throws plat::SystemException "fileRename(%s,%s)"
  void commit();

private:
  void copyPermissions(bool makePrivate);

  plat::FilePtr tempFile_;
  plat::String finalPath_;
  plat::String tempPath_;  ///< null once committed
};

}  // namespace rdr
