// What the helper says about itself when it is asked for help: to the character, but for the product's own lines.

#include <algorithm>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/plat/config/ConfigParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/usage/configXml.h"
#include "base/plat/utf8.h"
#include "tests/apps/Child.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// Parameters that are taken but listed nowhere.
const std::vector<std::string> Hidden = {"_FopsMaxChunkSize=1", "_MaxDirEntries=1", "_FopsCaseSensitive=0",
                                         "_FopsPreserveTimestamps=1", "_BadUtf8Assert=1"};

/// Standard output of the helper, which must end with 1, for arguments behind its link.
std::string helpFor(std::vector<std::string> words) {
  words.insert(words.begin(), Hidden.begin(), Hidden.end());
  const Outcome outcome = run({"/bin/sh", "-c", R"(exec "$0" -dummy "$@" <>/dev/null)", helper()}, words);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors, "");
  return outcome.output;
}

void expectNarrowLines(const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_LE(plat::utf8Width(line.c_str()), 79) << line;
  }
}

std::string behind(const std::string& text, const std::string& mark) {
  const std::size_t found = text.find(mark);
  EXPECT_NE(found, std::string::npos) << mark << " in\n" << text;
  return found == std::string::npos ? "" : text.substr(found + mark.size());
}

constexpr const char* Usage =
    "\n\nParameters can be turned on with -<param> or off with -<param>=0\n"
    "Values can be specified as -<param> <value>\n"
    "Other valid forms are <param>=<value> -<param>=<value> --<param>=<value>\n"
    "Names are case-insensitive.  Valid parameters are listed below.\n\n";

constexpr const char* Title = "Global parameters:\n";

constexpr const char* AdvancedBefore =
    "  CompactLog     - Whether to produce more compact logging lines for\n"
    "                   readability.  Also produces times in local timezone instead\n"
    "                   of UTC (default=0)\n"
    "  ElevateCmd     - Command to run to obtain root privilege.  Must be an\n"
    "                   absolute path and will be followed by arguments specifying\n"
    "                   the command to be run.  For example \"/usr/bin/xterm -e sudo\"\n"
    "                   (default=)\n"
    "  ElevateCmdSingleArg - Whether the ElevateCmd parameter is followed by a\n"
    "                   single argument with shell quoting (true) or multiple\n"
    "                   arguments (false) (default=0)\n"
    "  FopsDir        - Directory to make available via file transfer (default=/)\n"
    "  LazyFlushTimeout - Maximum number of seconds for which attempts should be\n"
    "                   made to flush data to an unresponsive client (maximum 49\n"
    "                   days) (default=60)\n";

constexpr const char* Simple =
    "  Locale         - Locale to use. Specify one of en_US, de_DE, es_ES, fr_FR, or\n"
    "                   pt_BR, or leave empty to select the user or system locale as\n"
    "                   appropriate. (default=)\n"
    "  Log            - Record events in the format <log>:<target>:<level>[,...].\n"
    "                   (default=*:ipc:200)\n"
    "  LogDir         - Directory in which to store log output directed to file.\n"
    "                   (default=$KEL_PROFILE_DIR)\n"
    "  LogFile        - File in which to store log output directed to file.\n"
    "                   (default=kelfopshelper.log)\n"
    "  LogKeepDays    - Keep log files for X days. (default=30)\n";

constexpr const char* AdvancedAfter =
    "  MaxOutBufferSize - The maximum number of bytes to buffer internally when\n"
    "                   writing to slow connections.  Larger values improve\n"
    "                   concurrency, smaller values reduce memory usage.  Changes to\n"
    "                   this setting affect new connections only.\n"
    "                   (default=134217728)\n";

TEST(Help, listsTheSimpleParametersWithWhatIsInForce) {
  const std::string help = helpFor({"-Log", "*:stderr:0", "-help"});
  EXPECT_EQ(help.find("kelfopshelper "), 0u);
  std::string list = std::string(Title) + Simple;
  list.replace(list.find("*:ipc:200"), 9, "*:stderr:0");
  EXPECT_EQ(behind(help, Usage), list);
}

TEST(Help, listsAllParametersLogNamesAndDestinations) {
  const std::string help = helpFor({"/?", "ALL"});
  const std::string lists = behind(help, std::string(Usage) + Title + AdvancedBefore + Simple + AdvancedAfter);
  expectNarrowLines(lists);
  EXPECT_TRUE(lists.starts_with("\nLog names:\n  ")) << lists;
  EXPECT_TRUE(lists.ends_with("\n\nLog destinations:\n  ipc\n  file\n  stderr\n")) << lists;
  std::istringstream words(lists.substr(0, lists.find("\n\nLog dest")));
  std::vector<std::string> names;
  for (std::string name; words >> name;) {
    names.push_back(name.back() == ',' ? name.substr(0, name.size() - 1) : name);
  }
  std::sort(names.begin(), names.end());
  EXPECT_THAT(names, ElementsAre("Assertion", "ConfigParameter", "Configuration", "DynamicFn", "FdIo", "FdOutStream",
                                 "FileConfig", "FilePtr", "FileReceiver", "FileSender", "FopsHelper", "FopsProto",
                                 "Ipc", "LaunchProcess", "LocalDirActions", "LocalFileServer", "LocalFileWriter",
                                 "Localize", "Log", "ProcessMonitor", "SFopsProto", "SocketUtil", "TcpIo", "Threading",
                                 "TimerManager", "TransactedFile", "getDirEntry", "kelfopshelper", "names:"));
}

TEST(Help, describesItselfInXmlThatComesInAgain) {
  const std::string xml = helpFor({"-LogFile", "a\n<b>\x01", "-help", "xml"});
  EXPECT_THAT(xml, HasSubstr("<string name=\"FopsDir\"\n"
                             "        description=\"Directory to make available via file transfer\"\n"
                             "        advanced=\"true\">\n"
                             "    <value data=\"/\" priority=\"0\"/>\n"
                             "</string>\n"
                             "<int    name=\"LazyFlushTimeout\"\n"));
  EXPECT_THAT(xml, HasSubstr("        advanced=\"true\"\n        min=\"16384\"\n        max=\"2147483647\">\n"));
  plat::Configuration in("In");
  plat::configFromXml(in, xml.c_str());
  EXPECT_EQ(plat::configToXml(in, true, false).view(), xml);
  EXPECT_EQ(in.getParam("LogFile").getValueStrAt(10), "a\n<b>\x01");
  std::vector<std::string> names;
  for (plat::Configuration::Iterator all(in, true); const plat::ConfigParameter* parameter = all.next();) {
    names.insert(names.begin(), parameter->name());
  }
  EXPECT_THAT(names, ElementsAre("CompactLog", "ElevateCmd", "ElevateCmdSingleArg", "FopsDir", "LazyFlushTimeout",
                                 "Locale", "Log", "LogDir", "LogFile", "LogKeepDays", "MaxOutBufferSize"));
}

TEST(Help, speaksTheLanguageInForce) {
  for (const char* locale : {"de_DE", "fr_FR", "es_ES", "pt_BR"}) {
    SCOPED_TRACE(locale);
    const std::string help = helpFor({std::string("Locale=") + locale, "--HELP"});
    EXPECT_THAT(help, Not(HasSubstr("Names are case-insensitive.")));
    EXPECT_THAT(help, HasSubstr("=30)"));
    expectNarrowLines(help);
    const std::string xml = helpFor({std::string("Locale=") + locale, "-h", "XML"});
    EXPECT_THAT(xml, Not(HasSubstr("description=\"Keep log files for X days.\"")));
    EXPECT_THAT(xml, Not(HasSubstr("locDesc=")));
    EXPECT_THAT(xml, HasSubstr("description=\"Directory to make available via file transfer\""));
  }
}

}  // namespace
