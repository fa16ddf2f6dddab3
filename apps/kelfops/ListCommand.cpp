#include "apps/kelfops/ListCommand.h"

#include <utility>
#include <vector>

#include "apps/kelfops/PeerSession.h"
#include "apps/kelfops/listing.h"

ListCommand::ListCommand(std::string path, bool longFormat, int repeat)
    : path_(std::move(path)), longFormat_(longFormat), left_(repeat) {}

void ListCommand::begin(PeerSession& session) {
  session_ = &session;
  session.proto().dirScan(path_.c_str(), true, true);
}

void ListCommand::dirScanResult(std::vector<fops::DirEntry>& list, const plat::Exception& error) {
  if (error.isEmpty() && --left_ > 0) {
    session_->proto().dirScan(path_.c_str(), true, true);
    return;
  }
  if (!error.isEmpty()) {
    session_->report(path_.empty() ? "/" : path_.c_str(), error);
  }
  printListing(list, longFormat_);
  session_->finish();
}
