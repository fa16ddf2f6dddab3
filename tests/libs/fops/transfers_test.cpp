#include <array>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/rdr/FileInStream.h"
#include "base/rdr/MemInStream.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/FileReceiver.h"
#include "libs/fops/FileSender.h"
#include "libs/fops/FileWriter.h"
#include "libs/fops/TransferObserver.h"
#include "tests/base/plat/RecordingDest.h"
#include "tests/libs/fops/protoTestSupport.h"
#include "tests/support/TempDir.h"

namespace fops {
namespace {

class RecordingObserver : public TransferObserver {
public:
  explicit RecordingObserver(CallLog& log) : calls_(log) {}
  void transferProgress(TransferId id, std::uint64_t position, std::uint64_t delta) override {
    calls_.note("progress", id, std::to_string(position), std::to_string(delta));
  }
  void transferDone(TransferId id, int status, const plat::Exception& error) override {
    calls_.note("done", id, status, error);
  }

private:
  CallLog& calls_;
};

/// Keeps the bytes in memory and tells what becomes of it.
class RecordingFile : public FileWriter {
public:
  RecordingFile(const DirEntry& entry, CallLog& log, rdr::OutStream& out) : FileWriter(entry), calls_(log), out_(out) {}
  ~RecordingFile() override { calls_.note("gone"); }
  rdr::OutStream& getOutStream() override { return out_; }
  void finish() override {
    calls_.note("finish");
    if (entry().flags != 0) {
      throw plat::Exception("no name left", "Finish");
    }
  }

private:
  CallLog& calls_;
  rdr::OutStream& out_;
};

class TransfersTest : public testing::Test {
protected:
  void send(TransferId id, std::uint64_t size) {
    sender.add(id, "dir/f", size, std::make_unique<rdr::MemInStream>(bytes.data(), static_cast<int>(bytes.size())));
  }
  std::unique_ptr<FileWriter> writer(std::uint64_t size, std::uint32_t flags = 0) {
    DirEntry entry("f", flags);
    entry.size = static_cast<std::int64_t>(size);
    return std::make_unique<RecordingFile>(entry, calls, out);
  }
  void chunk(std::uint64_t position, std::int32_t length) {
    const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
    receiver.dataChunk(1, position, length, data + std::min<std::uint64_t>(position, bytes.size()));
  }
  /// The positions asked for while a file comes in chunks of one length.
  Lines requestsFor(std::uint64_t size, std::uint64_t chunkLength) {
    receiver.add(1, writer(size));
    for (std::uint64_t at = 0; at < size; at += chunkLength) {
      chunk(at, static_cast<std::int32_t>(std::min(chunkLength, size - at)));
    }
    Lines requests;
    for (const std::string& call : calls.take()) {
      if (call.rfind("dataReq 1.0|", 0) == 0) {
        requests.push_back(call.substr(12));
      }
    }
    return requests;
  }

  const std::string bytes = test::pattern(3 * 1048576 + 5);
  rdr::MemOutStream out;
  CallLog calls;
  RecordingEnds peer{calls};
  RecordingObserver observer{calls};
  FileSender sender{peer, &observer};
  FileReceiver receiver{peer, &observer};
};

// Sending

TEST_F(TransfersTest, sendsUpToEachRequestWithoutCopying) {
  send(1, bytes.size());
  EXPECT_EQ(calls.take(), Lines{}) << "nothing unasked";
  sender.dataReq(1, 1000);
  EXPECT_EQ(static_cast<const void*>(peer.chunkData), bytes.data());
  sender.dataReq(1, bytes.size());
  EXPECT_EQ(static_cast<const void*>(peer.chunkData), bytes.data() + 1000 + 2 * 1048576);
  sender.complete(1);
  sender.dataReq(1, bytes.size());  // gone: ignored
  EXPECT_EQ(calls.take(), (Lines{"dataChunk 1.0|0|1000|", "progress 1.0|1000|1000|", "dataChunk 1.0|1000|1048576|",
                                 "dataChunk 1.0|1049576|1048576|", "dataChunk 1.0|2098152|1047581|",
                                 "progress 1.0|3145733|3144733|", "done 1.0|0|[] |"}));
}

TEST_F(TransfersTest, sendsWhatTheStreamHasAtHandAndGoesByTheSizeAtTheStart) {
  const test::TempDir dir;
  dir.write("f", bytes.substr(0, 20000));
  sender.add(1, "f", 20000, std::make_unique<rdr::FileInStream>((dir / "f").c_str()));
  dir.write("f", bytes.substr(0, 30000));
  for (const std::uint64_t request : {1U, 16801U, 20000U, 20001U}) {
    sender.dataReq(1, request);
    calls.note("--");
  }
  EXPECT_EQ(calls.take(),
            (Lines{"dataChunk 1.0|0|1|", "progress 1.0|1|1|", "-- ", "dataChunk 1.0|1|16799|", "dataChunk 1.0|16800|1|",
                   "progress 1.0|16801|16800|", "-- ", "dataChunk 1.0|16801|3199|", "progress 1.0|20000|3199|", "-- ",
                   "cancelBySender 1.0|[ProtocolError] Protocol error: Fops request bad position|",
                   "done 1.0|2|[ProtocolError] Protocol error: Fops request bad position|", "-- "}));
}

TEST_F(TransfersTest, refusesRequestsThatDoNotMoveForwardWithinTheFile) {
  const std::string error = "[ProtocolError] Protocol error: Fops request bad position|";
  for (const auto& [size, first, bad] : std::vector<std::array<std::uint64_t, 3>>{
           {0, 0, 0}, {0, 0, 1}, {100, 0, 0}, {100, 50, 50}, {100, 100, 50}, {100, 0, UINT64_MAX}}) {
    SCOPED_TRACE(std::to_string(size) + ": " + std::to_string(first) + ", " + std::to_string(bad));
    send(1, size);
    if (first) {
      sender.dataReq(1, first);
    }
    calls.take();
    sender.dataReq(1, bad);
    sender.dataReq(1, size);  // the element is gone
    EXPECT_EQ(calls.take(), (Lines{"cancelBySender 1.0|" + error, "done 1.0|2|" + error}));
  }
}

TEST_F(TransfersTest, survivesAReceiverThatChangesTheListFromInsideAChunk) {
  send(1, bytes.size());
  send(2, bytes.size());
  std::string received;
  peer.onCall = [&] {
    received += peer.chunk;
    for (TransferId id = 10; received.size() == 1048576 && id < 40; ++id) {
      send(id, 1);  // moves the elements in memory
    }
    sender.complete(1);  // and moves the one being sent to the front
  };
  sender.dataReq(2, bytes.size());
  EXPECT_EQ(received, bytes);
  peer.onCall = [&] { sender.cancelByReceiver(10, plat::Exception("stop")); };
  calls.take();
  sender.dataReq(10, 1);
  EXPECT_EQ(calls.take(), (Lines{"dataChunk 10.0|0|1|", "done 10.0|2|[] stop|"}));
}

TEST_F(TransfersTest, logsTheLifeOfASentFile) {
  const test::RecordingDest log("*:rec:110");
  const TransferId id = 0x200000001;
  send(id, 300);
  sender.dataReq(id, 200);
  sender.dataReq(id, 200);
  sender.complete(id);
  send(id, 0);
  EXPECT_DEATH(send(id, 0), "i == files.end\\(\\).*libs/fops/FileSender");
  sender.complete(id);
  send(id, 100);
  sender.cancelByReceiver(id, plat::Exception("full", "Disk"));
  sender.cancelByReceiver(id, plat::Exception("full", "Disk"));
  send(id, 100);
  sender.cancel(id, plat::Exception());
  EXPECT_EQ(
      log.lines(),
      (Lines{"30 FileSender: New id=1.2 dir/f 300 bytes", "110 FileSender: DataReq id=1.2 200 (66%)",
             "110 FileSender: DataReq id=1.2 200 (66%)",
             "30 FileSender: Error id=1.2 dir/f: [ProtocolError] Protocol error: Fops request bad position",
             "30 FileSender: Complete id=1.2 (unknown)", "30 FileSender: New id=1.2 dir/f 0 bytes",
             "30 FileSender: Complete id=1.2 dir/f", "30 FileSender: New id=1.2 dir/f 100 bytes",
             "30 FileSender: Cancel by receiver id=1.2 dir/f: [Disk] full",
             "30 FileSender: Cancel by receiver id=1.2 (unknown): [Disk] full",
             "30 FileSender: New id=1.2 dir/f 100 bytes", "30 FileSender: Cancel by sender id=1.2 dir/f: cancelled"}));
}

// Receiving

TEST_F(TransfersTest, asksForTheNextWindowAtHalfOfTheLast) {
  EXPECT_EQ(requestsFor(1048576, 65536), Lines{"1048576|"});
  EXPECT_EQ(requestsFor(1048577, 65536), (Lines{"1048576|", "1048577|"}));
  EXPECT_EQ(requestsFor(1048577, 524287), (Lines{"1048576|", "1048577|"}));  // a chunk that crosses the mark counts
  EXPECT_EQ(requestsFor(3145728, 65536), (Lines{"1048576|", "1572864|", "2097152|", "2621440|", "3145728|"}));
  EXPECT_EQ(requestsFor(3145731, 1048576), (Lines{"1048576|", "2097152|", "3145728|", "3145731|"}));
  receiver.add(1, writer(UINT64_MAX));  // an announced size below zero
  EXPECT_EQ(calls.take(), Lines{"dataReq 1.0|1048576|"});
}

TEST_F(TransfersTest, renamesThenTellsThenForgets) {
  receiver.add(2, writer(0));
  EXPECT_EQ(calls.take(), (Lines{"finish ", "complete 2.0|", "gone ", "done 2.0|0|[] |"}));
  const test::RecordingDest log("*:rec:110");
  receiver.add(1, writer(3));
  chunk(0, 2);
  chunk(2, 0);  // nothing, at the right place
  chunk(2, 1);
  chunk(3, 1);  // late: ignored
  EXPECT_EQ(calls.take(), (Lines{"dataReq 1.0|3|", "progress 1.0|2|2|", "progress 1.0|2|0|", "finish ", "complete 1.0|",
                                 "progress 1.0|3|1|", "gone ", "done 1.0|0|[] |"}));
  EXPECT_EQ(test::contents(out), bytes.substr(0, 3));
  EXPECT_EQ(log.lines(), (Lines{"30 FileReceiver: New id=1.0 f 3 bytes", "110 FileReceiver: DataReq id=1.0 3 (100%)",
                                "30 FileReceiver: Complete id=1.0 f"}));
}

TEST_F(TransfersTest, refusesChunksOutOfPlaceOrOverTheEnd) {
  const std::string error = "[ProtocolError] Protocol error: Fops write bad position/size|";
  for (const auto& [position, length] : std::vector<std::pair<std::uint64_t, std::int32_t>>{
           {0, 5}, {4, 1}, {6, 1}, {5, 6}, {5, -1}, {5, INT32_MIN}, {UINT64_MAX, 2}}) {
    SCOPED_TRACE(std::to_string(position) + " +" + std::to_string(length));
    receiver.add(1, writer(10));
    chunk(0, 5);
    calls.take();
    const auto before = out.length();
    chunk(position, length);
    chunk(5, 5);  // the element is gone
    EXPECT_EQ(calls.take(), (Lines{"cancelByReceiver 1.0|" + error, "gone ", "done 1.0|2|" + error}));
    EXPECT_EQ(out.length(), before);
  }
}

TEST_F(TransfersTest, cancelsAFileThatCannotGetItsName) {
  receiver.add(1, writer(2, ReadOnly));
  chunk(0, 2);
  EXPECT_EQ(calls.take(), (Lines{"dataReq 1.0|2|", "finish ", "cancelByReceiver 1.0|[Finish] no name left|", "gone ",
                                 "done 1.0|2|[Finish] no name left|"}));
  EXPECT_THROW(receiver.add(1, writer(0, ReadOnly)), plat::Exception);
  receiver.cancel(1, false, plat::Exception("sorry"));  // as the caller has to
  EXPECT_EQ(calls.take(), (Lines{"finish ", "cancelByReceiver 1.0|[] sorry|", "gone "}));
}

TEST_F(TransfersTest, isCancelledFromEitherSide) {
  const test::RecordingDest log("*:rec:100");
  receiver.add(1, writer(10));
  EXPECT_DEATH(receiver.add(1, writer(10)), "i == files.end\\(\\).*libs/fops/FileReceiver");
  receiver.cancelBySender(1, plat::Exception("bye", "Gone"));
  receiver.cancelBySender(1, plat::Exception("bye", "Gone"));
  EXPECT_EQ(calls.take(), (Lines{"dataReq 1.0|10|", "gone ", "done 1.0|2|[Gone] bye|"}));
  receiver.add(1, writer(10));
  receiver.cancel(1, true, plat::Exception());
  receiver.cancel(1, true, plat::Exception());
  receiver.cancel(1, false, plat::Exception("refused"));
  EXPECT_EQ(calls.take(),
            (Lines{"dataReq 1.0|10|", "cancelByReceiver 1.0|[] |", "gone ", "cancelByReceiver 1.0|[] refused|"}));
  peer.onCall = [&] { receiver.cancelBySender(1, plat::Exception("no")); };  // from inside the request
  receiver.add(1, writer(10));
  EXPECT_EQ(calls.take(), (Lines{"dataReq 1.0|10|", "gone ", "done 1.0|2|[] no|"}));
  const std::string added = "30 FileReceiver: New id=1.0 f 10 bytes";
  EXPECT_EQ(log.lines(), (Lines{added, "30 FileReceiver: Cancel by sender id=1.0 f: [Gone] bye",
                                "30 FileReceiver: Cancel by sender id=1.0 (unknown): [Gone] bye", added,
                                "30 FileReceiver: Cancel by receiver id=1.0 f: cancelled",
                                "30 FileReceiver: Cancel by receiver id=1.0 (unknown): refused", added,
                                "30 FileReceiver: Cancel by sender id=1.0 f: no"}));
}

}  // namespace
}  // namespace fops
