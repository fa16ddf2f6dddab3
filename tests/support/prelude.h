#pragma once

// What nearly every test uses: the frameworks, the standard library's everyday headers, the scratch folder, the
// recorded log, descriptors, and failures as texts. A test includes this first and then what it is about.

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/plat/AssertionFail.h"
#include "tests/support/RecordingDest.h"
#include "tests/support/TempDir.h"
#include "tests/support/descriptors.h"
#include "tests/support/thrown.h"

namespace test {

using namespace testing;  // matchers

}  // namespace test
