#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "libs/fops/SFopsProto.h"
#include "tests/libs/fops/SFopsProtoFixture.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

using SFopsReplyTest = SFopsProtoFixture;

struct RefusedCase {
  int version;
  std::string wire;
  Message reply;
  std::string line;  // the log line of the refusal, if there is one
};

const char Empty[] = "Invalid path: empty";
const char Dots[] = "Invalid path: . or ..";
const char Absolute[] = "Invalid path: starts with /";

std::vector<RefusedCase> refusedRequests() {
  const auto nothing = [](Body body) { return body.zeros(4 + 4 * 8 + 4 + 1); };  // an empty entry
  return {
      {4,
       request("DirScan", Body().text("/").u8(1).u8(1)),
       {"DirScanResult", Body().u32(0).result(Absolute, "BadPath").bytes()},
       "SFopsProto 100 Scan error: [BadPath] Invalid path: starts with /"},
      {4,
       request("ReqEntries", Body().id(5, 7).text("")),
       {"ReqEntriesResult", Body().u32(0).id(5, 7).result(Empty, "BadPath").bytes()},
       ""},
      {3,
       request("ReqEntries", Body().id(5, 7).text("").text("cd")),
       {"ReqEntriesResult", Body().u32(0).id(5, 7).text("").text("cd").result(Empty, "BadPath").bytes()},
       ""},
      {4,
       request("UploadFile", Body().id(5, 7).entry("f").text("..")),
       {"CancelByReceiver", Body().id(5, 7).result(Dots, "BadPath").bytes()},
       "SFopsProto 100 Upload file error: [BadPath] Invalid path: . or .."},
      {4,
       request("UploadFolder", Body().id(5, 7).entry("f").text("..")),
       {"UploadFolderResult", Body().id(5, 7).text("..").result(Dots, "BadPath").bytes()},
       "SFopsProto 100 Upload dir error: [BadPath] Invalid path: . or .."},
      {3,
       request("UploadFolder", Body().id(5, 7).text("cd").entry("f").text("..")),
       {"UploadFolderResult", Body().id(5, 7).text("cd").entry("f").text("..").result(Dots, "BadPath").bytes()},
       "SFopsProto 100 Upload dir result id=5.7 ..: [BadPath] Invalid path: . or .."},
      {4,
       request("DownloadFile", Body().id(5, 7).text("a/../b")),
       {"DownloadFileResult", nothing(Body().id(5, 7)).result(Dots, "BadPath").bytes()},
       "SFopsProto 100 Download file result id=5.7 <null>: [BadPath] Invalid path: . or .."},
      {3,
       request("DownloadFile", Body().id(5, 7).text("").text("cd")),
       {"DownloadFileResult", nothing(Body().id(5, 7).text("").text("cd")).result(Empty, "BadPath").bytes()},
       ""},
      {4,
       request("DownloadFolder", Body().id(5, 7).text("")),
       {"DownloadFolderResult", nothing(Body().id(5, 7)).result(Empty, "BadPath").bytes()},
       "SFopsProto 100 Download dir result id=5.7 <null>: [BadPath] Invalid path: empty"},
      {3,
       request("DownloadFolder", Body().id(5, 7).text("").text("cd")),
       {"DownloadFolderResult", nothing(Body().id(5, 7).u64(0)).text("cd").result(Empty, "BadPath").bytes()},
       ""},
      {4,
       request("CreateFolder", Body().text("..").text("n")),
       {"CreateFolderResult", Body().result(Dots, "BadPath").bytes()},
       ""},
      {4,
       request("CreateFolder", Body().text("").text("")),
       {"CreateFolderResult", Body().result(Empty, "BadPath").bytes()},
       ""},
      {4,
       request("CreateFolder", Body().text("a").text("a/b")),
       {"CreateFolderResult", Body().result("Invalid path: element contains /", "BadPath").bytes()},
       ""},
      {4,
       request("DeleteFileOrFolder", Body().text("a/")),
       {"DeleteFileOrFolderResult", Body().result(Empty, "BadPath").bytes()},
       ""},
      {4,
       request("RenameFileOrFolder", Body().text("a").text("")),
       {"RenameFileOrFolderResult", Body().result(Empty, "BadPath").bytes()},
       ""},
      {4,
       request("RenameFileOrFolder", Body().text("..").text("")),
       {"RenameFileOrFolderResult", Body().result(Dots, "BadPath").bytes()},
       ""},
  };
}

TEST_F(SFopsReplyTest, answersARefusedPathWithoutCallingTheService) {
  for (const RefusedCase& c : refusedRequests()) {
    SCOPED_TRACE(c.reply.type + " version " + std::to_string(c.version));
    startSession(c.version);
    LogLines log;
    receive(c.wire);
    EXPECT_TRUE(server.calls.empty());
    EXPECT_EQ(std::vector<Message>{c.reply}, writer.messages);
    EXPECT_TRUE(c.line.empty() || log.has(c.line));
  }
}

TEST_F(SFopsReplyTest, writesTheResultsOfTheService) {
  const plat::Exception ok;
  const plat::Exception failure("gone", "NotFound");
  DirEntry entry("e", 0);
  entry.size = 12;
  const std::vector<DirEntry> list{entry, entry};
  const std::string e = Body().entry("e", 12).bytes();
  const std::string ee = Body().u32(2).raw(e).raw(e).bytes();
  for (const int version : {3, 4}) {
    SCOPED_TRACE(version);
    const bool v3 = version == 3;
    startSession(version);
    proto.uploadFolderResult(0x700000005, "d/e", "cd", entry, ok);
    proto.downloadFileResult(0x700000005, entry, "p", "cd", ok);
    proto.downloadFolderResult(0x700000005, entry, "cd", failure);
    proto.reqEntriesResult(0x700000005, list, "p", "cd", ok);
    proto.getRootResult(entry);
    proto.dirScanResult(list, failure);
    proto.createFolderResult("p", ok);
    proto.deleteFileOrFolderResult("p", failure);
    proto.renameFileOrFolderResult("p", "q", ok);
    const auto only3 = [&](const Body& body) { return v3 ? body.bytes() : std::string(); };
    const std::vector<Message> expected = {
        {"UploadFolderResult", Body().id(5, 7).raw(only3(Body().text("cd").raw(e))).text("d/e").result("", "").bytes()},
        {"DownloadFileResult", Body().id(5, 7).raw(only3(Body().text("p").text("cd"))).raw(e).result("", "").bytes()},
        {"DownloadFolderResult", Body()
                                     .id(5, 7)
                                     .raw(only3(Body().u64(12)))
                                     .raw(e)
                                     .raw(only3(Body().text("cd")))
                                     .result("gone", "NotFound")
                                     .bytes()},
        {"ReqEntriesResult", Body().raw(ee).id(5, 7).raw(only3(Body().text("p").text("cd"))).result("", "").bytes()},
        {"GetRootResult", e},
        {"DirScanResult", Body().raw(ee).result("gone", "NotFound").bytes()},
        {"CreateFolderResult", Body().result("", "").bytes()},
        {"DeleteFileOrFolderResult", Body().result("gone", "NotFound").bytes()},
        {"RenameFileOrFolderResult", Body().result("", "").bytes()},
    };
    EXPECT_EQ(expected, writer.messages);
  }
}

TEST_F(SFopsReplyTest, logsResultsWithTheirStatus) {
  startSession(4);
  const DirEntry entry("e", 0);
  LogLines log;
  proto.uploadFolderResult(0x700000005, "d", nullptr, entry, plat::Exception());
  proto.downloadFileResult(0x700000005, entry, "p", nullptr, plat::Exception("gone"));
  proto.downloadFolderResult(0x700000005, entry, nullptr, plat::Exception("gone", "NotFound"));
  EXPECT_TRUE(log.has("SFopsProto 100 Upload dir result id=5.7 d: ok"));
  EXPECT_TRUE(log.has("SFopsProto 100 Download file result id=5.7 e: gone"));
  EXPECT_TRUE(log.has("SFopsProto 100 Download dir result id=5.7 e: [NotFound] gone"));
}

}  // namespace
}  // namespace fops
