#pragma once

#include "apps/kelfops/Command.h"

/// `info`: prints what "ServerInit" said and what the top of the tree is.
class InfoCommand final : public Command {
public:
  void begin(PeerSession& session) override;
  void rootResult(const fops::DirEntry& root) override;

private:
  PeerSession* session_ = nullptr;
};
