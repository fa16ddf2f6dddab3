#include "base/os/changeUser.h"

#include <cstdio>
#include <cstdlib>

#include <grp.h>
#include <unistd.h>

#include "base/os/unix/account.h"

namespace os {

namespace {

void requireSuccess(const char* call, int result) {
  if (result != 0) {
    std::perror(call);
    ::_exit(1);
  }
}

}  // namespace

void changeUser(const Account& account) {
  // Groups first: without root's user id they can no longer be changed.
  requireSuccess("setgid()", ::setgid(account.gid));
  requireSuccess("initgroups()", ::initgroups(account.name.get(), account.gid));
  requireSuccess("setuid()", ::setuid(account.uid));
  requireUser(account.uid, account.gid);
}

void requireUser(uid_t uid, gid_t gid) {
  uid_t real = 0;
  uid_t effective = 0;
  uid_t saved = 0;
  const bool isKnown = ::getresuid(&real, &effective, &saved) == 0;
  if (!isKnown || ::getuid() != uid || ::geteuid() != uid || saved != uid) {
    std::fputs("Unexpected uid\n", stderr);
    std::abort();
  }
  if (::getgid() != gid || ::getegid() != gid) {
    std::fputs("Unexpected gid\n", stderr);
    ::_exit(1);
  }
}

}  // namespace os
