// What a hostile or broken peer, or a broken machine, can do to the helper: each case with its outcome, and nothing
// half-written left on disk.

#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/apps/RawPeer.h"
#include "tests/support/TempDir.h"

namespace {

using namespace wire;

/// Starts an upload and leaves it in the middle, with its temporary file on disk.
void startUpload(RawPeer& peer, const test::TempDir& dir) {
  peer.openSession();
  peer.fops("UploadFile", id(1) + entry("part", 1000000, 0100644) + text(""));
  peer.expect("DataReq");
  peer.fops("DataChunk", id(1) + u64(0) + u32(100000) + std::string(100000, 'x'));
  EXPECT_TRUE(dir.exists("part.tmp"));
}

/// Sends something and expects the link to close, the process to end with 1, and these words in its last log lines.
void expectFatal(const std::string& words, const std::function<void(RawPeer&)>& send, bool open = true) {
  SCOPED_TRACE(words);
  const test::TempDir dir;
  RawPeer peer(dir.path());
  peer.askForLog(100);
  if (open) {
    peer.openSession();
  }
  send(peer);
  peer.drain();
  EXPECT_EQ(peer.child().wait(), 1);
  EXPECT_TRUE(peer.logHas(words));
  EXPECT_EQ(dir.list(), std::vector<std::string>{});
}

}  // namespace

TEST(Failure, ofTheProtocolEndsTheProcessWithOne) {
  expectFatal(
      "Read exception: [ProtocolError] Protocol error: The fops server is not initialised",
      [](RawPeer& peer) { peer.fops("GetRoot"); }, false);
  expectFatal(
      "Read exception: [ProtocolError] Protocol error: Invalid fops client version: 2",
      [](RawPeer& peer) { peer.fops("ClientInit", u8(2)); }, false);
  expectFatal("Read exception: [ProtocolError] Protocol error: The fops server is not initialised", [](RawPeer& peer) {
    peer.fops("ClientClose");
    peer.fops("GetRoot");
  });
  expectFatal("Read exception: [StringTooLongException] String exceeds maximum length",
              [](RawPeer& peer) { peer.fops("DirScan", u32(10241) + std::string(10241, 'a') + u8(1) + u8(1)); });
  expectFatal("Read exception: [BadPath] Invalid path: . or ..",
              [](RawPeer& peer) { peer.fops("UploadFile", id(1) + entry("..", 1, 0100644) + text("")); });
  expectFatal("Read exception: [EndOfMsg] End of message", [](RawPeer& peer) { peer.fops("DirScan", u32(5) + "ab"); });
  expectFatal("Peer reports bad msg name 'fops'", [](RawPeer& peer) { peer.message("badMsg", shortText("fops")); });
  expectFatal("InStream overrun: buffer size exceeded", [](RawPeer& peer) {
    peer.fops("UploadFile", id(1) + text("n") + std::string(32, '\0') + u32(0) + u8(2) + shortText("A") + u16(65535) +
                                std::string(65535, 'v') + shortText("B") + u16(65535) + std::string(65535, 'v') +
                                text(""));
  });
}

TEST(Failure, ofAnUnknownNameIsSkipped) {
  const test::TempDir dir;
  RawPeer peer(dir.path());
  peer.askForLog(100);
  peer.message("Zzz", std::string(100000, 'z'));
  peer.openSession();
  peer.fops("ClientClose");
  peer.fops("GetRoot");  // fatal: the log is flushed and the link closes
  peer.drain();
  EXPECT_TRUE(peer.logHas("Ipc (30): filetransfer: Bad msg name 'Zzz'"));
}

TEST(Failure, ofANameThatLooksCorruptClosesTheLink) {
  const test::TempDir dir;
  for (const char* name : {"1zz", "", "\x01"}) {
    RawPeer peer(dir.path());
    peer.openSession();
    peer.message(name, "body");
    EXPECT_FALSE(peer.receive());
    EXPECT_EQ(peer.child().wait(), 1);
  }
}

TEST(Failure, ofTheLinkInMidUploadLeavesNoTemporaryFile) {
  const test::TempDir dir;
  RawPeer peer(dir.path());
  startUpload(peer, dir);
  peer.closeLink();
  EXPECT_EQ(peer.child().wait(), 1);
  EXPECT_EQ(dir.list(), std::vector<std::string>{});
}

TEST(Failure, bySignalInMidUploadLeavesNoTemporaryFile) {
  const test::TempDir dir;
  RawPeer peer(dir.path());
  startUpload(peer, dir);
  peer.child().signal(SIGTERM);
  EXPECT_EQ(peer.child().wait(), 0);
  EXPECT_EQ(dir.list(), std::vector<std::string>{});
}

TEST(Failure, ofAnUploadIsCancelledAndTheSessionGoesOn) {
  const test::TempDir dir;
  RawPeer peer(dir.path());
  startUpload(peer, dir);
  peer.fops("DataChunk", id(1) + u64(5) + u32(1) + "x");
  Fields cancel = peer.expect("CancelByReceiver");
  EXPECT_EQ(cancel.id(), 1U);
  EXPECT_EQ(cancel.shortText(), "Protocol error: Fops write bad position/size");
  peer.fops("UploadFile", id(2) + entry("part2", 10, 0100644) + text(""));
  peer.expect("DataReq");
  peer.fops("CancelBySender", id(2) + shortText("stop") + shortText(""));
  peer.fops("DataChunk", id(2) + u64(0) + u32(10) + std::string(10, 'x'));  // late, for an id that has gone
  peer.fops("GetRoot");
  peer.expect("GetRootResult");
  EXPECT_EQ(dir.list(), std::vector<std::string>{});
}

TEST(Failure, ofAFullDiskCancelsTheUpload) {
  const test::TempDir dir;
  const auto limitFiles = [] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {200000, 200000};
    setrlimit(RLIMIT_FSIZE, &limit);
  };
  RawPeer peer(dir.path(), {}, limitFiles);
  peer.openSession();
  peer.fops("UploadFile", id(1) + entry("big", 400000, 0100644) + text(""));
  peer.expect("DataReq");
  for (std::uint64_t sent = 0; sent < 400000; sent += 50000) {
    peer.fops("DataChunk", id(1) + u64(sent) + u32(50000) + std::string(50000, 'x'));
  }
  Fields cancel = peer.expect("CancelByReceiver");
  EXPECT_EQ(cancel.id(), 1U);
  EXPECT_EQ(cancel.shortText(), "write: File too large (27)");
  EXPECT_EQ(cancel.shortText(), "System-27");
  peer.fops("GetRoot");
  peer.expect("GetRootResult");
  EXPECT_EQ(dir.list(), std::vector<std::string>{});
}

TEST(Failure, ofDescriptorsIsARepliedFailure) {
  const test::TempDir dir;
  dir.write("f", "x");
  const auto fewDescriptors = [] {
    const rlimit limit = {16, 16};
    setrlimit(RLIMIT_NOFILE, &limit);
  };
  RawPeer peer(dir.path(), {}, fewDescriptors);
  peer.openSession();
  // Everything once while there is room: the sanitizers need descriptors for what they check the first time.
  peer.fops("DownloadFile", id(100) + text("f"));
  peer.expect("DownloadFileResult");
  peer.fops("Complete", id(100));
  peer.fops("DirScan", text("") + u8(1) + u8(1));
  EXPECT_EQ(peer.expect("DirScanResult").u32(), 1U);
  bool failed = false;
  for (unsigned i = 1; i < 30 && !failed; ++i) {
    peer.fops("DownloadFile", id(i) + text("f"));
    Fields reply = peer.expect("DownloadFileResult");
    reply.id();
    takeEntry(reply);
    failed = reply.shortText().find("Too many open files (24)") != std::string::npos;
  }
  EXPECT_TRUE(failed);
  peer.fops("Complete", id(1));
  peer.fops("DirScan", text("") + u8(1) + u8(1));
  EXPECT_EQ(peer.expect("DirScanResult").u32(), 1U) << peer.child().errors();
}

TEST(Failure, ofAReaderThatStallsEndsTheProcessAfterTheFlushTimeout) {
  const test::TempDir dir;
  dir.write("big", std::string(4000000, 'x'));
  RawPeer peer(dir.path(), {"LazyFlushTimeout=1"});
  peer.openSession();
  peer.fops("DownloadFile", id(1) + text("big"));
  peer.expect("DownloadFileResult");
  peer.fops("DataReq", id(1) + u64(4000000));
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  // Too late: the link is given up, and what was pending is all that still comes.
  peer.fops("GetRoot");
  peer.drain();
  EXPECT_EQ(peer.child().wait(), 1);
}

TEST(Failure, ofAFileThatShrinksCancelsTheDownload) {
  const test::TempDir dir;
  dir.write("f", std::string(100000, 'x'));
  RawPeer peer(dir.path());
  peer.openSession();
  peer.fops("DownloadFile", id(1) + text("f"));
  peer.expect("DownloadFileResult");
  std::filesystem::resize_file(dir / "f", 10);
  peer.fops("DataReq", id(1) + u64(100000));
  EXPECT_EQ(peer.expect("DataChunk").rest().size(), 20U + 10U);
  Fields cancel = peer.expect("CancelBySender");
  cancel.id();
  EXPECT_EQ(cancel.shortText(), "End of file");
  EXPECT_EQ(cancel.shortText(), "EndOfStream");
}

TEST(Failure, toOpenAFolderIsToldByItsKind) {
  const test::TempDir dir;
  dir.makeDir("closed");
  std::filesystem::permissions(dir / "closed", std::filesystem::perms::none);
  mkfifo((dir / "pipe").c_str(), 0600);
  RawPeer peer(dir.path());
  peer.openSession();
  peer.fops("DirScan", text("closed") + u8(1) + u8(1));
  Fields reply = peer.expect("DirScanResult");
  EXPECT_EQ(reply.u32(), 0U);
  EXPECT_EQ(reply.shortText(), "opendir(" + dir / "closed" + "): Permission denied (13)");
  EXPECT_EQ(reply.shortText(), "AccessDenied");
  peer.fops("DownloadFile", id(1) + text("pipe"));
  Fields special = peer.expect("DownloadFileResult");
  special.id();
  takeEntry(special);
  EXPECT_EQ(special.shortText(), dir / "pipe" + " is a special file");
}

TEST(Failure, ofAFatalAssertionReachesTheParentFirst) {
  const test::TempDir dir;
  RawPeer peer(dir.path());
  peer.askForLog(100);
  peer.openSession();
  peer.fops("CreateFolder", text("/abs") + text("x"));
  peer.drain();
  EXPECT_EQ(peer.child().wait(), -SIGABRT);
  EXPECT_TRUE(peer.logHas("Assertion (0): Assertion 'd[0] != '/'' failed at libs/fops/path:36"));
  EXPECT_TRUE(peer.logHas("stacktrace: "));
}
