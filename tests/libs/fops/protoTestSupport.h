#pragma once

#include "base/plat/config/ConfigParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/rdr/MemOutStream.h"
#include "libs/fops/FopsProto.h"
#include "tests/support/prelude.h"

// What the tests of the protocol and of the file service share: fakes that record, parameters for the length of a test.

namespace fops {

using test::Body;

/// A message of the session, its type ahead of its payload.
inline std::string message(std::string_view type, const Body& payload = Body()) {
  return Body().shortText(type).raw(payload);
}

using Lines = std::vector<std::string>;

/// A value as the calls of fakes are noted.
struct Shown : std::string {
  Shown(const char* text) : std::string(text ? text : "<null>") {}
  Shown(std::string text) : std::string(std::move(text)) {}
  Shown(int number) : std::string(std::to_string(number)) {}
  Shown(TransferId id) : std::string(TransferIdText(id).get()) {}
  Shown(const plat::Exception& error) : std::string(std::string("[") + error.type + "] " + error.message) {}
};

/// What fakes were asked for, each call as "operation argument|argument|".
class CallLog {
public:
  template <class... Arguments>
  void note(const char* operation, const Arguments&... arguments) {
    std::string call = std::string(operation) + ' ';
    ((call += Shown(arguments) + '|'), ...);
    calls_.push_back(call);
  }
  Lines take() { return std::exchange(calls_, {}); }

private:
  Lines calls_;
};

/// Both local ends of the transfers: note what the protocol calls on them.
class RecordingEnds : public DataSender, public DataReceiver {
public:
  explicit RecordingEnds(CallLog& log) : calls_(log) {}
  void dataReq(TransferId id, std::uint64_t position) override {
    calls_.note("dataReq", id, std::to_string(position));
    onCall();
  }
  void cancelByReceiver(TransferId id, const plat::Exception& e) override { calls_.note("cancelByReceiver", id, e); }
  void complete(TransferId id) override { calls_.note("complete", id); }
  void dataChunk(TransferId id, std::uint64_t offset, std::int32_t length, const std::uint8_t* data) override {
    calls_.note("dataChunk", id, std::to_string(offset), length);
    chunk.assign(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
    chunkData = data;
    onCall();
  }
  void cancelBySender(TransferId id, const plat::Exception& e) override { calls_.note("cancelBySender", id, e); }

  std::string chunk;
  const std::uint8_t* chunkData = nullptr;
  std::function<void()> onCall = [] {};  // what a test wants from inside a chunk or a request

private:
  CallLog& calls_;
};

/// Keeps each message that was ended, as message() puts it together.
class RecordingWriter : public FopsProto::Writer {
public:
  rdr::OutStream& startMsg(const char* type) override {
    open_ = std::make_unique<rdr::MemOutStream>();
    open_->writeShortString(type);
    return *open_;
  }
  void endMsg() override { messages_.push_back(test::contents(*open_)); }

  Lines take() { return std::exchange(messages_, {}); }

private:
  Lines messages_;
  std::unique_ptr<rdr::MemOutStream> open_;
};

/// What an action raises, "" if nothing.
template <class Action>
std::string failureOf(const Action& action) {
  try {
    action();
  } catch (const plat::Exception& e) {
    return Shown(e);
  }
  return "";
}

/// What a protocol raises on a message; "" if it handles it.
template <class Proto>
std::string failureOn(Proto& proto, const std::string& wire) {
  test::FedInStream in(wire, static_cast<int>(wire.size()) + 1);
  return failureOf([&] { EXPECT_TRUE(proto.run(in)); });
}

/// Gives a message in two parts, cut at each of its bytes: it must act once, and only when it is whole.
/// @param take what has been done since the last call.
template <class Proto, class Take>
void runCutAtEachByte(Proto& proto, const std::string& wire, const Take& take, const Lines& expected) {
  for (std::size_t cut = 0; cut < wire.size(); ++cut) {
    SCOPED_TRACE("cut at " + std::to_string(cut));
    test::FedInStream in(wire.substr(0, cut), 400);
    EXPECT_FALSE(proto.run(in));
    EXPECT_EQ(take(), Lines());
    in.feed(wire.substr(cut));
    EXPECT_TRUE(proto.run(in));
    EXPECT_EQ(take(), expected);
    EXPECT_EQ(in.offset(), wire.size());
  }
}

/// Sets a parameter for as long as it lives.
class ParameterValue : private plat::NonCopyable {
public:
  ParameterValue(const char* name, const char* value) : name_(name) {
    plat::Configuration::global().set(name, value, Priority);
  }
  ~ParameterValue() { plat::Configuration::global().find(name_, true)->unsetParam(Priority, false); }

private:
  static constexpr int Priority = 40;
  const char* name_;
};

}  // namespace fops
