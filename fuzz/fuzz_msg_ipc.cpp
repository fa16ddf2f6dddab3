// The read side of the message channel: frames, names, dispatch and skipping, however the bytes are cut on the way.

#include <memory>

#include "base/io/MsgIpc.h"
#include "fuzz/target.h"
#include "tests/base/io/MemIo.h"

namespace {

/// Reads a text of each message, then leaves the rest; notes what it was given and what becomes of the channel.
class Notes : public io::MsgIpc::Reader, public io::MsgIpc::Callback {
public:
  bool readMsg(const char* name, rdr::InStream& in, io::MsgIpc&) override {
    const plat::String text = in.readString(1024, true);
    read += std::string(name) + '=' + text.orEmpty() + '\n';
    return true;
  }
  void msgIpcClosed(io::MsgIpc&) override { fate += "closed\n"; }
  void msgIpcError(io::MsgIpc&, const plat::Exception& error) override { fate += error.message; }

  std::string read;
  std::string fate;
};

/// What becomes of `bytes` if they arrive in pieces of `piece` bytes.
std::string play(std::string_view bytes, std::size_t piece) {
  const auto log = std::make_shared<test::MemIoLog>();
  Notes notes;
  io::MsgIpc ipc(&notes, "fuzz", false, true);
  ipc.setReader("fops", &notes);
  ipc.setReader("a", &notes);
  auto* const io = new test::MemIo(log);
  ipc.accept(io);
  for (std::size_t at = 0; at < bytes.size() && ipc.attached(); at += piece) {
    io->arrive(bytes.substr(at, piece));
  }
  fuzz::require(log->sent.empty());  // the read side answers nothing by itself
  return notes.read + notes.fate;
}

}  // namespace

void fuzz::run(std::string_view input) {
  const std::string_view bytes = input.substr(0, 16000);  // less than an input buffer, so that the cuts decide nothing
  const std::string whole = play(bytes, bytes.size() + 1);
  require(play(bytes, 1) == whole);
  require(play(bytes, 7) == whole);
}
