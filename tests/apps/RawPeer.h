#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/apps/Child.h"
#include "tests/apps/bytes.h"

/// The remote peer and its server in one, at the level of bytes: launches the real helper on one end of a socket pair
/// and speaks the wire protocol on the other, with none of the program's own code.
class RawPeer {
public:
  struct Message {
    std::string name;
    std::string body;
  };

  /// @param root what the helper exports.
  /// @param settings further words for its command line.
  explicit RawPeer(const std::string& root, std::vector<std::string> settings = {},
                   const std::function<void()>& prepare = {});
  ~RawPeer();

  /// Bytes as they are, or one framed message.
  void send(const std::string& bytes) const;
  void message(const std::string& name, const std::string& body) const;
  void fops(const std::string& type, const std::string& payload = "") const;

  /// The next message of the helper; nothing if the link has closed. The test fails if none comes for long.
  std::optional<Message> receive();

  /// The payload of the next session message, which must be of this type. Log lines on the way are kept.
  wire::Fields expect(const std::string& type);

  /// Opens a session and returns the payload of "ServerInit".
  wire::Fields openSession(unsigned version = 4);

  /// Asks for the helper's log up to `level`; its lines gather in log().
  void askForLog(std::uint32_t level) const { message("setLogLevel", wire::u32(level)); }

  /// Reads until the link closes; every line of the log so far is in log() then.
  void drain();

  /// "source (level): text" for each forwarded line.
  const std::vector<std::string>& log() const { return log_; }
  bool logHas(const std::string& part) const;

  void closeLink();
  Child& child() { return *child_; }
  int fd() const { return fd_; }

private:
  bool fill();
  std::optional<Message> takeMessage();

  int fd_ = -1;
  std::unique_ptr<Child> child_;
  std::string input_;
  std::vector<std::string> log_;
};
