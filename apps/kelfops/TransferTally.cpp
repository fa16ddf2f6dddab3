#include "apps/kelfops/TransferTally.h"

#include <cinttypes>
#include <cstdio>

void TransferTally::print() const {
  std::printf("%" PRIu64 " %s, ", files, files == 1 ? "file" : "files");
  if (folders > 0) {
    std::printf("%" PRIu64 " %s, ", folders, folders == 1 ? "folder" : "folders");
  }
  std::printf("%" PRIu64 " bytes\n", bytes);
}
