#pragma once

// What nearly every test uses: the frameworks, the standard library's everyday headers, the scratch folder, the
// recorded log, streams out of memory, a clock moved by hand, descriptors, and failures as texts. A test includes this
// first and then what it is about.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/exceptions.h"
#include "base/rdr/exceptions.h"
#include "tests/support/Body.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingDest.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestStreams.h"
#include "tests/support/Unprivileged.h"
#include "tests/support/descriptors.h"
#include "tests/support/thrown.h"

namespace test {

using namespace testing;  // matchers

}  // namespace test
