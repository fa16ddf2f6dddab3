#pragma once

#include <string>
#include <vector>

#include "apps/kelfops/Command.h"

/// `ls`: lists one folder, in the helper's order.
class ListCommand final : public Command {
public:
  /// @param repeat how many times to ask; only the last answer is shown.
  ListCommand(std::string path, bool longFormat, int repeat);

  void begin(PeerSession& session) override;
  void dirScanResult(std::vector<fops::DirEntry>& list, const plat::Exception& error) override;

private:
  PeerSession* session_ = nullptr;
  std::string path_;
  bool longFormat_;
  int left_;
};
