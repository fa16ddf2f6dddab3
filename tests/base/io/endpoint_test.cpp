#include "base/io/endpoint.h"

#include <algorithm>
#include <climits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/io/exceptions.h"

namespace {

using namespace io;

constexpr int BasePort = 1000;
constexpr int PortRange = 100;

const char* const General = "Invalid endpoint";
const char* const Empty = "Invalid endpoint: empty host and/or port";
const char* const Bracket = "Invalid endpoint: unmatched \"[\" in host";
const char* const BadPort = "Invalid endpoint: port not correctly specified";
const char* const BadEscape = "Invalid endpoint: incorrect % escape";

template <class Action>
std::string refusal(Action action) {
  try {
    action();
  } catch (const EndpointInvalid& e) {
    EXPECT_STREQ(e.type, "EndpointInvalid");
    return e.message;
  }
  return "";
}

TEST(SplitHostPort, takesEndpointsApart) {
  const struct {
    const char* text;
    const char* host;
    int port;
  } cases[] = {
      {"host", "host", 1000},   {"host:", "host", 1000},        {"host::", "host", 1000},
      {"host:0", "host", 1000}, {"host:99", "host", 1099},      {"host:100", "host", 100},
      {"host::1", "host", 1},   {"host::65535", "host", 65535}, {":5", "localhost", 1005},
      {"", "localhost", 1000},  {"[::1]", "[::1]", 1000},       {"[fe80::1%eth0]::5", "[fe80::1%eth0]", 5},
  };
  plat::String host;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    int port = -1;
    EXPECT_NO_THROW(splitHostPort(c.text, host, &port, BasePort, PortRange));
    EXPECT_STREQ(host.get(), c.host);
    EXPECT_EQ(port, c.port);
  }
  splitHostPort("only:", host, nullptr, -1, 0);
  EXPECT_STREQ(host.get(), "only");
}

TEST(SplitHostPort, refusesWhatIsNone) {
  const struct {
    const char* refusal;
    int defaultPort;
    std::vector<const char*> texts;
    bool hasPort = true;
  } cases[] = {
      {Empty, -1, {""}},
      {Empty, BasePort, {"[]:5"}},
      {Bracket, BasePort, {"[::1"}},
      {General, BasePort, {"[::1]x", "[a[b]", "a]b:5"}},
      {BadPort, -1, {"host", "host:"}},
      {BadPort, 65536, {"host"}},
      {BadPort, BasePort, {"host::0", "host:65536", "host:5x", "host:-5", "host:::5", "host::99999999999999999999"}},
      {BadPort, BasePort, {"host:5"}, false},
      {Empty, -1, {""}, false},
  };
  for (const auto& c : cases) {
    for (const char* text : c.texts) {
      SCOPED_TRACE(text);
      plat::String host;
      int port = 77;
      EXPECT_EQ(refusal([&] { splitHostPort(text, host, c.hasPort ? &port : nullptr, c.defaultPort, PortRange); }),
                c.refusal);
      EXPECT_EQ(port, 77);
    }
  }
}

TEST(FormatEndpoint, isTheShortestFormThatIsTakenApartAgain) {
  const struct {
    const char* host;
    int port;
    int basePort;
    int portRange;
    const char* text;
  } cases[] = {
      {"host", 1000, 1000, 100, "host"},        {"host", 1005, 1000, 100, "host:5"},
      {"host", 1099, 1000, 100, "host:99"},     {"host", 1100, 1000, 100, "host::1100"},
      {"host", 999, 1000, 100, "host::999"},    {"host", 1005, 1000, 0, "host:1005"},
      {"fe80::1", 80, -1, -1, "[fe80::1]::80"}, {"[fe80::1]", -1, -1, -1, "[fe80::1]"},
      {"host", -2, INT_MAX, 1, "host::-2"},     {"host", INT_MAX, -2, INT_MAX, "host::2147483647"},
  };
  for (const auto& c : cases) {
    EXPECT_STREQ(formatEndpoint(c.host, c.port, c.basePort, c.portRange).get(), c.text);
    plat::String host;
    int port = -1;
    if (c.port > 0 && c.port < INT_MAX) {
      splitHostPort(c.text, host, &port, c.basePort, c.portRange);
      EXPECT_EQ(host, bracketHost(c.host)) << c.text;
      EXPECT_EQ(port, c.port) << c.text;
    }
  }
}

TEST(FormatEndpoint, isUndoneBySplitHostPort) {
  std::mt19937 random(2604);
  const auto pick = [&random](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
  const std::string inHosts = "abcXYZ019.-_%/@+ ~\xC3\xA9:";
  for (int round = 0; round < 5000; ++round) {
    std::string host;
    for (int length = pick(1, 20); length > 0; --length) {
      host += inHosts[static_cast<std::size_t>(pick(0, static_cast<int>(inHosts.size()) - 1))];
    }
    const int basePort = pick(1, 65535);
    const int portRange = pick(0, 3) * pick(0, 200);
    const int port = std::min(pick(0, 1) == 0 ? pick(1, 65535) : basePort + pick(0, 300), 65535);
    const plat::String text = formatEndpoint(host.c_str(), port, basePort, portRange);
    SCOPED_TRACE(text.get());
    plat::String hostAgain;
    int portAgain = -1;
    ASSERT_NO_THROW(splitHostPort(text.get(), hostAgain, &portAgain, basePort, portRange));
    ASSERT_EQ(hostAgain, bracketHost(host.c_str()));
    ASSERT_EQ(portAgain, port);
  }
}

TEST(HostText, isEscapedAndBracketedAndBothAreUndone) {
  const char* const kept = "azAZ09!$&'()*+,-.;=_~ \xC3\xA9";
  EXPECT_STREQ(escapeEndpoint(kept).get(), kept);
  EXPECT_STREQ(escapeEndpoint("%/:[]\"\x01\x7F@").get(), "%25%2F%3A%5B%5D%22%01%7F%40");
  EXPECT_STREQ(unescapeEndpoint("%25%2f+", false).get(), "%/+");
  EXPECT_STREQ(unescapeEndpoint("a+%2B%FF", true).get(), "a +\xEF\xBF\xBD");
  EXPECT_STREQ(stripBrackets("[::1]").get(), "::1");
  EXPECT_EQ(refusal([&] { stripBrackets("["); }), Bracket);
  for (const char* text : {"%", "a%4", "%4g", "%%20", "% 4"}) {
    EXPECT_EQ(refusal([&] { unescapeEndpoint(text, false); }), BadEscape);
  }
}

}  // namespace
