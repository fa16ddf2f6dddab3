#pragma once

#include <cstddef>

#include <sys/types.h>

namespace os {

/// What a child of forkShared() runs on. Left uninitialised: only the pages that the child touches cost anything.
struct ChildStack {
  static constexpr std::size_t Size = 32768;
  alignas(16) std::byte bytes[Size];
};

/// What a child of forkShared() does; it ends with exec or _exit, or by returning its exit code.
using ChildBody = int (*)(void* context);

/// A fork that copies nothing: the child works in the parent's memory, and the calling thread stands still until the
/// child has executed a program or ended. So its cost does not depend on the size of the parent, where a plain fork
/// copies the page tables, 10 ms for 1 GiB.
///
/// What `body` may do follows from that. Other threads of the parent run on beside it, so it allocates nothing and
/// takes no lock; it writes only to its own stack and to memory that was prepared for it; it raises nothing.
/// Descriptors, signal actions, the signal mask, limits and the session are its own and may be changed. The caller
/// blocks all signals first, and the child takes the parent's handlers away before it lets any in: a handler that runs
/// in the child would work on the parent's data.
/// Under the thread sanitizer it is a plain fork.
/// @param stack must not be looked at meanwhile; may lie in the caller's frame.
/// @return the child's pid, or -1 with errno set.
pid_t forkShared(ChildStack& stack, ChildBody body, void* context) noexcept;

}  // namespace os
