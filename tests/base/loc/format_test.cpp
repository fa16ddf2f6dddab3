#include "base/loc/format.h"

#include <string>

#include <gtest/gtest.h>

namespace {
std::string text(const char* format, std::initializer_list<loc::FormatArg> args) {
  return loc::format(format, args).orEmpty();
}
}  // namespace

TEST(Format, putsArgumentsWhereTheyBelong) {
  EXPECT_EQ(text("Bad argument '%S'.", {"-x"}), "Bad argument '-x'.");
  EXPECT_EQ(text("%2$S, %1$S", {"a", "b"}), "b, a");
  EXPECT_EQ(text("%D days, 100%%", {-3}), "-3 days, 100%");
  EXPECT_EQ(text("%+D", {3}), "+3");
  EXPECT_EQ(text("%1$+D %+1$D", {3}), "+3 +3");
  EXPECT_EQ(text("%D %X", {std::uint64_t{255}}), "255 ff");
  EXPECT_EQ(text("%D", {~std::uint64_t{0}}), "18446744073709551615");
  EXPECT_EQ(text("%.2S|%.0S|%.9S", {"äöü"}), "äö||äöü");
  EXPECT_EQ(text("plain", {}), "plain");
}

TEST(Format, showsWhatDoesNotFitAndGoesOn) {
  EXPECT_EQ(text("%S and %1$S", {"a", "b"}), "%%S and a");
  EXPECT_EQ(text("%3$S", {"a", "b"}), "%%3$S");
  EXPECT_EQ(text("%1$2$S %1$.1.2S", {"a", "b"}), "%%1$2$S %%1$.1.2S");
  EXPECT_EQ(text("%0$S %99999999999$S", {"a"}), "%%0$S %%99999999999$S");
  EXPECT_EQ(text("%D", {"text"}), "%%D");
  EXPECT_EQ(text("%S", {1}), "%%S");
  EXPECT_EQ(text("%+S %++D %.D", {1}), "%%+S %%++D %%.D");
  EXPECT_EQ(text("%X", {1}), "%%X");
  EXPECT_EQ(text("%s %", {"a"}), "%%s %%");
}
