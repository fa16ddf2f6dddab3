#include "base/os/selinuxContext.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "base/os/unix/DynamicFn.h"
#include "base/plat/String.h"
#include "base/plat/strings.h"

namespace os {

namespace {

constexpr char Library[] = "selinux[1]";

/// The context that logins start from: which contexts a user may have is told relative to it.
constexpr char LoginContext[] = "system_u:system_r:local_login_t:s0";

/// The library's functions, of which none is missing.
class Selinux {
public:
  /// Ends the process if one is not to be had.
  Selinux() {
    load(securityGetenforce, "security_getenforce");
    load(getcon, "getcon");
    load(getexeccon, "getexeccon");
    load(setexeccon, "setexeccon");
    load(getseuserbyname, "getseuserbyname");
    load(freeconary, "freeconary");
    load(getOrderedContextListWithLevel, "get_ordered_context_list_with_level");
    load(getconRaw, "getcon_raw");
    load(freecon, "freecon");
  }

  /// A context out of one of the library's getters; null if there is none.
  plat::String contextFrom(int (*getter)(char**)) const {
    char* context = nullptr;
    if (getter(&context) != 0 || context == nullptr) {
      return nullptr;
    }
    plat::String copy(context);
    freecon(context);
    return copy;
  }

  int (*securityGetenforce)();
  int (*getcon)(char** context);
  int (*getexeccon)(char** context);
  int (*setexeccon)(const char* context);
  int (*getseuserbyname)(const char* user, char** seUser, char** level);
  void (*freeconary)(char** list);
  int (*getOrderedContextListWithLevel)(const char* seUser, const char* level, char* from, char*** list);
  int (*getconRaw)(char** context);
  void (*freecon)(char* context);

private:
  template <typename Function>
  static void load(Function*& function, const char* symbol) {
    function = plat::DynamicFn::findAs<Function>(Library, symbol);
    if (function == nullptr) {
      errno = ENOSYS;
      std::perror("missing function(s)");
      ::_exit(1);
    }
  }
};

/// The fourth field of the context that this process runs in; null without one. A range of categories behind a
/// further ":" is not part of it, which grants less and never more.
plat::String currentLevel(const Selinux& selinux) {
  plat::String context = selinux.contextFrom(selinux.getcon);
  if (context.isNull()) {
    context = selinux.contextFrom(selinux.getconRaw);  // has no need of the translation daemon
  }
  char* cursor = context.data();
  const char* field = nullptr;
  for (int i = 0; i < 4; ++i) {
    field = plat::strToken(cursor, ':', false);
  }
  return field;
}

/// The context that a login of `user` gets; null if none is known.
plat::String findContext(const Selinux& selinux, const char* user) {
  char* seUserText = nullptr;
  char* levelText = nullptr;
  const int result = selinux.getseuserbyname(user, &seUserText, &levelText);
  // Both come from malloc and belong to the caller.
  const plat::String seUser = plat::String::adopt(seUserText);
  const plat::String levelOfAccount = plat::String::adopt(levelText);
  if (result != 0 || seUser.isNull()) {
    return nullptr;
  }
  plat::String level = currentLevel(selinux);
  if (level.empty()) {
    level = levelOfAccount;
  }
  plat::String from(LoginContext);  // the library wants a text that it could write to
  char** list = nullptr;
  const int count = selinux.getOrderedContextListWithLevel(seUser.get(), level.get(), from.data(), &list);
  plat::String context;
  if (count > 0 && list != nullptr) {
    context = list[0];
  }
  if (list != nullptr) {
    selinux.freeconary(list);
  }
  return context;
}

}  // namespace

void setSelinuxContext(const char* user) {
  auto* const isEnabled = plat::DynamicFn::findAs<int()>(Library, "is_selinux_enabled");
  if (isEnabled == nullptr || isEnabled() < 1) {
    return;
  }
  const Selinux selinux;
  if (!selinux.contextFrom(selinux.getexeccon).empty()) {
    return;
  }
  const plat::String context = findContext(selinux, user);
  if (context.empty()) {
    if (selinux.securityGetenforce() != 0) {
      std::fprintf(stderr, "Unable to identify correct SELinux context for user %s\n", user);
      ::_exit(1);
    }
    return;
  }
  if (selinux.setexeccon(context.get()) == 0) {
    return;
  }
  const int err = errno;
  if (selinux.securityGetenforce() == 1) {
    const plat::String call = plat::String::format("setexeccon(%s)", context.get());
    errno = err;
    std::perror(call.get());
    ::_exit(1);
  }
}

}  // namespace os
