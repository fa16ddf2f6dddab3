#include "base/os/setuidHelper.h"

#include <grp.h>
#include <pwd.h>
#include <sys/resource.h>

#include "base/os/auditLogin.h"
#include "base/os/changeUser.h"
#include "base/os/selinuxContext.h"
#include "base/os/unix/DynamicFn.h"
#include "tests/base/os/inChild.h"
#include "tests/support/prelude.h"

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
  const bool fails = text != nullptr && *text == '!';
  *context = text == nullptr || fails ? nullptr : strdup(text);
  lent += *context != nullptr ? 1 : 0;
  return fails ? -1 : 0;
}

void* pointer(auto function) {
  return reinterpret_cast<void*>(+function);
}

/// The libraries' functions, faked. What must not end up in a message about another call sets errno to EIO.
const std::map<std::string, void*> Fakes = {
    {"selinux[1] is_selinux_enabled", pointer([] {
       dprintf(1, "enabled? as %d\n", static_cast<int>(getuid()));
       return machine.enabled;
     })},
    {"selinux[1] security_getenforce", pointer([] {
       errno = EIO;
       return machine.enforce;
     })},
    {"selinux[1] getcon", pointer([](char** context) { return answerContext(machine.current, context); })},
    {"selinux[1] getcon_raw", pointer([](char** context) { return answerContext(machine.currentRaw, context); })},
    {"selinux[1] getexeccon", pointer([](char** context) { return answerContext(machine.fixed, context); })},
    {"selinux[1] setexeccon", pointer([](const char* context) {
       dprintf(1, "setexeccon %s\n", context);
       errno = EACCES;
       return machine.setexecconResult;
     })},
    {"selinux[1] getseuserbyname", pointer([](const char* user, char** seUser, char** level) {
       dprintf(1, "user %s\n", user);
       *seUser = machine.getseuserbynameResult == 0 ? strdup("staff_u") : nullptr;
       *level = machine.getseuserbynameResult == 0 ? strdup("s1") : nullptr;
       return machine.getseuserbynameResult;
     })},
    {"selinux[1] get_ordered_context_list_with_level",
     pointer([](const char* seUser, const char* level, char* from, char*** list) {
       static char first[] = "first:r:t:s", second[] = "second:r:t:s";
       static char* contexts[] = {first, second, nullptr};
       dprintf(1, "list %s %s %s\n", seUser, level, from);
       *list = machine.count > 0 ? contexts : nullptr;
       lent += machine.count > 0 ? 1 : 0;
       return machine.count;
     })},
    {"selinux[1] freecon", pointer([](char* context) {
       free(context);
       --lent;
     })},
    {"selinux[1] freeconary", pointer([](char**) { --lent; })},
    {"audit audit_setloginuid", pointer([](uid_t uid) {
       dprintf(1, "login %u as %d\n", uid, static_cast<int>(getuid()));
       errno = EPERM;
       return machine.setLoginResult;
     })},
    {"audit audit_getloginuid", pointer([] {
       errno = EIO;
       return machine.loginUid;
     })},
};

void* lookUp(const char* library, const char* symbol) {
  const auto fake = Fakes.find(std::string(library) + " " + symbol);
  const bool isMissing = *machine.missing == '*' || std::strcmp(machine.missing, symbol) == 0;
  return fake == Fakes.end() || isMissing ? nullptr : fake->second;
}

/// Runs `body` in a child on that system.
Outcome on(const System& system, const auto& body) {
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

TEST(SelinuxContext, isTheFirstThatALoginWouldGetWhereItAppliesAndFailureEndsTheProcess) {
  const std::pair<System, const char*> cases[] = {
      // the level; null: the context is left alone
      {System{.missing = "is_selinux_enabled"}, nullptr},
      {System{.missing = "getcon", .enabled = 0}, nullptr},
      {System{.fixed = "a:b:c"}, nullptr},
      {System{}, "s3"},
      {System{.fixed = "!"}, "s3"},
      {System{.current = "!"}, "raw"},
      {System{.current = "!", .currentRaw = "!"}, "s1"},
      {System{.enforce = 0, .setexecconResult = -1}, "s3"},   // refused, but only
      {System{.enforce = -1, .setexecconResult = -1}, "s3"},  // enforcing makes that fatal
  };
  for (const auto& [system, level] : cases) {
    const std::string context = "system_u:system_r:local_login_t:s0\nsetexeccon first:r:t:s\n";
    const std::string calls = level == nullptr ? "" : "user jo\nlist staff_u " + std::string(level) + " " + context;
    EXPECT_EQ(selinuxOn(system), (Outcome{Returned, calls, ""}));
  }

  EXPECT_EQ(selinuxOn({.missing = "freecon", .enforce = 0}),
            (Outcome{1, "", "missing function(s): Function not implemented\n"}));
  EXPECT_EQ(selinuxOn({.setexecconResult = -1}).errors, "setexeccon(first:r:t:s): Permission denied\n");
  for (const int enforce : {1, -1, 0}) {
    for (System system : {System{.getseuserbynameResult = -1}, System{.count = 0}}) {
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
  const std::tuple<System, std::string, const char*> cases[] = {
      {System{.missing = "audit_setloginuid"}, "", ""},
      {System{.missing = "audit_getloginuid"}, "", ""},
      {System{.loginUid = Unset}, called, ""},
      {System{.setLoginResult = -1, .loginUid = 7}, called, ""},
      {System{.setLoginResult = -1, .loginUid = Unset}, called, "audit_setloginuid(): Operation not permitted\n"},
  };
  for (const auto& [system, output, errors] : cases) {
    EXPECT_EQ(on(system, [] { os::setAuditLogin(1000); }), (Outcome{Returned, output, errors}));
  }
}

TEST(SetuidHelper, returnsUnlessAskedForAndRefusesABadCommandLine) {
  for (std::vector<const char*> words : std::vector<std::vector<const char*>>{
           {}, {"p"}, {"p", "setuidhelper"}, {"p", "-setuidhelper2", "0"}, {"p", "x", "-setuidhelper"}}) {
    words.push_back(nullptr);
    os::setuidHelperCheck(const_cast<char**>(words.data()));
  }
  const auto refusalOf = [](const char* uid) { return test::messageFrom([uid] { runHelper({uid, "p"}); }); };
  for (const char* uid : {"", "+1", " 1", "0x1", "4294967296", "-2147483649"}) {
    EXPECT_EQ(refusalOf(uid), "setuidhelper: bad user id '" + std::string(uid) + "'");
  }
  const std::string unknown = "): account not found: No such file or directory (2)";
  EXPECT_EQ(refusalOf("4294967290"), "getpwuid(4294967290" + unknown);
  EXPECT_EQ(refusalOf("-2147483648"), "getpwuid(2147483648" + unknown);
  EXPECT_EQ(test::messageFrom([] { runHelper({"0"}); }), "setuidhelper: missing argument");
}

TEST(SetuidHelper, endsTheProcessIfACallIsRefused) {
  const auto asNobody = [](const std::string& uid) {
    return on({.missing = "*"}, [&uid] {
      if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(Nobody) != 0 || setuid(Nobody) != 0)) {
        _exit(99);
      }
      runHelper({uid.c_str(), "/bin/true"});
    });
  };
  const std::string own = std::to_string(geteuid() == 0 ? Nobody : geteuid());
  EXPECT_EQ(asNobody("0"), (Outcome{1, "", "setgid(): Operation not permitted\n"}));
  EXPECT_EQ(asNobody(own), (Outcome{1, "", "initgroups(): Operation not permitted\n"}));
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
                 "sed -nE 's/^([UG]id:)\\t([0-9]+)(\\t\\2){3}$/\\1\\2/p' /proc/self/status\n"
                 "[ \"$(id -G)\" = \"$(id -G \"$USER\")\" ] && pwd\n"
                 "printf '<%s>' \"$USER\" \"$LOGNAME\" \"$LOGIN\" \"$HOME\" \"$SHELL\" \"$0\" \"$@\"",
                 "zero", "a b", ""});
    });
    const std::string expected =
        "enabled? as 0\nuser " + name +
        "\nlist staff_u s3 system_u:system_r:local_login_t:s0\nsetexeccon first:r:t:s\nlogin " + id +
        " as 0\n"
        "Uid:" +
        id + "\nGid:" + std::to_string(account->pw_gid) + "\n" + (access(home.c_str(), X_OK) == 0 ? home : "/") +
        "\n<" + name + "><" + name + "><" + name + "><" + home + "><" + account->pw_shell + "><zero><a b><>";
    EXPECT_EQ(outcome, (Outcome{0, expected, ""}));
  }
  const auto runNothing = [] { runHelper({"65534", "/no/such program"}); };
  EXPECT_EQ(on({.missing = "*"}, runNothing),
            (Outcome{Thrown, "", "execv(/no/such program): No such file or directory (2)"}));
}

}  // namespace
