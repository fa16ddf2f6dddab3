
#include "base/plat/Time.h"
#include "base/rdr/MemInStream.h"
#include "libs/fops/FileReceiver.h"
#include "libs/fops/FileSender.h"
#include "libs/fops/TransferObserver.h"
#include "libs/fops/local/LocalFileWriter.h"
#include "libs/fops/local/metadata.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

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

class TransfersTest : public testing::Test, public TransferObserver {
protected:
  void transferProgress(TransferId id, std::uint64_t position, std::uint64_t delta) override {
    calls.note("progress", id, std::to_string(position), std::to_string(delta));
  }
  void transferDone(TransferId id, int status, const plat::Exception& error) override {
    calls.note("done", id, status, error);
  }
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
  std::string requestsFor(std::uint64_t size, std::uint64_t chunkLength) {
    receiver.add(1, writer(size));
    for (std::uint64_t at = 0; at < size; at += chunkLength) {
      chunk(at, static_cast<std::int32_t>(std::min(chunkLength, size - at)));
    }
    std::string requests;
    for (const std::string& call : calls.take()) {
      requests += call.starts_with("dataReq 1.0|") ? call.substr(12) : "";
    }
    return requests;
  }

  const std::string bytes = test::pattern(3 * 1048576 + 5);
  rdr::MemOutStream out;
  CallLog calls;
  RecordingEnds peer{calls};
  FileSender sender{peer, this};
  FileReceiver receiver{peer, this};
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

TEST_F(TransfersTest, refusesRequestsThatDoNotMoveForwardWithinTheFile) {
  const std::string error = "[ProtocolError] Protocol error: Fops request bad position|";
  using Row = std::array<std::uint64_t, 3>;
  for (const auto& [size, first, bad] :
       {Row{0, 0, 0}, {0, 0, 1}, {100, 0, 0}, {100, 50, 50}, {100, 100, 50}, {100, 0, UINT64_MAX}}) {
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
  const TransferId id = 0x200000001;
  const plat::Exception full("full", "Disk");
  send(id, 0);
  EXPECT_DEATH(send(id, 0), "i == files.end\\(\\).*libs/fops/FileSender");
  sender.complete(id);
  const test::RecordingDest log("*:rec:110");
  send(id, 300);
  sender.dataReq(id, 200);
  sender.dataReq(id, 200);
  sender.complete(id);
  send(id, 100);
  sender.cancelByReceiver(id, full);
  send(id, 100);
  sender.cancel(id, plat::Exception());
  sender.cancelByReceiver(id, full);
  const std::string added = "30 FileSender: New id=1.2 dir/f 100 bytes";
  EXPECT_EQ(log.lines(),
            (Lines{"30 FileSender: New id=1.2 dir/f 300 bytes", "110 FileSender: DataReq id=1.2 200 (66%)",
                   "110 FileSender: DataReq id=1.2 200 (66%)",
                   "30 FileSender: Error id=1.2 dir/f: [ProtocolError] Protocol error: Fops request bad position",
                   "30 FileSender: Complete id=1.2 (unknown)", added,
                   "30 FileSender: Cancel by receiver id=1.2 dir/f: [Disk] full", added,
                   "30 FileSender: Cancel by sender id=1.2 dir/f: cancelled",
                   "30 FileSender: Cancel by receiver id=1.2 (unknown): [Disk] full"}));
}

// Receiving

TEST_F(TransfersTest, asksForTheNextWindowAtHalfOfTheLast) {
  EXPECT_EQ(requestsFor(1048576, 65536), "1048576|");
  EXPECT_EQ(requestsFor(1048577, 65536), "1048576|1048577|");
  EXPECT_EQ(requestsFor(1048577, 524287), "1048576|1048577|");  // a chunk that crosses the mark counts
  EXPECT_EQ(requestsFor(3145728, 65536), "1048576|1572864|2097152|2621440|3145728|");
  EXPECT_EQ(requestsFor(3145731, 1048576), "1048576|2097152|3145728|3145731|");
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
  for (const auto& [position, length] :
       {std::pair(0UL, 5), {4, 1}, {6, 1}, {5, 6}, {5, -1}, {5, INT32_MIN}, {UINT64_MAX, 2}}) {
    SCOPED_TRACE(std::to_string(position) + " +" + std::to_string(length));
    receiver.add(1, writer(10));
    chunk(0, 5);
    calls.take();
    const auto before = out.length();
    EXPECT_FALSE(receiver.accepts(1, position, length));
    EXPECT_TRUE(receiver.accepts(1, 5, 0) && receiver.accepts(1, 5, 5));
    EXPECT_FALSE(receiver.accepts(2, 5, 5)) << "unknown";
    chunk(position, length);
    EXPECT_FALSE(receiver.accepts(1, 5, 5)) << "unknown from here on";
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
  const std::string added = "30 FileReceiver: New id=1.0 f 10 bytes";
  EXPECT_EQ(log.lines(), (Lines{added, "30 FileReceiver: Cancel by sender id=1.0 f: [Gone] bye",
                                "30 FileReceiver: Cancel by sender id=1.0 (unknown): [Gone] bye", added,
                                "30 FileReceiver: Cancel by receiver id=1.0 f: cancelled",
                                "30 FileReceiver: Cancel by receiver id=1.0 (unknown): refused"}));
  peer.onCall = [&] { receiver.cancelBySender(1, plat::Exception("no")); };  // from inside the request
  receiver.add(1, writer(10));
  EXPECT_EQ(calls.take(), (Lines{"dataReq 1.0|10|", "gone ", "done 1.0|2|[] no|"}));
}

// Writing beside the destination

class LocalFileWriterTest : public testing::Test {
protected:
  std::unique_ptr<LocalFileWriter> open(const DirEntry& entry) {
    const os::OpenArgs args{O_WRONLY | O_CREAT | O_TRUNC, 0644};
    return std::make_unique<LocalFileWriter>(entry, dir.path().c_str(), args);
  }
  std::unique_ptr<LocalFileWriter> open(const char* name) { return open(DirEntry(name, 0)); }
  DirEntry onDisk(const char* name) { return getDirEntry((dir / name).c_str(), nullptr); }

  test::TempDir dir;
};

TEST_F(LocalFileWriterTest, writesBesideTheDestinationAndRenamesAtTheEnd) {
  const test::RecordingDest log("*:rec:100");
  const std::string temporary = dir / "x.tmp";
  auto first = open("x");
  EXPECT_STREQ(first->displayPath(), (dir / "x").c_str());
  first->getOutStream().writeU8('1');
  first.reset();  // abandoned
  EXPECT_EQ(dir.list(), Lines{});
  first = open("x");
  first->getOutStream().writeU8('1');
  first->finish();
  EXPECT_EQ(log.lines(),
            (Lines{"100 LocalFileWriter: Writing to " + temporary, "100 LocalFileWriter: Removing " + temporary,
                   "100 LocalFileWriter: Writing to " + temporary,
                   "100 LocalFileWriter: Renaming as " + dir / "x" + " from " + temporary}));
  first = open("x");  // and side by side
  const auto second = open("x");
  EXPECT_EQ(dir.list(), (Lines{"x", "x(1).tmp", "x.tmp"}));
  second->getOutStream().writeU8('2');
  second->finish();
  first->finish();
  EXPECT_EQ(dir.list(), (Lines{"x", "x(1)", "x(2)"}));
  EXPECT_EQ(dir.read("x") + dir.read("x(1)") + dir.read("x(2)"), "12");  // in the order of their ends
}

TEST_F(LocalFileWriterTest, sharesNoFileWithAnotherProcess) {
  constexpr int Children = 4, FilesEach = 24, Size = 20000;
  const auto writeFiles = [&](char letter) {
    for (int i = 0; i < FilesEach; ++i) {
      const auto writer = open("x");
      test::put(writer->getOutStream(), std::string(Size, letter));
      writer->finish();
    }
  };
  for (char letter = 'a'; letter < 'a' + Children; ++letter) {
    if (::fork() == 0) {
      ::_exit(failureOf([&] { writeFiles(letter); }).empty() ? 0 : 1);
    }
  }
  for (int i = 0, status = 0; i < Children; ++i) {
    ASSERT_GT(::wait(&status), 0);
    EXPECT_EQ(status, 0);
  }
  for (const std::string& name : dir.list()) {  // of which a few may have replaced one another at the end
    const std::string bytes = dir.read(name);
    EXPECT_TRUE(bytes.size() == Size && bytes.find_first_not_of(bytes[0]) == std::string::npos) << name;
  }
}

TEST_F(LocalFileWriterTest, takesALinkThatLeadsNowhereForAFreeName) {
  dir.link("elsewhere", "x.tmp");
  auto writer = open("x");
  EXPECT_EQ(dir.list(), (Lines{"elsewhere", "x.tmp"})) << "and writes where it leads";
  writer->finish();
  EXPECT_EQ(dir.list(), (Lines{"elsewhere", "x"}));
  ASSERT_EQ(::unlink((dir / "elsewhere").c_str()), 0);
  open("x")->finish();
  EXPECT_EQ(dir.list(), Lines{"x"});
  EXPECT_EQ(dir.read("x"), "") << "the link is replaced";
}

TEST_F(LocalFileWriterTest, givesTheAnnouncedPermissionFromTheFirstByteOn) {
  const struct {
    int unixMode;  // -1: no attribute
    std::uint32_t flags;
    mode_t mask, expected;
  } cases[] = {{0100600, 0, 0, 0600}, {0106777, 0, 022, 0755}, {-1, 0, 022, 0644}, {-1, ReadOnly, 022, 0444}};
  for (const auto& c : cases) {
    const mode_t before = ::umask(c.mask);
    DirEntry entry("f", c.flags);
    if (c.unixMode >= 0) {
      setUnixMode(entry, static_cast<std::uint16_t>(c.unixMode));
    }
    const auto writer = open(entry);
    EXPECT_EQ(unixMode(onDisk("f.tmp")) & 07777, c.expected);
    writer->finish();
    EXPECT_EQ(unixMode(onDisk("f")) & 07777, c.expected);
    ASSERT_EQ(::unlink((dir / "f").c_str()), 0);
    ::umask(before);
  }
}

TEST_F(LocalFileWriterTest, takesOverTimesOnlyIfAsked) {
  DirEntry entry("f", 0);
  entry.modifyTime = plat::fileTimeFromUnix(1000000000);
  open(entry)->finish();
  const ParameterValue preserve("_FopsPreserveTimestamps", "1");
  open(entry)->finish();
  EXPECT_GT(onDisk("f").modifyTime, plat::fileTimeFromUnix(1500000000));
  EXPECT_EQ(onDisk("f(1)").modifyTime, entry.modifyTime);
  EXPECT_EQ(onDisk("f(1)").accessTime, entry.modifyTime);  // zero means the same time
}

TEST_F(LocalFileWriterTest, removesTheFileWhenItCannotEndIt) {
  auto writer = open("gone");
  ASSERT_EQ(::unlink((dir / "gone.tmp").c_str()), 0);
  EXPECT_EQ(test::messageFrom([&] { writer->finish(); }),
            "fileRename(" + dir / "gone.tmp" + "," + dir / "gone" + "): No such file or directory (2)");
  for (int i = 0; i <= 99; ++i) {  // all that could stand in for the name
    dir.makeDir(i == 0 ? "t" : "t(" + std::to_string(i) + ")");
  }
  writer = open("t");
  EXPECT_EQ(test::messageFrom([&] { writer->finish(); }), "Too many files with same name");
  writer.reset();
  EXPECT_EQ(dir.list().size(), 100U);
}

}  // namespace
}  // namespace fops
