#include "base/os/LaunchedProcessPipe.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "base/crypto/Digest.h"
#include "base/loc/translate.h"
#include "base/os/UnixIo.h"
#include "base/os/adoptFd.h"
#include "base/os/doubleFork.h"
#include "base/os/socket/socketUtil.h"
#include "base/os/unix/UniqueFd.h"
#include "base/plat/Time.h"
#include "base/plat/dateText.h"
#include "base/plat/exceptions.h"
#include "base/plat/file/file.h"
#include "base/plat/hex.h"
#include "base/plat/numbers.h"
#include "base/rdr/InStream.h"

namespace os {

namespace {

constexpr int SecretSize = 32;

/// The descriptor number that is all of `pipeName`, or -1.
int parseFd(const char* pipeName) noexcept {
  std::int32_t fd = -1;
  return plat::tryParseS32(pipeName, 10, fd) && *pipeName == '\0' ? fd : -1;
}

int countArgs(char* const* argv) noexcept {
  int count = 0;
  while (argv[count]) {
    ++count;
  }
  return count;
}

}  // namespace

std::unique_ptr<io::Io> LaunchedProcessPipe::connect(char**& argv, int minExtraArgs) {
  if (*argv && std::strcmp(*argv, "-dummy") == 0) {
    ++argv;
    return adoptFd(0, InBufSize);
  }
  parseArgs(argv);
  if (minExtraArgs > 0 && countArgs(argv) < minExtraArgs) {
    throw plat::Exception(LOC_TR("plat_this_program_not_directly"));
  }
  // A descriptor can only have come from the launcher. A path may by now be somebody else's, which is what the proof is
  // for.
  const int fd = parseFd(pipeName_.get());
  return fd >= 0 ? adoptFd(fd, InBufSize) : connectToPath();
}

void LaunchedProcessPipe::parseArgs(char**& argv) {
  for (;; ++argv) {
    const char* const arg = *argv;
    if (arg && std::strcmp(arg, "-lppDebug") == 0) {
      logPath_ = debugLogPath_;
    } else if (arg && std::strcmp(arg, "-hash") == 0) {
      parseHash(argv[1]);
      ++argv;
    } else if (arg && std::strcmp(arg, "-fork") == 0) {
      if (!doubleFork()) {
        ::_exit(0);  // the launcher sees the process that it launched end at once
      }
    } else if (!arg || *arg == '-') {
      throw plat::Exception(plat::Formatted, "Bad command-line: got %s instead of pipe name", arg ? arg : "<null>");
    } else {
      pipeName_ = arg;
      ++argv;
      return;
    }
  }
}

void LaunchedProcessPipe::parseHash(const char* hex) {
  // An empty digest is refused too: it must not pass for an option that was not given.
  if (!hex || !plat::tryHexToBuf(hex, hash_) || hash_.empty()) {
    throw plat::Exception("-hash argument bad or missing");
  }
}

void LaunchedProcessPipe::redirectStderr() const {
  UniqueFd fd(plat::fileOpenFd(logPath_, O_WRONLY | O_CREAT | O_APPEND, 0666));
  // Standard error was closed, so that its number was the first one free.
  if (fd.get() == STDERR_FILENO) {
    setInheritableOrThrow(fd.release(), true, false);
  } else if (::dup2(fd.get(), STDERR_FILENO) < 0) {
    throw plat::SystemException("dup2", errno);
  }
}

std::unique_ptr<io::Io> LaunchedProcessPipe::connectToPath() const {
  redirectStderr();
  std::unique_ptr<io::Io> io;
  try {
    const plat::String now = plat::formatDate("%Y-%m-%d %H:%M:%SZ", plat::utcBreakdown(plat::getTime()));
    std::fprintf(stderr, "%s: connecting to '%s'\n", now.orEmpty(), pipeName_.orEmpty());
    io = std::make_unique<UnixIo>(pipeName_.get(), -1, false, InBufSize);
    checkHash(*io);
  } catch (const plat::Exception& e) {
    std::fprintf(stderr, "%s\n", e.message);
    if (io) {
      io.release()->shutdown(false, false);  // nobody handles the connection yet, so this deletes it
    }
    throw;
  }
  return io;
}

void LaunchedProcessPipe::checkHash(io::Io& io) const {
  if (hash_.empty()) {
    return;
  }
  std::uint8_t scratch[SecretSize];
  std::uint8_t expected[SecretSize];
  const std::uint8_t* const secret = io.in()->readOrCopy(scratch, SecretSize);
  crypto::digest(crypto::DigestType::Sha256, secret, SecretSize, expected, sizeof expected);
  // The channel begins behind the secret; nothing that it rewinds may lead back into it.
  io.in()->checkpoint();
  // The time that this takes tells nothing: the digest stands on the command line for everybody to see.
  if (hash_.size() != SecretSize || std::memcmp(hash_.data(), expected, sizeof expected) != 0) {
    throw plat::Exception("Bad hash");
  }
}

}  // namespace os
