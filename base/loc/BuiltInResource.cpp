#include "base/loc/BuiltInResource.h"

namespace loc {

namespace {
constinit const BuiltInResource* firstResource = nullptr;
}

BuiltInResource::BuiltInResource(const char* name, const void* data, int size) noexcept
    : name_(name), data_(data), size_(size), next_(firstResource) {
  firstResource = this;
}

const BuiltInResource* BuiltInResource::find(std::string_view name) noexcept {
  const BuiltInResource* resource = firstResource;
  while (resource && resource->name_ != name) {
    resource = resource->next_;
  }
  return resource;
}

}  // namespace loc
