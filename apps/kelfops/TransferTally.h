#pragma once

#include <cstdint>

/// What a transfer command moved, for its closing line.
struct TransferTally {
  std::uint64_t files = 0;
  std::uint64_t folders = 0;
  std::uint64_t bytes = 0;

  /// Prints it on standard output.
  void print() const;
};
