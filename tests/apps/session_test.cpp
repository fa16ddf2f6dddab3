// One session of the real helper, byte by byte: what goes in, what comes out, what stands on disk.

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/apps/RawPeer.h"
#include "tests/support/TempDir.h"

namespace {

using namespace wire;

std::string pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<char>(i * 2654435761U >> 13);
  }
  return bytes;
}

/// Downloads a file with one request per `step` bytes, checking each chunk's place.
std::string download(RawPeer& peer, const std::string& path, std::size_t step) {
  peer.fops("DownloadFile", id(7) + text(path));
  Fields reply = peer.expect("DownloadFileResult");
  EXPECT_EQ(reply.id(), 7U);
  const std::size_t size = takeEntry(reply).size;
  EXPECT_EQ(reply.rest(), shortText("") + shortText(""));
  std::string bytes;
  for (std::size_t want = std::min(step, size); bytes.size() < size; want = std::min(want + step, size)) {
    peer.fops("DataReq", id(7) + u64(want));
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
  peer.fops("Complete", id(7));
  return bytes;
}

void upload(RawPeer& peer, const std::string& name, const std::string& bytes, std::size_t chunkSize,
            const std::string& destination = "") {
  peer.fops("UploadFile", id(9) + entry(name, bytes.size(), 0100640) + text(destination));
  std::size_t sent = 0;
  std::size_t credit = 0;
  while (sent < bytes.size()) {
    while (credit <= sent) {
      Fields request = peer.expect("DataReq");
      EXPECT_EQ(request.id(), 9U);
      credit = request.u64();
    }
    const std::size_t length = std::min(chunkSize, credit - sent);
    peer.fops("DataChunk", id(9) + u64(sent) + u32(static_cast<std::uint32_t>(length)) + bytes.substr(sent, length));
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

/// The two texts of a result at the end of a reply.
std::string outcome(Fields reply) {
  const std::string message = reply.shortText();
  const std::string type = reply.shortText();
  EXPECT_EQ(reply.rest(), "");
  return "[" + type + "] " + message;
}

}  // namespace

TEST(Session, opensWithTheNotificationAheadOfServerInit) {
  const test::TempDir dir;
  RawPeer peer(dir.path());
  peer.send(
      std::string("\x80\x11\x04"
                  "fops\x0a"
                  "ClientInit\x04",
                  19));
  const auto first = peer.receive();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->name, "fopsNotification");
  EXPECT_EQ(first->body, std::string(1, '\1'));
  Fields init = peer.expect("ServerInit");
  EXPECT_EQ(init.u8(), 4U);
  EXPECT_EQ(init.u8(), '/');
  EXPECT_EQ(init.u8(), 0U);
  EXPECT_EQ(init.text().find('.'), std::string::npos);
  EXPECT_EQ(init.text(), "");  // the home lies outside the tree
  EXPECT_EQ(init.text(), "");
  EXPECT_EQ(init.rest(), "");

  peer.fops("ClientClose");
  const auto closed = peer.receive();
  ASSERT_TRUE(closed);
  EXPECT_EQ(closed->name, "fopsNotification");
  EXPECT_EQ(closed->body, std::string(1, '\0'));
  peer.openSession(3);  // the process goes on; a later session starts anew
}

TEST(Session, takesEveryMessageByteByByte) {
  const test::TempDir dir;
  dir.write("a.txt", "hello");
  RawPeer peer(dir.path());
  const std::string body = shortText("fops") + shortText("DirScan") + text("") + u8(1) + u8(1);
  std::string bytes(
      "\x80\x11\x04"
      "fops\x0a"
      "ClientInit\x04",
      19);
  // The same request, once in one frame and once with every byte in a frame of its own.
  bytes += u16(0x8000 | static_cast<unsigned>(body.size())) + body;
  for (const char byte : body) {
    bytes += u16(1) + std::string(1, byte);
  }
  bytes += u16(0x8000);
  for (const char byte : bytes) {
    peer.send(std::string(1, byte));
  }
  peer.expect("ServerInit");
  for (int i = 0; i < 2; ++i) {
    Fields reply = peer.expect("DirScanResult");
    EXPECT_EQ(reply.u32(), 1U);
    const Entry entry = takeEntry(reply);
    EXPECT_EQ(entry.name, "a.txt");
    EXPECT_EQ(entry.size, 5U);
    EXPECT_EQ(outcome(reply), "[] ");
  }
}

TEST(Session, listsFoldersFirstInNameOrder) {
  const test::TempDir dir;
  for (const char* name : {"file10", "file2", "file1", ".hidden"}) {
    dir.write(name, "x");
  }
  dir.makeDir("z10/sub");
  dir.makeDir("z9");
  RawPeer peer(dir.path());
  peer.openSession();
  peer.fops("DirScan", text("") + u8(1) + u8(1));
  Fields reply = peer.expect("DirScanResult");
  std::vector<std::string> names;
  std::vector<std::uint32_t> flags;
  for (auto left = reply.u32(); left > 0; --left) {
    const Entry entry = takeEntry(reply);
    names.push_back(entry.name);
    flags.push_back(entry.flags);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"z9", "z10", ".hidden", "file1", "file2", "file10"}));
  EXPECT_EQ(flags, (std::vector<std::uint32_t>{0x1, 0x9, 0x2, 0, 0, 0}));
}

TEST(Session, movesFilesOfEverySizeAroundTheBoundariesBothWays) {
  const test::TempDir dir;
  RawPeer peer(dir.path());
  peer.openSession();
  for (const std::size_t size : {0U, 1U, 16799U, 16800U, 16801U, 524288U, 1048575U, 1048576U, 1048577U, 3145728U}) {
    SCOPED_TRACE(size);
    const std::string bytes = pattern(size);
    const std::string name = "f" + std::to_string(size);
    upload(peer, name, bytes, 65536);
    EXPECT_EQ(dir.read(name), bytes);
    EXPECT_EQ(std::filesystem::status(dir / name).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(download(peer, name, 524288), bytes);
  }
  EXPECT_TRUE(peer.child().isRunning());
}

TEST(Session, takesChunksUpToTheLimitAndNoLarger) {
  const test::TempDir dir;
  {
    RawPeer peer(dir.path(), {"_FopsMaxChunkSize=1000"});
    peer.askForLog(100);
    peer.openSession();
    upload(peer, "small", pattern(5000), 999);
    EXPECT_EQ(dir.read("small"), pattern(5000));
    peer.fops("DataChunk", id(1) + u64(0) + u32(1000) + pattern(1000));
    peer.drain();
    EXPECT_EQ(peer.child().wait(), 1);
    EXPECT_TRUE(peer.logHas("Read exception: [ProtocolError] Protocol error: Fops chunk too large"));
  }
  RawPeer peer(dir.path());
  peer.openSession();
  peer.fops("DataChunk", id(1) + u64(0) + u32(0x80000000U));
  EXPECT_EQ(peer.child().wait(), 1);
}

TEST(Session, namesWhatCollidesAndNeverOverwrites) {
  const test::TempDir dir;
  dir.write("a.txt", "old");
  dir.write("noext", "old");
  dir.makeDir("folder");
  RawPeer peer(dir.path());
  peer.openSession(3);
  peer.fops("UploadFile", id(9) + entry("a.txt", 3, 0100644) + text("thrown away") + text(""));
  peer.expect("DataReq");
  EXPECT_TRUE(dir.exists("a.txt.tmp"));
  peer.fops("DataChunk", id(9) + u64(0) + u32(3) + "new");
  peer.expect("Complete");
  EXPECT_EQ(dir.read("a.txt"), "old");
  EXPECT_EQ(dir.read("a(1).txt"), "new");

  peer.fops("UploadFolder", id(5) + text("mine") + entry("folder", 0, 0040700) + text(""));
  Fields reply = peer.expect("UploadFolderResult");
  EXPECT_EQ(reply.id(), 5U);
  EXPECT_EQ(reply.text(), "mine");
  EXPECT_EQ(takeEntry(reply).name, "folder");
  EXPECT_EQ(reply.text(), "folder(1)");
  EXPECT_EQ(outcome(reply), "[] ");
  EXPECT_EQ(std::filesystem::status(dir / "folder(1)").permissions(), std::filesystem::perms(0700));
}

TEST(Session, carriesOutTheActionsOnDisk) {
  const test::TempDir dir;
  dir.write("tree/deep/file", "x");
  dir.write("b", "b");
  RawPeer peer(dir.path());
  peer.openSession();
  peer.fops("CreateFolder", text("") + text("new.d"));
  EXPECT_EQ(outcome(peer.expect("CreateFolderResult")), "[] ");
  peer.fops("CreateFolder", text("") + text("new.d"));
  EXPECT_EQ(outcome(peer.expect("CreateFolderResult")), "[] ");
  peer.fops("RenameFileOrFolder", text("b") + text("new.d/c"));
  EXPECT_EQ(outcome(peer.expect("RenameFileOrFolderResult")), "[] ");
  peer.fops("DeleteFileOrFolder", text("tree"));
  EXPECT_EQ(outcome(peer.expect("DeleteFileOrFolderResult")), "[] ");
  EXPECT_EQ(dir.list(), (std::vector<std::string>{"new(1).d", "new.d"}));
  EXPECT_EQ(dir.read("new.d/c"), "b");
}

TEST(Session, walksAFolderByMessages) {
  const test::TempDir dir;
  dir.write("top/a", "12345");
  dir.write("top/sub/b", "123");
  RawPeer peer(dir.path());
  for (const unsigned version : {3U, 4U}) {
    SCOPED_TRACE(version);
    peer.openSession(version);
    const std::string data = version == 3 ? text("mine") : "";
    peer.fops("DownloadFolder", id(1) + text("top") + data);
    Fields top = peer.expect("DownloadFolderResult");
    EXPECT_EQ(top.id(), 1U);
    if (version == 3) {
      EXPECT_EQ(top.u64(), 8U);
    }
    EXPECT_EQ(takeEntry(top).size, 8U);
    EXPECT_EQ(top.rest(), data + shortText("") + shortText(""));

    peer.fops("ReqEntries", id(0x100000002U) + text("top/sub") + data);
    Fields entries = peer.expect("ReqEntriesResult");
    EXPECT_EQ(entries.u32(), 1U);
    EXPECT_EQ(takeEntry(entries).name, "b");
    EXPECT_EQ(entries.id(), 0x100000002U);
    EXPECT_EQ(entries.rest(), (version == 3 ? text("top/sub") + data : "") + shortText("") + shortText(""));
  }
}

TEST(Session, answersRefusedPathsWithTheirWordsAndTouchesNothing) {
  const test::TempDir dir;
  dir.write("keep", "x");
  RawPeer peer(dir.path());
  peer.openSession();
  const std::string dots = "[BadPath] Invalid path: . or ..";
  const std::string empty = "[BadPath] Invalid path: empty";
  const std::string slash = "[BadPath] Invalid path: starts with /";
  for (const auto& [path, words] : std::vector<std::pair<std::string, std::string>>{{"..", dots},
                                                                                    {"a/../../x", dots},
                                                                                    {".", dots},
                                                                                    {"", empty},
                                                                                    {"a//b", empty},
                                                                                    {"keep/", empty},
                                                                                    {"/etc", slash}}) {
    SCOPED_TRACE(path);
    peer.fops("DeleteFileOrFolder", text(path));
    EXPECT_EQ(outcome(peer.expect("DeleteFileOrFolderResult")), words);
    peer.fops("RenameFileOrFolder", text("keep") + text(path));
    EXPECT_EQ(outcome(peer.expect("RenameFileOrFolderResult")), words);
    peer.fops("DownloadFile", id(1) + text(path));
    Fields reply = peer.expect("DownloadFileResult");
    EXPECT_EQ(reply.id(), 1U);
    EXPECT_EQ(takeEntry(reply).name, "");
    EXPECT_EQ(outcome(reply), words);
  }
  peer.fops("UploadFile", id(3) + entry("x", 1, 0100644) + text("../elsewhere"));
  Fields cancel = peer.expect("CancelByReceiver");
  EXPECT_EQ(cancel.id(), 3U);
  EXPECT_EQ(outcome(cancel), dots);
  peer.fops("CreateFolder", text("") + text("a/b"));
  EXPECT_EQ(outcome(peer.expect("CreateFolderResult")), "[BadPath] Invalid path: element contains /");
  EXPECT_EQ(dir.list(), std::vector<std::string>{"keep"});
}

TEST(Session, answersFailedRequestsAndGoesOn) {
  const test::TempDir dir;
  dir.write("file", "x");
  dir.makeDir("folder/inside");
  RawPeer peer(dir.path());
  peer.openSession();
  for (const auto& [path, type] : {std::pair("absent", "NotFound"), std::pair("file", "NotFound")}) {
    peer.fops("DirScan", text(path) + u8(1) + u8(1));
    Fields reply = peer.expect("DirScanResult");
    EXPECT_EQ(reply.u32(), 0U);
    EXPECT_EQ(outcome(reply).rfind("[" + std::string(type) + "] opendir(" + dir / path, 0), 0U);
  }
  peer.fops("DownloadFile", id(1) + text("folder"));
  Fields reply = peer.expect("DownloadFileResult");
  reply.id();
  takeEntry(reply);
  EXPECT_EQ(outcome(reply), "[] Path is a directory");
  peer.fops("RenameFileOrFolder", text("file") + text("folder"));
  EXPECT_EQ(outcome(peer.expect("RenameFileOrFolderResult")).rfind("[System-21] fileRename(", 0), 0U);
  peer.fops("UploadFile", id(3) + entry("x", 1, 0100644) + text("absent"));
  Fields cancel = peer.expect("CancelByReceiver");
  EXPECT_EQ(cancel.id(), 3U);
  EXPECT_EQ(outcome(cancel).rfind("[System-2] fileOpenFd(", 0), 0U);
  EXPECT_EQ(dir.list(), (std::vector<std::string>{"file", "folder"}));
}

TEST(Session, keepsTransfersApartAndIgnoresWhatIsUnknown) {
  const test::TempDir dir;
  dir.write("f", pattern(100));
  RawPeer peer(dir.path());
  peer.openSession();
  for (const std::uint64_t transfer : {1U, 2U}) {
    peer.fops("DownloadFile", id(transfer) + text("f"));
    peer.expect("DownloadFileResult");
  }
  peer.fops("DataReq", id(99) + u64(10));
  peer.fops("NoSuchMessage", "anything at all");
  peer.fops("DataReq", id(1) + u64(60));
  EXPECT_EQ(peer.expect("DataChunk").rest(), id(1) + u64(0) + u32(60) + pattern(100).substr(0, 60));
  peer.fops("DataReq", id(2) + u64(100));
  EXPECT_EQ(peer.expect("DataChunk").rest(), id(2) + u64(0) + u32(100) + pattern(100));
  peer.fops("DataReq", id(1) + u64(50));
  Fields cancel = peer.expect("CancelBySender");
  EXPECT_EQ(cancel.id(), 1U);
  EXPECT_EQ(outcome(cancel), "[ProtocolError] Protocol error: Fops request bad position");
  peer.fops("DataReq", id(2) + u64(101));
  peer.expect("CancelBySender");
}
