#include "libs/product/ProductInfo.h"

namespace qzutil {

ProductInfo& productInfo() noexcept {
  static ProductInfo* const instance = new ProductInfo;
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
