#include "libs/fops/FileReceiver.h"

#include <functional>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>

#include "base/os/unix/FileFdOutStream.h"
#include "base/plat/Exception.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "libs/fops/DataSender.h"
#include "libs/fops/FileSender.h"
#include "libs/fops/FileWriter.h"
#include "libs/fops/TransferObserver.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

using Events = std::vector<std::string>;

DirEntry announced(std::int64_t size) {
  DirEntry entry("f", 0);
  entry.size = size;
  return entry;
}

/// Writes to any stream and tells what becomes of it.
class FakeWriter : public FileWriter {
public:
  FakeWriter(std::int64_t size, Events& log, rdr::OutStream& out)
      : FileWriter(announced(size)), events_(log), out_(out) {}
  ~FakeWriter() override { events_.push_back("gone"); }
  rdr::OutStream& getOutStream() override { return out_; }
  void finish() override {
    if (failure)
      throw plat::Exception(failure, "Finish");
    out_.flush();
    events_.push_back("finish");
  }
  const char* failure = nullptr;

private:
  Events& events_;
  rdr::OutStream& out_;
};

class Peer : public DataSender {
public:
  explicit Peer(Events& log) : events_(log) {}
  void dataReq(TransferId, std::uint64_t position) override {
    events_.push_back("req " + std::to_string(position));
    if (onReq)
      onReq();
  }
  void cancelByReceiver(TransferId id, const plat::Exception& error) override {
    events_.push_back("cancel " + std::to_string(id) + " [" + error.type + "] " + error.message);
  }
  void complete(TransferId) override { events_.push_back("complete"); }
  std::function<void()> onReq;

private:
  Events& events_;
};

class Observer : public TransferObserver {
public:
  explicit Observer(Events& log) : events_(log) {}
  void transferProgress(TransferId, std::uint64_t position, std::uint64_t delta) override {
    events_.push_back("at " + std::to_string(position) + " +" + std::to_string(delta));
  }
  void transferDone(TransferId, int status, const plat::Exception& error) override {
    events_.push_back("done " + std::to_string(status) + ' ' + error.message);
  }

private:
  Events& events_;
};

class FileReceiverTest : public testing::Test {
protected:
  void add(TransferId id, std::int64_t size) { receiver.add(id, std::make_unique<FakeWriter>(size, events, out)); }
  void chunk(std::uint64_t position, std::int32_t length) {
    receiver.dataChunk(1, position, length, reinterpret_cast<const std::uint8_t*>(bytes.data()) + position);
  }
  Events taken() { return std::exchange(events, {}); }
  std::string written() { return {reinterpret_cast<const char*>(out.data()), out.length()}; }
  /// The positions asked for while a file comes in chunks of one length.
  Events requestsFor(std::int64_t size, std::int32_t chunkLength) {
    add(1, size);
    for (std::int64_t at = 0; at < size; at += chunkLength)
      chunk(static_cast<std::uint64_t>(at), static_cast<std::int32_t>(std::min<std::int64_t>(chunkLength, size - at)));
    EXPECT_EQ(events.size() < 3 ? "" : events[events.size() - 2], "complete");
    Events requests;
    for (const std::string& event : taken())
      if (event.rfind("req ", 0) == 0)
        requests.push_back(event.substr(4));
    return requests;
  }

  const std::string bytes = std::string(3 * 1048576, 'x') + "end";
  Events events;
  rdr::MemOutStream out;
  Peer peer{events};
  FileReceiver receiver{peer};
};

const char* const BadChunk = "cancel 1 [ProtocolError] Protocol error: Fops write bad position/size";

TEST_F(FileReceiverTest, finishesAnEmptyFileAtOnce) {
  Observer observer(events);
  FileReceiver observed(peer, &observer);
  observed.add(1, std::make_unique<FakeWriter>(0, events, out));
  EXPECT_EQ(events, (Events{"finish", "complete", "gone", "done 0 "}));
}

TEST_F(FileReceiverTest, asksForTheNextWindowAtHalfOfTheLast) {
  EXPECT_EQ(requestsFor(1, 1), Events{"1"});
  EXPECT_EQ(requestsFor(1048576, 65536), Events{"1048576"});
  EXPECT_EQ(requestsFor(1048577, 65536), (Events{"1048576", "1048577"}));
  EXPECT_EQ(requestsFor(1048577, 524287), (Events{"1048576", "1048577"}));  // a chunk that crosses the mark counts
  EXPECT_EQ(requestsFor(3 * 1048576, 65536), (Events{"1048576", "1572864", "2097152", "2621440", "3145728"}));
  EXPECT_EQ(requestsFor(3 * 1048576 + 3, 1048576), (Events{"1048576", "2097152", "3145728", "3145731"}));
}

TEST_F(FileReceiverTest, renamesThenTellsThenLogsThenForgets) {
  const LogLines lines;
  Observer observer(events);
  FileReceiver observed(peer, &observer);
  observed.add(1, std::make_unique<FakeWriter>(3, events, out));
  EXPECT_EQ(taken(), Events{"req 3"});
  const auto* data = reinterpret_cast<const std::uint8_t*>("abc");
  observed.dataChunk(1, 0, 2, data);
  EXPECT_EQ(taken(), Events{"at 2 +2"});
  observed.dataChunk(1, 2, 0, data);  // nothing, at the right place
  EXPECT_EQ(taken(), Events{"at 2 +0"});
  observed.dataChunk(1, 2, 1, data + 2);
  EXPECT_EQ(taken(), (Events{"finish", "complete", "at 3 +1", "gone", "done 0 "}));
  EXPECT_EQ(written(), "abc");
  observed.dataChunk(1, 3, 1, data);  // late: ignored
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(lines.all(), (Events{"FileReceiver 30 New id=1.0 f 3 bytes", "FileReceiver 30 Complete id=1.0 f"}));
}

TEST_F(FileReceiverTest, tellsRequestsAtTheFinestLevel) {
  const LogLines lines;
  plat::logOverride("FileReceiver:fopstest:110");
  add(1, 3 * 1048576);
  EXPECT_TRUE(lines.has("FileReceiver 110 DataReq id=1.0 1048576 (33%)"));
}

TEST_F(FileReceiverTest, refusesChunksOutOfPlaceOrOverTheEnd) {
  struct Case {
    std::uint64_t position;
    std::int32_t length;
  };
  for (const Case& c : {Case{0, 5}, {4, 1}, {6, 1}, {5, 6}, {5, -1}, {5, INT32_MIN}, {UINT64_MAX, 2}}) {
    SCOPED_TRACE(std::to_string(c.position) + " +" + std::to_string(c.length));
    add(1, 10);
    chunk(0, 5);
    taken();
    const std::string before = written();
    receiver.dataChunk(1, c.position, c.length, reinterpret_cast<const std::uint8_t*>(bytes.data()));
    EXPECT_EQ(taken(), (Events{BadChunk, "gone"}));
    EXPECT_EQ(written(), before);
    chunk(5, 5);
    EXPECT_TRUE(events.empty());
  }
}

TEST_F(FileReceiverTest, cancelsWhenTheDiskIsFull) {
  os::FileFdOutStream full(::open("/dev/full", O_WRONLY | O_CLOEXEC), true);
  receiver.add(1, std::make_unique<FakeWriter>(100000, events, full));
  taken();
  chunk(0, 50000);
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].rfind("cancel 1 [System-28] write: No space left on device", 0), 0U) << events[0];
  EXPECT_EQ(events[1], "gone");
}

TEST_F(FileReceiverTest, cancelsWhenTheFileCannotGetItsName) {
  auto writer = std::make_unique<FakeWriter>(2, events, out);
  writer->failure = "no name left";
  receiver.add(1, std::move(writer));
  chunk(0, 2);
  EXPECT_EQ(events, (Events{"req 2", "cancel 1 [Finish] no name left", "gone"}));
}

TEST_F(FileReceiverTest, lettingAddFailLeavesTheFileToCancel) {
  auto writer = std::make_unique<FakeWriter>(0, events, out);
  writer->failure = "no name left";
  EXPECT_THROW(receiver.add(1, std::move(writer)), plat::Exception);
  EXPECT_TRUE(events.empty());
  receiver.cancel(1, false, plat::Exception("sorry"));
  EXPECT_EQ(events, (Events{"cancel 1 [] sorry", "gone"}));
}

TEST_F(FileReceiverTest, cancelsFromEitherSide) {
  const LogLines lines;
  add(1, 10);
  receiver.cancelBySender(1, plat::Exception("bye", "Gone"));
  receiver.cancelBySender(1, plat::Exception("bye", "Gone"));
  EXPECT_EQ(taken(), (Events{"req 10", "gone"}));
  add(1, 10);
  receiver.cancel(1, true, plat::Exception());
  receiver.cancel(1, true, plat::Exception());
  EXPECT_EQ(taken(), (Events{"req 10", "cancel 1 [] ", "gone"}));
  receiver.cancel(1, false, plat::Exception("refused"));
  EXPECT_EQ(taken(), Events{"cancel 1 [] refused"});
  const std::string added = "FileReceiver 30 New id=1.0 f 10 bytes";
  EXPECT_EQ(lines.all(), (Events{added, "FileReceiver 30 Cancel by sender id=1.0 f: [Gone] bye",
                                 "FileReceiver 30 Cancel by sender id=1.0 (unknown): [Gone] bye", added,
                                 "FileReceiver 30 Cancel by receiver id=1.0 f: cancelled",
                                 "FileReceiver 30 Cancel by receiver id=1.0 (unknown): refused"}));
}

TEST_F(FileReceiverTest, abandonsItsFilesWithoutAWord) {
  {
    FileReceiver shortLived(peer);
    shortLived.add(1, std::make_unique<FakeWriter>(5, events, out));
    taken();
  }
  EXPECT_EQ(events, Events{"gone"});
}

TEST_F(FileReceiverTest, survivesAPeerThatCancelsFromInsideARequest) {
  peer.onReq = [&] { receiver.cancelBySender(1, plat::Exception("no")); };
  add(1, 10);
  EXPECT_EQ(events, (Events{"req 10", "gone"}));
}

TEST_F(FileReceiverTest, diesOfAnIdThatIsInUse) {
  add(1, 10);
  EXPECT_DEATH(add(1, 10), "Assertion 'i == files.end\\(\\)' failed at libs/fops/FileReceiver:");
}

/// A sender and a receiver face to face, each called from inside the other.
class Link : public DataSender {
public:
  void dataReq(TransferId id, std::uint64_t position) override { sender->dataReq(id, position); }
  void cancelByReceiver(TransferId id, const plat::Exception& error) override { sender->cancelByReceiver(id, error); }
  void complete(TransferId id) override { sender->complete(id); }
  FileSender* sender = nullptr;
};

TEST_F(FileReceiverTest, worksWithASenderThatAnswersFromInsideTheRequest) {
  Link link;
  FileReceiver target(link);
  Observer observer(events);
  FileSender source(target, &observer);
  link.sender = &source;
  source.add(1, "f", bytes.size(), std::make_unique<rdr::MemInStream>(bytes.data(), static_cast<int>(bytes.size())));
  target.add(1, std::make_unique<FakeWriter>(static_cast<std::int64_t>(bytes.size()), events, out));
  EXPECT_EQ(written(), bytes);
  EXPECT_EQ(events, (Events{"finish", "done 0 ", "gone"}));
}

}  // namespace
}  // namespace fops
