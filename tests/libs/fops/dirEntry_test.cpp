#include "libs/fops/DirEntry.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/rdr/BlockException.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/StringTooLongException.h"
#include "libs/fops/BadPath.h"
#include "libs/fops/dirEntryIo.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

OsAttr attr(const std::string& name, const std::vector<std::uint8_t>& value) {
  return OsAttr(name, value);
}

DirEntry sampleEntry() {
  DirEntry entry("f\xC3\xBCr 1.txt", ReadOnly | Hidden);
  entry.size = 0x0102030405060708;
  entry.createTime = -1;
  entry.accessTime = 2;
  entry.modifyTime = INT64_MAX;
  entry.osAttrs.push_back(attr("B", {}));
  entry.osAttrs.push_back(attr("UNIX", {0x81, 0x24}));
  entry.osAttrs.push_back(attr(std::string(40, 'n'), std::vector<std::uint8_t>(70, 7)));
  return entry;
}

std::string written(const DirEntry& entry) {
  return writtenBytes([&](rdr::OutStream& out) { writeDirEntry(entry, out); });
}

DirEntry readBack(const std::string& bytes, bool allowEmptyName = false) {
  rdr::MemInStream in(bytes.data(), static_cast<int>(bytes.size()));
  DirEntry entry("old", Directory);
  entry.osAttrs.push_back(attr("OLD", {1}));
  readDirEntry(entry, in, allowEmptyName);
  EXPECT_TRUE(in.atEnd());
  return entry;
}

std::string recordWithName(const std::string& name) {
  return Body().text(name).zeros(8 * 4 + 4 + 1).bytes();
}

// OsAttrs

TEST(OsAttrs, keepsSmallAndLargeAttributesThroughCopyAndMove) {
  for (std::size_t count = 0; count < 5; ++count) {
    OsAttrs attrs;
    std::vector<OsAttr> expected;
    for (std::size_t i = 0; i < count; ++i) {
      expected.push_back(attr(std::string(i * 3, 'x'), std::vector<std::uint8_t>(i, static_cast<std::uint8_t>(i))));
      attrs.push_back(expected.back());
    }
    const OsAttrs copy = attrs;
    const OsAttrs moved = std::move(attrs);
    for (const OsAttrs* list : {&copy, &moved}) {
      ASSERT_EQ(count, list->size());
      EXPECT_TRUE(std::equal(expected.begin(), expected.end(), list->begin(), list->end()));
    }
    attrs.clear();
    EXPECT_EQ(0u, attrs.size());
    attrs.push_back(attr("again", {1, 2, 3}));
    ASSERT_EQ(1u, attrs.size());
    EXPECT_STREQ("again", attrs[0].name());
  }
}

TEST(OsAttrs, refusesAValueThatTheWireCannotCarry) {
  EXPECT_EQ(65535u, attr("a", std::vector<std::uint8_t>(65535)).value().size());
  EXPECT_THROW(attr("a", std::vector<std::uint8_t>(65536)), plat::AssertionFail);
}

// The record

TEST(DirEntry, checksItsName) {
  EXPECT_STREQ("a", DirEntry("a", Directory).name.get());
  for (const char* name : {"", ".", "..", "a/b", "\xFF"}) {
    SCOPED_TRACE(name);
    EXPECT_THROW(DirEntry(name, 0), BadPath);
  }
}

TEST(DirEntry, takesTheModeFromItsAttributeOrElseFromItsFlags) {
  struct {
    std::uint32_t flags;
    int mode;
  } const derived[] = {{5, 0555}, {4, 0444}, {1, 0755}, {0, 0644}};
  for (const auto& c : derived) {
    DirEntry entry("x", c.flags);
    EXPECT_EQ(c.mode, unixMode(entry));
    entry.osAttrs.push_back(attr("UNIX", {1, 2, 3}));
    entry.osAttrs.push_back(attr("unix", {1, 2}));
    EXPECT_EQ(c.mode, unixMode(entry)) << "attributes of another size or name";
    setUnixMode(entry, 0100700);
    EXPECT_EQ(0100700, unixMode(entry));
    setUnixMode(entry, 0100777);
    EXPECT_EQ(0100700, unixMode(entry)) << "the first one counts";
  }
}

TEST(DirEntry, isPrivateWithoutBitsForGroupAndOthers) {
  for (const int mode : {0100700, 0100600, 0107400})
    EXPECT_TRUE(isPrivateMode([&] {
      DirEntry entry("x", 0);
      setUnixMode(entry, static_cast<std::uint16_t>(mode));
      return entry;
    }()));
  EXPECT_FALSE(isPrivateMode(DirEntry("x", 0)));
}

TEST(DirEntry, isFoundByTheBytesOfItsName) {
  std::vector<DirEntry> list{DirEntry("a", 1), DirEntry("b", 2), DirEntry("b", 3), DirEntry()};
  EXPECT_EQ(&list[1], findDirEntry(list, "b"));
  EXPECT_EQ(&list[3], findDirEntry(list, nullptr));
  EXPECT_EQ(nullptr, findDirEntry(list, "B"));
  EXPECT_EQ(nullptr, findDirEntry({}, "a"));
}

// The wire form

TEST(DirEntryIo, writesTheFieldsInTheirOrder) {
  DirEntry entry("ab", Directory | HasSubdirs);
  entry.size = 1;
  entry.createTime = 2;
  entry.accessTime = 3;
  entry.modifyTime = -2;
  setUnixMode(entry, 040755);
  using namespace std::string_literals;
  const std::string expected = "\0\0\0\x02"s + "ab" + "\0\0\0\0\0\0\0\x01"s + "\0\0\0\0\0\0\0\x02"s +
                               "\0\0\0\0\0\0\0\x03"s + "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE" + "\0\0\0\x09"s + "\x01" +
                               "\x04" + "UNIX" + "\0\x02"s + "\x41\xED";
  EXPECT_EQ(expected, written(entry));
}

TEST(DirEntryIo, readsBackWhatItWrote) {
  const DirEntry entry = sampleEntry();
  EXPECT_TRUE(entry == readBack(written(entry)));
}

TEST(DirEntryIo, replacesEverythingInTheEntryThatItReadsInto) {
  const DirEntry plain("new", 0);
  EXPECT_TRUE(plain == readBack(written(plain)));
}

TEST(DirEntryIo, writesAnEmptyEntryAsZeros) {
  const std::string bytes = written(DirEntry());
  EXPECT_EQ(std::string(4 + 8 * 4 + 4 + 1, '\0'), bytes);
  EXPECT_TRUE(readBack(bytes, true).name.isNull());
  EXPECT_THROW(readBack(bytes, false), BadPath);
}

TEST(DirEntryIo, cutsALongAttributeNameAndTakesNoMoreThan255Attributes) {
  DirEntry entry("x", 0);
  entry.osAttrs.push_back(attr(std::string(300, 'n'), {9}));
  const DirEntry cut = readBack(written(entry));
  ASSERT_EQ(1u, cut.osAttrs.size());
  EXPECT_EQ(std::string(255, 'n'), cut.osAttrs[0].name());

  while (entry.osAttrs.size() < 255)
    entry.osAttrs.push_back(attr("a", {1}));
  EXPECT_EQ(255u, readBack(written(entry)).osAttrs.size());
  entry.osAttrs.push_back(attr("a", {1}));
  try {
    written(entry);
    ADD_FAILURE() << "256 attributes were written";
  } catch (const plat::AssertionFail& e) {
    EXPECT_STREQ("osAttrs.size() < 256", e.expression);
    EXPECT_STREQ("libs/fops/DirEntry", e.file);
  }
}

TEST(DirEntryIo, takesNamesUpToTheirLimit) {
  EXPECT_EQ(std::string(1024, 'n'), readBack(recordWithName(std::string(1024, 'n'))).name.get());
  EXPECT_THROW(readBack(recordWithName(std::string(1025, 'n'))), rdr::StringTooLongException);
}

TEST(DirEntryIo, repairsTextBeforeItChecksIt) {
  EXPECT_STREQ("a\xEF\xBF\xBD", readBack(recordWithName("a\xFF")).name.get());
  const std::string record = Body().text("x").zeros(8 * 4 + 4).u8(1).shortText("N\xFF").u16(1).u8(7).bytes();
  EXPECT_STREQ("N\xEF\xBF\xBD", readBack(record).osAttrs[0].name());
}

TEST(DirEntryIo, refusesANameThatNoPathCouldHoldAfterTheWholeRecord) {
  for (const char* name : {"", ".", "..", "a/b", "/"}) {
    SCOPED_TRACE(name);
    const std::string record = recordWithName(name);
    rdr::MemInStream in(record.data(), static_cast<int>(record.size()));
    DirEntry entry;
    EXPECT_THROW(readDirEntry(entry, in, false), BadPath);
    EXPECT_TRUE(in.atEnd());
  }
}

// Lists

std::vector<DirEntry> sampleList(int count) {
  std::vector<DirEntry> list;
  for (int i = 0; i < count; ++i) {
    list.push_back(sampleEntry());
    list.back().name = plat::String::format("entry %d", i);
  }
  return list;
}

std::string writtenList(const std::vector<DirEntry>& list) {
  return writtenBytes([&](rdr::OutStream& out) { writeDirEntries(list, out); });
}

TEST(DirEntryList, isTakenUpAtTheEntryWhereTheBytesRanOut) {
  const std::vector<DirEntry> expected = sampleList(3);
  const std::string bytes = writtenList(expected);
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    FeedStream in(bytes);
    in.arrive(cut);
    std::vector<DirEntry> list;
    std::int32_t cursor = -1;
    EXPECT_THROW(readDirEntries(list, in, cursor), rdr::BlockException);
    const std::int32_t stoppedAt = cursor;
    in.arriveAll();
    readDirEntries(list, in, cursor);
    EXPECT_EQ(-1, cursor);
    EXPECT_GE(stoppedAt, -1);
    EXPECT_LT(stoppedAt, 3);
    EXPECT_TRUE(expected == list) << "cut at " << cut;
    EXPECT_EQ(0, in.nUnread());
  }
}

TEST(DirEntryList, ofNoEntriesEmptiesTheList) {
  rdr::MemInStream in("\0\0\0\0", 4);
  std::vector<DirEntry> list = sampleList(2);
  std::int32_t cursor = -1;
  readDirEntries(list, in, cursor);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(-1, cursor);
}

TEST(DirEntryList, mustBeShorterThanItsLimit) {
  const ParameterValue limit("_MaxDirEntries", "10");
  for (const std::uint32_t count : {9u, 10u, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(count);
    std::string bytes = writtenList(sampleList(9));
    bytes.replace(0, 4, Body().u32(count).bytes());
    rdr::MemInStream in(bytes.data(), static_cast<int>(bytes.size()));
    std::vector<DirEntry> list;
    std::int32_t cursor = -1;
    try {
      readDirEntries(list, in, cursor);
      EXPECT_EQ(9u, count);
      EXPECT_EQ(9u, list.size());
    } catch (const plat::AssertionFail& e) {
      EXPECT_NE(9u, count);
      EXPECT_STREQ("count >= 0 && count < maxDirEntries", e.expression);
      EXPECT_EQ(-1, cursor);
    }
  }
}

TEST(DirEntryParameters, haveTheirDefaults) {
  EXPECT_EQ(1048576, parameterInt("_MaxDirEntries"));
  EXPECT_FALSE(fopsPreserveTimestamps());
  const ParameterValue set("_FopsPreserveTimestamps", "1");
  EXPECT_TRUE(fopsPreserveTimestamps());
}

}  // namespace
}  // namespace fops
