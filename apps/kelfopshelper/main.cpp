#include <cstdio>

#include "apps/kelfopshelper/helperMain.h"
#include "base/loc/translate.h"
#include "base/os/setuidHelper.h"
#include "base/plat/Exception.h"
#include "base/plat/log/LogSrc.h"
#include "libs/product/ProductInfo.h"
#include "libs/product/productInit.h"
#include "libs/product/version.h"

namespace {

plat::LogSrc mainLog("kelfopshelper");

int run(int argc, char** argv) {
  // Ahead of everything: no start-up code shall run with rights of root's that are about to be given away.
  os::setuidHelperCheck(argv);
  qzutil::setProductVersion(KelVersion, KelBuild);
  plat::productInit(argv[0], "kelfopshelper", nullptr, nullptr, true, false);
  // Behind the start-up, by which the complaint is in the user's language and in the log.
  if (argc < 2) {
    throw plat::Exception(LOC_TR("plat_this_program_not_directly"));
  }
  return helperMain(argv + 1);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const plat::Exception& failure) {
    mainLog.error("%s", failure.message);
    std::fprintf(stderr, "%s\n", failure.message);
    return 1;
  }
}
