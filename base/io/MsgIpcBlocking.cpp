#include <cstring>

#include "base/io/MsgIpc.h"
#include "base/rdr/exceptions.h"

// The reads of programs that wait for their messages instead of running an event loop.

namespace io {

void MsgIpc::readMessage(const char* expected) {
  if (!inState(&MsgIpc::startMsg)) {
    throw plat::Exception("MsgIpc::readMessage: not in state startMsg");
  }
  expectedMsg_ = expected;
  try {
    readWholeMessage();
  } catch (const plat::Exception& e) {
    Ipc::log().info("%s: %s", ipc_.name(), plat::ExceptionText(e).get());
    skipFailedMessage();
    expectedMsg_ = nullptr;
    throw;
  }
  expectedMsg_ = nullptr;
}

void MsgIpc::readWholeMessage() {
  do {
    const bool waitsForMsg = inState(&MsgIpc::startMsg);
    // On a link that waits, a reader that is not done yet is simply called again: its next read waits for the rest.
    // Only that no message begins has to be told.
    if (!stateMachine_.step(*this) && (waitsForMsg || !ipc_.blocking())) {
      throw rdr::BlockException();
    }
    if (!in_.underlying()) {
      stateMachine_.set(nullptr);  // the message has had the link closed: nothing is left to wait for
      return;
    }
    in_.checkpoint();
  } while (!inState(&MsgIpc::startMsg));
}

/// A message that failed must not make the next read fail, which would begin in the middle of this one.
void MsgIpc::skipFailedMessage() {
  try {
    if (in_.inMsg()) {
      in_.skipRestOfMsg();
      in_.endMsg();
    }
    stateMachine_.set(in_.underlying() ? &MsgIpc::startMsg : nullptr);
  } catch (const plat::Exception& e) {
    Ipc::log().error("%s: skip error: %s", ipc_.name(), plat::ExceptionText(e).get());
  }
}

void MsgIpc::readUntil(const char* name) {
  do {
    readMessage(nullptr);
  } while (std::strcmp(msgName(), name) != 0);
}

void MsgIpc::readAll() {
  try {
    for (;;) {
      readMessage(nullptr);
    }
  } catch (const rdr::EndOfStream&) {
    // the peer has said all it had to say
  }
}

}  // namespace io
