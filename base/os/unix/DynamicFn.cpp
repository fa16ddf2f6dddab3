#include "base/os/unix/DynamicFn.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include <dlfcn.h>

#include "base/plat/Lock.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/assert.h"
#include "base/plat/log/LogSrc.h"

namespace plat {

namespace {

LogSrc log("DynamicFn");

/// Never destroyed: functions may be looked up until the very end.
struct Shared {
  Mutex mutex;
  DynamicFn::Hook hook;
};

Shared& shared() {
  static plat::NeverDestroyed<Shared> instance;
  return *instance;
}

/// Cuts the first item off a list with commas between. Empty items are passed over; an empty answer is the end.
std::string_view nextItem(std::string_view& list) {
  while (!list.empty()) {
    const std::string_view item = list.substr(0, list.find(','));
    list.remove_prefix(std::min(item.size() + 1, list.size()));
    if (!item.empty()) {
      return item;
    }
  }
  return {};
}

/// A handle that stays open, or null. `file` receives the name under which the library was found.
void* openLibrary(std::string_view library, std::string& file) {
  const std::size_t bracket = library.find('[');
  const std::string plain = "lib" + std::string(library.substr(0, bracket)) + ".so";
  if (bracket != std::string_view::npos) {
    std::string_view versions = library.substr(bracket + 1);
    versions = versions.substr(0, versions.find(']'));
    for (std::string_view version = nextItem(versions); !version.empty(); version = nextItem(versions)) {
      file.assign(plain).append(".").append(version);
      // Everything is bound at once: what is missing shall fail here, and not in some later call.
      if (void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        return handle;
      }
    }
  }
  file = plain;
  return dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* findWithLoader(const char* library, const char* symbols) {
  std::string file;
  void* const handle = openLibrary(library, file);
  if (handle == nullptr) {
    log.verbose(" [DynFnOpen(%s) failed]", library);
    return nullptr;
  }
  std::string_view names = symbols;
  for (std::string_view name = nextItem(names); !name.empty(); name = nextItem(names)) {
    const std::string symbol(name);
    if (void* const function = dlsym(handle, symbol.c_str())) {
      log.verbose("found '%s' in '%s'", symbol.c_str(), file.c_str());
      return function;
    }
  }
  log.verbose("  [DynFnFind(%s) failed]", symbols);
  return nullptr;
}

}  // namespace

void* DynamicFn::find(const char* library, const char* symbols) {
  PLAT_REQUIRE_AS(library && symbols, "library && symbols", "base/plat/DynamicFn", __LINE__);
  const Lock lock(shared().mutex);
  // A copy, since the hook may itself call setHook.
  if (const Hook hook = shared().hook) {
    return hook(library, symbols);
  }
  return findWithLoader(library, symbols);
}

DynamicFn::Hook DynamicFn::setHook(Hook hook) {
  const Lock lock(shared().mutex);
  return std::exchange(shared().hook, std::move(hook));
}

}  // namespace plat
