// What the helper says about itself when it is asked for help. Every description stands in docs/parameters.md, which
// scripts/parameter-docs compares with the program.

#include <sstream>

#include "base/plat/config/ConfigParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/usage/configXml.h"
#include "base/plat/utf8.h"
#include "tests/apps/Child.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;

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

/// The simple parameters with their values, to the character; the advanced ones have the same form.
constexpr const char* Simple =
    "\n\nParameters can be turned on with -<param> or off with -<param>=0\n"
    "Values can be specified as -<param> <value>\n"
    "Other valid forms are <param>=<value> -<param>=<value> --<param>=<value>\n"
    "Names are case-insensitive.  Valid parameters are listed below.\n\n"
    "Global parameters:\n"
    "  Locale         - Locale to use. Specify one of en_US, de_DE, es_ES, fr_FR, or\n"
    "                   pt_BR, or leave empty to select the user or system locale as\n"
    "                   appropriate. (default=)\n"
    "  Log            - Record events in the format <log>:<target>:<level>[,...].\n"
    "                   (default=*:stderr:0)\n"
    "  LogDir         - Directory in which to store log output directed to file.\n"
    "                   (default=$KEL_PROFILE_DIR)\n"
    "  LogFile        - File in which to store log output directed to file.\n"
    "                   (default=kelfopshelper.log)\n"
    "  LogKeepDays    - Keep log files for X days. (default=30)\n";

TEST(Help, listsTheSimpleParametersWithWhatIsInForce) {
  const std::string help = helpFor({"-Log", "*:stderr:0", "-help"});
  EXPECT_TRUE(help.starts_with("kelfopshelper ")) << help;
  EXPECT_TRUE(help.ends_with(Simple)) << help;
}

TEST(Help, listsAllParametersLogNamesAndDestinations) {
  const std::string help = helpFor({"/?", "ALL"});
  EXPECT_THAT(help, HasSubstr("\n  ElevateCmdSingleArg - Whether the ElevateCmd parameter is followed by a\n"
                              "                   single argument"));
  EXPECT_TRUE(help.ends_with("\n\nLog destinations:\n  ipc\n  file\n  stderr\n")) << help;
  const std::string title = "(default=134217728)\n\nLog names:\n";
  const std::size_t found = help.find(title);
  ASSERT_NE(found, std::string::npos) << help;
  expectNarrowLines(help.substr(found));
  std::istringstream words(help.substr(found + title.size(), help.find("\n\nLog dest") - found - title.size()));
  std::vector<std::string> names;
  for (std::string name; words >> name;) {
    names.push_back(name.back() == ',' ? name.substr(0, name.size() - 1) : name);
  }
  EXPECT_THAT(names,
              UnorderedElementsAre("Assertion", "ConfigParameter", "Configuration", "DynamicFn", "FdIo", "FdOutStream",
                                   "FileConfig", "FilePtr", "FileReceiver", "FileSender", "FopsHelper", "FopsProto",
                                   "Ipc", "LaunchProcess", "LocalDirActions", "LocalFileServer", "LocalFileWriter",
                                   "Localize", "ProcessMonitor", "SFopsProto", "SocketUtil", "TcpIo", "Threading",
                                   "TimerManager", "TransactedFile", "getDirEntry", "kelfopshelper"));
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
  std::vector<std::string> defaults;
  for (plat::Configuration::Iterator all(in, true); const plat::ConfigParameter* parameter = all.next();) {
    defaults.push_back(std::string(parameter->name()) + '=' + parameter->getValueStrAt(0).orEmpty());
  }
  EXPECT_THAT(defaults, ElementsAre("MaxOutBufferSize=134217728", "LogKeepDays=30", "LogFile=kelfopshelper.log",
                                    "LogDir=$KEL_PROFILE_DIR", "Log=*:ipc:200", "Locale=", "LazyFlushTimeout=60",
                                    "FopsDir=/", "ElevateCmdSingleArg=0", "ElevateCmd=", "CompactLog=0"));
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
  }
}

}  // namespace
