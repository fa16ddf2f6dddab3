#include "base/os/setuidHelper.h"

#include <cerrno>
#include <cstring>

#include <unistd.h>

#include "base/os/auditLogin.h"
#include "base/os/changeUser.h"
#include "base/os/environment.h"
#include "base/os/selinuxContext.h"
#include "base/os/unix/account.h"
#include "base/plat/Exception.h"
#include "base/plat/exceptions.h"
#include "base/plat/numbers.h"

namespace os {

namespace {

uid_t parseUid(const char* text) {
  const plat::String failText = plat::String::format("setuidhelper: bad user id '%s'", text);
  const bool isSigned = *text == '-';
  if (std::strspn(text + isSigned, "0123456789") == 0) {
    throw plat::Exception(failText.get());  // the parsers would pass over blanks and a "+"
  }
  return isSigned ? static_cast<uid_t>(plat::parseS32(text, 10, INT32_MIN, INT32_MAX, failText.get()))
                  : plat::parseU32(text, 10, 0, UINT32_MAX, failText.get());
}

void setEnvironmentOf(const Account& account) {
  for (const char* variable : {"USER", "LOGNAME", "LOGIN"}) {
    setEnvironment(variable, account.name.get());
  }
  setEnvironment("HOME", account.home.get());
  setEnvironment("SHELL", account.shell.empty() ? "/bin/sh" : account.shell.get());
}

}  // namespace

void setuidHelperCheck(char** argv) {
  if (argv[0] == nullptr || argv[1] == nullptr || std::strcmp(argv[1], "-setuidhelper") != 0) {
    return;
  }
  if (argv[2] == nullptr || argv[3] == nullptr) {
    throw plat::Exception("setuidhelper: missing argument");
  }
  // What may fail with an exception comes first. From the SELinux context on a failure ends the process: nobody may run
  // on with half of root's rights.
  const Account account = findAccount(parseUid(argv[2]));
  setEnvironmentOf(account);
  if (::chdir("/") != 0) {
    throw plat::SystemException("chdir(/)", errno);
  }
  // Both this and the audit login take root's rights, which changeUser() gives away.
  setSelinuxContext(account.name.get());
  setAuditLogin(account.uid);
  changeUser(account);
  // With the user's own rights, which may be more or less than root's: a home can lie on a file system that root may
  // not enter.
  if (::chdir(account.home.get()) != 0) {
    // Not every account has a home. Being in "/" already, the program still runs in no folder of its launcher.
  }
  ::execv(argv[3], argv + 3);
  throw plat::SystemExceptionFmt("execv(%s)", errno, argv[3]);
}

}  // namespace os
