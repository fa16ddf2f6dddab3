#include "apps/kelfops/InfoCommand.h"

#include <cstdio>

#include "apps/kelfops/PeerSession.h"
#include "apps/kelfops/listing.h"

void InfoCommand::begin(PeerSession& session) {
  session_ = &session;
  session.proto().getRoot();
}

void InfoCommand::rootResult(const fops::DirEntry& root) {
  const fops::ServerInit& server = session_->server();
  std::printf("protocol version  %d\n", server.version);
  std::printf("host name         %s\n", server.hostName.orEmpty());
  std::printf("separator         %c\n", server.separator);
  std::printf("root is /         %s\n", server.isFsRoot ? "yes" : "no");
  std::printf("home              %s\n", server.home.empty() ? "(the top)" : server.home.get());
  std::printf("desktop           %s\n", server.desktop.empty() ? "(the top)" : server.desktop.get());
  std::printf("top of the tree   %s\n", longListingLine(root).c_str());
  session_->finish();
}
