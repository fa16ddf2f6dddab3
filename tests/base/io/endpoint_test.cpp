#include "base/io/endpoint.h"

#include "base/io/exceptions.h"
#include "tests/support/prelude.h"

namespace {

using namespace io;

constexpr int BasePort = 1000;
constexpr int PortRange = 100;

const char* const Empty = "Invalid endpoint: empty host and/or port";
const char* const Bracket = "Invalid endpoint: unmatched \"[\" in host";
const char* const BadPort = "Invalid endpoint: port not correctly specified";

std::string refusal(const auto& call) {
  return test::messageFrom<EndpointInvalid>(call);
}

TEST(SplitHostPort, takesEndpointsApartAndRefusesWhatIsNone) {
  const std::tuple<const char*, const char*, int> cases[] = {
      {"host:", "host", 1000},        {"host::", "host", 1000},
      {"host:0", "host", 1000},       {"host:100", "host", 100},
      {"host::65535", "host", 65535}, {":5", "localhost", 1005},
      {"", "localhost", 1000},        {"[fe80::1%eth0]::5", "[fe80::1%eth0]", 5},
  };
  plat::String host;
  for (const auto& [text, expectedHost, expectedPort] : cases) {
    int port = -1;
    splitHostPort(text, host, &port, BasePort, PortRange);
    EXPECT_STREQ(host.get(), expectedHost) << text;
    EXPECT_EQ(port, expectedPort) << text;
  }
  splitHostPort("only:", host, nullptr, -1, 0);
  EXPECT_STREQ(host.get(), "only");

  const std::tuple<const char*, int, std::vector<const char*>> refused[] = {
      // with the default port
      {Empty, -1, {""}},
      {Empty, BasePort, {"[]:5"}},
      {Bracket, BasePort, {"[::1"}},
      {"Invalid endpoint", BasePort, {"[::1]x", "[a[b]", "a]b:5"}},
      {BadPort, -1, {"host", "host:"}},
      {BadPort, 65536, {"host"}},
      {BadPort, BasePort, {"host::0", "host:65536", "host:5x", "host:-5", "host:::5", "host::99999999999999999999"}},
  };
  for (const auto& [expected, defaultPort, texts] : refused) {
    for (const char* text : texts) {
      int port = 77;
      const auto split = std::bind(splitHostPort, text, std::ref(host), &port, defaultPort, PortRange);
      EXPECT_EQ(refusal(split), expected) << text;
      EXPECT_EQ(port, 77);
    }
  }
  EXPECT_EQ(refusal([&] { splitHostPort("host:5", host, nullptr, BasePort, PortRange); }), BadPort);
  EXPECT_STREQ(EndpointInvalid("io_error_endpoint_empty").type, "EndpointInvalid");
}

TEST(FormatEndpoint, isTheShortestFormThatIsTakenApartAgain) {
  const std::tuple<const char*, int, int, int, const char*> cases[] = {
      {"host", 1000, 1000, 100, "host"},
      {"host", 1099, 1000, 100, "host:99"},
      {"host", 1100, 1000, 100, "host::1100"},
      {"host", 999, 1000, 100, "host::999"},
      {"host", 1005, 1000, 0, "host:1005"},
      {"fe80::1", 80, -1, -1, "[fe80::1]::80"},
      {"[fe80::1]", -1, -1, -1, "[fe80::1]"},
      {"host", -2, INT_MAX, 1, "host::-2"},
      {"host", INT_MAX, -2, INT_MAX, "host::2147483647"},
      {":", 65535, 65535, 0, "[:]"},
  };
  for (const auto& [host, port, basePort, portRange, text] : cases) {
    EXPECT_STREQ(formatEndpoint(host, port, basePort, portRange).get(), text);
    if (port > 0 && port < INT_MAX) {
      plat::String hostAgain;
      int portAgain = -1;
      splitHostPort(text, hostAgain, &portAgain, basePort, portRange);
      EXPECT_EQ(hostAgain, bracketHost(host)) << text;
      EXPECT_EQ(portAgain, port) << text;
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
    EXPECT_EQ(refusal([&] { unescapeEndpoint(text, false); }), "Invalid endpoint: incorrect % escape");
  }
}

}  // namespace
