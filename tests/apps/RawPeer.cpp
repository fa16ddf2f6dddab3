#include "tests/apps/RawPeer.h"

#include <poll.h>
#include <sys/socket.h>

#include "tests/support/TestStreams.h"
#include "tests/support/prelude.h"

namespace {

constexpr int PatienceMs = 30000;

}  // namespace

RawPeer::RawPeer(const std::string& root, std::vector<std::string> settings, const std::function<void()>& prepare) {
  int fds[2];
  socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds);
  fd_ = fds[0];
  std::vector<std::string> words = {helper(), std::to_string(Child::LinkNumber), "FopsDir=" + root};
  words.insert(words.end(), settings.begin(), settings.end());
  child_ = std::make_unique<Child>(words, prepare, fds[1]);
  close(fds[1]);
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
  send(test::frames(Body().shortText(name).raw(body)));
}

void RawPeer::fops(const std::string& type, const std::string& payload) const {
  message("fops", Body().shortText(type).raw(payload));
}

bool RawPeer::read(std::size_t count, std::string& bytes) {
  char piece[32768];
  while (count > 0) {
    pollfd watched = {fd_, POLLIN, 0};
    if (poll(&watched, 1, PatienceMs) <= 0) {
      ADD_FAILURE() << "the helper is silent";
      return false;
    }
    const ssize_t got = recv(fd_, piece, std::min(count, sizeof piece), 0);
    if (got <= 0) {
      return false;
    }
    bytes.append(piece, static_cast<std::size_t>(got));
    count -= static_cast<std::size_t>(got);
  }
  return true;
}

std::optional<RawPeer::Message> RawPeer::receive() {
  std::string record;
  for (std::string header; read(2, header); header.clear()) {
    const auto bits = Fields(header).number(2);
    if (!read(bits & 0x7FFF, record)) {
      break;
    }
    if (bits & 0x8000) {
      Fields fields(std::exchange(record, {}));
      const std::string name = fields.shortText();
      if (name != "logMsg") {
        return Message{name, fields.rest()};
      }
      const std::string level = std::to_string(fields.number(4));
      const std::string source = fields.shortText();
      log_.push_back(source + " (" + level + "): " + fields.text());
    }
  }
  return std::nullopt;
}

Fields RawPeer::next() {
  while (const std::optional<Message> message = receive()) {
    if (message->name == "fops") {
      return Fields(message->body);
    }
  }
  ADD_FAILURE() << "the link closed";
  return Fields("");
}

Fields RawPeer::expect(const std::string& type) {
  Fields fields = next();
  EXPECT_EQ(fields.shortText(), type);
  return fields;
}

void RawPeer::openSession(unsigned version) {
  fops("ClientInit", Body().u8(version));
  expect("ServerInit");
}

Fields RawPeer::ask(const std::string& type, const std::string& payload) {
  fops(type, payload);
  return expect(type + "Result");
}

void RawPeer::drain() {
  while (receive()) {
  }
}

bool RawPeer::logHas(const std::string& part) const {
  return std::any_of(log_.begin(), log_.end(), [&](const auto& line) { return line.find(part) != std::string::npos; });
}
