// The read side of the message channel: frames, names, dispatch and skipping, however the bytes are cut on the way.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "base/io/MsgIpc.h"
#include "base/plat/assert.h"
#include "tests/base/io/MemIo.h"

namespace {

/// Reads a text, then leaves the rest; notes what it was given.
class NotingReader : public io::MsgIpc::Reader {
public:
  bool readMsg(const char* name, rdr::InStream& in, io::MsgIpc&) override {
    const plat::String text = in.readString(1024, true);
    notes += std::string(name) + '=' + text.orEmpty() + '\n';
    return true;
  }
  std::string notes;
};

class NotingCallback : public io::MsgIpc::Callback {
public:
  void msgIpcClosed(io::MsgIpc&) override { notes += "closed\n"; }
  void msgIpcError(io::MsgIpc&, const plat::Exception& error) override { notes += error.message; }
  std::string notes;
};

/// What becomes of `bytes` if they arrive in pieces of `piece` bytes.
std::string play(const std::string& bytes, std::size_t piece) {
  const auto log = std::make_shared<test::MemIoLog>();
  NotingReader reader;
  NotingCallback callback;
  io::MsgIpc ipc(&callback, "fuzz", false, true);
  ipc.setReader("fops", &reader);
  ipc.setReader("a", &reader);
  auto* const io = new test::MemIo(log);
  ipc.accept(io);
  for (std::size_t at = 0; at < bytes.size() && ipc.attached(); at += piece) {
    io->arrive(bytes.substr(at, piece));
  }
  PLAT_ASSERT(log->sent.empty());  // the read side answers nothing by itself
  return reader.notes + callback.notes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Less than an input buffer, so that the cuts decide nothing.
  const std::string bytes(reinterpret_cast<const char*>(data), std::min<std::size_t>(size, 16000));
  const std::string whole = play(bytes, bytes.size() + 1);
  PLAT_ASSERT(play(bytes, 1) == whole);
  PLAT_ASSERT(play(bytes, 7) == whole);
  return 0;
}
