#include "libs/fops/CFopsProto.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

/// A client's session that notes what it is told.
class RecordingClient : public CFopsProto::Callback {
public:
  CallLog calls;
  RecordingEnds ends{calls};
  bool pieces = true;  // whether chunks are taken so
  std::string asked;   // the chunk that this was last asked for

private:
  DataSender& getDataSender() override { return ends; }
  DataReceiver& getDataReceiver() override { return ends; }
  void serverInit(const ServerInit& init) override {
    calls.note("serverInit", init.version, std::string(1, init.separator), init.isFsRoot, init.hostName.get(),
               init.home.get(), init.desktop.get());
  }
  bool takesPieces(TransferId id, std::uint64_t offset, std::int32_t length) override {
    asked = Shown(id) + '|' + std::to_string(offset) + '|' + std::to_string(length);
    return pieces;
  }
  void getRootResult(const DirEntry& root) override { calls.note("root", root.name.get()); }
  void dirScanResult(std::vector<DirEntry>& entries, const plat::Exception& error) override {
    calls.note("dirScan", static_cast<int>(entries.size()), error);
  }
  void createFolderResult(const plat::Exception& error) override { calls.note("createFolder", error); }
  void deleteFileOrFolderResult(const plat::Exception& error) override { calls.note("delete", error); }
  void renameFileOrFolderResult(const plat::Exception& error) override { calls.note("rename", error); }
  void reqEntriesResult(TransferId id, std::vector<DirEntry>& entries, const char* path, const char* data,
                        const plat::Exception& error) override {
    calls.note("reqEntries", id, static_cast<int>(entries.size()), path, data, error);
  }
  void uploadFolderResult(TransferId id, const char* data, const char* path, const plat::Exception& error) override {
    calls.note("uploadFolder", id, data, path, error);
  }
  void downloadFileResult(TransferId id, const DirEntry& file, const plat::Exception& error) override {
    calls.note("downloadFile", id, file.name.get(), std::to_string(file.size), error);
  }
  void downloadFolderResult(TransferId id, const DirEntry& folder, const plat::Exception& error) override {
    calls.note("downloadFolder", id, folder.name.get(), std::to_string(folder.size), error);
  }
};

std::string serverInit(unsigned version) {
  return message("ServerInit", Body().u8(version).u8('/').u8(1).text("host").text("home/u").text(""));
}

std::string chunk(std::uint64_t offset, std::uint32_t length, const std::string& data) {
  return message("DataChunk", Body().id(5, 7).u64(offset).u32(length).raw(data));
}

/// What both ends share and nothing else: the data messages, without a session.
class BareProto final : public FopsProto {
public:
  using FopsProto::FopsProto;
  bool run(rdr::InStream& input) { return runStates(machine_, static_cast<StateFn>(&BareProto::readMsg), input); }

private:
  bool setState(StateFn state) override {
    machine_.set(state);
    return true;
  }
  bool readMsg() {
    readType();
    return dispatch();
  }

  rdr::StateMachine<FopsProto> machine_;
};

/// The client's end.
class FopsProtoTest : public testing::Test {
protected:
  void SetUp() override { open(proto, 4); }
  /// Opens a session and forgets what that caused.
  void open(CFopsProto& any, unsigned version) {
    any.clientInit(static_cast<int>(version));
    EXPECT_EQ(failureOn(any, serverInit(version)), "");
    client.calls.take();
    writer.take();
  }
  Lines calls() { return client.calls.take(); }

  RecordingWriter writer;
  RecordingClient client;
  CFopsProto proto{writer, client};
  BareProto bare{writer, client};
};

TEST_F(FopsProtoTest, learnsTheVersionAndRefusesOneThatWasNotOffered) {
  EXPECT_THROW(proto.clientInit(2), plat::AssertionFail);
  EXPECT_THROW(proto.clientInit(5), plat::AssertionFail);
  for (const unsigned version : {2U, 4U}) {
    CFopsProto fresh(writer, client);
    EXPECT_EQ(failureOn(fresh, message("GetRootResult")),
              "[ProtocolError] Protocol error: The fops client is not initialised");
    fresh.clientInit(3);
    EXPECT_EQ(failureOn(fresh, serverInit(version)),
              "[ProtocolError] Protocol error: Invalid fops server version: " + std::to_string(version));
  }
  EXPECT_EQ(calls(), Lines{});
  proto.clientInit(4);
  EXPECT_EQ(failureOn(proto, serverInit(3)), "");
  EXPECT_EQ(proto.version(), 3);
  EXPECT_EQ(calls(), Lines{"serverInit 3|/|1|host|home/u||"});
  EXPECT_EQ(failureOn(proto, message("Teleported", Body().u32(7))), "") << "a newer server might send it";
}

TEST_F(FopsProtoTest, actsOnceOnAMessageCutAtAnyByte) {
  struct Case {
    std::string wire, call;
  };
  const Body id = Body().id(5, 7);
  const Body e = Body().entryWithMode("e", 12, 0100644);
  const Body nothing = Body().zeros(4 + 4 * 8 + 4 + 1);
  for (const bool v3 : {true, false}) {
    SCOPED_TRACE(v3);
    const Body data = v3 ? Body().text("cd") : Body();
    const Body pathAndData = v3 ? Body().text("p").text("cd") : Body();
    const Body size = v3 ? Body().u64(12) : Body();
    const std::string cd = v3 ? "cd|" : "<null>|";
    const Case cases[] = {
        {serverInit(v3 ? 3 : 4), v3 ? "serverInit 3|/|1|host|home/u||" : "serverInit 4|/|1|host|home/u||"},
        {message("GetRootResult", e), "root e|"},
        {message("DirScanResult", Body().u32(2).raw(e).raw(e).result("", "")), "dirScan 2|[] |"},
        {message("DirScanResult", Body().u32(0).result("gone", "NotFound")), "dirScan 0|[NotFound] gone|"},
        {message("ReqEntriesResult", Body().u32(1).raw(e).id(5, 7).raw(pathAndData).result("", "")),
         "reqEntries 5.7|1|" + (v3 ? "p|" + cd : "<null>|" + cd) + "[] |"},
        {message("UploadFolderResult", Body(id).raw(data).raw(v3 ? e : Body()).text("d/e(1)").result("", "")),
         "uploadFolder 5.7|" + cd + "d/e(1)|[] |"},
        {message("DownloadFileResult", Body(id).raw(pathAndData).raw(e).result("", "")), "downloadFile 5.7|e|12|[] |"},
        {message("DownloadFileResult", Body(id).raw(pathAndData).raw(nothing).result("no", "BadPath")),
         "downloadFile 5.7|<null>|0|[BadPath] no|"},
        {message("DownloadFolderResult", Body(id).raw(size).raw(e).raw(data).result("", "")),
         "downloadFolder 5.7|e|12|[] |"},
        {message("CreateFolderResult", Body().result("", "")), "createFolder [] |"},
        {message("DeleteFileOrFolderResult", Body().result("no", "")), "delete [] no|"},
        {message("RenameFileOrFolderResult", Body().result("", "")), "rename [] |"},
        {message("DataReq", Body(id).u64(1ULL << 40)), "dataReq 5.7|1099511627776|"},
        {message("Complete", id), "complete 5.7|"},
        {message("CancelByReceiver", Body(id).result("why", "Kind")), "cancelByReceiver 5.7|[Kind] why|"},
        {message("CancelBySender", Body(id).result("", "")), "cancelBySender 5.7|[] |"},
        {chunk(9, 0, ""), "dataChunk 5.7|9|0|"},
    };
    open(proto, v3 ? 3 : 4);
    for (const auto& [wire, call] : cases) {
      SCOPED_TRACE(call);
      const auto take = [&] { return calls(); };
      runCutAtEachByte(proto, wire, take, Lines{call});
    }
    const std::string longPath(3 * (10240 + 1 + 1024), 'p');  // a path and a name that the server repaired
    const Body reply = Body(id).raw(data).raw(v3 ? e : Body()).text(longPath).result("no", "");
    EXPECT_EQ(failureOn(proto, message("UploadFolderResult", reply)), "");
    calls();
  }
}

TEST_F(FopsProtoTest, gathersAChunkForTheServerAndForAReceiverThatTakesNoPieces) {
  client.pieces = false;
  const auto check = [&](auto& end) {
    const auto take = [&] { return calls(); };
    runCutAtEachByte(end, chunk(9, 4, "data"), take, Lines{"dataChunk 5.7|9|4|"});
    runCutAtEachByte(end, chunk(9, 0, ""), take, Lines{"dataChunk 5.7|9|0|"});
    EXPECT_NE(client.ends.chunkData, nullptr) << "an empty chunk has a place too";
    test::FedInStream in(chunk(0, 5, "12345"), 100);
    EXPECT_TRUE(end.run(in));
    EXPECT_EQ(client.ends.chunk, "12345");
    EXPECT_EQ(client.ends.chunkData + 5, in.getPtr()) << "no copy where there need be none";
    const std::string data = test::pattern(4194303);
    test::FedInStream small(chunk(0, 4194303, data), 65536);
    EXPECT_TRUE(end.run(small));
    EXPECT_EQ(client.ends.chunk, data);
    calls();
  };
  check(bare);
  EXPECT_EQ(client.asked, "");
  check(proto);
  EXPECT_EQ(client.asked, "5.7|0|4194303");
}

TEST_F(FopsProtoTest, passesAChunkOnPieceByPieceToAReceiverThatTakesThem) {
  for (const std::uint64_t offset : {1ULL << 40, 0x7fffffffffffffffULL, ~0ULL}) {  // any number that a server sends
    const auto piece = [&](unsigned at, const char* length) {
      return "dataChunk 5.7|" + std::to_string(offset + at) + '|' + length + '|';
    };
    const std::string wire = chunk(offset, 4, "data"), head = wire.substr(0, wire.size() - 4);
    test::FedInStream in(head.substr(0, 20), 100);
    EXPECT_FALSE(proto.run(in));
    in.feed(head.substr(20) + "d");
    EXPECT_FALSE(proto.run(in));
    in.feed("at");
    EXPECT_FALSE(proto.run(in));
    EXPECT_EQ(client.ends.chunk, "at");
    EXPECT_EQ(client.asked, "5.7|" + std::to_string(offset) + "|4");
    in.feed("a" + chunk(9, 1, "x"));
    EXPECT_TRUE(proto.run(in));
    EXPECT_TRUE(proto.run(in));
    EXPECT_EQ(calls(), (Lines{piece(0, "1"), piece(1, "2"), piece(3, "1"), "dataChunk 5.7|9|1|"}));
  }
}

TEST_F(FopsProtoTest, refusesAChunkOverTheLimit) {
  for (const std::uint32_t length : {4194304U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    CFopsProto fresh(writer, client);
    open(fresh, 4);
    EXPECT_EQ(failureOn(fresh, chunk(0, length, "")), "[ProtocolError] Protocol error: Fops chunk too large") << length;
  }
}

TEST_F(FopsProtoTest, standsBehindAChunkWhoseReceiverThrew) {
  client.ends.onCall = [] { throw plat::Exception("no room"); };
  const std::string next = message("Complete", Body().id(5, 7));
  for (const int window : {1000, 40}) {  // in place, and gathered
    test::FedInStream in(chunk(0, 100, std::string(100, 'x')), window);
    in.feed(next.substr(0, 5));
    EXPECT_THROW(bare.run(in), plat::Exception);
    EXPECT_FALSE(bare.run(in)) << "goes back, but not into the chunk";
    in.feed(next.substr(5));
    EXPECT_TRUE(bare.run(in));
    EXPECT_EQ(calls().back(), "complete 5.7|");
  }
  for (const auto& [pieces, there] : {std::pair(true, 30U), {true, 100U}, {false, 100U}}) {
    client.pieces = pieces;
    test::FedInStream in(chunk(3, 100, std::string(there, 'x')), 1000);
    EXPECT_THROW(proto.run(in), plat::Exception);
    in.feed(std::string(100 - there, 'x') + next);
    in.skip(static_cast<int>(100 - there));  // the rest of the message, as the channel does
    in.checkpoint();
    EXPECT_TRUE(proto.run(in));
    EXPECT_EQ(calls(), (Lines{"dataChunk 5.7|3|" + std::to_string(there) + "|", "complete 5.7|"}));
  }
}

}  // namespace
}  // namespace fops
