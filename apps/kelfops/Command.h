#pragma once

#include <vector>

#include "base/plat/Exception.h"
#include "base/plat/NonCopyable.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/TransferId.h"
#include "libs/fops/TransferObserver.h"

class PeerSession;

/// What one invocation does with the session: it sends requests, takes the replies that belong to them, and ends the
/// session through PeerSession::finish().
///
/// Ownership: a local variable of the program, outliving the session. Thread: the loop's. Each kind of command
/// overrides the replies that its requests bring; the others never come.
class Command : public fops::TransferObserver, private plat::NonCopyable {
public:
  virtual ~Command() = default;

  /// The session stands; send the first requests.
  virtual void begin(PeerSession& session) = 0;

  /// Called after each message of the helper: room may have come up for further requests.
  virtual void pump() {}

  virtual void rootResult(const fops::DirEntry&) {}
  virtual void dirScanResult(std::vector<fops::DirEntry>&, const plat::Exception&) {}
  /// The outcome of a creation, deletion or renaming.
  virtual void actionResult(const plat::Exception&) {}
  virtual void entriesResult(fops::TransferId, std::vector<fops::DirEntry>&, const plat::Exception&) {}
  virtual void uploadFolderResult(fops::TransferId, const char* /*path*/, const plat::Exception&) {}
  virtual void downloadFileResult(fops::TransferId, const fops::DirEntry&, const plat::Exception&) {}
  virtual void downloadFolderResult(fops::TransferId, const fops::DirEntry&, const plat::Exception&) {}

  void transferProgress(fops::TransferId, std::uint64_t, std::uint64_t) override {}
  void transferDone(fops::TransferId, int, const plat::Exception&) override {}
};
