#include "libs/fops/local/LocalFileWriter.h"

#include <cerrno>

#include <fcntl.h>

#include "base/plat/Exception.h"
#include "base/plat/exceptions.h"
#include "base/plat/file/file.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/file/fileTree.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/BorrowingFileStream.h"
#include "base/rdr/FileFdOutStream.h"

namespace fops {

namespace {

plat::LogSrc log("LocalFileWriter");

constexpr std::int64_t LargeFile = 65536;  // smaller ones are not worth a list of blocks
constexpr int ExclusiveTries = 100;        // more than there are names to try
constexpr mode_t PermissionBits = 0777;    // a peer makes no program that runs as somebody else

}  // namespace

LocalFileWriter::LocalFileWriter(const DirEntry& announced, const char* destDir, os::OpenArgs openArgs,
                                 rdr::BlockLender* lender)
    : FileWriter(announced), destDir_(destDir) {
  const char* const name = entry().name.orEmpty();
  destPath_ = plat::fileJoin(destDir, name);
  openArgs.permission = unixMode(entry()) & PermissionBits;
  openTemp(plat::String::format("%s.tmp", name).get(), openArgs, entry().size > LargeFile ? lender : nullptr);
  log.debug("Writing to %s", tempPath_.get());
}

void LocalFileWriter::openTemp(const char* name, os::OpenArgs openArgs, rdr::BlockLender* lender) {
  // Between the choice of a free name and the opening another process may have taken it; then the next free one is
  // tried.
  openArgs.flags |= O_EXCL;
  for (int left = ExclusiveTries;; --left) {
    if (left == 0) {
      openArgs.flags &= ~O_EXCL;  // it is no race then, but a link that leads nowhere, whose name counts as free
    }
    tempPath_ = plat::fileFreeName(destDir_.orEmpty(), name);
    try {
      out_ = lender ? std::make_unique<os::BorrowingFileStream>(tempPath_.get(), openArgs, *lender)
                    : std::make_unique<os::FileFdOutStream>(tempPath_.get(), openArgs);
      return;
    } catch (const plat::SystemException& failure) {
      if (failure.err != EEXIST || left == 0) {
        throw;
      }
    }
  }
}

LocalFileWriter::~LocalFileWriter() {
  out_.reset();
  if (tempPath_.isNull()) {
    return;
  }
  try {
    log.debug("Removing %s", tempPath_.get());
  } catch (...) {
    // The line is not worth the file that would stay behind.
  }
  plat::fileRemoveNoThrow(tempPath_.get());
}

rdr::OutStream& LocalFileWriter::getOutStream() {
  return *out_;
}

void LocalFileWriter::finish() {
  // By itself, since the destructor of the stream swallows what goes wrong: a full disk must be heard of before the
  // rename.
  out_->flushAndClose();
  out_.reset();
  // Only now: the name may have been taken since the upload began.
  const plat::String finalPath = plat::fileFreeName(destDir_.orEmpty(), entry().name.orEmpty());
  log.debug("Renaming as %s from %s", finalPath.get(), tempPath_.get());
  plat::fileRename(tempPath_.get(), finalPath.get());
  if (fopsPreserveTimestamps()) {
    try {
      plat::fileSetTime(finalPath.get(), entry().modifyTime, entry().accessTime);
    } catch (const plat::Exception& error) {
      log.debug("Failed to set timestamps: %s", plat::ExceptionText(error).get());
    }
  }
  tempPath_ = nullptr;
}

}  // namespace fops
