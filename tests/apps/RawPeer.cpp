#include "tests/apps/RawPeer.h"

RawPeer::RawPeer(const std::vector<std::string>& settings, const std::function<void()>& prepare) {
  int fds[2];
  socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds);
  fd_ = fds[0];
  const timeval patience = {30, 0};
  setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  std::vector<std::string> words = {helper(), std::to_string(Child::LinkNumber), "FopsDir=" + dir.path()};
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
  ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);  // that the helper has gone, a test sees elsewhere
}

void RawPeer::message(const std::string& name, const std::string& body) const {
  send(test::frames(Body().shortText(name).raw(body)));
}

void RawPeer::fops(const std::string& type, const std::string& payload) const {
  message("fops", Body().shortText(type).raw(payload));
}

bool RawPeer::read(std::size_t count, std::string& bytes) {
  const std::size_t before = bytes.size();
  bytes.resize(before + count);
  const ssize_t got = count == 0 ? 0 : recv(fd_, bytes.data() + before, count, MSG_WAITALL);
  EXPECT_TRUE(got >= 0 || errno != EAGAIN) << "the helper is silent";
  return got == static_cast<ssize_t>(count);
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
    if (message->first == "fops") {
      return Fields(message->second);
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
