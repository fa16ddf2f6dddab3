#include "apps/kelfops/GetCommand.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>
#include <vector>

#include <fcntl.h>

#include "apps/kelfops/PeerSession.h"
#include "apps/kelfops/localPath.h"
#include "base/plat/exceptions.h"
#include "base/plat/file/file.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/file/fileTree.h"
#include "libs/fops/local/LocalFileWriter.h"

namespace {

constexpr std::size_t MaxFilesInFlight = 64;      // enough to hide every round trip; each holds a buffer on both sides
constexpr std::uint64_t MaxBytesAsked = 4 << 20;  // of a slow link the helper holds back what was asked for in memory
constexpr std::size_t MaxListingsInFlight = 4;    // their replies can be large
constexpr std::size_t EnoughQueuedFiles = 4096;   // no further listing while so many wait

}  // namespace

GetCommand::GetCommand(const std::string& root, std::string remote, const std::string& local, bool recursive)
    : root_(absoluteLocalPath(root)),
      remote_(std::move(remote)),
      local_(absoluteLocalPath(local.empty() ? "." : local)),
      mustBeFolder_(local.ends_with('/')),
      recursive_(recursive) {}

GetCommand::Item GetCommand::topItem() const {
  if (plat::fileIsDir(local_.c_str())) {
    return {remote_, local_, ""};
  }
  return {remote_, plat::fileDirName(local_.c_str()).get(), plat::fileBaseName(local_.c_str()).get()};
}

void GetCommand::checkPlace(const Item& top) const {
  if (recursive_ && isWithin(top.folder, joinLocalPath(root_, remote_))) {
    throw plat::Exception("cannot download a folder into itself");  // its copy would be found in it, and so on
  }
  if (!recursive_ && mustBeFolder_ && !top.name.empty()) {
    throw plat::SystemException(local_.c_str(), ENOTDIR);
  }
}

void GetCommand::begin(PeerSession& session) {
  session_ = &session;
  const Item top = topItem();
  try {
    checkPlace(top);
  } catch (const plat::Exception& error) {
    // With nothing queued, pump() ends the session, which comes next.
    session.report(remote_.c_str(), error);
    return;
  }
  const fops::TransferId id = session.newId();
  if (recursive_) {
    listing_.emplace(id, top);
    session.proto().downloadFolder(id, remote_.c_str(), "");
  } else {
    flying_.emplace(id, top);
    session.proto().downloadFile(id, remote_.c_str(), "");
  }
}

void GetCommand::pump() {
  // Files first: what is queued goes before more is listed, so that few wait in memory.
  while (!files_.empty() && flying_.size() < MaxFilesInFlight && bytesAsked_ < MaxBytesAsked) {
    const fops::TransferId id = session_->newId();
    const Item& item = flying_.emplace(id, std::move(files_.front())).first->second;
    files_.pop_front();
    bytesAsked_ += item.asked;
    session_->proto().downloadFile(id, item.remote.c_str(), "");
  }
  while (!folders_.empty() && listing_.size() < MaxListingsInFlight && files_.size() < EnoughQueuedFiles) {
    const fops::TransferId id = session_->newId();
    const Item& item = listing_.emplace(id, std::move(folders_.front())).first->second;
    folders_.pop_front();
    session_->proto().reqEntries(id, item.remote.c_str(), "");
  }
  if (files_.empty() && folders_.empty() && flying_.empty() && listing_.empty()) {
    if (recursive_ || tally_.files > 0) {
      tally_.print();
    }
    session_->finish();
  }
}

void GetCommand::queueFolder(const std::string& remote, const std::string& parent, const fops::DirEntry& entry) {
  try {
    const plat::String local = plat::fileFreeName(parent.c_str(), entry.name.get());
    plat::mkDirs(local.get(), fops::isPrivateMode(entry), false);
    ++tally_.folders;
    folders_.push_back({remote, local.get(), ""});
  } catch (const plat::Exception& error) {
    session_->report(remote.c_str(), error);
  }
}

void GetCommand::downloadFolderResult(fops::TransferId id, const fops::DirEntry& folder, const plat::Exception& error) {
  const auto asked = listing_.extract(id);
  // An answer that nobody has asked for, or the second one to a request.
  if (asked.empty()) {
    return;
  }
  const Item& item = asked.mapped();
  if (!error.isEmpty()) {
    session_->report(item.remote.c_str(), error);
    return;
  }
  queueFolder(item.remote, item.folder, localEntry(folder, item.name));
}

void GetCommand::entriesResult(fops::TransferId id, std::vector<fops::DirEntry>& list, const plat::Exception& error) {
  const auto asked = listing_.extract(id);
  if (asked.empty()) {
    return;
  }
  if (!error.isEmpty()) {
    session_->report(asked.mapped().remote.c_str(), error);
  }
  for (const fops::DirEntry& entry : list) {
    takeEntry(asked.mapped(), entry);
  }
}

void GetCommand::takeEntry(const Item& parent, const fops::DirEntry& entry) {
  const std::string remote = joinLocalPath(parent.remote, entry.name.get());
  if (entry.flags & fops::Directory) {
    queueFolder(remote, parent.folder, entry);
  } else {
    const std::uint64_t asked = std::min(static_cast<std::uint64_t>(entry.size), fops::FileReceiver::RequestWindow);
    files_.push_back({remote, parent.folder, "", asked});
  }
}

void GetCommand::downloadFileResult(fops::TransferId id, const fops::DirEntry& file, const plat::Exception& error) {
  const auto found = flying_.find(id);
  if (found == flying_.end()) {
    return;
  }
  Item& item = found->second;
  // A second offer under one id would find the first one's writer in place, which ends this program.
  if (std::exchange(item.isStarted, true)) {
    throw plat::ProtocolError("DownloadFileResult without a request");
  }
  if (!error.isEmpty()) {
    session_->report(takeFlight(id).remote.c_str(), error);
    return;
  }
  item.size = static_cast<std::uint64_t>(file.size);
  const fops::DirEntry local = localEntry(file, item.name);  // not in the block: what it raises is the helper's fault
  try {
    const os::OpenArgs create = {O_WRONLY | O_CREAT | O_TRUNC, 0644};
    session_->receiver().add(
        id, std::make_unique<fops::LocalFileWriter>(local, item.folder.c_str(), create, &session_->lender()));
  } catch (const plat::Exception& failure) {
    session_->report(takeFlight(id).remote.c_str(), failure);
    session_->receiver().cancel(id, false, failure);
  }
}

/// What is offered as it may stand on this side: under the name asked for, and without the bits that would let it run
/// with somebody's rights.
fops::DirEntry GetCommand::localEntry(const fops::DirEntry& offered, const std::string& name) {
  if (offered.name.empty()) {
    throw plat::ProtocolError("an entry without a name");
  }
  fops::DirEntry entry = offered;
  if (!name.empty()) {
    entry.name = name.c_str();
  }
  entry.osAttrs.clear();
  fops::setUnixMode(entry, fops::unixMode(offered) & 0777);
  return entry;
}

GetCommand::Item GetCommand::takeFlight(fops::TransferId id) {
  auto node = flying_.extract(id);
  if (node.empty()) {
    return {};
  }
  bytesAsked_ -= node.mapped().asked;
  return std::move(node.mapped());
}

void GetCommand::transferDone(fops::TransferId id, int status, const plat::Exception& error) {
  const Item item = takeFlight(id);
  if (status != 0) {
    session_->report(item.remote.c_str(), error);
    return;
  }
  ++tally_.files;
  tally_.bytes += item.size;
}
