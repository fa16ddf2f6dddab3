#pragma once

#include "tests/apps/Child.h"

using test::Body;

/// Takes fields off the front of a message's bytes. Running out of bytes shows as an empty rest and zeros.
class Fields {
public:
  explicit Fields(std::string bytes) : bytes_(std::move(bytes)) {}

  std::string take(std::size_t count) {
    std::string front = bytes_.substr(0, count);
    bytes_.erase(0, count);
    return front;
  }
  std::uint64_t number(std::size_t width) {
    std::uint64_t value = 0;
    for (const char byte : take(width)) {
      value = value << 8 | static_cast<unsigned char>(byte);
    }
    return value;
  }
  std::string shortText() { return take(number(1)); }
  std::string text() { return take(number(4)); }
  const std::string& rest() const { return bytes_; }

private:
  std::string bytes_;
};

/// The opening message of the newest version, framed.
inline const std::string ClientInit4 = Body().u16(0x8011).shortText("fops").shortText("ClientInit").u8(4);

/// The remote peer and its server in one, at the level of bytes: launches the real helper on one end of a socket pair
/// and speaks the wire protocol on the other, with none of the program's own code.
class RawPeer {
public:
  using Message = std::pair<std::string, std::string>;  // name and body

  /// @param settings further words for the helper's command line.
  explicit RawPeer(const std::vector<std::string>& settings = {}, const std::function<void()>& prepare = {});
  ~RawPeer() { closeLink(); }

  /// Bytes as they are; one framed message; one of the session.
  void send(const std::string& bytes) const;
  void message(const std::string& name, const std::string& body) const;
  void fops(const std::string& type, const std::string& payload = "") const;

  /// The next message of the helper; nothing if the link has closed. The test fails if none comes for long.
  std::optional<Message> receive();

  /// The next session message, its type ahead of its payload. Log lines on the way are kept.
  Fields next();

  /// The payload of the next session message, which must be of this type.
  Fields expect(const std::string& type);

  /// Sends a request and returns the payload of the result, which must come next.
  Fields ask(const std::string& type, const std::string& payload = "");

  /// Opens a session.
  void openSession(unsigned version = 4);

  /// Asks for the helper's log up to `level`; logHas() looks at its lines.
  void askForLog(std::uint32_t level) const { message("setLogLevel", Body().u32(level)); }

  /// Reads until the link closes; every line of the log so far has come then.
  void drain();

  /// Looks for a part of a forwarded line, each of which is kept as "source (level): text".
  bool logHas(const std::string& part) const;

  void closeLink();
  Child& child() { return *child_; }

  const test::TempDir dir;  ///< what the helper exports

private:
  /// Appends so many bytes of the link; false if it closes before.
  bool read(std::size_t count, std::string& bytes);

  int fd_ = -1;
  std::unique_ptr<Child> child_;
  std::vector<std::string> log_;
};
