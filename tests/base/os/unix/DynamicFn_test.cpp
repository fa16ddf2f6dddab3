#include "base/os/unix/DynamicFn.h"

#include <dlfcn.h>

#include "tests/support/prelude.h"

using plat::DynamicFn;
using testing::ElementsAre;

TEST(DynamicFn, takesTheFirstVersionAndTheFirstNameThatExistAndNoVersionLast) {
  const std::array<const char*, 3> cases[] = {
      {"c[997,6,998]", "kelNoSuch,strlen,strcmp", "110 DynamicFn: found 'strlen' in 'libc.so.6'"},
      {"c[,6", ",strlen", "110 DynamicFn: found 'strlen' in 'libc.so.6'"},
      {"/../kel[1]", "strlen", "110 DynamicFn: found 'strlen' in 'lib/../kel.so'"},
      {"/../kel", "strlen", "110 DynamicFn: found 'strlen' in 'lib/../kel.so'"},
      {"c[6]", "kelNoSuch,kelNeither", "110 DynamicFn:   [DynFnFind(kelNoSuch,kelNeither) failed]"},
      {"kelNoSuch[1,2]", "strlen", "110 DynamicFn:  [DynFnOpen(kelNoSuch[1,2]) failed]"},
  };
  const test::TempDir dir;
  Dl_info libc;
  ASSERT_NE(::dladdr(reinterpret_cast<void*>(&::getpid), &libc), 0);
  dir.makeDir("lib");
  dir.link(libc.dli_fname, "kel.so");  // "lib/../kel.so": with a slash it is a path
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(dir.path());
  test::RecordingDest rec("DynamicFn:rec:110");
  for (const auto& [library, symbols, line] : cases) {
    SCOPED_TRACE(library);
    rec.clear();
    using Length = std::size_t(const char*);
    Length* const length = DynamicFn::findAs<Length>(library, symbols);
    EXPECT_THAT(rec.lines(), ElementsAre(line));
    EXPECT_EQ(length != nullptr && length("four") == 4, std::strstr(line, "found") != nullptr);
  }
  std::filesystem::current_path(before);
}
