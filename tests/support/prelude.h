#pragma once

// What nearly every test of the event loop and of the operating system uses.

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "base/plat/AssertionFail.h"
#include "tests/support/RecordingDest.h"
#include "tests/support/TempDir.h"
#include "tests/support/descriptors.h"
#include "tests/support/thrown.h"

namespace test {

using namespace testing;  // matchers

}  // namespace test
