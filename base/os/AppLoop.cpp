#include "base/os/AppLoop.h"

#include <utility>

#include "base/os/AppLoopImpl.h"
#include "base/plat/assert.h"
#include "base/plat/logging/logging.h"

namespace os {

namespace {

constinit int storedExitValue = 0;

}  // namespace

constinit AppLoop* AppLoop::inst = nullptr;

AppLoop::Impl::~Impl() = default;

AppLoop::AppLoop(std::unique_ptr<Impl> givenImpl) : impl_(std::move(givenImpl)) {
  PLAT_REQUIRE(!inst);
  if (!impl_) {
    impl_ = std::make_unique<AppLoopImpl>(&AppLoopImpl::processManager());
  }
  inst = this;
}

AppLoop::~AppLoop() {
  impl_.reset();
  inst = nullptr;
}

int AppLoop::run() {
  // What is logged from here on finds its destinations, or none.
  plat::logStart();
  PLAT_REQUIRE_AS(!isRunning_, "!isRunning", __FILE__, __LINE__);
  struct Running {
    explicit Running(bool& running) : flag(running) { flag = true; }
    ~Running() { flag = false; }
    bool& flag;
  } const running(isRunning_);
  return impl_->run();
}

void AppLoop::quit(int exitValue) {
  PLAT_REQUIRE_AS(inst && inst->isRunning_, "inst && inst->isRunning", __FILE__, __LINE__);
  storedExitValue = exitValue;
  inst->impl_->quit();
}

int AppLoop::exitValue() noexcept {
  return storedExitValue;
}

}  // namespace os
