#include "libs/fops/CFopsProto.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/ProtocolError.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

std::string shown(const char* text) {
  return text ? text : "<null>";
}
std::string shown(TransferId id) {
  return TransferIdText(id).get();
}
std::string shown(const plat::Exception& error) {
  return std::string(error.message) + '/' + error.type;
}

// A client's session that notes the replies, as "operation argument|argument|".
class RecordingClient : public CFopsProto::Callback, private DataSender, private DataReceiver {
public:
  std::vector<std::string> calls;
  std::vector<DirEntry> list;

private:
  void note(const std::string& operation, std::initializer_list<std::string> arguments) {
    std::string call = operation + ' ';
    for (const std::string& argument : arguments)
      call += argument + '|';
    calls.push_back(call);
  }

  DataSender& getDataSender() override { return *this; }
  DataReceiver& getDataReceiver() override { return *this; }
  void serverInit(const ServerInit& init) override {
    note("serverInit", {std::to_string(init.version), std::string(1, init.separator), init.isFsRoot ? "root" : "",
                        shown(init.hostName.get()), shown(init.home.get()), shown(init.desktop.get())});
  }
  void getRootResult(const DirEntry& root) override { note("root", {shown(root.name.get())}); }
  void dirScanResult(std::vector<DirEntry>& entries, const plat::Exception& error) override {
    note("dirScan", {std::to_string(entries.size()), shown(error)});
    list = std::move(entries);
  }
  void createFolderResult(const plat::Exception& error) override { note("createFolder", {shown(error)}); }
  void deleteFileOrFolderResult(const plat::Exception& error) override { note("delete", {shown(error)}); }
  void renameFileOrFolderResult(const plat::Exception& error) override { note("rename", {shown(error)}); }
  void reqEntriesResult(TransferId id, std::vector<DirEntry>& entries, const char* path, const char* data,
                        const plat::Exception& error) override {
    note("reqEntries", {shown(id), std::to_string(entries.size()), shown(path), shown(data), shown(error)});
    list = std::move(entries);
  }
  void uploadFolderResult(TransferId id, const char* data, const char* path, const plat::Exception& error) override {
    note("uploadFolder", {shown(id), shown(data), shown(path), shown(error)});
  }
  void downloadFileResult(TransferId id, const DirEntry& file, const plat::Exception& error) override {
    note("downloadFile", {shown(id), shown(file.name.get()), std::to_string(file.size), shown(error)});
  }
  void downloadFolderResult(TransferId id, const DirEntry& folder, const plat::Exception& error) override {
    note("downloadFolder", {shown(id), shown(folder.name.get()), std::to_string(folder.size), shown(error)});
  }
  void dataReq(TransferId, std::uint64_t) override {}
  void cancelByReceiver(TransferId, const plat::Exception&) override {}
  void dataChunk(TransferId id, std::uint64_t, std::int32_t, const std::uint8_t*) override {
    note("chunk", {shown(id)});
  }
  void cancelBySender(TransferId, const plat::Exception&) override {}
};

using Calls = std::vector<std::string>;

constexpr TransferId Id = 0x0000000700000005;

std::string reply(const char* type, const Body& body) {
  return Body().shortText(type).raw(body.bytes()).bytes();
}

std::string serverInit(unsigned version) {
  return reply("ServerInit", Body().u8(version).u8('/').u8(1).text("host").text("home/u").text(""));
}

class CFopsProtoTest : public ::testing::Test {
protected:
  void receive(const std::string& wire) {
    FeedStream in(wire);
    in.arriveAll();
    EXPECT_TRUE(proto.run(in));
  }

  /// Opens a session and forgets what that caused.
  void startSession(int version) {
    proto.clientInit(version);
    receive(serverInit(static_cast<unsigned>(version)));
    client.calls.clear();
    writer.messages.clear();
  }

  RecordingWriter writer;
  RecordingClient client;
  CFopsProto proto{writer, client};
};

TEST_F(CFopsProtoTest, learnsTheVersionFromTheServer) {
  EXPECT_EQ(0, proto.version());
  proto.clientInit(4);
  EXPECT_EQ((std::vector<Message>{{"ClientInit", Body().u8(4).bytes()}}), writer.messages);
  receive(serverInit(3));
  EXPECT_EQ(3, proto.version());
  EXPECT_EQ(Calls{"serverInit 3|/|root|host|home/u||"}, client.calls);
}

TEST_F(CFopsProtoTest, refusesAVersionThatItDidNotOffer) {
  EXPECT_THROW(proto.clientInit(2), plat::AssertionFail);
  EXPECT_THROW(proto.clientInit(5), plat::AssertionFail);
  for (const unsigned version : {0u, 2u, 4u, 5u}) {
    CFopsProto fresh(writer, client);
    fresh.clientInit(3);
    FeedStream in(serverInit(version));
    in.arriveAll();
    EXPECT_THROW(fresh.run(in), plat::ProtocolError) << version;
  }
  EXPECT_TRUE(client.calls.empty());
}

TEST_F(CFopsProtoTest, acceptsNothingAheadOfServerInit) {
  FeedStream in(reply("CreateFolderResult", Body().result("", "")));
  in.arriveAll();
  EXPECT_THROW(proto.run(in), plat::ProtocolError);
}

TEST_F(CFopsProtoTest, ignoresWhatANewerServerMightSend) {
  startSession(4);
  LogLines log;
  receive(reply("Teleported", Body().u32(7)));
  receive(reply("CreateFolderResult", Body().result("", "")));
  EXPECT_TRUE(log.has("FopsProto 100 Ignoring message type: Teleported"));
  EXPECT_EQ(Calls{"createFolder /|"}, client.calls);
}

TEST_F(CFopsProtoTest, writesRequestsAsTheVersionDemands) {
  const DirEntry entry("e", 0);
  const std::string e = Body().entry("e").bytes();
  for (const int version : {3, 4}) {
    SCOPED_TRACE(version);
    startSession(version);
    proto.getRoot();
    proto.dirScan("a", true, false);
    proto.reqEntries(Id, "a", "cd");
    proto.uploadFile(Id, entry, "d");
    proto.uploadFolder(Id, "cd", entry, "");
    proto.downloadFile(Id, "a", nullptr);
    proto.downloadFolder(Id, "a", "cd");
    proto.createFolder("", "n");
    proto.deleteFileOrFolder("a");
    proto.renameFileOrFolder("a", "b");
    proto.clientClose();
    const auto only3 = [&](const char* text) { return version == 3 ? Body().text(text).bytes() : std::string(); };
    const std::vector<Message> expected = {
        {"GetRoot", ""},
        {"DirScan", Body().text("a").u8(1).u8(0).bytes()},
        {"ReqEntries", Body().id(5, 7).text("a").raw(only3("cd")).bytes()},
        {"UploadFile", Body().id(5, 7).raw(e).raw(only3("")).text("d").bytes()},
        {"UploadFolder", Body().id(5, 7).raw(only3("cd")).raw(e).text("").bytes()},
        {"DownloadFile", Body().id(5, 7).text("a").raw(only3("")).bytes()},
        {"DownloadFolder", Body().id(5, 7).text("a").raw(only3("cd")).bytes()},
        {"CreateFolder", Body().text("").text("n").bytes()},
        {"DeleteFileOrFolder", Body().text("a").bytes()},
        {"RenameFileOrFolder", Body().text("a").text("b").bytes()},
        {"ClientClose", ""},
    };
    EXPECT_EQ(expected, writer.messages);
  }
}

struct ReplyCase {
  int version;
  std::string wire;
  std::string call;
};

std::vector<ReplyCase> goodReplies() {
  std::vector<ReplyCase> cases;
  for (const int version : {3, 4}) {
    const bool v3 = version == 3;
    const auto only3 = [&](const Body& body) { return v3 ? body.bytes() : std::string(); };
    const auto add = [&](const char* type, const Body& body, const std::string& call) {
      cases.push_back({version, reply(type, body), call});
    };
    const std::string e = Body().entry("e", 12).bytes();
    const std::string nothing = Body().zeros(4 + 4 * 8 + 4 + 1).bytes();
    const std::string cd = only3(Body().text("cd"));
    const std::string pathAndData = only3(Body().text("p").text("cd"));
    add("GetRootResult", Body().raw(e), "root e|");
    add("DirScanResult", Body().u32(2).raw(e).raw(e).result("", ""), "dirScan 2|/|");
    add("DirScanResult", Body().u32(0).result("gone", "NotFound"), "dirScan 0|gone/NotFound|");
    add("ReqEntriesResult", Body().u32(2).raw(e).raw(e).id(5, 7).raw(pathAndData).result("", ""),
        v3 ? "reqEntries 5.7|2|p|cd|/|" : "reqEntries 5.7|2|<null>|<null>|/|");
    add("UploadFolderResult", Body().id(5, 7).raw(cd).raw(only3(Body().raw(e))).text("d/e(1)").result("", ""),
        v3 ? "uploadFolder 5.7|cd|d/e(1)|/|" : "uploadFolder 5.7|<null>|d/e(1)|/|");
    add("DownloadFileResult", Body().id(5, 7).raw(pathAndData).raw(e).result("", ""), "downloadFile 5.7|e|12|/|");
    add("DownloadFileResult", Body().id(5, 7).raw(pathAndData).raw(nothing).result("no", "BadPath"),
        "downloadFile 5.7|<null>|0|no/BadPath|");
    add("DownloadFolderResult", Body().id(5, 7).raw(only3(Body().u64(12))).raw(e).raw(cd).result("", ""),
        "downloadFolder 5.7|e|12|/|");
    add("DownloadFolderResult", Body().id(5, 7).raw(only3(Body().u64(0))).raw(nothing).raw(cd).result("no", ""),
        "downloadFolder 5.7|<null>|0|no/|");
    add("CreateFolderResult", Body().result("", ""), "createFolder /|");
    add("DeleteFileOrFolderResult", Body().result("no", ""), "delete no/|");
    add("RenameFileOrFolderResult", Body().result("", ""), "rename /|");
    add("DataChunk", Body().id(5, 7).u64(0).u32(3).raw("abc"), "chunk 5.7|");
    const char* agreed = v3 ? "serverInit 3|/|root|host|home/u||" : "serverInit 4|/|root|host|home/u||";
    cases.push_back({version, serverInit(v3 ? 3 : 4), agreed});
  }
  return cases;
}

TEST_F(CFopsProtoTest, callsBackOnceForAReplyCutAtAnyByte) {
  for (const ReplyCase& c : goodReplies()) {
    startSession(c.version);
    for (std::size_t cut = 0; cut < c.wire.size(); ++cut) {
      SCOPED_TRACE(c.call + " version " + std::to_string(c.version) + " cut at " + std::to_string(cut));
      client.calls.clear();
      FeedStream in(c.wire);
      in.arrive(cut);
      EXPECT_FALSE(proto.run(in));
      EXPECT_TRUE(client.calls.empty());
      in.arriveAll();
      EXPECT_TRUE(proto.run(in));
      EXPECT_EQ(Calls{c.call}, client.calls);
      EXPECT_EQ(c.wire.size(), in.consumed());
    }
  }
}

TEST_F(CFopsProtoTest, readsAListThatIsFarLargerThanTheWindow) {
  constexpr int Count = 500;
  Body entries;
  for (int i = 0; i < Count; ++i)
    entries.entry("entry " + std::to_string(i), static_cast<std::uint64_t>(i));
  const std::string tails[] = {
      reply("DirScanResult", Body().u32(Count).raw(entries.bytes()).result("", "")),
      reply("ReqEntriesResult", Body().u32(Count).raw(entries.bytes()).id(5, 7).result("", ""))};
  startSession(4);
  for (const std::string& wire : tails) {
    client.calls.clear();
    FeedStream in(wire, 100);
    std::size_t arrived = 0;
    std::size_t consumedBefore = 0;
    while (!proto.run(in)) {
      EXPECT_TRUE(client.calls.empty());
      EXPECT_GE(in.consumed(), consumedBefore) << "read again from the start";
      consumedBefore = in.consumed();
      in.arrive(arrived += 37);
      ASSERT_LT(arrived, 2 * wire.size());
    }
    ASSERT_EQ(1u, client.calls.size());
    ASSERT_EQ(static_cast<std::size_t>(Count), client.list.size());
    EXPECT_STREQ("entry 499", client.list.back().name.get());
    EXPECT_EQ(499, client.list.back().size);
  }
}

}  // namespace
}  // namespace fops
