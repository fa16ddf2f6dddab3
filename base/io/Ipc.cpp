#include "base/io/Ipc.h"

#include <utility>

#include "base/io/Io.h"
#include "base/plat/assert.h"
#include "base/rdr/InStream.h"
#include "base/rdr/exceptions.h"

namespace io {

namespace {

plat::LogSrc ipcLog("Ipc");

/// Without a handler, and so without an event manager, this deletes the connection at once.
void endConnection(std::unique_ptr<Io> io) {
  io.release()->shutdown(false, false);
}

}  // namespace

void Ipc::Callback::ipcClosed(Ipc&) {}

plat::LogSrc& Ipc::log() noexcept {
  return ipcLog;
}

Ipc::Ipc(const char* name, Callback* callback, bool blocking)
    : name_(name), callback_(callback), out_(&nullOut_), blocking_(blocking) {}

Ipc::~Ipc() {
  try {
    close();
  } catch (const plat::Exception& e) {
    plat::warnException(e);
  }
}

void Ipc::accept(Io* io) {
  PLAT_ASSERT_AS(!io_, "!io", "base/io/Ipc", 30);
  io_ = io;
  in_ = io->in();
  out_ = io->out();
  attachHandler();
}

void Ipc::setBlocking(bool blocking) {
  blocking_ = blocking;
  if (io_) {
    attachHandler();
  }
}

void Ipc::attachHandler() {
  io_->setHandler(blocking_ ? nullptr : this, true);
  // A reader that waits never goes back; without bytes to keep for it the whole buffer is there for what comes.
  in_->setRewindable(!blocking_);
}

void Ipc::forgetConnection() noexcept {
  io_ = nullptr;
  in_ = nullptr;
  out_ = &nullOut_;
}

std::unique_ptr<Io> Ipc::detach() noexcept {
  std::unique_ptr<Io> io(io_);
  if (io) {
    io->setHandler(nullptr, true);
  }
  forgetConnection();
  return io;
}

void Ipc::close() {
  // Remembered, since detach() puts the stream that drops everything in its place. It lives as long as `detached` does.
  rdr::OutStream* const oldOut = out_;
  std::unique_ptr<Io> detached = detach();
  if (!detached) {
    return;
  }
  if (flushOnClose_) {
    try {
      oldOut->flush();
    } catch (const plat::Exception& e) {
      ipcLog.debug("%s: %s", name(), plat::ExceptionText(e).get());
    }
  }
  endConnection(std::move(detached));
}

void Ipc::ioReadable(Io&) {
  try {
    callback_->ipcReadable(*this);
  } catch (const rdr::BlockException&) {
    // the next readable event goes on
  } catch (const plat::Exception& e) {
    ipcLog.debug("%s: %s", name(), plat::ExceptionText(e).get());
    fail(e);
  }
}

void Ipc::fail(const plat::Exception& error) {
  // Nothing may be thrown into a connection that is no more.
  try {
    callback_->ipcError(*this, error);
  } catch (const plat::Exception& e) {
    plat::warnException(e);
  }
  if (!io_) {
    return;
  }
  // At once, not in a later turn: without a handler the connection has no manager. Its own readable(), which has called
  // this, does not look at itself again.
  endConnection(detach());
  try {
    callback_->ipcClosed(*this);
  } catch (const plat::Exception& e) {
    plat::warnException(e);
  }
}

void Ipc::ioClosed(Io& io) {
  io.setHandler(nullptr, true);
  forgetConnection();
  callback_->ipcClosed(*this);
}

}  // namespace io
