#pragma once

#include <string>

#include "apps/kelfops/Command.h"
#include "apps/kelfops/Options.h"

/// `mkdir`, `rm` and `mv`: one request, one outcome.
class ActionCommand final : public Command {
public:
  /// @param kind MakeFolder, Remove or Move.
  /// @param to the new path of a move.
  ActionCommand(CommandKind kind, std::string path, std::string to);

  void begin(PeerSession& session) override;
  void actionResult(const plat::Exception& error) override;

private:
  void makeFolder();

  PeerSession* session_ = nullptr;
  CommandKind kind_;
  std::string path_;
  std::string to_;
};
