#include "base/io/IpInfo.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>

#include "base/io/GetAddrInfoException.h"
#include "base/io/PktInfo.h"
#include "base/plat/AssertionFail.h"
#include "tests/support/sockets.h"
#include "tests/support/thrown.h"

namespace {

using io::IpInfo;

TEST(IpInfo, knowsWhatKindOfAddressItHolds) {
  const struct {
    const char* host;
    int family;
    const char* endpoint;
    const char* kinds;  // a: any, l: loopback, k: link-local
  } cases[] = {
      {"0.0.0.0", AF_INET, "0.0.0.0::80", "a"},
      {"127.0.0.1", AF_INET, "127.0.0.1::80", "l"},
      {"127.0.0.2", AF_INET, "127.0.0.2::80", ""},
      {"169.254.0.1", AF_INET, "169.254.0.1::80", "k"},
      {"169.253.0.1", AF_INET, "169.253.0.1::80", ""},
      {"::", AF_INET6, "[::]::80", "a"},
      {"::1", AF_INET6, "[::1]::80", "l"},
      {"febf::1", AF_INET6, "[febf::1]::80", "k"},
      {"fec0::1", AF_INET6, "[fec0::1]::80", ""},
      {"::ffff:127.0.0.1", AF_INET6, "[::ffff:127.0.0.1]::80", ""},
      {"2001:db8:0::5", AF_INET6, "[2001:db8::5]::80", ""},
      {"fe80::1%lo", AF_INET6, "[fe80::1%lo]::80", "k"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.host);
    const IpInfo info(c.host, 80);
    EXPECT_EQ(info.family(), c.family);
    EXPECT_STREQ(info.endpointText().get(), c.endpoint);
    const std::string kinds =
        std::string(info.isAny() ? "a" : "") + (info.isLoopback() ? "l" : "") + (info.isLinkLocal() ? "k" : "");
    EXPECT_EQ(kinds, c.kinds);
    const IpInfo again(info.binaryAddress(), 80);
    EXPECT_EQ(again, info);
    EXPECT_EQ(IpInfo(info.address(), info.addressLength()).endpointText(), info.endpointText());
    EXPECT_FALSE(info == IpInfo(c.host, 81));
    EXPECT_FALSE(info.equals(nullptr));
  }
  EXPECT_FALSE(IpInfo("0.0.0.0", 80) == IpInfo("::", 80));
  EXPECT_EQ(IpInfo(80, true, AF_INET), IpInfo("127.0.0.1", 80));
  EXPECT_EQ(IpInfo(0, false, AF_INET), IpInfo("0.0.0.0", 0));
  EXPECT_EQ(IpInfo(80, true, AF_INET6), IpInfo("::1", 80));
  EXPECT_EQ(IpInfo(65535, false, AF_INET6), IpInfo("::", 65535));
  EXPECT_STREQ(IpInfo("2001:db8::5", 80).displayText("P", nullptr).get(), "2001:db8::5::80 (P)");
  EXPECT_STREQ(IpInfo("2001:db8::5", 80).displayText("P", "a.host").get(), "a.host::80 (P)");
}

TEST(IpInfo, refusesWhatIsNoAddress) {
  const auto failedAssertion = [](const auto& call) {
    const std::string message = test::messageFrom<plat::AssertionFail>(call);
    const std::size_t place = message.find(" failed at base/io/IpInfo:");
    return place == std::string::npos ? message : message.substr(0, place);
  };
  sockaddr_storage path = {};
  path.ss_family = AF_UNIX;
  const auto* const address = reinterpret_cast<const sockaddr*>(&path);
  EXPECT_EQ(failedAssertion([&] { IpInfo(address, sizeof path); }),
            "Assertion 'len == sizeof(sockaddr_in) || ((len) == sizeof(sockaddr_in6))'");
  EXPECT_EQ(failedAssertion([&] { IpInfo(address, sizeof(sockaddr_in)); }),
            "Assertion 'family() == 2 || ((family()) == 10)'");
  path.ss_family = AF_INET6;
  EXPECT_THROW(IpInfo(address, sizeof(sockaddr_in)), plat::AssertionFail) << "half an address";
  EXPECT_EQ(failedAssertion([] { IpInfo(80, true, AF_UNIX); }), "Assertion 'family == 2 || ((family) == 10)'");
  EXPECT_EQ(failedAssertion([] { IpInfo(plat::MBuf<unsigned char>(5), 80); }),
            "Assertion 'binAddr.length() == 4 || ((binAddr.length()) == 16)'");
  EXPECT_THROW(IpInfo(plat::MBuf<unsigned char>(4), 65536), plat::AssertionFail);
  EXPECT_THROW(IpInfo(-1, true, AF_INET), plat::AssertionFail);
  EXPECT_THROW(IpInfo(io::PktInfo(), 80), plat::AssertionFail);
  EXPECT_EQ(test::messageFrom([] { IpInfo(-1, IpInfo::End::Local); }).find("getsockname: "), 0U);
  EXPECT_EQ(test::messageFrom([] { IpInfo(-1, IpInfo::End::Peer); }).find("getpeername: "), 0U);
  EXPECT_THROW(IpInfo(test::Fd(::socket(AF_UNIX, SOCK_STREAM, 0)), IpInfo::End::Local), plat::AssertionFail);
}

/// What the resolver says; 0 without an exception.
int resolverCode(const char* host, int port) {
  try {
    const IpInfo info(host, port);
  } catch (const io::GetAddrInfoException& e) {
    return e.code;
  }
  return 0;
}

TEST(IpInfo, numericHostsAndPortsOnly) {
  for (const char* host : {"localhost", "", static_cast<const char*>(nullptr), "[::1]", "1.2.3.256"}) {
    EXPECT_EQ(resolverCode(host, 80), EAI_NONAME) << (host ? host : "null");
  }
  EXPECT_EQ(resolverCode("127.0.0.1", 65536), EAI_SERVICE);
  EXPECT_EQ(resolverCode("::1", -1), EAI_SERVICE);
}

TEST(GetAddrInfoException, hasAMessageForTheLogAndATextForTheUser) {
  const struct {
    int code;
    const char* userText;  // null: the message
  } cases[] = {{EAI_AGAIN, "Temporary name lookup failure"},
               {EAI_NONAME, "No such host is known"},
               {EAI_NODATA, "The requested name does not have an IP address"},
               {EAI_FAMILY, nullptr}};
  for (const auto& c : cases) {
    const io::GetAddrInfoException e("getaddrinfo", c.code);
    EXPECT_STREQ(e.type, "GetAddrInfo");
    EXPECT_EQ(e.message, "getaddrinfo: '" + std::string(::gai_strerror(c.code)) + "' (" + std::to_string(c.code) + ")");
    EXPECT_STREQ(e.userText(), c.userText ? c.userText : e.message);
  }
}

}  // namespace
