#pragma once

#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "apps/kelfops/Command.h"
#include "apps/kelfops/TransferTally.h"

/// `get`: downloads a file, or walks a remote folder and downloads all that is in it.
///
/// The walk is this side's: the helper keeps no folder state. Many files are in flight at once, few listings, and
/// listing waits while enough files are queued; folders found are queued without a bound. Nothing on this side is ever
/// overwritten: a name in use gets a number, and a folder with a number takes its contents with it.
/// A file or folder that fails is reported, and the rest goes on.
class GetCommand final : public Command {
public:
  /// @param root the exported folder, so that none of it is downloaded into itself without end.
  /// @param remote client path of what to download.
  /// @param local folder to put it in, or its new name; empty means the current folder.
  GetCommand(const std::string& root, std::string remote, const std::string& local, bool recursive);

  void begin(PeerSession& session) override;
  void pump() override;
  void downloadFolderResult(fops::TransferId id, const fops::DirEntry& folder, const plat::Exception& error) override;
  void entriesResult(fops::TransferId id, std::vector<fops::DirEntry>& list, const plat::Exception& error) override;
  void downloadFileResult(fops::TransferId id, const fops::DirEntry& file, const plat::Exception& error) override;
  void transferDone(fops::TransferId id, int status, const plat::Exception& error) override;

private:
  /// One file or folder to fetch. `name` is empty where it keeps its own.
  struct Item {
    std::string remote;
    std::string folder;
    std::string name = {};
    std::uint64_t asked = 0;  ///< bytes of it that may be on their way at a time
    std::uint64_t size = 0;   ///< as offered
    bool isStarted = false;   ///< the helper has offered it, and a writer stands
  };

  Item topItem() const;
  void checkPlace(const Item& top) const;
  void takeEntry(const Item& parent, const fops::DirEntry& entry);
  void queueFolder(const std::string& remote, const std::string& parent, const fops::DirEntry& entry);
  static fops::DirEntry localEntry(const fops::DirEntry& offered, const std::string& name);
  Item takeFlight(fops::TransferId id);

  PeerSession* session_ = nullptr;
  std::string root_;
  std::string remote_;
  std::string local_;
  bool mustBeFolder_;  ///< `local_` was given with a slash at its end
  bool recursive_;
  std::deque<Item> folders_;
  std::deque<Item> files_;
  std::unordered_map<fops::TransferId, Item> listing_;
  std::unordered_map<fops::TransferId, Item> flying_;
  std::uint64_t bytesAsked_ = 0;  ///< of those in flight
  TransferTally tally_;
};
