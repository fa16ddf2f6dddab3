// What a hostile or broken peer, or a broken machine, can do to the helper: each case with its outcome, and nothing
// half-written left on disk.

#include <filesystem>
#include <thread>

#include <sys/resource.h>

#include "tests/apps/RawPeer.h"

namespace {

using Names = std::vector<std::string>;

/// Starts an upload and leaves it in the middle, with its temporary file on disk.
void startUpload(RawPeer& peer, const test::TempDir& dir) {
  peer.fops("UploadFile", Body().id(1).entryWithMode("part", 1000000, 0100644).text(""));
  peer.expect("DataReq");
  peer.fops("DataChunk", Body().id(1).u64(0).u32(100000).raw(std::string(100000, 'x')));
  EXPECT_TRUE(dir.exists("part.tmp"));
}

struct Violation {
  const char* words;
  bool open;
  std::function<void(RawPeer&)> send;
};

void sendTooManyAttributes(RawPeer& peer) {
  const std::string value(65535, 'v');
  Body upload = Body().id(1).text("n").zeros(36).u8(2);
  for (const char* name : {"A", "B"}) {
    upload.shortText(name).u16(65535).raw(value);
  }
  peer.fops("UploadFile", upload.text(""));
}

/// What breaks the protocol, in an open session or without one.
std::vector<Violation> violations() {
  return {
      {"Read exception: [ProtocolError] Protocol error: The fops server is not initialised", false,
       [](RawPeer& peer) { peer.fops("GetRoot"); }},
      {"Read exception: [ProtocolError] Protocol error: The fops server is not initialised", false,
       [](RawPeer& peer) { peer.fops(""); }},
      {"Read exception: [ProtocolError] Protocol error: Invalid fops client version: 2", false,
       [](RawPeer& peer) { peer.fops("ClientInit", Body().u8(2)); }},
      {"Ipc (30): filetransfer: Bad msg name 'Zzz'", false,
       [](RawPeer& peer) {
         peer.message("Zzz", std::string(100000, 'z'));  // is skipped
         peer.openSession();
         peer.fops("ClientClose");
         peer.fops("GetRoot");
       }},
      {"Read exception: [StringTooLongException] String exceeds maximum length", true,
       [](RawPeer& peer) { peer.fops("DirScan", Body().text(std::string(10241, 'a')).u8(1).u8(1)); }},
      {"Read exception: [BadPath] Invalid path: . or ..", true,
       [](RawPeer& peer) { peer.fops("UploadFile", Body().id(1).entry("..", 1).text("")); }},
      {"Read exception: [BadPath] Invalid path: empty", true,
       [](RawPeer& peer) { peer.fops("UploadFolder", Body().id(1).entry("").text("d")); }},
      {"Read exception: [EndOfMsg] End of message", true,
       [](RawPeer& peer) { peer.fops("DirScan", Body().u32(5).raw("ab")); }},
      {"Peer reports bad msg name 'fops'", true,
       [](RawPeer& peer) { peer.message("badMsg", Body().shortText("fops")); }},
      {"InStream overrun: buffer size exceeded", true, sendTooManyAttributes},
  };
}

using FailureTest = SessionTest;

}  // namespace

TEST(Failure, ofTheProtocolEndsTheProcessWithOneAndItsWordsInTheLog) {
  for (const auto& c : violations()) {
    SCOPED_TRACE(c.words);
    const test::TempDir dir;
    RawPeer peer(dir.path());
    peer.askForLog(100);
    if (c.open) {
      peer.openSession();
    }
    c.send(peer);
    peer.drain();
    EXPECT_EQ(peer.child().wait(), 1);
    EXPECT_TRUE(peer.logHas(c.words));
    EXPECT_EQ(dir.list(), Names{});
  }
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

TEST(Failure, ofTheLinkOrASignalInMidUploadLeavesNoTemporaryFile) {
  const test::TempDir dir;
  for (const int number : {0, SIGTERM, SIGINT}) {
    RawPeer peer(dir.path());
    peer.openSession();
    startUpload(peer, dir);
    number == 0 ? peer.closeLink() : peer.child().signal(number);
    EXPECT_EQ(peer.child().wait(), number == 0 ? 1 : 0) << number;
    EXPECT_EQ(dir.list(), Names{});
  }
}

TEST_F(FailureTest, ofAnUploadIsCancelledAndTheSessionGoesOn) {
  startUpload(peer, dir);
  peer.fops("DataChunk", Body().id(1).u64(5).u32(1).raw("x"));
  Fields cancel = peer.expect("CancelByReceiver");
  EXPECT_EQ(cancel.id(), 1U);
  EXPECT_EQ(cancel.outcome(), "[ProtocolError] Protocol error: Fops write bad position/size");
  peer.fops("UploadFile", Body().id(2).entryWithMode("part2", 10, 0100644).text(""));
  peer.expect("DataReq");
  peer.fops("CancelBySender", Body().id(2).result("stop", ""));
  peer.fops("DataChunk", Body().id(2).u64(0).u32(10).raw("xxxxxxxxxx"));  // late, for an id that has gone
  peer.ask("GetRoot");
  EXPECT_EQ(dir.list(), Names{});
}

TEST(Failure, ofAFullDiskCancelsTheUpload) {
  const test::TempDir dir;
  RawPeer peer(dir.path(), {}, [] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {200000, 200000};
    setrlimit(RLIMIT_FSIZE, &limit);
  });
  peer.openSession();
  peer.fops("UploadFile", Body().id(1).entryWithMode("big", 400000, 0100644).text(""));
  peer.expect("DataReq");
  for (std::uint64_t sent = 0; sent < 400000; sent += 50000) {
    peer.fops("DataChunk", Body().id(1).u64(sent).u32(50000).raw(std::string(50000, 'x')));
  }
  Fields cancel = peer.expect("CancelByReceiver");
  EXPECT_EQ(cancel.id(), 1U);
  EXPECT_EQ(cancel.outcome(), "[System-27] write: File too large (27)");
  peer.ask("GetRoot");
  EXPECT_EQ(dir.list(), Names{});
}

TEST(Failure, ofDescriptorsIsARepliedFailure) {
  const test::TempDir dir;
  dir.write("f", "x");
  RawPeer peer(dir.path(), {}, [] {
    const rlimit limit = {16, 16};
    setrlimit(RLIMIT_NOFILE, &limit);
  });
  const auto download = [&](std::uint32_t transfer) {
    Fields reply = peer.ask("DownloadFile", Body().id(transfer).text("f"));
    reply.id();
    reply.entry();
    return reply.outcome();
  };
  const auto listed = [&] { return peer.ask("DirScan", Body().text("").u8(1).u8(1)).u32(); };
  peer.openSession();
  // Everything once while there is room: the sanitizers need descriptors for what they check the first time.
  EXPECT_EQ(download(100), "[] ");
  peer.fops("Complete", Body().id(100));
  EXPECT_EQ(listed(), 1U);
  bool failed = false;
  for (unsigned i = 1; i < 30 && !failed; ++i) {
    failed = download(i).find("Too many open files (24)") != std::string::npos;
  }
  EXPECT_TRUE(failed);
  peer.fops("Complete", Body().id(1));
  EXPECT_EQ(listed(), 1U) << peer.child().errors();
}

TEST(Failure, ofAReaderThatStallsEndsTheProcessAfterTheFlushTimeout) {
  const test::TempDir dir;
  dir.write("big", std::string(4000000, 'x'));
  RawPeer peer(dir.path(), {"LazyFlushTimeout=1"});
  peer.openSession();
  peer.ask("DownloadFile", Body().id(1).text("big"));
  peer.fops("DataReq", Body().id(1).u64(4000000));
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));  // the time runs from the last byte taken
  // Too late: the link is given up, and what was pending is all that still comes.
  peer.fops("GetRoot");
  peer.drain();
  EXPECT_EQ(peer.child().wait(), 1);
}

TEST_F(FailureTest, ofAFileThatShrinksCancelsTheDownload) {
  dir.write("f", std::string(100000, 'x'));
  peer.ask("DownloadFile", Body().id(1).text("f"));
  std::filesystem::resize_file(dir / "f", 10);
  peer.fops("DataReq", Body().id(1).u64(100000));
  EXPECT_EQ(peer.expect("DataChunk").rest().size(), 20U + 10U);
  Fields cancel = peer.expect("CancelBySender");
  EXPECT_EQ(cancel.id(), 1U);
  EXPECT_EQ(cancel.outcome(), "[EndOfStream] End of file");
}

TEST_F(FailureTest, ofAFatalAssertionReachesTheParentFirst) {
  peer.askForLog(100);
  peer.fops("CreateFolder", Body().text("/abs").text("x"));
  peer.drain();
  EXPECT_EQ(peer.child().wait(), -SIGABRT);
  EXPECT_TRUE(peer.logHas("Assertion (0): Assertion 'd[0] != '/'' failed at libs/fops/path:36"));
  EXPECT_TRUE(peer.logHas("stacktrace: "));
}
