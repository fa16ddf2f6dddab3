#include "apps/kelfops/HelperWatch.h"

#include <utility>

#include "apps/kelfops/HelperProcess.h"

namespace {

constexpr int GraceMs = 100;  // for the link to end by itself, behind the helper's last words

}  // namespace

HelperWatch::HelperWatch(HelperProcess& helper, std::function<void()> ended)
    : helper_(helper), ended_(std::move(ended)), monitor_(helper.child(), "kelfopshelper", this) {}

void HelperWatch::processExited(int status) {
  helper_.noteEnd(status);
  graceTimer_.start(GraceMs);
}

bool HelperWatch::timerFired(plat::Timer&) {
  ended_();
  return false;
}
