#include "tests/apps/RawPeer.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/apps/Environment.h"

namespace {

constexpr int LinkNumber = 3;
constexpr int PatienceMs = 30000;
constexpr std::size_t MaxFrame = 32766;

}  // namespace

RawPeer::RawPeer(const std::string& root, std::vector<std::string> settings, const std::function<void()>& prepare) {
  int fds[2];
  socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds);
  fd_ = fds[0];
  std::vector<std::string> words = {environment::helper(), std::to_string(LinkNumber), "FopsDir=" + root};
  words.insert(words.end(), settings.begin(), settings.end());
  child_ = std::make_unique<Child>(words, fds[1], LinkNumber, prepare);
  close(fds[1]);
}

RawPeer::~RawPeer() {
  closeLink();
}

void RawPeer::closeLink() {
  if (fd_ >= 0) {
    close(fd_);
    fd_ = -1;
  }
}

void RawPeer::send(const std::string& bytes) const {
  for (std::size_t sent = 0; sent < bytes.size();) {
    const ssize_t count = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) {
      return;  // the helper has gone; the test sees that elsewhere
    }
    sent += static_cast<std::size_t>(count);
  }
}

void RawPeer::message(const std::string& name, const std::string& body) const {
  const std::string record = wire::shortText(name) + body;
  std::string framed;
  std::size_t start = 0;
  do {
    const std::size_t length = std::min(MaxFrame, record.size() - start);
    const bool last = start + length == record.size();
    framed += wire::u16((last ? 0x8000U : 0U) | static_cast<unsigned>(length)) + record.substr(start, length);
    start += length;
  } while (start < record.size());
  send(framed);
}

void RawPeer::fops(const std::string& type, const std::string& payload) const {
  message("fops", wire::shortText(type) + payload);
}

bool RawPeer::fill() {
  pollfd watched = {fd_, POLLIN, 0};
  if (poll(&watched, 1, PatienceMs) <= 0) {
    ADD_FAILURE() << "the helper is silent";
    return false;
  }
  char piece[65536];
  const ssize_t count = recv(fd_, piece, sizeof piece, 0);
  if (count <= 0) {
    return false;
  }
  input_.append(piece, static_cast<std::size_t>(count));
  return true;
}

std::optional<RawPeer::Message> RawPeer::takeMessage() {
  std::string record;
  for (std::size_t at = 0; at + 2 <= input_.size();) {
    const unsigned header = static_cast<unsigned>(wire::Fields(input_.substr(at, 2)).number(2));
    const std::size_t length = header & 0x7FFF;
    if (at + 2 + length > input_.size()) {
      break;
    }
    record.append(input_, at + 2, length);
    at += 2 + length;
    if (header & 0x8000) {
      input_.erase(0, at);
      wire::Fields fields(record);
      const std::string name = fields.shortText();
      return Message{name, fields.rest()};
    }
  }
  return std::nullopt;
}

std::optional<RawPeer::Message> RawPeer::receive() {
  for (;;) {
    if (std::optional<Message> message = takeMessage()) {
      if (message->name == "logMsg") {
        wire::Fields fields(message->body);
        const std::string level = std::to_string(fields.u32());
        const std::string source = fields.shortText();
        log_.push_back(source + " (" + level + "): " + fields.text());
        continue;
      }
      return message;
    }
    if (!fill()) {
      return std::nullopt;
    }
  }
}

wire::Fields RawPeer::expect(const std::string& type) {
  while (const std::optional<Message> message = receive()) {
    if (message->name == "fops") {
      wire::Fields fields(message->body);
      EXPECT_EQ(fields.shortText(), type);
      return wire::Fields(fields.rest());
    }
  }
  ADD_FAILURE() << "the link closed instead of " << type;
  return wire::Fields("");
}

wire::Fields RawPeer::openSession(unsigned version) {
  fops("ClientInit", wire::u8(version));
  return expect("ServerInit");
}

void RawPeer::drain() {
  while (receive()) {
  }
}

bool RawPeer::logHas(const std::string& part) const {
  for (const std::string& line : log_) {
    if (line.find(part) != std::string::npos) {
      return true;
    }
  }
  return false;
}
