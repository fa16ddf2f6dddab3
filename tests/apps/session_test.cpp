// One session of the real helper, byte by byte: what goes in, what comes out, what stands on disk.

#include <array>
#include <filesystem>

#include <sys/stat.h>

#include "tests/apps/RawPeer.h"
#include "tests/support/TestStreams.h"

namespace {

using Names = std::vector<std::string>;
using test::pattern;

std::filesystem::perms modeOf(const std::string& path) {
  return std::filesystem::status(path).permissions();
}

/// Downloads a file with one request per `step` bytes, checking each chunk's place.
std::string download(RawPeer& peer, const std::string& path, std::size_t step) {
  Fields reply = peer.ask("DownloadFile", Body().id(7).text(path));
  EXPECT_EQ(reply.id(), 7U);
  const std::size_t size = reply.entry().size;
  EXPECT_EQ(reply.outcome(), "[] ");
  std::string bytes;
  for (std::size_t want = std::min(step, size); bytes.size() < size; want = std::min(want + step, size)) {
    peer.fops("DataReq", Body().id(7).u64(want));
    while (bytes.size() < want) {
      Fields chunk = peer.expect("DataChunk");
      EXPECT_EQ(chunk.id(), 7U);
      EXPECT_EQ(chunk.u64(), bytes.size());
      const std::uint32_t length = chunk.u32();
      EXPECT_EQ(length, chunk.rest().size());
      bytes += chunk.rest();
      if (chunk.rest().empty()) {
        return bytes;
      }
    }
    EXPECT_EQ(bytes.size(), want);
  }
  peer.fops("Complete", Body().id(7));
  return bytes;
}

void upload(RawPeer& peer, const std::string& name, const std::string& bytes, std::size_t chunkSize) {
  peer.fops("UploadFile", Body().id(9).entryWithMode(name, bytes.size(), 0100640).text(""));
  std::size_t sent = 0;
  std::size_t credit = 0;
  while (sent < bytes.size()) {
    while (credit <= sent) {
      Fields request = peer.expect("DataReq");
      EXPECT_EQ(request.id(), 9U);
      credit = request.u64();
    }
    const auto length = static_cast<std::uint32_t>(std::min(chunkSize, credit - sent));
    peer.fops("DataChunk", Body().id(9).u64(sent).u32(length).raw(bytes.substr(sent, length)));
    sent += length;
  }
  for (;;) {
    const auto message = peer.receive();
    ASSERT_TRUE(message);
    Fields fields(message->body);
    const std::string type = fields.shortText();
    if (type != "DataReq") {
      ASSERT_EQ(type, "Complete");
      EXPECT_EQ(fields.id(), 9U);
      return;
    }
  }
}

}  // namespace

TEST(Session, opensWithTheNotificationAheadOfServerInit) {
  const test::TempDir dir;
  RawPeer peer(dir.path());
  const auto expectNotification = [&](char value) {
    const auto message = peer.receive();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->name, "fopsNotification");
    EXPECT_EQ(message->body, std::string(1, value));
  };
  peer.send(ClientInit4);
  expectNotification('\1');
  Fields init = peer.expect("ServerInit");
  EXPECT_EQ(init.take(3), std::string("\4/\0", 3));
  EXPECT_EQ(init.text().find('.'), std::string::npos);
  EXPECT_EQ(init.rest(), Body().text("").text(""));  // the home lies outside the tree
  peer.fops("ClientClose");
  expectNotification('\0');
  peer.openSession(3);  // the process goes on; a later session starts anew
}

TEST(Session, takesEveryMessageByteByByte) {
  const test::TempDir dir;
  dir.write("a.txt", "hello");
  RawPeer peer(dir.path());
  const std::string body = Body().shortText("fops").shortText("DirScan").text("").u8(1).u8(1);
  // The same request, once in one frame and once with every byte in a frame of its own.
  Body bytes = Body().raw(ClientInit4).u16(0x8000 | static_cast<unsigned>(body.size())).raw(body);
  for (const char byte : body) {
    bytes.u16(1).raw({&byte, 1});
  }
  for (const char byte : bytes.u16(0x8000)) {
    peer.send(std::string(1, byte));
  }
  peer.expect("ServerInit");
  for (int i = 0; i < 2; ++i) {
    Fields reply = peer.expect("DirScanResult");
    EXPECT_EQ(reply.u32(), 1U);
    const Entry entry = reply.entry();
    EXPECT_EQ(entry.name, "a.txt");
    EXPECT_EQ(entry.size, 5U);
    EXPECT_EQ(reply.outcome(), "[] ");
  }
}

TEST_F(SessionTest, listsFoldersFirstInNameOrder) {
  for (const char* name : {"file10", "file2", "file1", ".hidden"}) {
    dir.write(name, name);
  }
  dir.makeDir("z10/sub");
  dir.makeDir("z9");
  Fields reply = peer.ask("DirScan", Body().text("").u8(1).u8(1));
  Names names;
  std::vector<std::uint32_t> flags;
  for (auto left = reply.u32(); left > 0; --left) {
    const Entry entry = reply.entry();
    names.push_back(entry.name);
    flags.push_back(entry.flags);
    EXPECT_TRUE(entry.name[0] == 'z' || entry.size == entry.name.size()) << entry.name << ' ' << entry.size;
  }
  EXPECT_EQ(names, (Names{"z9", "z10", ".hidden", "file1", "file2", "file10"}));
  EXPECT_EQ(flags, (std::vector<std::uint32_t>{0x1, 0x9, 0x2, 0, 0, 0}));
}

TEST_F(SessionTest, movesFilesOfEverySizeAroundTheBoundariesBothWays) {
  for (const std::size_t size : {0U, 1U, 16799U, 16800U, 16801U, 524288U, 1048575U, 1048576U, 1048577U, 3145728U}) {
    SCOPED_TRACE(size);
    const std::string bytes = pattern(size);
    const std::string name = "f" + std::to_string(size);
    upload(peer, name, bytes, 65536);
    EXPECT_EQ(dir.read(name), bytes);
    EXPECT_EQ(modeOf(dir / name), std::filesystem::perms(0640));
    EXPECT_EQ(download(peer, name, 524288), bytes);
  }
  EXPECT_TRUE(peer.child().isRunning());
}

TEST(Session, takesChunksUpToTheLimitAndNoLarger) {
  const test::TempDir dir;
  RawPeer limited(dir.path(), {"_FopsMaxChunkSize=1000"});
  limited.askForLog(100);
  limited.openSession();
  upload(limited, "small", pattern(5000), 999);
  EXPECT_EQ(dir.read("small"), pattern(5000));
  limited.fops("DataChunk", Body().id(1).u64(0).u32(1000).raw(pattern(1000)));
  limited.drain();
  EXPECT_EQ(limited.child().wait(), 1);
  EXPECT_TRUE(limited.logHas("Read exception: [ProtocolError] Protocol error: Fops chunk too large"));
}

TEST_F(SessionTest, namesWhatCollidesAndNeverOverwrites) {
  dir.write("a.txt", "old");
  dir.makeDir("folder");
  peer.openSession(3);
  peer.fops("UploadFile", Body().id(9).entryWithMode("a.txt", 3, 0100644).text("thrown away").text(""));
  peer.expect("DataReq");
  EXPECT_TRUE(dir.exists("a.txt.tmp"));
  peer.fops("DataChunk", Body().id(9).u64(0).u32(3).raw("new"));
  peer.expect("Complete");
  EXPECT_EQ(dir.read("a.txt"), "old");
  EXPECT_EQ(dir.read("a(1).txt"), "new");

  const Body folder = Body().text("mine").entryWithMode("folder", 0, 0040700);
  Fields reply = peer.ask("UploadFolder", Body().id(5).raw(folder).text(""));
  EXPECT_EQ(reply.id(), 5U);
  EXPECT_EQ(reply.text(), "mine");
  EXPECT_EQ(reply.entry().name, "folder");
  EXPECT_EQ(reply.text(), "folder(1)");
  EXPECT_EQ(reply.outcome(), "[] ");
  EXPECT_EQ(modeOf(dir / "folder(1)"), std::filesystem::perms(0700));
}

TEST_F(SessionTest, carriesOutTheActionsOnDisk) {
  dir.write("tree/deep/file", "x");
  dir.write("b", "b");
  for (const auto& [type, body] : {std::pair("CreateFolder", Body().text("").text("new.d")),
                                   {"CreateFolder", Body().text("").text("new.d")},
                                   {"RenameFileOrFolder", Body().text("b").text("new.d/c")},
                                   {"DeleteFileOrFolder", Body().text("tree")}}) {
    EXPECT_EQ(peer.ask(type, body).outcome(), "[] ") << type;
  }
  EXPECT_EQ(dir.list(), (Names{"new(1).d", "new.d"}));
  EXPECT_EQ(dir.read("new.d/c"), "b");
}

TEST_F(SessionTest, walksAFolderByMessages) {
  dir.write("top/a", "12345");
  dir.write("top/sub/b", "123");
  for (const unsigned version : {3U, 4U}) {
    SCOPED_TRACE(version);
    peer.openSession(version);
    const Body data = version == 3 ? Body().text("mine") : Body();
    Fields top = peer.ask("DownloadFolder", Body().id(1).text("top").raw(data));
    EXPECT_EQ(top.id(), 1U);
    if (version == 3) {
      EXPECT_EQ(top.u64(), 8U);
    }
    EXPECT_EQ(top.entry().size, 8U);
    EXPECT_EQ(top.rest(), Body(data).result("", ""));

    Fields entries = peer.ask("ReqEntries", Body().id(2, 1).text("top/sub").raw(data));
    EXPECT_EQ(entries.u32(), 1U);
    EXPECT_EQ(entries.entry().name, "b");
    EXPECT_EQ(entries.id(), 0x100000002U);
    EXPECT_EQ(entries.rest(), (version == 3 ? Body().text("top/sub").raw(data) : Body()).result("", ""));
  }
}

TEST_F(SessionTest, answersRefusedPathsWithTheirWordsAndTouchesNothing) {
  dir.write("keep", "x");
  const std::string dots = "[BadPath] Invalid path: . or ..";
  const std::string empty = "[BadPath] Invalid path: empty";
  const std::string slash = "[BadPath] Invalid path: starts with /";
  for (const auto& [path, words] : {std::pair("..", dots),
                                    {"a/../../x", dots},
                                    {".", dots},
                                    {"", empty},
                                    {"a//b", empty},
                                    {"keep/", empty},
                                    {"/etc", slash}}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(peer.ask("DeleteFileOrFolder", Body().text(path)).outcome(), words);
    EXPECT_EQ(peer.ask("RenameFileOrFolder", Body().text("keep").text(path)).outcome(), words);
    Fields reply = peer.ask("DownloadFile", Body().id(1).text(path));
    EXPECT_EQ(reply.id(), 1U);
    EXPECT_EQ(reply.entry().name, "");
    EXPECT_EQ(reply.outcome(), words);
  }
  peer.fops("UploadFile", Body().id(3).entryWithMode("x", 1, 0100644).text("../elsewhere"));
  Fields cancel = peer.expect("CancelByReceiver");
  EXPECT_EQ(cancel.id(), 3U);
  EXPECT_EQ(cancel.outcome(), dots);
  EXPECT_EQ(peer.ask("CreateFolder", Body().text("").text("a/b")).outcome(),
            "[BadPath] Invalid path: element contains /");
  EXPECT_EQ(dir.list(), Names{"keep"});
}

TEST_F(SessionTest, answersFailedRequestsAndGoesOn) {
  dir.write("file", "x");
  dir.makeDir("folder/inside");
  dir.makeDir("closed");
  std::filesystem::permissions(dir / "closed", std::filesystem::perms::none);
  ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
  for (const auto& [path, type, reason] : {std::array{"absent", "NotFound", "No such file or directory (2)"},
                                           {"file", "NotFound", "Not a directory (20)"},
                                           {"closed", "AccessDenied", "Permission denied (13)"}}) {
    Fields reply = peer.ask("DirScan", Body().text(path).u8(1).u8(1));
    EXPECT_EQ(reply.u32(), 0U);
    EXPECT_EQ(reply.outcome(), std::string("[") + type + "] opendir(" + dir / path + "): " + reason);
  }
  for (const auto& [path, words] : {std::pair("folder", std::string("[] Path is a directory")),
                                    {"pipe", "[] " + dir / "pipe" + " is a special file"}}) {
    Fields reply = peer.ask("DownloadFile", Body().id(1).text(path));
    reply.id();
    reply.entry();
    EXPECT_EQ(reply.outcome(), words);
  }
  const std::string renamed = peer.ask("RenameFileOrFolder", Body().text("file").text("folder")).outcome();
  EXPECT_TRUE(renamed.starts_with("[System-21] fileRename(")) << renamed;
  peer.fops("UploadFile", Body().id(3).entryWithMode("x", 1, 0100644).text("absent"));
  Fields cancel = peer.expect("CancelByReceiver");
  EXPECT_EQ(cancel.id(), 3U);
  EXPECT_TRUE(cancel.outcome().starts_with("[System-2] fileOpenFd("));
  EXPECT_EQ(dir.list(), (Names{"closed", "file", "folder", "pipe"}));
}

TEST_F(SessionTest, keepsTransfersApartAndIgnoresWhatIsUnknown) {
  dir.write("f", pattern(100));
  for (const std::uint32_t transfer : {1U, 2U}) {
    peer.ask("DownloadFile", Body().id(transfer).text("f"));
  }
  peer.fops("DataReq", Body().id(99).u64(10));
  peer.fops("NoSuchMessage", "anything at all");
  peer.fops("DataReq", Body().id(1).u64(60));
  EXPECT_EQ(peer.expect("DataChunk").rest(), Body().id(1).u64(0).u32(60).raw(pattern(100).substr(0, 60)));
  peer.fops("DataReq", Body().id(2).u64(100));
  EXPECT_EQ(peer.expect("DataChunk").rest(), Body().id(2).u64(0).u32(100).raw(pattern(100)));
  for (const auto& [transfer, position] : {std::pair(1U, 50U), {2U, 101U}}) {
    peer.fops("DataReq", Body().id(transfer).u64(position));
    Fields cancel = peer.expect("CancelBySender");
    EXPECT_EQ(cancel.id(), transfer);
    EXPECT_EQ(cancel.outcome(), "[ProtocolError] Protocol error: Fops request bad position");
  }
}
