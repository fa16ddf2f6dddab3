#pragma once

#include <algorithm>

#include "base/plat/Exception.h"
#include "base/rdr/NullOutStream.h"
#include "fuzz/target.h"
#include "libs/fops/FopsProto.h"
#include "tests/support/TestStreams.h"

// What the targets of the two session ends share.

namespace fuzz {

/// Writes messages to nowhere.
class NullWriter : public fops::FopsProto::Writer {
public:
  rdr::OutStream& startMsg(const char*) override { return out_; }
  void endMsg() override {}

private:
  rdr::NullOutStream out_;
};

/// Ends of transfers that take everything, and look at every byte of a chunk.
class NullEnds : public fops::DataSender, public fops::DataReceiver {
public:
  void dataReq(fops::TransferId, std::uint64_t) override {}
  void cancelByReceiver(fops::TransferId, const plat::Exception&) override {}
  void dataChunk(fops::TransferId, std::uint64_t, std::int32_t length, const std::uint8_t* data) override {
    std::for_each(data, data + length, [this](std::uint8_t byte) { sum_ = static_cast<std::uint8_t>(sum_ + byte); });
  }
  void cancelBySender(fops::TransferId, const plat::Exception&) override {}

private:
  volatile std::uint8_t sum_ = 0;
};

/// Cuts the input into messages (a length in two bytes, a place to cut it in two, the body) and runs `proto` on each
/// but those that `skips` names, twice as over a link: when its first part is there, and when all of it is.
template <class Proto, class Skips>
void runMessages(Proto& proto, std::string_view input, const Skips& skips) {
  const auto number = [&input](std::size_t at) {
    return std::size_t{static_cast<std::uint8_t>(input[at])} << 8 | static_cast<std::uint8_t>(input[at + 1]);
  };
  try {
    while (input.size() >= 4) {
      const std::string_view body = input.substr(4, number(0));
      const std::size_t cut = std::min(number(2), body.size());
      test::FedInStream in(body.substr(0, cut), static_cast<int>(body.size()));
      input.remove_prefix(4 + body.size());
      if (!skips(body) && !proto.run(in)) {
        in.feed(body.substr(cut));
        if (!proto.run(in)) {
          throw plat::Exception("message too short");
        }
      }
    }
  } catch (const plat::Exception&) {
    // the end of the link
  }
}

}  // namespace fuzz
