#include "base/os/setuidHelper.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <grp.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include "base/os/unix/DynamicFn.h"
#include "base/os/unix/auditLogin.h"
#include "base/os/unix/changeUser.h"
#include "base/os/unix/selinuxContext.h"
#include "tests/base/os/inChild.h"

namespace {

using test::Outcome;
using test::Returned;
using test::Thrown;

constexpr uid_t Nobody = 65534;

/// What the fakes answer, and how many of the texts that they handed out have not come back.
struct System {
  const char* missing = "";  ///< a function that does not exist; "*" for all
  int enabled = 1;
  int enforce = 1;
  const char* fixed = nullptr;  ///< null: there is none, "!": the call fails; likewise the next two
  const char* current = "system_u:system_r:init_t:s3";
  const char* currentRaw = "u:r:t:raw";
  int getseuserbynameResult = 0;
  int count = 2;  ///< the answer of get_ordered_context_list_with_level
  int setexecconResult = 0;
  int setLoginResult = 0;
  uid_t loginUid = 0;
};
System machine;
int lent = 0;

int answerContext(const char* text, char** context) {
  *context = nullptr;
  if (text != nullptr && *text == '!') {
    return -1;
  }
  if (text != nullptr) {
    *context = strdup(text);
    ++lent;
  }
  return 0;
}

template <class Function>
void* pointer(Function function) {
  return reinterpret_cast<void*>(+function);
}

/// The libraries' functions, faked. What must not end up in a message about another call sets errno to EIO.
const struct {
  const char *library, *symbol;
  void* function;
} Fakes[] = {
    {"selinux[1]", "is_selinux_enabled", pointer([] {
       dprintf(1, "enabled? as %d\n", static_cast<int>(getuid()));
       return machine.enabled;
     })},
    {"selinux[1]", "security_getenforce", pointer([] {
       errno = EIO;
       return machine.enforce;
     })},
    {"selinux[1]", "getcon", pointer([](char** context) { return answerContext(machine.current, context); })},
    {"selinux[1]", "getcon_raw", pointer([](char** context) { return answerContext(machine.currentRaw, context); })},
    {"selinux[1]", "getexeccon", pointer([](char** context) { return answerContext(machine.fixed, context); })},
    {"selinux[1]", "setexeccon", pointer([](const char* context) {
       dprintf(1, "setexeccon %s\n", context);
       errno = EACCES;
       return machine.setexecconResult;
     })},
    {"selinux[1]", "getseuserbyname", pointer([](const char* user, char** seUser, char** level) {
       dprintf(1, "user %s\n", user);
       if (machine.getseuserbynameResult == 0) {
         *seUser = strdup("staff_u");
         *level = strdup("s1");
       }
       return machine.getseuserbynameResult;
     })},
    {"selinux[1]", "get_ordered_context_list_with_level",
     pointer([](const char* seUser, const char* level, char* from, char*** list) {
       dprintf(1, "list %s %s %s\n", seUser, level, from);
       if (machine.count > 0) {
         *list = new char* [3] { strdup("first:r:t:s"), strdup("second:r:t:s"), nullptr };
         ++lent;
       }
       return machine.count;
     })},
    {"selinux[1]", "freecon", pointer([](char* context) {
       free(context);
       --lent;
     })},
    {"selinux[1]", "freeconary", pointer([](char** list) {
       free(list[0]);
       free(list[1]);
       delete[] list;
       --lent;
     })},
    {"audit", "audit_setloginuid", pointer([](uid_t uid) {
       dprintf(1, "login %u as %d\n", uid, static_cast<int>(getuid()));
       errno = EPERM;
       return machine.setLoginResult;
     })},
    {"audit", "audit_getloginuid", pointer([] {
       errno = EIO;
       return machine.loginUid;
     })},
};

void* lookUp(const char* library, const char* symbols) {
  for (const auto& fake : Fakes) {
    if (std::strcmp(fake.library, library) == 0 && std::strcmp(fake.symbol, symbols) == 0) {
      return std::strcmp(machine.missing, symbols) == 0 || *machine.missing == '*' ? nullptr : fake.function;
    }
  }
  return nullptr;
}

/// Runs `body` in a child on that system.
template <class Body>
Outcome on(const System& system, const Body& body) {
  return test::inChild([&] {
    machine = system;
    plat::DynamicFn::setHook(lookUp);
    body();
    if (lent != 0) {
      dprintf(1, "%d not given back\n", lent);
    }
  });
}

Outcome selinuxOn(const System& system) {
  Outcome outcome = on(system, [] { os::setSelinuxContext("jo"); });
  outcome.output.erase(0, outcome.output.find('\n') + 1);  // isEnabled's line
  return outcome;
}

/// The program as a root parent's child sees it; null-terminated.
void runHelper(std::vector<const char*> words) {
  words.insert(words.begin(), {"program", "-setuidhelper"});
  words.push_back(nullptr);
  os::setuidHelperCheck(const_cast<char**>(words.data()));
}

void becomeNobody() {
  if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(Nobody) != 0 || setuid(Nobody) != 0)) {
    _exit(99);
  }
}

TEST(SelinuxContext, isTheFirstThatALoginWouldGetWhereItApplies) {
  const struct {
    System system;
    const char* level;  // null: the context is left alone
  } cases[] = {
      {{.missing = "*"}, nullptr},
      {{.missing = "is_selinux_enabled"}, nullptr},
      {{.missing = "getcon", .enabled = 0}, nullptr},
      {{.enabled = -1}, nullptr},
      {{.fixed = "a:b:c"}, nullptr},
      {{}, "s3"},
      {{.fixed = ""}, "s3"},
      {{.fixed = "!"}, "s3"},
      {{.current = "u:r:t:s0-s0:c0.c1023"}, "s0-s0"},
      {{.current = "!"}, "raw"},
      {{.current = "!", .currentRaw = "!"}, "s1"},
      {{.current = "u:r:t"}, "s1"},
      {{.enforce = 0, .setexecconResult = -1}, "s3"},   // refused, but only
      {{.enforce = -1, .setexecconResult = -1}, "s3"},  // enforcing makes that fatal
  };
  for (const auto& c : cases) {
    const std::string calls = c.level == nullptr ? ""
                                                 : std::string("user jo\nlist staff_u ") + c.level +
                                                       " system_u:system_r:local_login_t:s0\nsetexeccon first:r:t:s\n";
    EXPECT_EQ(selinuxOn(c.system), (Outcome{Returned, calls, ""}));
  }
}

TEST(SelinuxContext, failureEndsTheProcess) {
  for (const char* name : {"security_getenforce", "getcon", "getexeccon", "setexeccon", "getseuserbyname", "freeconary",
                           "get_ordered_context_list_with_level", "getcon_raw", "freecon"}) {
    EXPECT_EQ(selinuxOn({.missing = name, .enforce = 0}),
              (Outcome{1, "", "missing function(s): Function not implemented\n"}))
        << name;
  }
  const Outcome refused = selinuxOn({.setexecconResult = -1});
  EXPECT_EQ(refused.errors, "setexeccon(first:r:t:s): Permission denied\n");
  EXPECT_EQ(refused.result, 1);
  for (const int enforce : {1, -1, 0}) {
    for (System system : {System{.getseuserbynameResult = -1}, System{.count = 0}, System{.count = -1}}) {
      system.enforce = enforce;
      const Outcome outcome = selinuxOn(system);
      EXPECT_EQ(outcome.errors, enforce != 0 ? "Unable to identify correct SELinux context for user jo\n" : "");
      EXPECT_EQ(outcome.result, enforce != 0 ? 1 : Returned);
    }
  }
}

TEST(AuditLogin, complainsOnlyWithoutAnyLogin) {
  constexpr uid_t Unset = static_cast<uid_t>(-1);
  const std::string called = "login 1000 as " + std::to_string(getuid()) + "\n";
  const struct {
    System system;
    std::string output;
    const char* errors;
  } cases[] = {
      {{.missing = "audit_setloginuid"}, "", ""},
      {{.missing = "audit_getloginuid"}, "", ""},
      {{.loginUid = Unset}, called, ""},
      {{.setLoginResult = -1, .loginUid = 7}, called, ""},
      {{.setLoginResult = -1, .loginUid = Unset}, called, "audit_setloginuid(): Operation not permitted\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(on(c.system, [] { os::setAuditLogin(1000); }), (Outcome{Returned, c.output, c.errors}));
  }
}

TEST(SetuidHelper, returnsUnlessAskedForAndRefusesABadCommandLine) {
  for (std::vector<const char*> words : std::vector<std::vector<const char*>>{
           {}, {"p"}, {"p", "setuidhelper"}, {"p", "-setuidhelper2", "0"}, {"p", "x", "-setuidhelper"}}) {
    words.push_back(nullptr);
    os::setuidHelperCheck(const_cast<char**>(words.data()));
  }
  const auto refusalOf = [](const char* uid) { return test::inChild([uid] { runHelper({uid, "p"}); }).errors; };
  for (const char* uid : {"", "+1", " 1", "0x1", "4294967296", "-2147483649"}) {
    EXPECT_EQ(refusalOf(uid), "setuidhelper: bad user id '" + std::string(uid) + "'");
  }
  const std::string unknown = "): account not found: No such file or directory (2)";
  EXPECT_EQ(refusalOf("4294967290"), "getpwuid(4294967290" + unknown);
  EXPECT_EQ(refusalOf("-2147483648"), "getpwuid(2147483648" + unknown);
}

TEST(SetuidHelper, endsTheProcessIfACallIsRefused) {
  const auto asNobody = [](const std::string& uid) {
    return on({.missing = "*"}, [&uid] {
      becomeNobody();
      runHelper({uid.c_str(), "/bin/true"});
    });
  };
  const std::string own = std::to_string(geteuid() == 0 ? Nobody : geteuid());
  EXPECT_EQ(asNobody("0"), (Outcome{1, "", "setgid(): Operation not permitted\n"}));
  EXPECT_EQ(asNobody(own), (Outcome{1, "", "initgroups(): Operation not permitted\n"}));
  if (geteuid() != 0) {
    GTEST_SKIP() << "setuid() alone is refused only to a root without that capability";
  }
  const Outcome user = on({.missing = "*"}, [] {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    data[0].effective = data[0].permitted = 1U << CAP_SETGID;
    syscall(SYS_capset, &header, data);
    runHelper({"65534", "/bin/true"});
  });
  EXPECT_EQ(user, (Outcome{1, "", "setuid(): Operation not permitted\n"}));
}

TEST(SetuidHelper, verifiesWhoItHasBecome) {
  const auto require = [](uid_t uid, gid_t gid, bool keepsRoot = false) {
    return test::inChild([=] {
      const rlimit none = {};
      setrlimit(RLIMIT_CORE, &none);
      if (keepsRoot && setresuid(uid, uid, 0) != 0) {
        _exit(99);
      }
      os::requireUser(uid, gid);
    });
  };
  EXPECT_EQ(require(getuid(), getgid()), (Outcome{Returned, "", ""}));
  EXPECT_EQ(require(getuid() + 1, getgid()), (Outcome{-SIGABRT, "", "Unexpected uid\n"}));
  EXPECT_EQ(require(getuid(), getgid() + 1), (Outcome{1, "", "Unexpected gid\n"}));
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can keep another saved user id";
  }
  EXPECT_EQ(require(Nobody, getgid(), true), (Outcome{-SIGABRT, "", "Unexpected uid\n"}));
}

TEST(SetuidHelper, runsTheProgramAsTheUser) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can become another user";
  }
  for (const uid_t uid : {Nobody, uid_t{1}}) {  // without a home, and with one
    const passwd* const account = getpwuid(uid);
    ASSERT_NE(account, nullptr);
    const std::string id = std::to_string(uid), name = account->pw_name, home = account->pw_dir;
    const Outcome outcome = on({.setLoginResult = -1, .loginUid = 5}, [&id] {
      const gid_t groupsOfRoot[] = {0, 4, 5};
      if (setgroups(3, groupsOfRoot) != 0 || chdir("/tmp") != 0) {
        _exit(99);
      }
      runHelper({id.c_str(), "/bin/sh", "-c",
                 "grep -E '^[UG]id:' /proc/self/status; [ \"$(id -G)\" = \"$(id -G \"$USER\")\" ] && pwd\n"
                 "printf '<%s>' \"$USER\" \"$LOGNAME\" \"$LOGIN\" \"$HOME\" \"$SHELL\" \"$0\" \"$@\"",
                 "zero", "a b", ""});
    });
    const auto fourTimes = [](const char* what, unsigned number) {
      const std::string once = "\t" + std::to_string(number);
      return what + once + once + once + once + "\n";
    };
    const std::string expected =
        "enabled? as 0\nuser " + name +
        "\nlist staff_u s3 system_u:system_r:local_login_t:s0\nsetexeccon first:r:t:s\nlogin " + id + " as 0\n" +
        fourTimes("Uid:", uid) + fourTimes("Gid:", account->pw_gid) + (access(home.c_str(), X_OK) == 0 ? home : "/") +
        "\n<" + name + "><" + name + "><" + name + "><" + home + "><" + account->pw_shell + "><zero><a b><>";
    EXPECT_EQ(outcome, (Outcome{0, expected, ""}));
  }
  const auto runNothing = [] { runHelper({"65534", "/no/such program"}); };
  EXPECT_EQ(on({.missing = "*"}, runNothing),
            (Outcome{Thrown, "", "execv(/no/such program): No such file or directory (2)"}));
}

}  // namespace
