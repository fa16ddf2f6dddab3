#include "apps/kelfops/PutCommand.h"

#include "apps/kelfops/PeerSession.h"
#include "apps/kelfops/localPath.h"
#include "base/rdr/FileInStream.h"
#include "libs/fops/unix/metadata.h"

namespace {

constexpr std::size_t MaxFilesInFlight = 64;     // enough to hide every round trip; each holds a buffer on both sides
constexpr std::size_t MaxFoldersInFlight = 16;   // each brings the entries of one folder into memory
constexpr std::size_t EnoughQueuedFiles = 4096;  // no further folder while so many wait

}  // namespace

PutCommand::PutCommand(std::string local, std::string destination, bool recursive)
    : local_(absoluteLocalPath(local)), destination_(std::move(destination)), recursive_(recursive) {}

void PutCommand::begin(PeerSession& session) {
  session_ = &session;
  try {
    Item top = {local_, destination_, fops::getDirEntry(local_.c_str(), nullptr)};
    const bool isFolder = top.entry.flags & fops::Directory;
    if (isFolder && !recursive_) {
      throw plat::Exception("Path is a directory");
    }
    (isFolder ? folders_ : files_).push_back(std::move(top));
  } catch (const plat::Exception& error) {
    session.report(local_.c_str(), error);
  }
}

void PutCommand::pump() {
  while (!files_.empty() && flying_.size() < MaxFilesInFlight) {
    Item item = std::move(files_.front());
    files_.pop_front();
    sendFile(std::move(item));
  }
  while (!folders_.empty() && creating_.size() < MaxFoldersInFlight && files_.size() < EnoughQueuedFiles) {
    const fops::TransferId id = session_->newId();
    const Item item = std::move(folders_.front());
    folders_.pop_front();
    creating_.emplace(id, item.local);
    session_->proto().uploadFolder(id, "", item.entry, item.destination.c_str());
  }
  if (files_.empty() && folders_.empty() && flying_.empty() && creating_.empty()) {
    tally_.print();
    session_->finish();
  }
}

void PutCommand::sendFile(Item item) {
  std::unique_ptr<rdr::InStream> stream;
  try {
    stream = std::make_unique<rdr::FileInStream>(item.local.c_str());
  } catch (const plat::Exception& error) {
    session_->report(item.local.c_str(), error);
    return;
  }
  const fops::TransferId id = session_->newId();
  const Item& flying = flying_.emplace(id, std::move(item)).first->second;
  const auto size = static_cast<std::uint64_t>(flying.entry.size);
  // The helper may ask for the first bytes in answer to the very next message.
  session_->sender().add(id, flying.local.c_str(), size, std::move(stream));
  session_->proto().uploadFile(id, flying.entry, flying.destination.c_str());
}

void PutCommand::uploadFolderResult(fops::TransferId id, const char* path, const plat::Exception& error) {
  const auto asked = creating_.extract(id);
  if (asked.empty()) {
    return;
  }
  if (!error.isEmpty()) {
    session_->report(asked.mapped().c_str(), error);
    return;
  }
  ++tally_.folders;
  scanFolder(asked.mapped(), path);
}

void PutCommand::scanFolder(const std::string& local, const char* destination) {
  try {
    for (fops::DirEntry& entry : fops::scanDir(local.c_str(), true, true)) {
      std::string path = joinLocalPath(local, entry.name.get());
      const bool isFolder = entry.flags & fops::Directory;
      (isFolder ? folders_ : files_).push_back({std::move(path), destination, std::move(entry)});
    }
  } catch (const plat::Exception& error) {
    session_->report(local.c_str(), error);
  }
}

void PutCommand::transferDone(fops::TransferId id, int status, const plat::Exception& error) {
  const auto flown = flying_.extract(id);
  if (flown.empty()) {
    return;
  }
  if (status != 0) {
    session_->report(flown.mapped().local.c_str(), error);
    return;
  }
  ++tally_.files;
  tally_.bytes += static_cast<std::uint64_t>(flown.mapped().entry.size);
}
