#pragma once

#include <pthread.h>

#include "base/plat/Mutex.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"

namespace plat {

/// A thread of the system and its whole life, every step of which is logged on the source "Threading".
///
/// Purpose:   runs a Runnable, or an overridden run(). A plat::Exception or std::exception that arrives there ends the
///            thread with a log line, not the process.
/// Ownership: owned by whoever made it; the destructor waits for the thread. A class that overrides run() joins in
///            its own destructor, since the base's comes too late for its members.
///            A detached thread DESTROYS ITSELF at the end of its body: made with new, no pointer kept to it.
/// Thread:    start, join and detach from any thread.
class Thread : private NonCopyable {
public:
  /// What a thread carries out. Implemented by the thread's user and outlives the thread.
  class Runnable {
  public:
    /// Called once, on the new thread. May throw plat::Exception.
    virtual void run(Thread& thread) = 0;

  protected:
    ~Runnable() = default;
  };

  enum State : int {
    Created = 0,
    Started = 1,   ///< start() was called
    Finished = 2,  ///< the body has returned
    Joined = 3,
    Native = 4,  ///< stands for a thread that was not made by this class
  };

  explicit Thread(const char* name, Runnable* runnable = nullptr);
  /// A derived class may let an exception out of its destructor; of a detached thread it is logged.
  virtual ~Thread() noexcept(false);
  /// The body: calls the runnable, if there is one.
  virtual void run();

  /// Starts the thread; does nothing on any later call. That the system refuses a thread goes unnoticed: run() is then
  /// never called.
  void start();

  /// Waits until the thread has ended; returns at once for one that was never started or is joined already.
  /// @return this, or null for a thread that cannot be joined: a detached one, or one that this class did not make.
  Thread* join();

  /// Leaves the thread to itself, before start(): from there on the object belongs to the thread, which destroys it.
  void detach();

  [[nodiscard]] const char* name() const noexcept { return name_.orEmpty(); }
  [[nodiscard]] State state() const;

  /// The object of the calling thread. For a thread that this class did not make it is one named "Native", the same at
  /// each call, which lives as long as that thread.
  static Thread* current();

private:
  struct NativeTag {};
  explicit Thread(NativeTag);

  static void* enter(void* thread);
  void body() noexcept;
  void logEvent(const char* event, const char* detail = nullptr) const;
  [[nodiscard]] pthread_t id() const;

  String name_;
  pthread_t id_ = 0;  ///< 0 until started
  Runnable* runnable_;
  mutable Mutex mutex_;  ///< guards id_, state_ and detached_
  State state_ = Created;
  bool detached_ = false;
};

}  // namespace plat
