#include "libs/fops/LocalFsRoot.h"

#include <string>

#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/Configuration.h"
#include "base/plat/StringParameter.h"
#include "libs/fops/BadPath.h"

namespace fops {
namespace {

constexpr int TestPriority = 40;

class CaseInsensitive {
public:
  CaseInsensitive() { plat::Configuration::global().set("_FopsCaseSensitive", "0", TestPriority); }
  ~CaseInsensitive() {
    plat::Configuration::global().find("_FopsCaseSensitive", true)->unsetParam(TestPriority, false);
  }
};

std::string clientPath(const LocalFsRoot& root, const char* local, bool strict) {
  try {
    return root.toClientPath(local, strict).get();
  } catch (const BadPath& e) {
    return std::string("!") + e.message;
  }
}

const char Outside[] = "!Path is not absolute or not within root dir";

TEST(LocalFsRoot, exportsTheWholeFileSystemByDefault) {
  EXPECT_STREQ("/", fopsDirParameter().getValueStr().get());
}

TEST(LocalFsRoot, putsOneSlashBetweenRootAndPath) {
  struct {
    const char* root;
    const char* client;
    const char* local;
  } const cases[] = {
      {"/", "a/b", "/a/b"},
      {"/", "", "/"},
      {"/", nullptr, "/"},
      {"/srv/data", "x", "/srv/data/x"},
      {"/srv/data", "", "/srv/data"},
      {"/srv/data/", "x", "/srv/data/x"},
      {"/srv/data/", "", "/srv/data/"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.local);
    EXPECT_STREQ(c.local, LocalFsRoot(c.root).toLocalPath(c.client).get());
  }
}

TEST(LocalFsRoot, isTheFileSystemsRootOnlyWhenItIsExactlyASlash) {
  EXPECT_TRUE(LocalFsRoot("/").isFsRoot());
  EXPECT_FALSE(LocalFsRoot("//").isFsRoot());
  EXPECT_FALSE(LocalFsRoot("/srv").isFsRoot());
}

TEST(LocalFsRoot, givesThePathBelowTheRoot) {
  struct {
    const char* root;
    const char* local;
    const char* strict;
    const char* lenient;
  } const cases[] = {
      {"/srv/data", "/srv/data/x/y", "x/y", "x/y"},
      {"/srv/data", "/srv/data", Outside, ""},
      {"/srv/data", "/srv/data/", "", ""},
      {"/srv/data", "/srv/database/x", Outside, ""},
      {"/srv/data", "/SRV/data/x", Outside, ""},
      {"/srv/data", "/", Outside, ""},
      {"/srv/data", "srv/data/x", Outside, ""},
      {"/srv/data", "", Outside, ""},
      {"/srv/data", "/srv/data/x//y/", "x//y/", "x//y/"},
      {"/srv/data", "/srv/data//x", "!Invalid path: starts with /", "!Invalid path: starts with /"},
      {"/srv/data", "/srv/data/../x", "!Invalid path: . or ..", "!Invalid path: . or .."},
      {"/srv/data", "/srv/data/a\xFF", "!Invalid path: bad UTF-8", "!Invalid path: bad UTF-8"},
      {"/srv/data/", "/srv/data/x", "x", "x"},
      {"/", "/home/u", "home/u", "home/u"},
      {"/", "/", "", ""},
      {"/", "//name", "!Invalid path: starts with /", "!Invalid path: starts with /"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.local);
    const LocalFsRoot root(c.root);
    EXPECT_EQ(c.strict, clientPath(root, c.local, true));
    EXPECT_EQ(c.lenient, clientPath(root, c.local, false));
  }
}

TEST(LocalFsRoot, comparesOnlyThePrefixWithoutRegardToCase) {
  const CaseInsensitive setting;
  EXPECT_EQ("File", clientPath(LocalFsRoot("/Srv"), "/SRV/File", true));
  EXPECT_EQ(Outside, clientPath(LocalFsRoot("/Srv"), "/SRX/File", true));
}

TEST(LocalFsRoot, refusesARootThatIsNotAbsolute) {
  for (const char* dir : {"", "srv", "./srv"}) {
    SCOPED_TRACE(dir);
    try {
      const LocalFsRoot root(dir);
      ADD_FAILURE() << "was built";
    } catch (const plat::AssertionFail& e) {
      EXPECT_STREQ("Assertion 'isAbsolutePath(rootDir)' failed at libs/fops/LocalFsRoot:30", e.message);
    }
  }
}

}  // namespace
}  // namespace fops
