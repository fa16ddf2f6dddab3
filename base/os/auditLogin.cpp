#include "base/os/auditLogin.h"

#include <cerrno>
#include <cstdio>

#include "base/os/unix/DynamicFn.h"

namespace os {

void setAuditLogin(uid_t uid) {
  constexpr uid_t Unset = static_cast<uid_t>(-1);
  auto* const setLoginUid = plat::DynamicFn::findAs<int(uid_t)>("audit", "audit_setloginuid");
  auto* const getLoginUid = plat::DynamicFn::findAs<uid_t()>("audit", "audit_getloginuid");
  if (setLoginUid == nullptr || getLoginUid == nullptr || setLoginUid(uid) == 0) {
    return;
  }
  const int err = errno;
  if (getLoginUid() == Unset) {
    errno = err;
    std::perror("audit_setloginuid()");
  }
}

}  // namespace os
