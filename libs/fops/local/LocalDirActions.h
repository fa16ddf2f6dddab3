#pragma once

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "libs/fops/DirActions.h"

namespace fops {

class LocalFsRoot;

/// The operations on the exported tree, over the local file system. Each works inline and calls back once before it
/// returns; there is no state between calls.
///
/// Road:      SFopsProto calls it with checked client paths; it calls scanDir() and the file functions of base/plat
///            with local ones, and SFopsProto with the result.
/// Ownership: a member of LocalFileServer; observes the callback and the root, which must outlive it.
/// Thread: the loop's, which a deep delete or a large listing holds up.
class LocalDirActions final : public DirActions, private plat::NonCopyable {
public:
  /// @param name the display name of the tree's top.
  /// @param sort whether dirScan sorts its result.
  LocalDirActions(Callback& callback, const LocalFsRoot& root, const char* name, bool sort);

  /// @throws plat::SystemException "stat(%s)", or BadPath if the display name is none.
  void getRoot() override;

  /// The error's type is "NotFound", "AccessDenied" or "NotReady" where one of these fits.
  void dirScan(const char* path, bool includeDirs, bool includeFiles) override;

  /// Makes a private folder (0700 before the umask). A name in use is no error: "new" becomes "new(1)".
  void createFolder(const char* dir, const char* name) override;

  /// A link to a folder is taken for a folder: what it points to is emptied and the link itself stays, as an error.
  void deleteFileOrFolder(const char* path) override;

  /// Replaces an existing file at `to`.
  void renameFileOrFolder(const char* from, const char* to) override;

private:
  Callback& callback_;
  const LocalFsRoot& root_;
  plat::String name_;
  bool sort_;
};

}  // namespace fops
