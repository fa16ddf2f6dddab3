#include "base/plat/file/FilePtr.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>

#include "base/plat/Exception.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/exceptions.h"
#include "base/plat/file/file.h"
#include "base/plat/log/LogSrc.h"

namespace plat {

namespace {

LogSrc& filePtrLog() {
  static NeverDestroyed<LogSrc> log("FilePtr");  // never destroyed: static holders close after other statics are gone
  return *log;
}

[[maybe_unused]] const LogSrc& registered = filePtrLog();

struct OpenMode {
  int flags;
  const char* stream;
};

/// Both have to say the same: fdopen(3) neither creates nor truncates, whatever its mode text. With O_APPEND the
/// system puts each write at the end, also when another process has written in between.
OpenMode openMode(int mode, int flags) {
  if (mode == FilePtr::Read) {
    return {O_RDONLY, "r"};
  }
  if (mode == FilePtr::Write) {
    return (flags & FilePtr::Append) ? OpenMode{O_WRONLY | O_CREAT | O_APPEND, "a"}
                                     : OpenMode{O_WRONLY | O_CREAT | O_TRUNC, "w"};
  }
  if (flags & FilePtr::Truncate) {
    return {O_RDWR | O_CREAT | O_TRUNC, "w+"};
  }
  return {(flags & FilePtr::Create) ? O_RDWR | O_CREAT : O_RDWR, "r+"};
}

}  // namespace

/// What fclose(3) fails on may be the last of the data. A destructor cannot throw that, so that the log has to tell;
/// who must know closes before.
FilePtr::~FilePtr() {
  try {
    close();
  } catch (const Exception& e) {
    if (reportCloseErrors_) {
      filePtrLog().error("%s", ExceptionText(e).get());
    }
  }
}

void FilePtr::open(const char* path, int mode, int flags) {
  close();
  if (std::strcmp(path, "-") == 0) {
    if (mode == ReadWrite) {
      throw Exception("Invalid mode for stdin/stdout");
    }
    attach(mode == Read ? stdin : stdout, false);
    return;
  }
  const OpenMode how = openMode(mode, flags);
  std::FILE* opened = fileOpenStream(path, how.flags, how.stream, (flags & Private) ? 0600 : 0664);
  if (opened == nullptr && !(flags & NoThrow)) {
    throw SystemExceptionFmt("Error opening \"%s\"", errno, path);
  }
  // Also with nothing: what was held before is gone already, and owning nothing is the empty state.
  attach(opened, opened != nullptr);
}

void FilePtr::attach(std::FILE* file, bool own) {
  // The new one stands before the old one is closed, whatever comes of that.
  std::FILE* old = std::exchange(file_, file);
  const bool ownedOld = std::exchange(own_, own);
  if (old != nullptr && ownedOld && std::fclose(old) != 0) {
    throw StdlibException("fclose");
  }
}

void FilePtr::flushFile() {
  if (file_ != nullptr && std::fflush(file_) != 0) {
    throw StdlibException("fflush");
  }
}

std::FILE* FilePtr::release() noexcept {
  own_ = false;
  return std::exchange(file_, nullptr);
}

}  // namespace plat
