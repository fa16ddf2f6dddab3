#include "libs/fops/local/treeSize.h"

#include <exception>
#include <vector>

#include "base/os/unix/DirEnum.h"
#include "base/os/unix/treeWalk.h"
#include "base/plat/Exception.h"
#include "base/plat/exceptions.h"
#include "libs/fops/local/StatResult.h"
#include "libs/fops/local/metadataLog.h"

namespace fops {

namespace {

void logFailure(const char* path, const plat::Exception& error) {
  if (metadataLog.enabled(plat::LogDebug)) {
    metadataLog.debug("Error getting size of %s: %s", path, plat::ExceptionText(error).get());
  }
}

/// Sums up each folder by itself, so that one which cannot be read to its end counts 0 with all that it holds.
class SizeVisitor final : public os::TreeVisitor {
public:
  void enterFolder(const char*) override { sums_.push_back(0); }
  bool element(const os::DirEnum& at) override;
  void leaveFolder(const char* path, std::exception_ptr failure) override;

  std::int64_t total() const noexcept { return static_cast<std::int64_t>(sums_.front()); }

private:
  std::vector<std::uint64_t> sums_ = {
      0};  // the total, then one for each folder entered; a few sparse files overflow it
};

bool SizeVisitor::element(const os::DirEnum& at) {
  const StatResult found(at);
  if (found.isDir()) {
    return true;
  }
  if (found.error == 0) {
    sums_.back() += static_cast<std::uint64_t>(found.st.st_size);
  } else {
    logFailure(at.path(), plat::SystemExceptionFmt("fileGetSize(%s)", found.error, at.path()));
  }
  return false;
}

void SizeVisitor::leaveFolder(const char* path, std::exception_ptr failure) {
  const std::uint64_t sum = sums_.back();
  sums_.pop_back();
  const bool isTop = sums_.size() == 1;
  if (!failure) {
    sums_.back() += sum;
    return;
  }
  try {
    std::rethrow_exception(failure);
  } catch (const plat::Exception& error) {
    if (isTop) {
      throw;
    }
    logFailure(path, error);
  }
}

}  // namespace

std::int64_t dirTreeSize(const char* local) {
  SizeVisitor visitor;
  os::walkTree(local, visitor, true);
  return visitor.total();
}

}  // namespace fops
