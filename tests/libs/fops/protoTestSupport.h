#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/plat/Configuration.h"
#include "base/plat/IntParameter.h"
#include "base/plat/LogDest.h"
#include "base/plat/logging.h"
#include "base/rdr/InStream.h"
#include "base/rdr/MemOutStream.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/FopsProto.h"
#include "libs/fops/dirEntryIo.h"

// What the tests of the protocol share: bytes put together by hand, a stream that runs dry on demand, a writer that
// records.

namespace fops {

/// The bytes that `write` puts on a stream.
template <class Write>
std::string writtenBytes(const Write& write) {
  rdr::MemOutStream out;
  write(out);
  return {reinterpret_cast<const char*>(out.data()), out.length()};
}

/// Puts a message's bytes together field by field, on its own reading of the wire form.
class Body {
public:
  Body& u8(unsigned value) { return number(value, 1); }
  Body& u16(unsigned value) { return number(value, 2); }
  Body& u32(std::uint32_t value) { return number(value, 4); }
  Body& u64(std::uint64_t value) { return number(value, 8); }
  Body& zeros(std::size_t count) { return raw(std::string(count, '\0')); }
  Body& raw(std::string_view bytes) {
    bytes_ += bytes;
    return *this;
  }
  Body& shortText(std::string_view text) { return u8(static_cast<unsigned>(text.size())).raw(text); }
  Body& text(std::string_view text) { return u32(static_cast<std::uint32_t>(text.size())).raw(text); }
  Body& id(std::uint32_t low, std::uint32_t high) { return u32(low).u32(high); }
  Body& result(std::string_view message, std::string_view type) { return shortText(message).shortText(type); }
  /// An entry without attributes.
  Body& entry(std::string_view name, std::uint64_t size = 0, std::uint32_t flags = 0) {
    return text(name).u64(size).zeros(3 * 8).u32(flags).u8(0);
  }
  const std::string& bytes() const { return bytes_; }

private:
  Body& number(std::uint64_t value, int width) {
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
      bytes_ += static_cast<char>(value >> shift);
    return *this;
  }

  std::string bytes_;
};

/// An input stream over bytes that arrive when the test says so, seen through a window of limited size. Reads block
/// beyond what has arrived; like every buffered stream it cannot hold more than the window behind its checkpoint.
class FeedStream : public rdr::InStream {
public:
  explicit FeedStream(std::string bytes, std::size_t window = SIZE_MAX / 2)
      : bytes_(std::move(bytes)), window_(window) {
    ptr = end = checkpointPtr = start();
  }

  /// From here on the first `count` bytes are there.
  void arrive(std::size_t count) { arrived_ = std::min(count, bytes_.size()); }
  void arriveAll() { arrived_ = bytes_.size(); }
  std::size_t consumed() const { return static_cast<std::size_t>(ptr - start()); }

  std::uint32_t offset() override { return static_cast<std::uint32_t>(ptr - start()); }

protected:
  bool overrun(int itemSize) override {
    const std::size_t held = static_cast<std::size_t>(checkpointPtr - start());
    const std::size_t limit = held + std::min(window_, bytes_.size());
    end = start() + std::min(arrived_, limit);
    return end - ptr >= itemSize || (limit < arrived_ && end == start() + limit);
  }

private:
  const std::uint8_t* start() const { return reinterpret_cast<const std::uint8_t*>(bytes_.data()); }

  std::string bytes_;
  std::size_t window_;
  std::size_t arrived_ = 0;
};

struct Message {
  std::string type;
  std::string body;
  friend bool operator==(const Message&, const Message&) = default;
};

inline void PrintTo(const Message& message, std::ostream* out) {
  *out << message.type << " of " << message.body.size() << " bytes:";
  for (const char c : message.body)
    *out << ' ' << static_cast<int>(static_cast<unsigned char>(c));
}

/// Keeps each message that was ended.
class RecordingWriter : public FopsProto::Writer {
public:
  rdr::OutStream& startMsg(const char* type) override {
    type_ = type;
    open_ = std::make_unique<rdr::MemOutStream>();
    return *open_;
  }
  void endMsg() override {
    messages.push_back({type_, {reinterpret_cast<const char*>(open_->data()), open_->length()}});
  }

  /// Type and payload of each message, as they travel: ready to be read by the other end.
  std::string takeWire() {
    std::string wire;
    for (const Message& message : messages)
      wire += Body().shortText(message.type).raw(message.body).bytes();
    messages.clear();
    return wire;
  }

  std::vector<Message> messages;

private:
  std::string type_;
  std::unique_ptr<rdr::MemOutStream> open_;
};

/// Sets a parameter for as long as it lives.
class ParameterValue {
public:
  ParameterValue(const char* name, const char* value) : name_(name) {
    plat::Configuration::global().set(name, value, Priority);
  }
  ~ParameterValue() { plat::Configuration::global().find(name_, true)->unsetParam(Priority, false); }
  ParameterValue(const ParameterValue&) = delete;
  ParameterValue& operator=(const ParameterValue&) = delete;

private:
  static constexpr int Priority = 40;
  const char* name_;
};

inline int parameterInt(const char* name) {
  return dynamic_cast<plat::IntParameter&>(plat::Configuration::global().getParam(name)).getValueInt();
}

/// Collects the log lines of all sources while it lives, as "source level text". One at a time.
class LogLines {
public:
  LogLines() {
    plat::logStart();  // lines from before are not kept for this
    destination().lines.clear();
    plat::logOverride("*:fopstest:100");
  }
  ~LogLines() { plat::logOverride(""); }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

  const std::vector<std::string>& all() const { return destination().lines; }
  bool has(std::string_view line) const { return std::find(all().begin(), all().end(), line) != all().end(); }

private:
  // Destinations live as long as the program.
  struct Destination : plat::LogDest {
    Destination() : plat::LogDest("fopstest") {}
    void log(int level, const char* source, const char* text) override {
      lines.push_back(std::string(source) + ' ' + std::to_string(level) + ' ' + text);
    }
    std::vector<std::string> lines;
  };
  static Destination& destination() {
    static auto* const instance = new Destination;
    return *instance;
  }
};

}  // namespace fops
