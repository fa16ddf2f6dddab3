#include "libs/fops/LocalFileServer.h"

#include <cstdlib>
#include <optional>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "base/rdr/MemInStream.h"
#include "libs/fops/dirEntryIo.h"
#include "libs/fops/unix/metadata.h"
#include "tests/libs/fops/protoTestSupport.h"
#include "tests/support/TempDir.h"

namespace fops {
namespace {

using Names = std::vector<std::string>;

/// A session of version 4 over a temporary folder, driven by the bytes of messages.
class LocalFileServerTest : public testing::Test, public LocalFileServer::Callback {
protected:
  void SetUp() override {
    ::setenv("HOME", dir.makeDir("home").c_str(), 1);
    start(dir.path());
  }
  void start(const std::string& rootDir, unsigned version = 4) {
    const ParameterValue parameter("FopsDir", rootDir.c_str());
    server.emplace(*this, writer);
    send("ClientInit", Body().u8(version));
    writer.messages.swap(greeting);
    writer.messages.clear();
  }
  void send(const char* type, const Body& body = Body()) {
    const std::string bytes = Body().shortText(type).raw(body.bytes()).bytes();
    rdr::MemInStream in(bytes.data(), static_cast<int>(bytes.size()));
    EXPECT_TRUE(server->proto().run(in));
  }
  std::vector<Message> taken() { return std::exchange(writer.messages, {}); }
  /// The body of the one reply, cut to its last bytes if asked for.
  std::string reply(const char* type) {
    const std::vector<Message> all = taken();
    if (all.size() != 1 || all[0].type != type) {
      ADD_FAILURE() << all.size() << " messages, first " << (all.empty() ? "" : all[0].type);
      return "";
    }
    return all[0].body;
  }
  static std::string entryBytes(const DirEntry& entry) {
    return writtenBytes([&](rdr::OutStream& out) { writeDirEntry(entry, out); });
  }
  static std::string emptyEntry() { return entryBytes(DirEntry()); }
  void sessionChanged(bool started) override { session += started ? "+" : "-"; }

  test::TempDir dir;
  RecordingWriter writer;
  std::vector<Message> greeting;
  std::string session;
  std::optional<LocalFileServer> server;
};

TEST_F(LocalFileServerTest, introducesItself) {
  char host[257] = "";
  ::gethostname(host, 256);
  const std::string shortName = std::string(host).substr(0, std::string(host).find('.'));
  const auto init = [&](const std::string& rootDir, bool isFsRoot, const std::string& home) {
    start(rootDir);
    ASSERT_EQ(greeting.size(), 1U);
    EXPECT_EQ(greeting[0].body, Body().u8(4).u8('/').u8(isFsRoot).text(shortName).text(home).text(home).bytes());
  };
  init(dir.path(), false, "home");
  init("/", true, (dir / "home").substr(1));
  init(dir / "home", false, "");  // the top itself
  init("/nowhere", false, "");    // outside
  send("ClientClose");
  EXPECT_EQ(session, "+++++-");
  send("ClientInit", Body().u8(4));
  EXPECT_EQ(session, "+++++-+");
}

TEST_F(LocalFileServerTest, downloadsAFile) {
  dir.write("sub/f", "0123456789");
  const LogLines lines;
  send("DownloadFile", Body().id(7, 1).text("sub/f"));
  const DirEntry file = getDirEntry((dir / "sub/f").c_str(), nullptr);
  EXPECT_EQ(reply("DownloadFileResult"), Body().id(7, 1).raw(entryBytes(file)).result("", "").bytes());
  send("DownloadFile", Body().id(8, 1).text("sub/f"));  // side by side
  taken();
  send("DataReq", Body().id(7, 1).u64(10));
  EXPECT_EQ(reply("DataChunk"), Body().id(7, 1).u64(0).text("0123456789").bytes());
  send("DataReq", Body().id(8, 1).u64(4));
  EXPECT_EQ(reply("DataChunk"), Body().id(8, 1).u64(0).text("0123").bytes());
  send("Complete", Body().id(7, 1));
  send("DataReq", Body().id(7, 1).u64(10));
  EXPECT_TRUE(taken().empty());
  EXPECT_TRUE(lines.has("FileSender 30 New id=7.1 sub/f 10 bytes"));
}

TEST_F(LocalFileServerTest, refusesDownloadsWithTheirReasons) {
  ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0600), 0);
  const LogLines lines;
  const std::string missing = "stat(" + dir / "none" + "): No such file or directory (2)";
  send("DownloadFile", Body().id(1, 0).text("none"));
  EXPECT_EQ(reply("DownloadFileResult"), Body().id(1, 0).raw(emptyEntry()).result(missing, "System-2").bytes());
  EXPECT_TRUE(lines.has("LocalFileServer 30 Download file failed id=1.0 none: [System-2] " + missing));
  send("DownloadFile", Body().id(1, 0).text("pipe"));
  EXPECT_EQ(reply("DownloadFileResult"),
            Body().id(1, 0).raw(emptyEntry()).result(dir / "pipe" + " is a special file", "").bytes());
  send("DownloadFile", Body().id(1, 0).text("home"));
  const DirEntry home = getDirEntry((dir / "home").c_str(), nullptr);
  EXPECT_EQ(reply("DownloadFileResult"),
            Body().id(1, 0).raw(entryBytes(home)).result("Path is a directory", "").bytes());
  send("DataReq", Body().id(1, 0).u64(1));
  EXPECT_TRUE(taken().empty());  // nothing was registered
}

TEST_F(LocalFileServerTest, downloadsAFolderEntryByEntry) {
  dir.write("t/a", "123");
  dir.write("t/u/b", "4567");
  dir.link("nowhere", "t/dangling");
  DirEntry folder = getDirEntry((dir / "t").c_str(), nullptr);
  folder.size = 7;
  send("DownloadFolder", Body().id(1, 2).text("t"));
  EXPECT_EQ(reply("DownloadFolderResult"), Body().id(1, 2).raw(entryBytes(folder)).result("", "").bytes());
  send("ReqEntries", Body().id(3, 4).text("t"));
  const std::string list =
      writtenBytes([&](rdr::OutStream& out) { writeDirEntries(scanDir((dir / "t").c_str(), true, true), out); });
  const std::string body = reply("ReqEntriesResult");
  EXPECT_EQ(body, Body().raw(list).id(3, 4).result("", "").bytes());
  EXPECT_EQ(body.substr(0, 4), Body().u32(2).bytes());
}

TEST_F(LocalFileServerTest, refusesFoldersThatAreNone) {
  dir.write("f", "1");
  const LogLines lines;
  const std::string error = "opendir(" + dir / "f" + "): Not a directory (20)";
  const DirEntry file = getDirEntry((dir / "f").c_str(), nullptr);
  send("DownloadFolder", Body().id(1, 0).text("f"));
  EXPECT_EQ(reply("DownloadFolderResult"), Body().id(1, 0).raw(entryBytes(file)).result(error, "System-20").bytes());
  send("ReqEntries", Body().id(1, 0).text("f"));
  EXPECT_EQ(reply("ReqEntriesResult"), Body().u32(0).id(1, 0).result(error, "System-20").bytes());
  EXPECT_TRUE(lines.has("LocalFileServer 30 Download top dir failed id=1.0 f: [System-20] " + error));
  EXPECT_TRUE(lines.has("LocalFileServer 30 Download dir entries failed id=1.0 f: [System-20] " + error));
}

TEST_F(LocalFileServerTest, uploadsFiles) {
  dir.write("a.txt", "old");
  send("UploadFile", Body().id(1, 0).entry("a.txt", 3).text(""));
  EXPECT_EQ(reply("DataReq"), Body().id(1, 0).u64(3).bytes());
  EXPECT_EQ(dir.list(), (Names{"a.txt", "a.txt.tmp", "home"}));
  send("DataChunk", Body().id(1, 0).u64(0).text("new"));
  EXPECT_EQ(reply("Complete"), Body().id(1, 0).bytes());
  EXPECT_EQ(dir.read("a(1).txt"), "new");
  EXPECT_EQ(dir.read("a.txt"), "old");
  send("UploadFile", Body().id(1, 0).entry("empty").text("home"));
  EXPECT_EQ(reply("Complete"), Body().id(1, 0).bytes());
  EXPECT_EQ(dir.list("home"), Names{"empty"});
}

TEST_F(LocalFileServerTest, refusesAnUploadWithACancel) {
  const LogLines lines;
  send("UploadFile", Body().id(1, 0).entry("f", 3).text("none"));
  const std::string error = "fileOpenFd(" + dir / "none/f.tmp" + "): No such file or directory (2)";
  EXPECT_EQ(reply("CancelByReceiver"), Body().id(1, 0).result(error, "System-2").bytes());
  EXPECT_TRUE(lines.has("LocalFileServer 30 Upload file failed id=1.0 none: [System-2] " + error));
  EXPECT_TRUE(lines.has("FileReceiver 30 Cancel by receiver id=1.0 (unknown): [System-2] " + error));
  EXPECT_EQ(dir.list(), Names{"home"});
}

TEST_F(LocalFileServerTest, anUploadThatCannotStartTakesALiveOneOfItsIdWithIt) {
  send("UploadFile", Body().id(1, 0).entry("f", 3).text(""));
  taken();
  send("UploadFile", Body().id(1, 0).entry("g", 3).text("none"));
  EXPECT_EQ(taken().size(), 1U);
  EXPECT_EQ(dir.list(), Names{"home"});
  send("DataChunk", Body().id(1, 0).u64(0).text("new"));
  EXPECT_TRUE(taken().empty());
}

TEST_F(LocalFileServerTest, leavesNothingOfUploadsThatDoNotEnd) {
  const auto begin = [&] {
    send("UploadFile", Body().id(1, 0).entry("f", 10).text(""));
    send("DataChunk", Body().id(1, 0).u64(0).text("12345"));
    EXPECT_EQ(dir.list(), (Names{"f.tmp", "home"}));
    taken();
  };
  begin();
  send("CancelBySender", Body().id(1, 0).result("stopped", ""));
  EXPECT_EQ(dir.list(), Names{"home"});
  begin();
  send("DataChunk", Body().id(1, 0).u64(4).text("56"));
  EXPECT_EQ(reply("CancelByReceiver"),
            Body().id(1, 0).result("Protocol error: Fops write bad position/size", "ProtocolError").bytes());
  EXPECT_EQ(dir.list(), Names{"home"});
  begin();
  send("ClientClose");
  EXPECT_EQ(dir.list(), (Names{"f.tmp", "home"}));  // the end of a session ends no transfer
  server.reset();
  EXPECT_TRUE(taken().empty());
  EXPECT_EQ(dir.list(), Names{"home"});
}

TEST_F(LocalFileServerTest, uploadsFoldersUnderFreeNames) {
  ::umask(022);
  const auto upload = [&](int mode, const char* destination) {
    DirEntry folder("new.d", Directory);
    setUnixMode(folder, static_cast<std::uint16_t>(mode));
    send("UploadFolder", Body().id(1, 0).raw(entryBytes(folder)).text(destination));
    return reply("UploadFolderResult");
  };
  EXPECT_EQ(upload(040700, ""), Body().id(1, 0).text("new.d").result("", "").bytes());
  EXPECT_EQ(upload(040710, ""), Body().id(1, 0).text("new(1).d").result("", "").bytes());
  EXPECT_EQ(upload(040555, "new(1).d"), Body().id(1, 0).text("new(1).d/new.d").result("", "").bytes());
  struct stat st {};
  ASSERT_EQ(::stat((dir / "new.d").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0700U);
  ASSERT_EQ(::stat((dir / "new(1).d").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0755U);
}

TEST_F(LocalFileServerTest, reportsFoldersThatCannotBeMade) {
  dir.write("f", "data");
  const LogLines lines;
  const std::string error = "mkDir(" + dir / "f/n" + "): Not a directory (20)";
  send("UploadFolder", Body().id(1, 0).entry("n", 0, Directory).text("f"));
  EXPECT_EQ(reply("UploadFolderResult"), Body().id(1, 0).text("f/n").result(error, "System-20").bytes());
  EXPECT_TRUE(lines.has("LocalFileServer 30 Upload dir failed id=1.0 f/n: [System-20] " + error));
  EXPECT_EQ(dir.list(), (Names{"f", "home"}));
  start(dir.path() + "/");
  send("UploadFolder", Body().id(1, 0).entry("n", 0, Directory).text(""));
  EXPECT_EQ(reply("UploadFolderResult"),
            Body().id(1, 0).text("n").result("Invalid path: starts with /", "BadPath").bytes());
  EXPECT_EQ(dir.list(), (Names{"f", "home", "n"}));  // it is there all the same
}

TEST_F(LocalFileServerTest, diesOfAnIdThatIsInUse) {
  dir.write("f", "1");
  dir.allowTemporaryFiles();
  send("DownloadFile", Body().id(1, 0).text("f"));
  EXPECT_DEATH(send("DownloadFile", Body().id(1, 0).text("f")), "i == files.end\\(\\).*libs/fops/FileSender");
  send("UploadFile", Body().id(1, 0).entry("g", 3).text(""));  // an upload may have the id of a download
  EXPECT_DEATH(send("UploadFile", Body().id(1, 0).entry("g", 3).text("")),
               "i == files.end\\(\\).*libs/fops/FileReceiver");
}

TEST_F(LocalFileServerTest, keepsTheRootItWasBuiltWith) {
  dir.write("f", "1");
  const ParameterValue moved("FopsDir", (dir / "home").c_str());
  send("DownloadFile", Body().id(1, 0).text("f"));
  EXPECT_EQ(reply("DownloadFileResult").substr(0, 13), Body().id(1, 0).u32(1).raw("f").bytes());
}

}  // namespace
}  // namespace fops
