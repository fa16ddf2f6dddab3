#pragma once

#include <functional>

namespace plat {

/// Finds functions of shared libraries at run time, so that a program can use what a system has without needing it.
///
/// A library, once opened, stays open until the process ends. Any thread may call: one lock guards all of it. Nothing
/// is cached beyond what the system's loader caches; who calls often keeps the answer.
class DynamicFn final {
public:
  /// Answers in place of the system's loader; null means not found.
  using Hook = std::function<void*(const char* library, const char* symbols)>;

  /// Finds a function.
  /// @param library the library's name without "lib" and ".so", with the versions to try in brackets, best first:
  ///   "selinux[1]", "c[6,7]". Without one of these the plain "lib%s.so" is tried.
  /// @param symbols one name, or several with commas between, of which the first that exists counts.
  /// @return null if there is no such library or function; that is logged at level 110.
  static void* find(const char* library, const char* symbols);

  /// find() as a pointer to a function of type `Function`.
  template <typename Function>
  static Function* findAs(const char* library, const char* symbols) {
    return reinterpret_cast<Function*>(find(library, symbols));
  }

  /// Replaces the lookup; an empty hook brings the system's back. The former one is returned. The hook runs under the
  /// lock, so from here on no other thread is inside the former one, and may itself call this.
  static Hook setHook(Hook hook);

  DynamicFn() = delete;
};

}  // namespace plat
