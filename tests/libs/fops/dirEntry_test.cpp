// Paths, and the entries of listings that are named by their last element.

#include "libs/fops/DirEntry.h"

#include "base/rdr/MemInStream.h"
#include "libs/fops/dirEntryIo.h"
#include "libs/fops/exceptions.h"
#include "libs/fops/local/LocalFsRoot.h"
#include "libs/fops/path.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

const char Empty[] = "[BadPath] Invalid path: empty";
const char Dots[] = "[BadPath] Invalid path: . or ..";
const char Slash[] = "[BadPath] Invalid path: element contains /";
const char BadText[] = "[BadPath] Invalid path: bad UTF-8";
const char Null[] = "[BadPath] Invalid path: null";
const char Absolute[] = "[BadPath] Invalid path: starts with /";
const char Outside[] = "[BadPath] Path is not absolute or not within root dir";

using Bytes = std::vector<std::uint8_t>;

DirEntry sampleEntry(const char* name = "f\xC3\xBCr 1.txt") {
  DirEntry entry(name, ReadOnly | Hidden);
  entry.size = 0x0102030405060708;
  entry.createTime = -1;
  entry.accessTime = 2;
  entry.modifyTime = INT64_MAX;
  entry.osAttrs.push_back(OsAttr("B", {}));
  entry.osAttrs.push_back(OsAttr("UNIX", Bytes{0x81, 0x24}));
  entry.osAttrs.push_back(OsAttr(std::string(40, 'n'), Bytes(70, 7)));
  return entry;
}

std::string written(const DirEntry& entry) {
  rdr::MemOutStream out;
  writeDirEntry(entry, out);
  return test::contents(out);
}

DirEntry readBack(const std::string& bytes, bool allowEmptyName = false) {
  rdr::MemInStream in(bytes.data(), static_cast<int>(bytes.size()));
  DirEntry entry = sampleEntry("old");
  try {
    readDirEntry(entry, in, allowEmptyName);
  } catch (const BadPath&) {
    EXPECT_TRUE(in.atEnd()) << "raised before the whole record was consumed";
    throw;
  }
  EXPECT_TRUE(in.atEnd());
  return entry;
}

TEST(CheckPath, reportsTheFirstReasonThatApplies) {
  struct {
    const char* element;
    unsigned flags;
    const char* reason;
  } const elements[] = {
      {"", 0, Empty},
      {"", AllowEmptyElement, ""},
      {nullptr, AllowEmptyElement, ""},
      {"..", RefuseBackslash | AllowEmptyElement, Dots},
      {"a/b", 0, Slash},
      {"a\\b", RefuseBackslash, "[BadPath] Invalid path: element contains \\"},
      {"a/\\", RefuseBackslash, Slash},
      {"/\xFF", 0, BadText},
  };
  for (const auto& c : elements) {
    EXPECT_EQ(c.reason, failureOf([&] { checkPathElement(c.element, c.flags); })) << Shown(c.element);
  }
  struct {
    const char *path, *strict, *lenient;
  } const paths[] = {
      {nullptr, Null, Null},      {"", Empty, ""},        {"a/b\\c/..d", "", ""},
      {"a//b", Empty, ""},        {"a/", Empty, ""},      {"/a", Absolute, Absolute},
      {"//", Absolute, Absolute}, {"..", Dots, Dots},     {"a/../b", Dots, Dots},
      {"a/./b", Dots, Dots},      {"a//..", Empty, Dots}, {"a/\xFF/b", BadText, BadText},
  };
  for (const auto& c : paths) {
    EXPECT_EQ(c.strict, failureOf([&] { checkPath(c.path); })) << Shown(c.path);
    EXPECT_EQ(c.lenient, failureOf([&] { checkDirPath(c.path); })) << Shown(c.path);
  }
  EXPECT_DEATH((void)joinPath("a", nullptr), "Assertion 'f && f\\[0\\] != '/'' failed at libs/fops/path:34");
}

TEST(LocalFsRoot, givesThePathBelowTheRootAndTheWayBack) {
  struct {
    const char *root, *local, *client;
    const char* reason;  // in the strict form; in the lenient one a path outside gives an empty path
  } const cases[] = {
      {"/srv/data", "/srv/data/x/y", "x/y", ""},
      {"/srv/data", "/srv/data", "", Outside},
      {"/srv/data", "/srv/data/", "", ""},
      {"/srv/data", "/srv/database/x", "", Outside},
      {"/srv/data", "/SRV/data/x", "", Outside},
      {"/srv/data", "/srv/data/x//y/", "x//y/", ""},
      {"/srv/data", "/srv/data//x", nullptr, Absolute},
      {"/srv/data", "/srv/data/../x", nullptr, Dots},
      {"/srv/data/", "/srv/data/x", "x", ""},
      {"/", "/home/u", "home/u", ""},
      {"/", "//name", nullptr, Absolute},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.local);
    const LocalFsRoot root(c.root);
    EXPECT_EQ(c.reason, failureOf([&] { EXPECT_STREQ(c.client, root.toClientPath(c.local, true).get()); }));
    EXPECT_EQ(c.client ? "" : c.reason,
              failureOf([&] { EXPECT_STREQ(c.client, root.toClientPath(c.local, false).get()); }));
    if (*c.reason == '\0' && *c.client != '\0') {
      EXPECT_STREQ(c.local, root.toLocalPath(c.client).get());
    }
  }
  EXPECT_STREQ("/srv", LocalFsRoot("/srv").toLocalPath(nullptr).get());
  EXPECT_STREQ("/srv/", LocalFsRoot("/srv/").toLocalPath("").get());
  EXPECT_FALSE(LocalFsRoot("//").isFsRoot());
  const ParameterValue setting("_FopsCaseSensitive", "0");
  EXPECT_STREQ("File", LocalFsRoot("/Srv").toClientPath("/SRV/File", true).get());
  EXPECT_THROW(LocalFsRoot{"./srv"}, plat::AssertionFail);
}

TEST(DirEntry, takesTheModeFromItsAttributeOrElseFromItsFlags) {
  for (const auto& [flags, mode] : {std::pair(5U, 0555), {4U, 0444}, {1U, 0755}, {0U, 0644}}) {
    DirEntry entry("x", flags);
    EXPECT_EQ(mode, unixMode(entry));
    EXPECT_FALSE(isPrivateMode(entry));
    entry.osAttrs.push_back(OsAttr("UNIX", Bytes{1, 2, 3}));
    entry.osAttrs.push_back(OsAttr("unix", Bytes{1, 2}));
    EXPECT_EQ(mode, unixMode(entry)) << "attributes of another size or name";
    setUnixMode(entry, 0100700);
    setUnixMode(entry, 0100777);
    EXPECT_EQ(0100700, unixMode(entry)) << "the first one counts";
    EXPECT_TRUE(isPrivateMode(entry));
  }
  EXPECT_THROW(DirEntry("a/b", 0), BadPath);
}

TEST(DirEntryIo, writesTheFieldsInTheirOrderAndReadsThemBack) {
  Body expected;
  expected.text("f\xC3\xBCr 1.txt").u64(0x0102030405060708).u64(UINT64_MAX).u64(2).u64(INT64_MAX).u32(6).u8(3);
  expected.shortText("B").u16(0).shortText("UNIX").u16(2).raw("\x81\x24");
  expected.shortText(std::string(40, 'n')).u16(70).raw(std::string(70, 7));
  EXPECT_EQ(expected, written(sampleEntry()));
  EXPECT_TRUE(sampleEntry() == readBack(expected));
  const DirEntry plain("new", 0);
  EXPECT_TRUE(plain == readBack(written(plain))) << "nothing stays of what was in the entry";
  const std::string empty = written(DirEntry());
  EXPECT_EQ(Body().zeros(4 + 8 * 4 + 4 + 1), empty);
  EXPECT_TRUE(readBack(empty, true).name.isNull());
}

TEST(DirEntryIo, cutsALongAttributeNameAndTakesNoMoreThan255Attributes) {
  EXPECT_THROW(OsAttr("a", Bytes(65536)), plat::AssertionFail) << "more than the wire can carry";
  DirEntry entry("x", 0);
  entry.osAttrs.push_back(OsAttr(std::string(300, 'n'), Bytes{9}));
  EXPECT_EQ(std::string(255, 'n'), readBack(written(entry)).osAttrs[0].name());
  while (entry.osAttrs.size() < 255) {
    entry.osAttrs.push_back(OsAttr("a", Bytes{1}));
  }
  EXPECT_EQ(255U, readBack(written(entry)).osAttrs.size());
  entry.osAttrs.push_back(OsAttr("a", Bytes{1}));
  EXPECT_NE(std::string::npos, failureOf([&] { written(entry); }).find("'osAttrs.size() < 256' failed at libs/fops/"));
}

TEST(DirEntryIo, repairsAndChecksTheNameThatItReads) {
  const auto read = [](const std::string& name) { return std::string(readBack(Body().entry(name)).name.get()); };
  EXPECT_EQ(std::string(1024, 'n'), read(std::string(1024, 'n')));
  EXPECT_EQ("a\xEF\xBF\xBD", read("a\xFF"));
  EXPECT_THROW(read(std::string(1025, 'n')), rdr::StringTooLongException);
  EXPECT_THROW(read(""), BadPath);
  EXPECT_THROW(read("a/b"), BadPath);
  const std::string record = Body().text("x").zeros(8 * 4 + 4).u8(1).shortText("N\xFF").u16(1).u8(7);
  EXPECT_STREQ("N\xEF\xBF\xBD", readBack(record).osAttrs[0].name());
}

TEST(DirEntryIo, takesAListThatIsShorterThanItsLimit) {
  const ParameterValue limit("_MaxDirEntries", "2");
  for (const std::uint32_t count : {0U, 1U, 2U, 0x80000000U}) {
    SCOPED_TRACE(count);
    const std::string bytes = Body().u32(count).entry("e");
    rdr::MemInStream in(bytes.data(), static_cast<int>(bytes.size()));
    std::vector<DirEntry> list{sampleEntry(), sampleEntry()};
    std::int32_t cursor = -1;
    const std::string failure = failureOf([&] { readDirEntries(list, in, cursor); });
    EXPECT_EQ(failure.find("'count >= 0 && count < maxDirEntries'") != std::string::npos, count >= 2) << failure;
    EXPECT_EQ(list.size(), count < 2 ? count : 2);
    EXPECT_EQ(-1, cursor);
  }
}

}  // namespace
}  // namespace fops
