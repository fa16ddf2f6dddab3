#pragma once

#include <deque>
#include <string>
#include <unordered_map>

#include "apps/kelfops/Command.h"
#include "apps/kelfops/TransferTally.h"

/// `put`: uploads a file, or walks a local folder and uploads all that is in it.
///
/// A folder that the helper had to give another name takes its subtree with it, since children go to the path that
/// came back. Many files are in flight at once. A file or folder that fails is reported, and the rest goes on.
class PutCommand final : public Command {
public:
  /// @param root the exported folder, so that none is uploaded into itself without end.
  /// @param local path of what to upload.
  /// @param destination client path of the folder to put it in.
  PutCommand(const std::string& root, const std::string& local, std::string destination, bool recursive);

  void begin(PeerSession& session) override;
  void pump() override;
  void uploadFolderResult(fops::TransferId id, const char* path, const plat::Exception& error) override;
  void transferProgress(fops::TransferId id, std::uint64_t position, std::uint64_t delta) override;
  void transferDone(fops::TransferId id, int status, const plat::Exception& error) override;

private:
  /// One file or folder to send.
  struct Item {
    std::string local;
    std::string destination;
    fops::DirEntry entry;
    std::uint64_t sent = 0;  ///< bytes that the helper has asked for and got
  };

  void queueTop();
  void sendFile(Item item);
  void takeElement(const char* path, const char* name, const char* destination);
  void scanFolder(const std::string& local, const char* destination);

  PeerSession* session_ = nullptr;
  std::string root_;
  std::string local_;
  std::string destination_;
  bool recursive_;
  std::deque<Item> folders_;
  std::deque<Item> files_;
  std::unordered_map<fops::TransferId, std::string> creating_;  ///< local folders whose remote ones are asked for
  std::unordered_map<fops::TransferId, Item> flying_;
  TransferTally tally_;
};
