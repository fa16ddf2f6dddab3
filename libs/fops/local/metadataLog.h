#pragma once

#include "base/plat/log/LogSrc.h"

namespace fops {

/// "getDirEntry", the log source of everything that reads metadata.
extern plat::LogSrc metadataLog;

}  // namespace fops
