#pragma once

#include <vector>

namespace plat {
class Exception;
}

namespace fops {

struct DirEntry;

/// The operations on the exported tree that move no file data. Implemented by LocalDirActions; called by SFopsProto.
///
/// Each operation reports through the Callback that the implementation was given, exactly once, before or after it
/// returns. Paths are client paths that have been checked. On the loop's thread only.
class DirActions {
public:
  /// Learns the results. Implemented by SFopsProto, which turns each into one reply message.
  /// Of `error` message and type are used; both empty mean success.
  class Callback {
  public:
    virtual ~Callback() = default;

    virtual void getRootResult(const DirEntry& root) = 0;
    virtual void dirScanResult(const std::vector<DirEntry>& list, const plat::Exception& error) = 0;
    virtual void createFolderResult(const char* path, const plat::Exception& error);
    virtual void deleteFileOrFolderResult(const char* path, const plat::Exception& error);
    virtual void renameFileOrFolderResult(const char* from, const char* to, const plat::Exception& error);
  };

  virtual ~DirActions() = default;

  /// The entry of the tree's top. Failure leaves as an exception, since the reply has no place for it.
  virtual void getRoot() = 0;

  /// @param path a folder; null or empty for the top.
  virtual void dirScan(const char* path, bool includeDirs, bool includeFiles) = 0;

  /// Makes `name` in `dir`, under another name if that one is in use.
  virtual void createFolder(const char* dir, const char* name) = 0;

  /// Folders go with all that they hold.
  virtual void deleteFileOrFolder(const char* path) = 0;

  virtual void renameFileOrFolder(const char* from, const char* to) = 0;
};

}  // namespace fops
