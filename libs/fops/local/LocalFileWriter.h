#pragma once

#include <memory>

#include "base/os/unix/OpenArgs.h"
#include "base/plat/String.h"
#include "libs/fops/FileWriter.h"

namespace os {
class FileFdOutStream;
}

namespace rdr {
class BlockLender;
}

namespace fops {

/// Writes an incoming file to the local file system.
///
/// The bytes go to a temporary file beside the destination ("a.txt.tmp"), which takes its final name once every byte is
/// there; the final name is chosen only then and replaces nothing: "a.txt", else "a(1).txt" and so on. That is the
/// whole guarantee that a cancelled or failed upload leaves no half file.
///
/// The test for a free name and the rename are two steps without a lock: a name that another process takes in between
/// is replaced.
class LocalFileWriter final : public FileWriter {
public:
  /// Creates the temporary file.
  /// @param destDir local path of the directory.
  /// @param openArgs of which only the flags count: the file gets the permission bits of the entry's unixMode, as the
  ///        umask leaves them, from its first byte on.
  /// @param lender of the buffer that the bytes of a large file come from, if there is one: they are pointed to there,
  ///        beyond the call that brings them, until the lender wants them back.
  /// @throws plat::SystemException "fileOpenFd(%s)" or "fileExists(%s)", plat::Exception "Too many files with same
  ///         name"; nothing has been created then.
  LocalFileWriter(const DirEntry& announced, const char* destDir, os::OpenArgs openArgs,
                  rdr::BlockLender* lender = nullptr);
  ~LocalFileWriter() override;

  rdr::OutStream& getOutStream() override;

  /// Writes out what is buffered, closes the file and renames it. With `_FopsPreserveTimestamps` the file takes over
  /// the entry's times; a failure of that is only logged.
  /// @throws plat::Exception of the write, of the search for a name or of the rename.
  void finish() override;

  /// The destination as announced; the name on disk can differ.
  const char* displayPath() const override { return destPath_.orEmpty(); }

private:
  /// Opens the first temporary name that is free, for this writer alone: another process may upload the same name.
  void openTemp(const char* name, os::OpenArgs openArgs, rdr::BlockLender* lender);

  plat::String destDir_;
  plat::String destPath_;
  plat::String tempPath_;                     // null once the file has its final name
  std::unique_ptr<os::FileFdOutStream> out_;  // null once the file is closed
};

}  // namespace fops
