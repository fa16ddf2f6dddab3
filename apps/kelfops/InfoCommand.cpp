#include "apps/kelfops/InfoCommand.h"

#include <cstdio>
#include <string>

#include "apps/kelfops/PeerSession.h"
#include "apps/kelfops/listing.h"
#include "apps/kelfops/terminalText.h"

namespace {

std::string placeText(const plat::String& path) {
  return path.empty() ? "(not below the top)" : terminalText(path.get(), stdout);
}

}  // namespace

void InfoCommand::begin(PeerSession& session) {
  session_ = &session;
  session.proto().getRoot();
}

void InfoCommand::rootResult(const fops::DirEntry& root) {
  const fops::ServerInit& server = session_->server();
  std::printf("protocol version  %d\n", server.version);
  std::printf("host name         %s\n", terminalText(server.hostName.orEmpty(), stdout).c_str());
  std::printf("separator         %c\n", server.separator);
  std::printf("root is /         %s\n", server.isFsRoot ? "yes" : "no");
  std::printf("home              %s\n", placeText(server.home).c_str());
  std::printf("desktop           %s\n", placeText(server.desktop).c_str());
  std::printf("top of the tree   %s\n", terminalText(longListingLine(root).c_str(), stdout).c_str());
  session_->finish();
}
