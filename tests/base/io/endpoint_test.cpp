#include "base/io/endpoint.h"

#include <gtest/gtest.h>

#include "base/io/EndpointInvalid.h"

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
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    plat::String host = "before";
    int port = -1;
    EXPECT_NO_THROW(splitHostPort(c.text, host, &port, BasePort, PortRange));
    EXPECT_STREQ(host.get(), c.host);
    EXPECT_EQ(port, c.port);
  }
}

TEST(SplitHostPort, refusesWhatIsNone) {
  const struct {
    const char* text;
    int defaultPort;
    const char* refusal;
    bool hasPort = true;
  } cases[] = {
      {"", -1, Empty},
      {"[]:5", BasePort, Empty},
      {"[::1", BasePort, Bracket},
      {"[::1]x", BasePort, General},
      {"[a[b]", BasePort, General},
      {"a]b:5", BasePort, General},
      {"host", -1, BadPort},
      {"host:", -1, BadPort},
      {"host::0", BasePort, BadPort},
      {"host:65536", BasePort, BadPort},
      {"host", 65536, BadPort},
      {"host:5x", BasePort, BadPort},
      {"host:-5", BasePort, BadPort},
      {"host:::5", BasePort, BadPort},
      {"host::99999999999999999999", BasePort, BadPort},
      {"host:5", BasePort, BadPort, false},
      {"", -1, Empty, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    plat::String host;
    int port = 77;
    EXPECT_EQ(refusal([&] { splitHostPort(c.text, host, c.hasPort ? &port : nullptr, c.defaultPort, PortRange); }),
              c.refusal);
    EXPECT_EQ(port, 77);
  }
  plat::String host;
  splitHostPort("host:", host, nullptr, -1, 0);
  EXPECT_STREQ(host.get(), "host");
}

TEST(FormatEndpoint, isTheShortestFormAndUndoneBySplitHostPort) {
  EXPECT_STREQ(formatEndpoint("fe80::1", 80, -1, -1).get(), "[fe80::1]::80");
  EXPECT_STREQ(formatEndpoint("host", 1005, 1000, 100).get(), "host:5");
  for (const int range : {0, 1, PortRange}) {
    for (const int port : {1, 99, 100, 999, 1000, 1001, 1099, 1100, 65535}) {
      const plat::String text = formatEndpoint("[::1]", port, BasePort, range);
      SCOPED_TRACE(text.get());
      plat::String host;
      int portAgain = -1;
      splitHostPort(text.get(), host, &portAgain, BasePort, range);
      EXPECT_STREQ(host.get(), "[::1]");
      EXPECT_EQ(portAgain, port);
    }
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
