#include "libs/product/ProductInfo.h"

#include "base/plat/NeverDestroyed.h"

namespace qzutil {

ProductInfo& productInfo() noexcept {
  static plat::NeverDestroyed<ProductInfo> instance;
  return *instance;
}

void setProductVersion(const char* version, const char* build) {
  ProductInfo& info = productInfo();
  if (info.productVersion != version) {
    info.productVersion = version;
  }
  if (info.productBuild != build) {
    info.productBuild = build;
  }
}

}  // namespace qzutil
