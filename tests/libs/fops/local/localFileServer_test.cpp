#include "libs/fops/local/LocalFileServer.h"

#include "libs/fops/dirEntryIo.h"
#include "libs/fops/local/SFopsMgrViaIpc.h"
#include "libs/fops/local/metadata.h"
#include "tests/base/io/MemIo.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

Body listBytes(const std::vector<DirEntry>& list) {
  rdr::MemOutStream out;
  writeDirEntries(list, out);
  return Body().raw(test::contents(out));
}

Body entryBytes(const DirEntry& entry) {
  return Body().raw(listBytes({entry}).substr(4));  // without the count
}

/// The machine's name without its domain.
std::string hostName() {
  char host[257] = "";
  ::gethostname(host, 256);
  return std::string(host).substr(0, std::string(host).find('.'));
}

/// A session over a temporary folder, driven by the bytes of messages: the server's end of the protocol, the directory
/// actions and the transfers together.
class LocalFileServerTest : public testing::Test, public LocalFileServer::Callback {
protected:
  void SetUp() override {
    ::setenv("HOME", dir.makeDir("home").c_str(), 1);
    start(dir.path());
  }
  /// Begins anew over another root. @return what the server says of itself.
  Lines start(const std::string& rootDir, unsigned version = 4) {
    const ParameterValue parameter("FopsDir", rootDir.c_str());
    server.emplace(*this, writer);
    return request("ClientInit", Body().u8(version));
  }
  /// Sends one message and gives what came back.
  Lines request(const char* type, const Body& body = Body()) {
    EXPECT_EQ(failureOn(server->proto(), message(type, body)), "");
    return writer.take();
  }
  DirEntry onDisk(const char* name) { return getDirEntry((dir / name).c_str(), nullptr); }
  void sessionChanged(bool started) override { session += started ? "+" : "-"; }

  test::TempDir dir;
  RecordingWriter writer;
  std::string session;
  std::optional<LocalFileServer> server;
  const Body id = Body().id(5, 7);
};

TEST_F(LocalFileServerTest, introducesItself) {
  struct {
    std::string root;
    unsigned offered, agreed;
    bool isFsRoot;
    std::string home;
  } const cases[] = {{dir.path(), 3, 3, false, "home"},
                     {"/", 4, 4, true, (dir / "home").substr(1)},
                     {dir / "home", 7, 4, false, ""},  // the top itself
                     {"/nowhere", 255, 4, false, ""}};
  const test::RecordingDest log("SFopsProto:rec:100");
  for (const auto& c : cases) {
    const Body init = Body().u8(c.agreed).u8('/').u8(c.isFsRoot).text(hostName()).text(c.home).text(c.home);
    EXPECT_EQ(start(c.root, c.offered), Lines{message("ServerInit", init)}) << c.root;
  }
  EXPECT_EQ(request("ClientClose"), Lines{});
  EXPECT_EQ(log.lines().at(3), "30 SFopsProto: Session started, fops version 4 client version 255");
  EXPECT_EQ(log.lines().at(4), "30 SFopsProto: File transfer session has ended");
  EXPECT_EQ(session, "+++++-");
}

/// Requests in each version of the protocol, over a folder with something of each kind.
class LocalFileServerRequestsTest : public LocalFileServerTest, public testing::WithParamInterface<unsigned> {
protected:
  void SetUp() override {
    LocalFileServerTest::SetUp();
    dir.write("f", "1");
    dir.write("t/a10", "0123456789");
    dir.write("t/a2", "4567");
    dir.makeDir("t/u/v");
    dir.link("nowhere", "t/dangling");
    start(dir.path(), GetParam());
  }
  void TearDown() override { EXPECT_EQ(dir.list(), (Lines{"f", "home", "t"})); }

  /// Sends a request cut at each of its bytes: what must come back each time, and be among the log lines.
  void check(const std::string& request, const Lines& reply, const Lines& logged = {}) {
    SCOPED_TRACE(testing::PrintToString(request));
    const test::RecordingDest log("*:rec:100");
    const auto take = [&] { return writer.take(); };
    runCutAtEachByte(server->proto(), request, take, reply);
    const auto lines = log.lines();
    for (const std::string& line : logged) {
      EXPECT_EQ(std::count(lines.begin(), lines.end(), line), request.size()) << testing::PrintToString(lines);
    }
  }
  /// What stands in messages of version 3 only.
  static Body only3(const Body& bytes) { return GetParam() == 3 ? bytes : Body(); }
  static Body pathOnly3(const char* path) { return only3(Body().text(path).text("cd")); }
  static Body data() { return only3(Body().text("cd")); }
  std::string asked(const char* type, const char* path) const { return message(type, Body(id).text(path).raw(data())); }
  static Lines answer(const char* type, Body body, const std::string& error = "", const char* kind = "") {
    return {message(type, body.result(error, kind))};
  }
  static Lines refusal(const char* type, const Body& body = Body()) { return answer(type, body, Dots, "BadPath"); }

  static constexpr const char* Dots = "Invalid path: . or ..";
  const std::string refused = std::string("[BadPath] ") + Dots;
  const std::string noEntry = "): No such file or directory (2)";
  const std::string noFolder = "opendir(" + dir / "f" + "): Not a directory (20)";
  const std::string notMade = "mkDir(" + dir / "f/n" + "): Not a directory (20)";
  const Body noList = Body().u32(0);
};

INSTANTIATE_TEST_SUITE_P(Version, LocalFileServerRequestsTest, testing::Values(3U, 4U));

TEST_P(LocalFileServerRequestsTest, forListsAreAnsweredCutAtAnyByteAndLogged) {
  const std::string none = "opendir(" + dir / "none" + noEntry;
  check(message("DirScan", Body().text("").u8(0).u8(1)), answer("DirScanResult", listBytes({onDisk("f")})),
        {"100 SFopsProto: Scanning directory <root>"});
  check(message("DirScan", Body().text("t//").u8(2).u8(1)),
        answer("DirScanResult", listBytes({onDisk("t/u"), onDisk("t/a2"), onDisk("t/a10")})),
        {"100 LocalDirActions: Listing directory t//, full path " + dir / "t//"});
  check(message("DirScan", Body().text("f").u8(1).u8(1)), answer("DirScanResult", noList, noFolder, "NotFound"),
        {"30 LocalDirActions: Error reading directory 'f': [System-20] " + noFolder});
  check(message("DirScan", Body().text("none").u8(1).u8(1)), answer("DirScanResult", noList, none, "NotFound"));
  check(message("DirScan", Body().text("..").u8(1).u8(1)), refusal("DirScanResult", noList),
        {"100 SFopsProto: Scan error: " + refused});
  check(asked("ReqEntries", "t"),
        answer("ReqEntriesResult", listBytes(scanDir((dir / "t").c_str(), true, true)).id(5, 7).raw(pathOnly3("t"))),
        {"100 SFopsProto: Request directory entries id=5.7: t"});
  check(asked("ReqEntries", "f"),
        answer("ReqEntriesResult", Body(noList).id(5, 7).raw(pathOnly3("f")), noFolder, "System-20"),
        {"30 LocalFileServer: Download dir entries failed id=5.7 f: [System-20] " + noFolder});
  check(asked("ReqEntries", ".."), refusal("ReqEntriesResult", Body(noList).id(5, 7).raw(pathOnly3(".."))));
  check(message("GetRoot"), {message("GetRootResult", entryBytes(getDirEntry(dir.path().c_str(), hostName().c_str())))},
        {"100 LocalDirActions: Getting root " + dir.path() + " name " + hostName()});
}

TEST_P(LocalFileServerRequestsTest, forDownloadsAreAnsweredCutAtAnyByteAndLogged) {
  const std::string noStat = "stat(" + dir / "none" + noEntry;
  const Body none = entryBytes(DirEntry());
  DirEntry folder = onDisk("t");
  check(asked("DownloadFile", "none"),
        answer("DownloadFileResult", Body(id).raw(pathOnly3("none")).raw(none), noStat, "System-2"),
        {"30 SFopsProto: Download file id=5.7 none",
         "30 LocalFileServer: Download file failed id=5.7 none: [System-2] " + noStat});
  check(asked("DownloadFile", "t"),
        answer("DownloadFileResult", Body(id).raw(pathOnly3("t")).raw(entryBytes(folder)), "Path is a directory"));
  check(asked("DownloadFile", "a/../b"), refusal("DownloadFileResult", Body(id).raw(pathOnly3("a/../b")).raw(none)),
        {"100 SFopsProto: Download file result id=5.7 <null>: " + refused});
  folder.size = 14;
  check(asked("DownloadFolder", "t"),
        answer("DownloadFolderResult", Body(id).raw(only3(Body().u64(14))).raw(entryBytes(folder)).raw(data())),
        {"30 SFopsProto: Download dir id=5.7 t", "100 SFopsProto: Download dir result id=5.7 t: ok"});
  check(asked("DownloadFolder", "f"),
        answer("DownloadFolderResult", Body(id).raw(only3(Body().u64(1))).raw(entryBytes(onDisk("f"))).raw(data()),
               noFolder, "System-20"),
        {"30 LocalFileServer: Download top dir failed id=5.7 f: [System-20] " + noFolder});
  check(asked("DownloadFolder", ".."),
        refusal("DownloadFolderResult", Body(id).raw(only3(Body().u64(0))).raw(none).raw(data())));
  check(message("DataReq", Body(id).u64(1)), {});
  check(message("Complete", id), {}, {"30 FileSender: Complete id=5.7 (unknown)"});
}

TEST_P(LocalFileServerRequestsTest, forUploadsAreAnsweredCutAtAnyByteAndLogged) {
  const std::string noPlace = "fileOpenFd(" + dir / "none/n.tmp" + noEntry;
  const Body head = Body(id).raw(data()).raw(only3(Body().entry("n")));
  check(message("UploadFile", Body(id).entry("n", 3).raw(data()).text("none")),
        answer("CancelByReceiver", id, noPlace, "System-2"),
        {"30 SFopsProto: Upload file id=5.7 n to none",
         "30 LocalFileServer: Upload file failed id=5.7 none: [System-2] " + noPlace});
  check(message("UploadFile", Body(id).entry("n", 3).raw(data()).text("..")), refusal("CancelByReceiver", id),
        {"100 SFopsProto: Upload file error: " + refused});
  check(message("UploadFolder", Body(id).raw(data()).entry("n").text("f")),
        answer("UploadFolderResult", Body(head).text("f/n"), notMade, "System-20"),
        {"30 SFopsProto: Upload dir id=5.7 n to f",
         "30 LocalFileServer: Upload dir failed id=5.7 f/n: [System-20] " + notMade});
  check(message("UploadFolder", Body(id).raw(data()).entry("n").text("..")),
        refusal("UploadFolderResult", Body(head).text("..")), {"100 SFopsProto: Upload dir error: " + refused});
}

TEST_P(LocalFileServerRequestsTest, forChangesAreAnsweredCutAtAnyByteAndLogged) {
  const std::string notGone = "fileRemove(" + dir / "a\xEF\xBF\xBD" + noEntry;
  const std::string notMoved = "fileRename(" + dir / "none" + "," + dir / "x" + noEntry;
  check(message("CreateFolder", Body().text("f").text("n")), answer("CreateFolderResult", Body(), notMade, "System-20"),
        {"30 LocalDirActions: Failed to create new dir f/n: [System-20] " + notMade});
  check(message("CreateFolder", Body().text("..").text("n")), refusal("CreateFolderResult"));
  check(message("CreateFolder", Body().text("").text("..")), refusal("CreateFolderResult"));
  check(message("DeleteFileOrFolder", Body().text("a\xFF")),
        answer("DeleteFileOrFolderResult", Body(), notGone, "System-2"),
        {"30 LocalDirActions: Failed to delete a\xEF\xBF\xBD - " + notGone});
  check(message("DeleteFileOrFolder", Body().text("")),  // which would be all of it
        answer("DeleteFileOrFolderResult", Body(), "Invalid path: empty", "BadPath"));
  check(message("RenameFileOrFolder", Body().text("none").text("x")),
        answer("RenameFileOrFolderResult", Body(), notMoved, "System-2"),
        {"30 LocalDirActions: Failed to rename none: [System-2] " + notMoved});
  check(message("RenameFileOrFolder", Body().text("..").text("x")), refusal("RenameFileOrFolderResult"));
  check(message("RenameFileOrFolder", Body().text("f").text("..")), refusal("RenameFileOrFolderResult"));
  check(message("Teleport"), {}, {"100 SFopsProto: Ignoring message type: Teleport"});
  check(message(std::string("GetRoot\0more", 12)), {}, {"100 SFopsProto: Ignoring message type: GetRoot~^Amore"});
}

TEST_F(LocalFileServerTest, raisesWhatBreaksTheProtocol) {
  const std::string notOpen = "[ProtocolError] Protocol error: The fops server is not initialised";
  const struct {
    std::string message, failure;
  } cases[] = {
      {message("DirScan", Body().text(std::string(10241, 'a')).u8(1).u8(1)),
       "[StringTooLongException] String exceeds maximum length"},
      {message("UploadFile", Body(id).entry("..", 1).text("")), "[BadPath] Invalid path: . or .."},
      {message("UploadFolder", Body(id).entry("").text("f")), "[BadPath] Invalid path: empty"},
      {message("ClientInit", Body().u8(2)), "[ProtocolError] Protocol error: Invalid fops client version: 2"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(failureOn(server->proto(), c.message), c.failure);
    start(dir.path());
  }
  request("ClientClose");
  EXPECT_EQ(failureOn(server->proto(), message("GetRoot")), notOpen);
  server.emplace(*this, writer);
  EXPECT_EQ(failureOn(server->proto(), message("")), notOpen);
}

TEST_F(LocalFileServerTest, tellsThatAFolderIsClosed) {
  ::chmod(dir.makeDir("closed").c_str(), 0);
  const test::Unprivileged rights;
  EXPECT_EQ(
      request("DirScan", Body().text("closed").u8(1).u8(1)),
      Lines{message("DirScanResult",
                    Body().u32(0).result("opendir(" + dir / "closed" + "): Permission denied (13)", "AccessDenied"))});
}

TEST_F(LocalFileServerTest, leavesNothingOfUploadsThatDoNotEnd) {
  const Body upload = Body(id).entry("f", 10).text("");
  EXPECT_EQ(request("UploadFile", upload), Lines{message("DataReq", Body(id).u64(10))});
  EXPECT_EQ(dir.list(), (Lines{"f.tmp", "home"}));
  request("UploadFile", Body(id).entry("g", 3).text("none"));  // what cannot start takes a live one of its id with it
  EXPECT_EQ(dir.list(), Lines{"home"});
  request("UploadFile", upload);
  request("ClientClose");
  EXPECT_EQ(dir.list(), (Lines{"f.tmp", "home"})) << "the end of a session ends no transfer";
  server.reset();
  EXPECT_EQ(dir.list(), Lines{"home"});
}

TEST_F(LocalFileServerTest, makesFoldersWithTheirModes) {
  ::umask(022);
  const auto upload = [&](unsigned mode, const char* destination) {
    return request("UploadFolder", Body(id).entryWithMode("d", 0, mode).text(destination)).at(0);
  };
  EXPECT_EQ(upload(040710, ""), message("UploadFolderResult", Body(id).text("d").result("", "")));
  EXPECT_EQ(upload(040700, "d"), message("UploadFolderResult", Body(id).text("d/d").result("", "")));
  request("CreateFolder", Body().text("some/where").text("deep"));
  request("CreateFolder", Body().text("some").text("where"));
  EXPECT_EQ(unixMode(onDisk("d")), 040755);
  EXPECT_EQ(unixMode(onDisk("d/d")), 040700);
  EXPECT_EQ(unixMode(onDisk("some/where")), 040700);
  EXPECT_EQ(dir.list("some"), (Lines{"where", "where(1)"}));
  start(dir.path() + "/");
  EXPECT_EQ(upload(040700, ""),
            message("UploadFolderResult", Body(id).text("d").result("Invalid path: starts with /", "BadPath")));
  EXPECT_TRUE(dir.exists("d(1)")) << "it is there all the same";
}

TEST_F(LocalFileServerTest, deletesAndRenamesAsTheSystemDoes) {
  dir.write("a", "new");
  dir.write("b", "old");
  dir.write("kept/u/v", "");
  dir.link("kept", "link");
  dir.link("nowhere", "dangling");
  const auto outcome = [&](const char* type, const Body& body) { return request(type, body).at(0).substr(25); };
  const test::RecordingDest log("*:rec:30");
  EXPECT_EQ(outcome("RenameFileOrFolder", Body().text("a").text("b")), Body().result("", ""));
  EXPECT_EQ(outcome("DeleteFileOrFolder", Body().text("dangling")), Body().result("", ""));
  EXPECT_EQ(outcome("DeleteFileOrFolder", Body().text("link")),
            Body().result("rmDir(" + dir / "link" + "): Not a directory (20)", "System-20"));
  request("CreateFolder", Body().text("").text("t"));
  EXPECT_THAT(log.lines(), testing::IsSupersetOf({"30 LocalDirActions: Create new dir " + dir / "t",
                                                  std::string("30 LocalDirActions: Renaming path from a to b"),
                                                  std::string("30 LocalDirActions: Delete path dangling")}));
  EXPECT_EQ(dir.read("b"), "new");
  EXPECT_EQ(dir.list(), (Lines{"b", "home", "kept", "link", "t"}));
  EXPECT_EQ(dir.list("kept"), Lines{}) << "emptied through the link";
}

TEST_F(LocalFileServerTest, goesOnInSilenceWithoutAHome) {
  ::unsetenv("HOME");
  const test::RecordingDest log("*:rec:100");
  EXPECT_EQ(start(dir.path()), Lines{});
  EXPECT_EQ(request("CreateFolder", Body().text("").text("made")), Lines{});
  EXPECT_THAT(log.lines(), testing::Contains("100 SFopsProto: Write error: HOME dir not found"));
  EXPECT_THAT(log.lines(), testing::Contains("100 FopsProto: Discarding outgoing message CreateFolderResult"));
  EXPECT_TRUE(dir.exists("made"));
}

TEST_F(LocalFileServerTest, leavesTheChannelWithItsEndAndWhenItCannotBeBuilt) {
  auto channel = std::make_unique<io::MsgIpc>(nullptr, "test", false, true);
  auto* const link = new test::MemIo(std::make_shared<test::MemIoLog>());
  channel->accept(link);
  const auto answer = [link] {
    link->arrive(test::namedMsg("fops", Body().shortText("ClientInit").u8(4)));
    return link->sent();
  };
  auto bridge = std::make_unique<SFopsMgrViaIpc>(*channel);
  EXPECT_TRUE(answer().starts_with(test::namedMsg("fopsNotification", Body().u8(1))));
  bridge.reset();
  EXPECT_EQ(answer(), "");
  {
    const ParameterValue relative("FopsDir", "srv");
    EXPECT_THROW(SFopsMgrViaIpc{*channel}, plat::AssertionFail);
  }
  EXPECT_EQ(answer(), "");
  EXPECT_TRUE(channel->attached());
  bridge = std::make_unique<SFopsMgrViaIpc>(*channel);
  channel.reset();  // and the bridge outlives it
}

}  // namespace
}  // namespace fops
