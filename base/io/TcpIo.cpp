#include "base/io/TcpIo.h"

#include <cerrno>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "base/io/endpoint.h"
#include "base/plat/log/LogSrc.h"

namespace io {

namespace {

plat::LogSrc log("TcpIo");

/// Runs a name query that must not throw. @param what the operation's name, for the log.
template <class Query>
plat::String logFailure(const char* what, Query query) {
  try {
    return query();
  } catch (const plat::Exception& e) {
    log.info("%s error: %s", what, plat::ExceptionText(e).get());
    return "";
  }
}

}  // namespace

TcpIo::TcpIo(int socketFd, bool closeAtEnd, bool isConnecting, int inBufSize, int maxOutBufSize)
    : FdIo(socketFd, closeAtEnd, isConnecting, inBufSize, maxOutBufSize, true) {
  if (isConnecting) {
    return;
  }
  // The output stream collects what belongs together by itself; the system's waiting for more would only hold back its
  // end.
  if (!setNoDelay(socketFd, false)) {
    log.debug("unable to setsockopt TCP_NODELAY: %d", errno);
  }
  // What never leaves the machine counts as secure, as a link over a Unix-domain socket does.
  if (myInfo().isLoopback() && peerInfo().isLoopback()) {
    flags().insert("secureTransport");
  }
}

TcpIo::~TcpIo() = default;

void TcpIo::setHostName(const char* hostName) {
  hostName_ = hostName;
}

const IpInfo& TcpIo::myInfo() {
  if (!myInfo_) {
    myInfo_ = std::make_unique<IpInfo>(fd(), IpInfo::End::Local);
  }
  return *myInfo_;
}

const IpInfo& TcpIo::peerInfo() {
  if (!peerInfo_) {
    peerInfo_ = std::make_unique<IpInfo>(fd(), IpInfo::End::Peer);
  }
  return *peerInfo_;
}

const char* TcpIo::displayName() {
  if (displayText_.empty()) {
    displayText_ = logFailure("displayName", [this] { return peerInfo().displayText("TCP", hostName_.get()); });
  }
  // A failure is not kept, so the peer's name comes as soon as the system can tell it.
  return displayText_.empty() ? FdIo::displayName() : displayText_.get();
}

plat::String TcpIo::peerEndpoint() {
  if (peerEndpointText_.empty()) {
    peerEndpointText_ = logFailure("peerEndpoint", [this]() -> plat::String {
      return hostName_.isNull() ? peerInfo().endpointText()
                                : formatEndpoint(hostName_.get(), peerInfo().port(), -1, -1);
    });
  }
  return peerEndpointText_;
}

plat::String TcpIo::resolvedPeerEndpoint() {
  return logFailure("resolvedPeerEndpoint", [this] { return peerInfo().endpointText(); });
}

plat::String TcpIo::peerAddress() {
  return logFailure("peerAddress", [this] { return peerInfo().numericHostName(); });
}

plat::String TcpIo::myEndpoint() {
  return logFailure("myEndpoint", [this] { return myInfo().endpointText(); });
}

bool TcpIo::setNoDelay(int socketFd, bool nagle) noexcept {
  const int on = nagle ? 0 : 1;
  return ::setsockopt(socketFd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0;
}

const char* TcpIo::tcpErrorKey(int error) noexcept {
  switch (error) {
    case ETIMEDOUT:
      return "io_error_tcp_timedout";
    case ENETUNREACH:
    case EHOSTDOWN:
    case EHOSTUNREACH:
      return "io_error_ip_nethostunreach";
    case ECONNRESET:
    // One cause for the user: a reader learns of the peer's reset by the one, a later writer by the other.
    case EPIPE:
      return "io_error_tcp_connreset";
    default:
      return nullptr;
  }
}

}  // namespace io
