#pragma once

#include "base/plat/NonCopyable.h"
#include "libs/fops/DirEntry.h"

namespace rdr {
class OutStream;
}

namespace fops {

/// Where the bytes of one incoming file go. Implemented by LocalFileWriter.
///
/// Ownership: whoever made it, until FileReceiver::add takes it. Thread: the loop's.
/// Lifecycle: construct, write to getOutStream(), then either finish() or, to abandon the file, destroy it. A writer
///            that is destroyed before it has finished leaves nothing of the file behind.
class FileWriter : private plat::NonCopyable {
public:
  explicit FileWriter(const DirEntry& announced) : entry_(announced) {}
  virtual ~FileWriter() = default;

  /// The stream for the file's bytes, in order. Not to be asked for once finish() has been called.
  virtual rdr::OutStream& getOutStream() = 0;

  /// Ends the file: afterwards it has its final name. If this throws, the file is to be abandoned.
  virtual void finish() = 0;

  /// How log lines call the file. Valid as long as the writer.
  virtual const char* displayPath() const { return entry_.name.orEmpty(); }

  /// The file as it was announced.
  const DirEntry& entry() const noexcept { return entry_; }

private:
  const DirEntry entry_;
};

}  // namespace fops
