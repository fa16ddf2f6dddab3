#include "base/os/unix/DynamicFn.h"

#include <cstring>
#include <filesystem>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/RecordingDest.h"
#include "tests/support/TempDir.h"

using plat::DynamicFn;
using testing::ElementsAre;

TEST(DynamicFn, takesTheFirstVersionAndTheFirstNameThatExist) {
  const struct {
    const char* library;
    const char* symbols;
    const char* line;
  } cases[] = {
      {"c[6]", "strlen", "110 DynamicFn: found 'strlen' in 'libc.so.6'"},
      {"c[997,6,998]", "kelNoSuch,strlen,strcmp", "110 DynamicFn: found 'strlen' in 'libc.so.6'"},
      {"c[,6", ",strlen", "110 DynamicFn: found 'strlen' in 'libc.so.6'"},
      {"c[6]", "kelNoSuch,kelNeither", "110 DynamicFn:   [DynFnFind(kelNoSuch,kelNeither) failed]"},
      {"kelNoSuch[1,2]", "strlen", "110 DynamicFn:  [DynFnOpen(kelNoSuch[1,2]) failed]"},
      {"kelNoSuch", "strlen", "110 DynamicFn:  [DynFnOpen(kelNoSuch) failed]"},
  };
  test::RecordingDest rec("DynamicFn:rec:110");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.library);
    rec.clear();
    using Length = std::size_t(const char*);
    Length* const length = DynamicFn::findAs<Length>(c.library, c.symbols);
    EXPECT_THAT(rec.lines(), ElementsAre(c.line));
    ASSERT_EQ(length != nullptr, std::strstr(c.line, "found") != nullptr);
    EXPECT_TRUE(length == nullptr || length("four") == 4);
  }
}

TEST(DynamicFn, triesTheNameWithoutAVersionLast) {
  const test::TempDir dir;
  Dl_info libc;
  ASSERT_NE(::dladdr(DynamicFn::find("c[6]", "strlen"), &libc), 0);
  dir.makeDir("lib");
  dir.link(libc.dli_fname, "kel.so");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(dir.path());
  EXPECT_NE(DynamicFn::find("/../kel", "strlen"), nullptr);  // "lib/../kel.so": with a slash it is a path
  EXPECT_NE(DynamicFn::find("/../kel[1]", "strlen"), nullptr);
  EXPECT_EQ(DynamicFn::find("/../kem[1]", "strlen"), nullptr);
  std::filesystem::current_path(before);
}
