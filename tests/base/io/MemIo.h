#pragma once

#include "base/io/Io.h"
#include "base/io/IoHandler.h"
#include "tests/support/prelude.h"

namespace test {

/// What became of a MemIo; outlives it.
struct MemIoLog {
  std::string sent;                 ///< all bytes that have left the output buffer, filled in at the end too
  std::vector<std::string> events;  ///< "handler", "no handler", "shutdown", "gone"
};

/// A connection without a descriptor: the test feeds the input and reports it, and finds the output in sent().
/// DESTROYS ITSELF in shutdown(), as a connection that has no event manager does.
class MemIo final : public io::Io {
public:
  explicit MemIo(std::shared_ptr<MemIoLog> log, int inBufSize = -1) : log_(std::move(log)) {
    auto in = std::make_unique<FedInStream>(inBufSize);
    auto out = std::make_unique<SinkStream>(-1, 1 << 20);
    out->willing = INT_MAX;
    fed = in.get();
    sink = out.get();
    in_ = std::move(in);
    out_ = std::move(out);
  }
  ~MemIo() override {
    log_->sent = sink->bytes;
    log_->events.emplace_back("gone");
  }

  /// The bytes arrive, and the handler is told.
  void arrive(std::string_view bytes) {
    fed->feed(bytes);
    report();
  }
  void report() {
    if (handler_) {
      handler_->ioReadable(*this);
    }
  }
  /// The connection reports its end.
  void end() { handler_->ioClosed(*this); }
  /// What has been flushed, from the last call on.
  std::string sent() { return std::exchange(sink->bytes, {}); }

  void setHandler(io::IoHandler* handler, bool) override {
    handler_ = handler;
    log_->events.emplace_back(handler ? "handler" : "no handler");
  }
  void shutdown(bool flush, bool tellHandler) override {
    log_->events.emplace_back(flush || tellHandler ? "shutdown with a wish" : "shutdown");
    delete this;
  }
  const char* displayName() override { return "<mem>"; }
  plat::String peerEndpoint() override { return ""; }
  plat::String peerAddress() override { return ""; }
  plat::String myEndpoint() override { return ""; }
  void setTimeout(int) override {}

  FedInStream* fed;
  SinkStream* sink;

private:
  std::shared_ptr<MemIoLog> log_;
  io::IoHandler* handler_ = nullptr;
};

/// A named message: its length byte, the name (255 bytes at most) and the body, in frames.
inline std::string namedMsg(std::string_view name, std::string_view body, std::size_t maxPayload = 32766) {
  return frames(std::string(1, static_cast<char>(name.size())).append(name).append(body), maxPayload);
}

inline std::string u32(std::uint32_t value) {
  rdr::MemOutStream out;
  out.writeU32(value);
  return contents(out);
}

}  // namespace test
