#include "libs/fops/LocalFileWriter.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

#include "base/os/unix/BorrowingFileStream.h"
#include "base/os/unix/FileFdOutStream.h"
#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"
#include "base/plat/SystemException.h"
#include "base/plat/file.h"
#include "base/plat/fileTree.h"
#include "base/plat/strings.h"

namespace fops {

namespace {

plat::LogSrc vlog("LocalFileWriter");

constexpr std::int64_t LargeFile = 65536;  // smaller ones are not worth a list of blocks
constexpr mode_t PermissionBits = 07777;   // what open() takes of a mode; the rest of the attribute is the file's type

/// A name in `dir` that is free now: the one wanted, or the first of "(1)" to "(99)".
plat::String freeName(const plat::String& dir, const char* name) {
  return plat::fileMakeUnique(dir.orEmpty(), name, "(", ")", 99);
}

/// Whether there is a link that leads nowhere: its name counts as free, but is taken.
bool isDangling(const plat::String& path) noexcept {
  struct stat info = {};
  return ::lstat(path.get(), &info) == 0 && S_ISLNK(info.st_mode) && ::stat(path.get(), &info) != 0;
}

}  // namespace

LocalFileWriter::LocalFileWriter(const DirEntry& announced, const char* destDir, os::OpenArgs openArgs,
                                 rdr::BlockLender* lender)
    : FileWriter(announced), destDir_(destDir) {
  const char* const name = entry().name.orEmpty();
  destPath_ = plat::String::format("%s%s%s", destDir, plat::strEndsWith(destDir, "/") ? "" : "/", name);
  openArgs.permission = unixMode(entry()) & PermissionBits;
  openTemp(plat::String::format("%s.tmp", name).get(), openArgs, entry().size > LargeFile ? lender : nullptr);
  vlog.debug("Writing to %s", tempPath_.get());
}

void LocalFileWriter::openTemp(const char* name, os::OpenArgs openArgs, rdr::BlockLender* lender) {
  openArgs.flags |= openArgs.flags & O_CREAT ? O_EXCL : 0;
  for (;;) {
    tempPath_ = freeName(destDir_, name);
    try {
      out_ = lender ? std::make_unique<os::BorrowingFileStream>(tempPath_.get(), openArgs, *lender)
                    : std::make_unique<os::FileFdOutStream>(tempPath_.get(), openArgs);
      return;
    } catch (const plat::SystemException& failure) {
      if (failure.err != EEXIST) {
        throw;
      }
    }
    // Another process has been faster: look again.
    if (isDangling(tempPath_)) {
      openArgs.flags &= ~O_EXCL;
    }
  }
}

LocalFileWriter::~LocalFileWriter() {
  out_.reset();
  if (tempPath_.isNull()) {
    return;
  }
  try {
    vlog.debug("Removing %s", tempPath_.get());
  } catch (...) {
    // The line is not worth the file that would stay behind.
  }
  plat::fileRemoveNoThrow(tempPath_.get());
}

rdr::OutStream& LocalFileWriter::getOutStream() {
  return *out_;
}

void LocalFileWriter::finish() {
  out_->flush();
  out_.reset();
  const plat::String finalPath = takeFinalName();
  if (fopsPreserveTimestamps()) {
    try {
      plat::fileSetTime(finalPath.get(), entry().modifyTime, entry().accessTime);
    } catch (const plat::Exception& error) {
      vlog.debug("Failed to set timestamps: %s", plat::ExceptionText(error).get());
    }
  }
  tempPath_ = nullptr;
}

/// Only now: the name may have been taken since the upload began, and it may be taken while this one is choosing.
plat::String LocalFileWriter::takeFinalName() const {
  for (;;) {
    plat::String path = freeName(destDir_, entry().name.orEmpty());
    vlog.debug("Renaming as %s from %s", path.get(), tempPath_.get());
    if (plat::fileRenameIfFree(tempPath_.get(), path.get())) {
      return path;
    }
    if (isDangling(path)) {
      plat::fileRename(tempPath_.get(), path.get());
      return path;
    }
  }
}

}  // namespace fops
