#pragma once

namespace test {

/// Counts, while it lives, how often children of this process ask for memory before they have executed a program, be it
/// in memory of their own or in this process's. One at a time.
class ChildAllocations {
public:
  ChildAllocations();
  ~ChildAllocations();
  ChildAllocations(const ChildAllocations&) = delete;
  ChildAllocations& operator=(const ChildAllocations&) = delete;

  int count() const;

  /// False under a sanitizer, which brings its own malloc: the count stays 0 there.
  static const bool works;
};

}  // namespace test
