#pragma once

#include "base/plat/Exception.h"

namespace rdr {

// What leaves the streams beside the failures of the system.

/// Control flow, no failure: the bytes are not there yet. The stream that raised it stands at its last checkpoint
/// again, so its reader returns to the event loop and parses from there once more has come. It has no type word.
class BlockException : public plat::Exception {
public:
  BlockException() noexcept : Exception("Reading from InStream would block") {}
};

/// A read went past the end of the current message of a framed stream. The stream itself is sound.
class EndOfMsg : public plat::Exception {
public:
  EndOfMsg() noexcept : Exception("End of message", "EndOfMsg") {}
};

/// The source has no further byte and never will: end of memory, end of a file, or the peer has closed its side.
class EndOfStream : public plat::Exception {
public:
  explicit EndOfStream(const char* text) noexcept : Exception(text, "EndOfStream") {}
};

/// A counted text or a line is longer than its reader allows. Of a counted text the length has been read, its
/// bytes have not; of a line, what fitted.
class StringTooLongException : public plat::Exception {
public:
  StringTooLongException() noexcept : Exception("String exceeds maximum length", "StringTooLongException") {}
};

/// An output stream of limited size cannot take what was to be written; its contents are as before.
class OutStreamFull : public plat::Exception {
public:
  OutStreamFull() noexcept : Exception("OutStream full", "OutStreamFull") {}
};

/// The user of a framed stream broke the order of its calls: a message begun twice, ended unread, and the like.
class FrameException : public plat::Exception {
public:
  explicit FrameException(const char* text) noexcept : Exception(text, "FrameException") {}
};

}  // namespace rdr
