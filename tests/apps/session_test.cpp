// One session of the real helper, byte by byte: what goes in, what comes out, what stands on disk.

#include "tests/apps/RawPeer.h"

namespace {

using test::pattern;

/// Downloads a file with one request per `step` bytes, checking each chunk's place.
std::string download(RawPeer& peer, const std::string& path, std::size_t size, std::size_t step) {
  Fields reply = peer.ask("DownloadFile", Body().id(7).text(path));
  EXPECT_EQ(reply.take(8), Body().id(7));
  EXPECT_EQ(reply.text(), path);
  EXPECT_EQ(reply.number(8), size);
  EXPECT_TRUE(reply.rest().ends_with(Body().result("", "")));
  std::string bytes;
  while (bytes.size() < size) {
    const std::size_t want = std::min(bytes.size() + step, size);
    peer.fops("DataReq", Body().id(7).u64(want));
    while (bytes.size() < want) {
      Fields chunk = peer.expect("DataChunk");
      EXPECT_EQ(chunk.take(16), Body().id(7).u64(bytes.size()));
      const std::string piece = chunk.text();
      EXPECT_EQ(chunk.rest(), "");
      if (piece.empty()) {
        return bytes;
      }
      bytes += piece;
    }
    EXPECT_EQ(bytes.size(), want);
  }
  peer.fops("Complete", Body().id(7));
  return bytes;
}

/// Uploads a file, as much at a time as it is asked for.
void upload(RawPeer& peer, const std::string& name, const std::string& bytes, std::size_t chunkSize) {
  peer.fops("UploadFile", Body().id(9).entryWithMode(name, bytes.size(), 0100640).text(""));
  for (std::size_t sent = 0;;) {
    Fields answer = peer.next();
    const std::string type = answer.shortText();
    EXPECT_EQ(answer.take(8), Body().id(9));
    if (type != "DataReq") {
      EXPECT_EQ(type, "Complete");
      return;
    }
    for (const std::size_t credit = answer.number(8); sent < credit;) {
      const std::string chunk = bytes.substr(sent, std::min(chunkSize, credit - sent));
      peer.fops("DataChunk", Body().id(9).u64(sent).text(chunk));
      sent += chunk.size();
    }
  }
}

}  // namespace

TEST(Session, opensWithTheNotificationAheadOfServerInit) {
  RawPeer peer;
  peer.send(ClientInit4);
  EXPECT_EQ(peer.receive(), RawPeer::Message("fopsNotification", Body().u8(1)));
  Fields init = peer.expect("ServerInit");
  EXPECT_EQ(init.take(3), std::string("\4/\0", 3));
  EXPECT_EQ(init.text().find('.'), std::string::npos);
  EXPECT_EQ(init.rest(), Body().text("").text(""));  // the home lies outside the tree
  peer.fops("ClientClose");
  EXPECT_EQ(peer.receive(), RawPeer::Message("fopsNotification", Body().u8(0)));
  peer.openSession(3);  // the process goes on; a later session starts anew
}

TEST(Session, takesEveryMessageByteByByte) {
  RawPeer peer;
  peer.dir.write("a.txt", "hello");
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
    EXPECT_EQ(reply.take(4 + 4 + 5 + 8), Body().u32(1).text("a.txt").u64(5));
    EXPECT_TRUE(reply.rest().ends_with(Body().result("", "")));
  }
}

TEST(Session, movesFilesOfEverySizeAroundTheBoundariesBothWays) {
  RawPeer peer;
  peer.openSession();
  for (const std::size_t size : {0U, 1U, 16799U, 16800U, 16801U, 524288U, 1048575U, 1048576U, 1048577U, 3145728U}) {
    SCOPED_TRACE(size);
    const std::string bytes = pattern(size);
    const std::string name = "f" + std::to_string(size);
    upload(peer, name, bytes, 65536);
    EXPECT_EQ(peer.dir.read(name), bytes);
    EXPECT_EQ(std::filesystem::status(peer.dir / name).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(download(peer, name, size, 524288), bytes);
  }
  EXPECT_TRUE(peer.child().isRunning());
}

TEST(Session, takesChunksUpToTheLimitAndEndsOverALargerOne) {
  RawPeer peer({"_FopsMaxChunkSize=1000"});
  peer.askForLog(100);
  peer.message("Zzz", std::string(100000, 'z'));  // not known here, and skipped
  peer.openSession();
  upload(peer, "small", pattern(5000), 999);
  EXPECT_EQ(peer.dir.read("small"), pattern(5000));
  peer.fops("DataChunk", Body().id(1).u64(0).text(pattern(1000)));
  peer.drain();
  EXPECT_EQ(peer.child().wait(), 1);
  EXPECT_TRUE(peer.logHas("Ipc (30): filetransfer: Bad msg name 'Zzz'"));
  EXPECT_TRUE(peer.logHas("Read exception: [ProtocolError] Protocol error: Fops chunk too large"));
}

TEST(Session, endsAtANameThatLooksCorruptAndWhenThePeerDoesNotUnderstand) {
  for (const auto& [name, body] : {std::pair("1zz", std::string("body")), {"badMsg", Body().shortText("fops")}}) {
    RawPeer peer;
    peer.openSession();
    peer.message(name, body);
    EXPECT_FALSE(peer.receive()) << name;
    EXPECT_EQ(peer.child().wait(), 1);
  }
}
