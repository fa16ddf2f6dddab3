#include "base/plat/thread/Thread.h"

#include <exception>

#include "base/plat/Exception.h"
#include "base/plat/Lock.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/log/LogSrc.h"

namespace plat {

namespace {

LogSrc& threadingLog() {
  static NeverDestroyed<LogSrc> log("Threading");  // never destroyed: threads may outlast every destructor
  return *log;
}

[[maybe_unused]] const LogSrc& registered = threadingLog();

thread_local Thread* currentThread = nullptr;

/// Runs at the end of a thread that this class did not make, but not at the end of the process.
void destroyNative(void* thread) {
  currentThread = nullptr;
  delete static_cast<Thread*>(thread);
}

/// A key of the system and no thread_local object with a destructor: that would run for the main thread too, ahead of
/// the static objects, which may still ask for the current thread.
pthread_key_t nativeKey() {
  static const pthread_key_t key = [] {
    pthread_key_t made;
    pthread_key_create(&made, destroyNative);
    return made;
  }();
  return key;
}

void logThreadEvent(const char* event, const char* name, pthread_t id, const char* detail) {
  threadingLog().debug("%-9s %s %lx%s%s", event, name, static_cast<unsigned long>(id), detail ? ": " : "",
                       detail ? detail : "");
}

}  // namespace

Thread::Thread(const char* name, Runnable* runnable) : name_(name), runnable_(runnable) {
  logEvent("created");
}

Thread::Thread(NativeTag) : name_("Native"), id_(pthread_self()), runnable_(nullptr), state_(Native) {
  logEvent("native");
}

Thread::~Thread() noexcept(false) {
  logEvent("destroy");
  // It answers at once for a native object, which would otherwise join the very thread that destroys it.
  join();
  logEvent("destroyed");
}

void Thread::run() {
  if (runnable_ != nullptr) {
    runnable_->run(*this);
  }
}

void Thread::start() {
  const Lock lock(mutex_);
  if (state_ != Created) {
    return;
  }
  state_ = Started;
  if (pthread_create(&id_, nullptr, enter, this) != 0) {
    id_ = 0;  // nothing for join() to wait for
  }
}

Thread* Thread::join() {
  pthread_t toJoin;
  {
    const Lock lock(mutex_);
    if (detached_ || state_ == Native) {
      return nullptr;
    }
    if (state_ == Joined) {
      return this;
    }
    toJoin = id_;
  }
  logEvent("join");
  // Without the lock, which the thread itself needs to come to its end.
  // One that has finished is joined too: until then the system keeps what is left of it.
  if (toJoin != 0) {
    pthread_join(toJoin, nullptr);
  }
  {
    const Lock lock(mutex_);
    state_ = Joined;
  }
  logEvent("joined");
  return this;
}

void Thread::detach() {
  const Lock lock(mutex_);
  detached_ = true;
}

Thread::State Thread::state() const {
  const Lock lock(mutex_);
  return state_;
}

Thread* Thread::current() {
  if (currentThread == nullptr) {
    currentThread = new Thread(NativeTag{});
    pthread_setspecific(nativeKey(), currentThread);
  }
  return currentThread;
}

void* Thread::enter(void* thread) {
  static_cast<Thread*>(thread)->body();
  return nullptr;
}

/// Any other exception ends the process: nobody up the stack of a thread could take it.
void Thread::body() noexcept {
  currentThread = this;
  logEvent("started");
  try {
    run();
    logEvent("stopped");
  } catch (const Exception& e) {
    logEvent("failed", e.message);
  } catch (const std::exception& e) {
    logEvent("failed", e.what());
  }
  bool detached;
  {
    const Lock lock(mutex_);
    state_ = Finished;
    detached = detached_;
  }
  if (!detached) {
    return;
  }
  // Kept for the log line, should the destructor fail.
  const String name = name_;
  const pthread_t self = pthread_self();
  pthread_detach(self);
  try {
    delete this;
  } catch (const Exception& e) {
    logThreadEvent("failed", name.orEmpty(), self, e.message);
  } catch (const std::exception& e) {
    logThreadEvent("failed", name.orEmpty(), self, e.what());
  }
  currentThread = nullptr;  // other thread-local objects may still ask
}

void Thread::logEvent(const char* event, const char* detail) const {
  logThreadEvent(event, name(), id(), detail);
}

pthread_t Thread::id() const {
  const Lock lock(mutex_);  // the new thread may ask while start() is still storing it
  return id_;
}

}  // namespace plat
