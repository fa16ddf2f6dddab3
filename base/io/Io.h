#pragma once

#include <memory>
#include <set>
#include <string>

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "base/rdr/InStream.h"
#include "base/rdr/OutStream.h"

namespace io {

class IoHandler;

/// A connection: two streams, one handler that hears what happens on them, and names for both ends.
///
/// Purpose:   without a handler the streams wait, with time-outs, so that a connection can be set up in plain sequence;
///            with one they never wait, and the event loop calls the handler.
/// Ownership: owns its streams; observes its handler. Held in a unique_ptr until somebody calls shutdown().
/// Thread:    that of the event loop.
/// DESTROYS ITSELF: shutdown() ends with the connection deleted, at once or from a later turn of the loop.
class Io : plat::NonCopyable {
public:
  /// Attaches, replaces or (null) takes away the handler, which hears of input only with `readInterest`.
  virtual void setHandler(IoHandler* handler, bool readInterest) = 0;
  /// Ends the connection. DESTROYS ITSELF; give up ownership before the call.
  /// @param flush send what is buffered first. @param tellHandler call IoHandler::ioClosed at the end.
  virtual void shutdown(bool flush, bool tellHandler) = 0;
  /// Has the handler called for input once more, though the descriptor has none: for a handler that leaves bytes
  /// unread.
  /// @throws plat::AssertionFail where the connection cannot do so
  virtual void markReadable();
  /// For messages, like "<fd3>".
  virtual const char* displayName() = 0;
  /// The peer's endpoint name; empty if there is none.
  virtual plat::String peerEndpoint() = 0;
  /// The same with the address resolved, if it was given by name.
  virtual plat::String resolvedPeerEndpoint();
  /// The peer's address without a port; empty if there is none.
  virtual plat::String peerAddress() = 0;
  /// This end's endpoint name; empty if there is none.
  virtual plat::String myEndpoint() = 0;
  /// How long a waiting read or write may take, in milliseconds; negative for no limit.
  virtual void setTimeout(int ms) = 0;

  virtual ~Io();

  /// Null until the connection has a descriptor.
  rdr::InStream* in() const noexcept { return in_.get(); }
  rdr::OutStream* out() const noexcept { return out_.get(); }

  /// Words that describe the connection, such as "secureTransport".
  std::set<std::string>& flags() noexcept { return flags_; }
  const std::set<std::string>& flags() const noexcept { return flags_; }

  /// Writes the flags: their count in 8 bits, then each as a short string.
  /// @throws plat::AssertionFail "flags.size() < 256"
  void writeFlags(rdr::OutStream& out) const;
  /// Adds flags that writeFlags() wrote; malformed UTF-8 is repaired. May be run again after a block.
  void readFlags(rdr::InStream& in);

protected:
  Io() = default;

  std::unique_ptr<rdr::InStream> in_;
  std::unique_ptr<rdr::OutStream> out_;

private:
  std::set<std::string> flags_;
};

}  // namespace io
