#pragma once

namespace plat {

/// Base of classes that own something which must not be duplicated. Carries no data and no virtual operation;
/// derive privately or publicly, it is never used as an interface.
class NonCopyable {
public:
  NonCopyable(const NonCopyable&) = delete;
  NonCopyable& operator=(const NonCopyable&) = delete;

protected:
  NonCopyable() = default;
  ~NonCopyable() = default;
};

}  // namespace plat
