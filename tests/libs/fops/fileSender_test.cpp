#include "libs/fops/FileSender.h"

#include <functional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "base/plat/ProtocolError.h"
#include "base/rdr/FileInStream.h"
#include "base/rdr/MemInStream.h"
#include "libs/fops/DataReceiver.h"
#include "libs/fops/TransferObserver.h"
#include "tests/libs/fops/protoTestSupport.h"
#include "tests/support/TempDir.h"

namespace fops {
namespace {

std::string pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<char>(i * 7 + i / 251);
  return bytes;
}

/// The peer: keeps what it is sent, and does what a test wants from inside a chunk.
class Peer : public DataReceiver {
public:
  void dataChunk(TransferId id, std::uint64_t offset, std::int32_t length, const std::uint8_t* data) override {
    EXPECT_EQ(offset, received[id].size());
    received[id].append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
    lengths.push_back(length);
    pointers.push_back(data);
    if (onChunk)
      onChunk();
  }
  void cancelBySender(TransferId id, const plat::Exception& error) override {
    cancels.push_back(std::to_string(id) + " [" + error.type + "] " + error.message);
  }

  std::map<TransferId, std::string> received;
  std::vector<std::int32_t> lengths;
  std::vector<const std::uint8_t*> pointers;
  std::vector<std::string> cancels;
  std::function<void()> onChunk;
};

class Observer : public TransferObserver {
public:
  void transferProgress(TransferId id, std::uint64_t position, std::uint64_t delta) override {
    events.push_back(std::to_string(id) + " at " + std::to_string(position) + " +" + std::to_string(delta));
  }
  void transferDone(TransferId id, int status, const plat::Exception& error) override {
    events.push_back(std::to_string(id) + " done " + std::to_string(status) + ' ' + error.message);
  }
  std::vector<std::string> events;
};

class FileSenderTest : public testing::Test {
protected:
  void addMemory(TransferId id, std::uint64_t size) {
    sender.add(id, "dir/file", size, std::make_unique<rdr::MemInStream>(bytes.data(), static_cast<int>(bytes.size())));
  }

  const std::string bytes = pattern(3 * 1048576 + 5);
  Peer peer;
  Observer observer;
  FileSender sender{peer, &observer};
};

const std::vector<std::string> BadPosition = {"1 [ProtocolError] Protocol error: Fops request bad position"};

TEST_F(FileSenderTest, sendsNothingUnasked) {
  addMemory(1, 10);
  EXPECT_TRUE(peer.lengths.empty());
  EXPECT_TRUE(observer.events.empty());
}

TEST_F(FileSenderTest, sendsUpToEachRequestWithoutCopying) {
  addMemory(1, bytes.size());
  sender.dataReq(1, 1000);
  sender.dataReq(1, bytes.size());
  EXPECT_EQ(peer.received[1], bytes);
  EXPECT_EQ(peer.lengths, (std::vector<std::int32_t>{1000, 1048576, 1048576, 1048576 - 1000 + 5}));
  EXPECT_EQ(static_cast<const void*>(peer.pointers[0]), bytes.data());
  EXPECT_EQ(static_cast<const void*>(peer.pointers[2]), bytes.data() + 1000 + 1048576);
  EXPECT_EQ(observer.events, (std::vector<std::string>{"1 at 1000 +1000", "1 at 3145733 +3144733"}));
  sender.complete(1);
  EXPECT_EQ(observer.events.back(), "1 done 0 ");
  sender.dataReq(1, bytes.size());  // gone: ignored
  EXPECT_TRUE(peer.cancels.empty());
}

TEST_F(FileSenderTest, keepsTheRestOfABufferForTheNextRequest) {
  test::TempDir dir;
  dir.write("f", bytes.substr(0, 40000));
  sender.add(1, "f", 40000, std::make_unique<rdr::FileInStream>((dir / "f").c_str()));
  for (const std::uint64_t request : {1, 16799, 16801, 40000})
    sender.dataReq(1, request);
  EXPECT_EQ(peer.received[1], bytes.substr(0, 40000));
  EXPECT_EQ(peer.lengths, (std::vector<std::int32_t>{1, 16798, 1, 1, 16799, 6400}));
}

TEST_F(FileSenderTest, refusesRequestsThatDoNotMoveForwardWithinTheFile) {
  struct Case {
    std::uint64_t size;
    std::uint64_t first;  // 0: none
    std::uint64_t bad;
  };
  for (const Case& c : {Case{0, 0, 0},
                        {0, 0, 1},
                        {100, 0, 0},
                        {100, 0, 101},
                        {100, 50, 50},
                        {100, 100, 50},
                        {100, 100, 100},
                        {100, 0, UINT64_MAX}}) {
    SCOPED_TRACE(std::to_string(c.size) + ": " + std::to_string(c.first) + ", " + std::to_string(c.bad));
    peer.cancels.clear();
    peer.received.clear();
    addMemory(1, c.size);
    if (c.first)
      sender.dataReq(1, c.first);
    sender.dataReq(1, c.bad);
    EXPECT_EQ(peer.cancels, BadPosition);
    EXPECT_EQ(peer.received[1].size(), c.first);
    EXPECT_EQ(observer.events.back(), "1 done 2 Protocol error: Fops request bad position");
    sender.dataReq(1, c.size);
    EXPECT_EQ(peer.cancels.size(), 1U);  // the element is gone
  }
}

TEST_F(FileSenderTest, goesByTheSizeAtTheStart) {
  test::TempDir dir;
  dir.write("f", bytes.substr(0, 50000));
  const auto add = [&](TransferId id) {
    sender.add(id, "f", 50000, std::make_unique<rdr::FileInStream>((dir / "f").c_str()));
  };
  add(1);
  add(2);
  dir.write("f", bytes.substr(0, 60000));
  sender.dataReq(1, 50000);
  EXPECT_EQ(peer.received[1], bytes.substr(0, 50000));
  sender.dataReq(1, 50001);
  EXPECT_EQ(peer.cancels, BadPosition);
  dir.write("f", bytes.substr(0, 20000));
  sender.dataReq(2, 50000);
  EXPECT_EQ(peer.received[2], bytes.substr(0, 20000));
  ASSERT_EQ(peer.cancels.size(), 2U);
  EXPECT_EQ(peer.cancels[1], "2 [EndOfStream] End of file");
}

TEST_F(FileSenderTest, keepsFilesApart) {
  addMemory(1, 100);
  addMemory(2, 200);
  sender.dataReq(2, 150);
  sender.dataReq(1, 10);
  sender.dataReq(2, 200);
  sender.cancelByReceiver(2, plat::Exception("enough"));
  sender.dataReq(1, 100);
  EXPECT_EQ(peer.received[1], bytes.substr(0, 100));
  EXPECT_EQ(peer.received[2], bytes.substr(0, 200));
  EXPECT_TRUE(peer.cancels.empty());
}

TEST_F(FileSenderTest, survivesAPeerThatChangesTheListFromInsideAChunk) {
  addMemory(1, bytes.size());
  addMemory(2, bytes.size());
  peer.onChunk = [&] {
    peer.onChunk = nullptr;
    for (TransferId id = 10; id < 40; ++id)  // moves the elements in memory
      addMemory(id, 1);
    sender.complete(1);  // and moves the one being sent to the front
  };
  sender.dataReq(2, bytes.size());
  EXPECT_EQ(peer.received[2], bytes);
  peer.onChunk = [&] { sender.cancelByReceiver(10, plat::Exception("stop")); };
  sender.dataReq(10, 1);
  EXPECT_EQ(observer.events.back(), "10 done 2 stop");
  EXPECT_TRUE(peer.cancels.empty());
}

TEST_F(FileSenderTest, failsTheOneFileWhoseChunkCannotBeWritten) {
  addMemory(1, 100);
  peer.onChunk = [] { throw plat::Exception("no way out", "Blocked"); };
  sender.dataReq(1, 100);
  EXPECT_EQ(peer.cancels, std::vector<std::string>{"1 [Blocked] no way out"});
}

TEST_F(FileSenderTest, logsTheLifeOfAFile) {
  const LogLines lines;
  const TransferId id = 0x200000001;
  addMemory(id, 100);
  sender.dataReq(id, 101);
  sender.complete(id);
  addMemory(id, 100);
  sender.complete(id);
  addMemory(id, 100);
  sender.cancelByReceiver(id, plat::Exception("full", "Disk"));
  sender.cancelByReceiver(id, plat::Exception("full", "Disk"));
  addMemory(id, 100);
  sender.cancel(id, plat::Exception());
  sender.cancel(id, plat::Exception());
  const std::string added = "FileSender 30 New id=1.2 dir/file 100 bytes";
  EXPECT_EQ(lines.all(),
            (std::vector<std::string>{
                added, "FileSender 30 Error id=1.2 dir/file: [ProtocolError] Protocol error: Fops request bad position",
                "FileSender 30 Complete id=1.2 (unknown)", added, "FileSender 30 Complete id=1.2 dir/file", added,
                "FileSender 30 Cancel by receiver id=1.2 dir/file: [Disk] full",
                "FileSender 30 Cancel by receiver id=1.2 (unknown): [Disk] full", added,
                "FileSender 30 Cancel by sender id=1.2 dir/file: cancelled"}));
}

TEST_F(FileSenderTest, tellsRequestsAtTheFinestLevel) {
  const LogLines lines;
  plat::logOverride("FileSender:fopstest:110");
  addMemory(1, 300);
  sender.dataReq(1, 200);
  addMemory(2, 0);
  sender.dataReq(2, 1);
  EXPECT_TRUE(lines.has("FileSender 110 DataReq id=1.0 200 (66%)"));
  EXPECT_TRUE(lines.has("FileSender 110 DataReq id=2.0 1 (0%)"));
}

TEST_F(FileSenderTest, diesOfAnIdThatIsInUse) {
  addMemory(1, 100);
  EXPECT_DEATH(addMemory(1, 100), "Assertion 'i == files.end\\(\\)' failed at libs/fops/FileSender:");
}

}  // namespace
}  // namespace fops
