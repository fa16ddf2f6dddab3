#pragma once

#include "base/plat/String.h"

namespace qzutil {

/// What the product says of itself. One record per process, on the main thread.
struct ProductInfo {
  plat::String productVersion = "0.1";  ///< three dotted numbers and a revision in parentheses
  plat::String productBuild = "0.1";    ///< four dotted numbers
  plat::String versionLine;             ///< name, version, processor and build date in one line
  plat::String aboutHtml;               ///< copyright and notices, marked up
  plat::String osLine;                  ///< the system that the process runs on
  plat::String productInfo;             ///< the long text that heads help and log files
};

ProductInfo& productInfo() noexcept;

/// Stores the version strings; one that already equals the new one is left alone.
void setProductVersion(const char* version, const char* build);

}  // namespace qzutil
