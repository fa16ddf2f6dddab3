#include "apps/kelfops/PutCommand.h"

#include <memory>
#include <utility>

#include "apps/kelfops/PeerSession.h"
#include "apps/kelfops/UploadStream.h"
#include "apps/kelfops/localPath.h"
#include "base/os/unix/DirEnum.h"
#include "base/plat/exceptions.h"
#include "libs/fops/local/metadata.h"

namespace {

constexpr std::size_t MaxFilesInFlight = 64;     // enough to hide every round trip; each holds a buffer on both sides
constexpr std::size_t MaxFoldersInFlight = 16;   // each brings the entries of one folder into memory
constexpr std::size_t EnoughQueuedFiles = 4096;  // no further folder while so many wait

}  // namespace

PutCommand::PutCommand(const std::string& root, const std::string& local, std::string destination, bool recursive)
    : root_(absoluteLocalPath(root)),
      local_(absoluteLocalPath(local)),
      destination_(std::move(destination)),
      recursive_(recursive) {}

void PutCommand::begin(PeerSession& session) {
  session_ = &session;
  try {
    queueTop();
  } catch (const plat::Exception& error) {
    // With nothing queued, pump() ends the session, which comes next.
    session.report(local_.c_str(), error);
  }
}

void PutCommand::queueTop() {
  Item top = {local_, destination_, fops::getDirEntry(local_.c_str(), nullptr), 0};
  if (!(top.entry.flags & fops::Directory)) {
    files_.push_back(std::move(top));
    return;
  }
  if (!recursive_) {
    throw plat::Exception("Path is a directory");
  }
  if (isWithin(joinLocalPath(root_, destination_), local_)) {
    throw plat::Exception("cannot upload a folder into itself");  // its copy would be found in it, and so on
  }
  folders_.push_back(std::move(top));
}

/// Folders wait until the helper has answered under which name it made them; only then are they read, and what they
/// hold gets its destination. So nothing is sent to a folder that is not there, or that is another one of that name.
void PutCommand::pump() {
  // Files first: what is queued goes before another folder is read, so that few wait in memory.
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
    if (recursive_ || tally_.files > 0) {
      tally_.print();
    }
    session_->finish();
  }
}

void PutCommand::sendFile(Item item) {
  std::unique_ptr<rdr::InStream> stream;
  try {
    // Ahead of the request, so that a file which cannot be read is never announced.
    stream = std::make_unique<UploadStream>(item.local.c_str(), item.entry.size);
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
  // An answer that nobody asked for is no reason to stop.
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
    os::DirEnum elements(local.c_str());
    while (const char* name = elements.next()) {
      takeElement(elements.path(), name, destination);
    }
  } catch (const plat::Exception& error) {
    session_->report(local.c_str(), error);
  }
}

void PutCommand::takeElement(const char* path, const char* name, const char* destination) {
  try {
    fops::DirEntry entry = fops::getDirEntry(path, name);
    const bool isFolder = entry.flags & fops::Directory;
    (isFolder ? folders_ : files_).push_back({path, destination, std::move(entry), 0});
  } catch (const plat::Exception& error) {
    session_->report(path, error);  // a special file, a link to nowhere, a name that cannot travel
  }
}

void PutCommand::transferProgress(fops::TransferId id, std::uint64_t position, std::uint64_t) {
  const auto found = flying_.find(id);
  if (found != flying_.end()) {
    found->second.sent = position;
  }
}

void PutCommand::transferDone(fops::TransferId id, int status, const plat::Exception& error) {
  const auto flown = flying_.extract(id);
  if (flown.empty()) {
    return;
  }
  const Item& item = flown.mapped();
  const auto size = static_cast<std::uint64_t>(item.entry.size);
  if (status != 0) {
    session_->report(item.local.c_str(), error);
  } else if (item.sent != size) {
    // The helper may say that it has all only after it has got all.
    session_->report(item.local.c_str(), plat::ProtocolError("Complete ahead of the file's end"));
  } else {
    ++tally_.files;
    tally_.bytes += size;
  }
}
