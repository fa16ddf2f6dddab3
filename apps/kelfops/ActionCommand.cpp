#include "apps/kelfops/ActionCommand.h"

#include <utility>

#include "apps/kelfops/PeerSession.h"
#include "libs/fops/path.h"

ActionCommand::ActionCommand(CommandKind kind, std::string path, std::string to)
    : kind_(kind), path_(std::move(path)), to_(std::move(to)) {}

void ActionCommand::begin(PeerSession& session) {
  session_ = &session;
  if (kind_ == CommandKind::Remove) {
    session.proto().deleteFileOrFolder(path_.c_str());
  } else if (kind_ == CommandKind::Move) {
    session.proto().renameFileOrFolder(path_.c_str(), to_.c_str());
  } else {
    makeFolder();
  }
}

void ActionCommand::makeFolder() {
  try {
    // A leading slash in this request ends the helper itself, so it is refused on this side with the same words.
    fops::checkPath(path_.c_str());
  } catch (const plat::Exception& error) {
    actionResult(error);
    return;
  }
  const std::size_t slash = path_.rfind('/');
  const std::string parent = slash == std::string::npos ? std::string() : path_.substr(0, slash);
  const std::string name = slash == std::string::npos ? path_ : path_.substr(slash + 1);
  session_->proto().createFolder(parent.c_str(), name.c_str());
}

void ActionCommand::actionResult(const plat::Exception& error) {
  if (!error.isEmpty()) {
    session_->report(path_.c_str(), error);
  }
  session_->finish();
}
