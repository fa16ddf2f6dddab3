#pragma once

#include <cstdint>
#include <memory>

#include "base/io/Io.h"
#include "base/plat/MBuf.h"
#include "base/plat/String.h"

namespace os {

/// How a launched process gets back to its launcher: reads the launcher's arguments at the front of the command line
/// and makes the link that they name, which is a Unix socket by path, an inherited descriptor by number, or standard
/// input.
///
/// Ownership: a local of the start-up code; needed only through connect().
/// Thread:    before any thread or event loop exists. Reads block.
/// The proof: with "-hash" the launcher shows on the new connection that it knows the 32 bytes whose SHA-256 digest the
///            command line gives. They come ahead of everything else; without the option nothing is read.
class LaunchedProcessPipe final {
public:
  /// Bytes of input buffer of the link: two paths at their limits fit in one message, and one read empties much of a
  /// socket.
  static constexpr int InBufSize = 65536;

  /// @param debugPath where standard error goes with "-lppDebug"; not copied.
  explicit LaunchedProcessPipe(const char* debugPath = "/tmp/lppDebug.log") noexcept : debugLogPath_(debugPath) {}

  /// Takes the launcher's arguments off `argv`, which ends in a null, and connects.
  ///
  ///     -dummy                                     the link is descriptor 0; nothing else is taken
  ///     [-lppDebug] [-hash <hex>] [-fork] <pipe>   in any order and number, ahead of the pipe name
  ///
  /// A pipe name that is a decimal number adopts that descriptor, and the hash is not looked at. Otherwise it is a
  /// socket path, and standard error goes to /dev/null from then on, or with "-lppDebug" to a file. With "-fork" this
  /// returns in a grandchild in a session of its own; the launched process exits with 0.
  /// @param minExtraArgs how many arguments must follow the pipe name; 0 for no demand.
  /// @throws plat::Exception "-hash argument bad or missing", "Bad command-line: got %s instead of pipe name",
  ///   "Bad hash", or the text that says that this program is not for direct use; plat::SystemException of the link
  std::unique_ptr<io::Io> connect(char**& argv, int minExtraArgs);

private:
  void parseArgs(char**& argv);
  void parseHash(const char* hex);
  void redirectStderr() const;
  std::unique_ptr<io::Io> connectToPath() const;
  void checkHash(io::Io& io) const;

  plat::String pipeName_;
  const char* logPath_ = "/dev/null";  // where standard error goes
  plat::MBuf<unsigned char> hash_;     // empty: no proof is asked for
  const char* debugLogPath_;
};

}  // namespace os
