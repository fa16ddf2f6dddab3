#include "base/rdr/TransactedFileOutStream.h"

#include "base/plat/Exception.h"
#include "base/plat/file/file.h"
#include "base/plat/file/filePerms.h"
#include "base/plat/log/LogSrc.h"

namespace rdr {

namespace {
plat::LogSrc log("TransactedFile");
}  // namespace

TransactedFileOutStream::TransactedFileOutStream(const char* path, int flags)
    : FileOutStream(nullptr), finalPath_(path), tempPath_(plat::String::format("%s.tmp", path)) {
  // Never append: what an earlier writer left behind is no part of this file.
  tempFile_.open(tempPath_.get(), plat::FilePtr::Write, flags & ~plat::FilePtr::Append);
  if (tempFile_.get() == nullptr) {  // the caller asked not to hear of it
    tempPath_ = nullptr;
    return;
  }
  // Ahead of the first byte: what nobody else may read in the target shall be hidden in the temporary file as well.
  copyPermissions((flags & plat::FilePtr::Private) != 0);
  attach(tempFile_.get(), false);
}

TransactedFileOutStream::~TransactedFileOutStream() {
  try {
    detach();
    tempFile_.close();
  } catch (const plat::Exception&) {
    // Of no interest any more: the file is either in place or about to be removed.
  }
  if (!tempPath_.isNull()) {
    plat::fileRemoveNoThrow(tempPath_.get());
  }
}

void TransactedFileOutStream::copyPermissions(bool makePrivate) {
  try {
    const bool targetExists = plat::fileCopyPerms(finalPath_.get(), tempFile_.get());
    if (targetExists && makePrivate) {
      plat::fileMakePrivate(tempFile_.get(), tempPath_.get());
    }
  } catch (const plat::Exception& failure) {
    log.error("%s", plat::ExceptionText(failure).get());
  }
}

void TransactedFileOutStream::commit() {
  flush();
  detach();
  if (tempFile_.get() == nullptr) {
    return;
  }
  // A file system may tell of a full disk as late as at closing. The target is given up only behind that.
  tempFile_.flushFile();
  tempFile_.close();
  plat::fileRename(tempPath_.get(), finalPath_.get());
  tempPath_ = nullptr;
}

}  // namespace rdr
