#include "base/io/FdManager.h"

#include <algorithm>
#include <functional>

#include <unistd.h>

#include "base/io/FdHandler.h"

namespace io {

namespace {

constinit thread_local FdManager* thrInst = nullptr;

}  // namespace

FdManager::FdManager() : previous_(thrInst) {
  thrInst = this;
}

FdManager::~FdManager() {
  while (!handlers.empty()) {
    // One by one: a connection that is shutting down deletes itself in this call.
    handlers.takeLast().managerGone();
  }
  thrInst = previous_;
}

bool FdManager::timerFired(plat::Timer&) {
  wakeAsked_ = false;
  return false;
}

void FdManager::setFdInterest(FdHandler&, bool, bool) {}

void FdManager::handlerRemoved(FdHandler&) {}

FdManager* FdManager::current() noexcept {
  return thrInst;
}

void FdManager::setRegistered(FdHandler& handler, bool add) {
  if (add) {
    handlers.insert(handler);
    return;
  }
  // Out of the round under way too: whoever unregisters a handler mostly goes on to destroy it.
  for (HandlerList* list :
       {&handlers, &pendingRead, &pendingWrite, &pendingExcept, &activeRead, &activeWrite, &activeExcept}) {
    list->remove(handler);
  }
  handlerRemoved(handler);
}

void FdManager::setInterest(FdHandler& handler, bool read, bool write) {
  if (!read) {
    pendingRead.remove(handler);
    activeRead.remove(handler);
  }
  if (!write) {
    clearPendingWrite(handler);
  }
  setFdInterest(handler, read, write);
}

void FdManager::setPendingRead(FdHandler& handler) {
  pendingRead.insert(handler);
  wakeForPending();
}

void FdManager::setPendingWrite(FdHandler& handler) {
  pendingWrite.insert(handler);
  wakeForPending();
}

void FdManager::clearPendingWrite(FdHandler& handler) noexcept {
  pendingWrite.remove(handler);
  activeWrite.remove(handler);
}

/// Started afresh: a wake timer that is due in the turn under way would fire too early to end the next wait.
void FdManager::wake() {
  wakeAsked_ = true;
  wakeTimer_.start(0);
}

/// What waits for a descriptor knows nothing of these lists; a timer that is due is what keeps it from sleeping on
/// them.
void FdManager::wakeForPending() {
  // Once is enough, and this runs after every write.
  if (!wakeTimer_.running()) {
    wakeTimer_.start(0);
  }
}

void FdManager::closeAllExcept(int fd) const noexcept {
  for (const FdHandler* handler : handlers) {
    if (handler->fd() >= 0 && handler->fd() != fd) {
      ::close(handler->fd());
    }
  }
}

void FdManager::dispatch() {
  timers.processTimers();
  dispatchList(pendingExcept, activeExcept, &FdHandler::exceptional);
  dispatchList(pendingRead, activeRead, &FdHandler::readable);
  dispatchList(pendingWrite, activeWrite, &FdHandler::writable);
  // What was marked for a later kind of this very turn has had its call: no need to come round for it again.
  if (!wakeAsked_ && pendingExcept.empty() && pendingRead.empty() && pendingWrite.empty()) {
    wakeTimer_.stop();
  }
}

/// Swapping keeps the capacity of both lists. The end is read afresh after each call, which may have removed handlers.
void FdManager::dispatchList(HandlerList& pending, HandlerList& active, void (FdHandler::*call)()) {
  active.swap(pending);
  // What a round that ended in an exception has left undone is dropped here, as processEvents() says.
  pending.clear();
  while (!active.empty()) {
    (active.takeLast().*call)();
  }
}

void FdManager::HandlerList::insert(FdHandler& handler) {
  const auto place = std::lower_bound(items_.begin(), items_.end(), &handler, std::less<const FdHandler*>());
  if (place == items_.end() || *place != &handler) {
    items_.insert(place, &handler);
  }
}

void FdManager::HandlerList::remove(const FdHandler& handler) noexcept {
  const auto place = std::lower_bound(items_.begin(), items_.end(), &handler, std::less<const FdHandler*>());
  if (place != items_.end() && *place == &handler) {
    items_.erase(place);
  }
}

FdHandler& FdManager::HandlerList::takeLast() noexcept {
  FdHandler& handler = *items_.back();
  items_.pop_back();
  return handler;
}

}  // namespace io
