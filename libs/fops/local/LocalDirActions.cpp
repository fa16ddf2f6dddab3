#include "libs/fops/local/LocalDirActions.h"

#include <cerrno>
#include <vector>

#include "base/loc/LocaleSetter.h"
#include "base/plat/Exception.h"
#include "base/plat/exceptions.h"
#include "base/plat/file/file.h"
#include "base/plat/file/fileTree.h"
#include "base/plat/log/LogSrc.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/local/EntrySorter.h"
#include "libs/fops/local/LocalFsRoot.h"
#include "libs/fops/local/metadata.h"
#include "libs/fops/path.h"

namespace fops {

namespace {

plat::LogSrc log("LocalDirActions");

/// The type word for a listing that failed, or null to keep the exception's own.
const char* listingErrorType(int err) {
  switch (err) {
    case ENOENT:
    case ENOTDIR:
      return "NotFound";
    case EACCES:
      return "AccessDenied";
    case EAGAIN:
      return "NotReady";
    default:
      return nullptr;
  }
}

}  // namespace

LocalDirActions::LocalDirActions(Callback& callback, const LocalFsRoot& root, const char* name, bool sort)
    : callback_(callback), root_(root), name_(name), sort_(sort) {}

void LocalDirActions::getRoot() {
  log.debug("Getting root %s name %s", root_.rootDir(), name_.orEmpty());
  callback_.getRootResult(getDirEntry(root_.rootDir(), name_.orEmpty()));
}

void LocalDirActions::dirScan(const char* path, bool includeDirs, bool includeFiles) {
  std::vector<DirEntry> list;
  plat::Exception error;
  const plat::String local = root_.toLocalPath(path);
  log.debug("Listing directory %s, full path %s", path && *path ? path : "<root>", local.get());
  try {
    list = scanDir(local.get(), includeDirs, includeFiles);
  } catch (const plat::SystemException& e) {
    log.info("Error reading directory '%s': %s", path ? path : "", plat::ExceptionText(e).get());
    error = e;
    if (const char* type = listingErrorType(e.err)) {
      error.setType(type);
    }
  }
  if (sort_ && list.size() > 1) {
    // It puts this thread's C library into the locale of the process, by which strcoll then compares.
    const loc::LocaleSetter defaultLocale;
    EntrySorter().sort(list);
  }
  callback_.dirScanResult(list, error);
  // Here and not at the end of the scope, since it also gives the memory back to the system.
  releaseList(list);
}

void LocalDirActions::createFolder(const char* dir, const char* name) {
  plat::String clientPath = joinPath(dir, name);
  plat::Exception error;
  try {
    const plat::String unique = plat::fileFreeName(root_.toLocalPath(dir).get(), name);
    log.info("Create new dir %s", unique.get());
    plat::mkDirs(unique.get(), true, false);
    // Where the root ends in a slash the path has two in a row behind it, and this raises: the folder has been made,
    // and the reply tells a failure.
    clientPath = root_.toClientPath(unique.get(), true);
  } catch (const plat::Exception& e) {
    log.info("Failed to create new dir %s: %s", clientPath.orEmpty(), plat::ExceptionText(e).get());
    error = e;
  }
  callback_.createFolderResult(clientPath.get(), error);
}

void LocalDirActions::deleteFileOrFolder(const char* path) {
  const plat::String local = root_.toLocalPath(path);
  log.info("Delete path %s", path);
  plat::Exception error;
  try {
    if (plat::fileIsDir(local.get())) {
      plat::rmDir(local.get(), true);
    } else {
      plat::fileRemove(local.get());
    }
  } catch (const plat::Exception& e) {
    log.info("Failed to delete %s - %s", path, e.message);
    error = e;
  }
  callback_.deleteFileOrFolderResult(path, error);
}

void LocalDirActions::renameFileOrFolder(const char* from, const char* to) {
  log.info("Renaming path from %s to %s", from, to);
  plat::Exception error;
  try {
    plat::fileRename(root_.toLocalPath(from).get(), root_.toLocalPath(to).get());
  } catch (const plat::Exception& e) {
    log.info("Failed to rename %s: %s", from, plat::ExceptionText(e).get());
    error = e;
  }
  callback_.renameFileOrFolderResult(from, to, error);
}

}  // namespace fops
