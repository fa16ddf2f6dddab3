// What a broken peer or a broken machine can do to the helper: each case with its outcome, and nothing half-written
// left on disk.

#include <sys/resource.h>

#include "tests/apps/RawPeer.h"

namespace {

using Names = std::vector<std::string>;

/// Lowers a limit of the process to so much.
void limitTo(__rlimit_resource resource, rlim_t most) {
  const rlimit limit = {most, most};
  setrlimit(resource, &limit);
}

}  // namespace

TEST(Failure, ofTheLinkOrASignalInMidUploadLeavesNoTemporaryFile) {
  for (const int number : {0, SIGTERM, SIGINT}) {
    RawPeer peer;
    peer.openSession();
    peer.fops("UploadFile", Body().id(1).entryWithMode("part", 1000000, 0100644).text(""));
    peer.expect("DataReq");
    peer.fops("DataChunk", Body().id(1).u64(0).text(std::string(100000, 'x')));
    EXPECT_EQ(peer.dir.list(), Names{"part.tmp"});
    number == 0 ? peer.closeLink() : static_cast<void>(kill(peer.child().pid(), number));
    EXPECT_EQ(peer.child().wait(), number == 0 ? 1 : 0) << number;
    EXPECT_EQ(peer.dir.list(), Names{});
  }
}

TEST(Failure, ofAFullDiskCancelsTheUpload) {
  RawPeer peer({}, [] { limitTo(RLIMIT_FSIZE, 200000); });
  peer.openSession();
  peer.fops("UploadFile", Body().id(1).entryWithMode("big", 400000, 0100644).text(""));
  peer.expect("DataReq");
  for (std::uint64_t sent = 0; sent < 400000; sent += 50000) {
    peer.fops("DataChunk", Body().id(1).u64(sent).text(std::string(50000, 'x')));
  }
  EXPECT_EQ(peer.expect("CancelByReceiver").rest(), Body().id(1).result("write: File too large (27)", "System-27"));
  peer.ask("GetRoot");
  EXPECT_EQ(peer.dir.list(), Names{});
}

TEST(Failure, ofDescriptorsIsARepliedFailure) {
  RawPeer peer({}, [] { limitTo(RLIMIT_NOFILE, 16); });
  peer.dir.write("f", "x");
  const auto download = [&](std::uint32_t id) { return peer.ask("DownloadFile", Body().id(id).text("f")).rest(); };
  const auto listed = [&] { return peer.ask("DirScan", Body().text("").u8(1).u8(1)).number(4); };
  const std::string success = Body().result("", "");
  peer.openSession();
  // Everything once while there is room: the sanitizers need descriptors for what they check the first time.
  EXPECT_TRUE(download(100).ends_with(success));
  peer.fops("Complete", Body().id(100));
  EXPECT_EQ(listed(), 1U);
  std::string last = success;
  for (unsigned i = 1; i < 30 && last.ends_with(success); ++i) {
    last = download(i);
  }
  EXPECT_NE(last.find("Too many open files (24)"), std::string::npos);
  peer.fops("Complete", Body().id(1));
  EXPECT_EQ(listed(), 1U) << peer.child().errors();
}

TEST(Failure, ofAReaderThatStallsEndsTheProcessAfterTheFlushTimeout) {
  RawPeer peer({"LazyFlushTimeout=1"});
  peer.dir.write("big", std::string(4000000, 'x'));
  peer.openSession();
  peer.ask("DownloadFile", Body().id(1).text("big"));
  peer.fops("DataReq", Body().id(1).u64(4000000));
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));  // the time runs from the last byte taken
  // Too late: the link is given up, and what was pending is all that still comes.
  peer.fops("GetRoot");
  peer.drain();
  EXPECT_EQ(peer.child().wait(), 1);
}

TEST(Failure, ofAFileThatShrinksCancelsTheDownload) {
  RawPeer peer;
  peer.openSession();
  peer.dir.write("f", std::string(100000, 'x'));
  peer.ask("DownloadFile", Body().id(1).text("f"));
  std::filesystem::resize_file(peer.dir / "f", 10);
  peer.fops("DataReq", Body().id(1).u64(100000));
  EXPECT_EQ(peer.expect("DataChunk").rest().size(), 20U + 10U);
  EXPECT_EQ(peer.expect("CancelBySender").rest(), Body().id(1).result("End of file", "EndOfStream"));
}

TEST(Failure, ofAFatalAssertionReachesTheParentFirst) {
  RawPeer peer;
  peer.openSession();
  peer.askForLog(100);
  peer.fops("CreateFolder", Body().text("/abs").text("x"));
  peer.drain();
  EXPECT_EQ(peer.child().wait(), -SIGABRT);
  EXPECT_TRUE(peer.logHas("Assertion (0): Assertion 'd[0] != '/'' failed at libs/fops/path:36"));
  EXPECT_TRUE(peer.logHas("stacktrace: "));
}
