#include "libs/fops/SFopsProto.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/plat/ProtocolError.h"
#include "base/rdr/StringTooLongException.h"
#include "libs/fops/BadPath.h"
#include "tests/libs/fops/SFopsProtoFixture.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

using Calls = std::vector<std::string>;

using SFopsProtoTest = SFopsProtoFixture;

// The session

TEST_F(SFopsProtoTest, answersClientInitWithTheLowerVersion) {
  for (const int offered : {3, 4, 7, 255}) {
    LogLines log;
    server.calls.clear();
    writer.messages.clear();
    receive(request("ClientInit", Body().u8(static_cast<unsigned>(offered))));
    const int agreed = offered == 3 ? 3 : 4;
    EXPECT_EQ(Calls{"sessionChanged 1|"}, server.calls);
    const std::vector<Message> expected = {
        {"ServerInit",
         Body().u8(static_cast<unsigned>(agreed)).u8('/').u8(1).text("host").text("home/u").text("").bytes()}};
    EXPECT_EQ(expected, writer.messages);
    EXPECT_TRUE(log.has("SFopsProto 30 Session started, fops version " + std::to_string(agreed) + " client version " +
                        std::to_string(offered)));
  }
}

TEST_F(SFopsProtoTest, refusesAClientThatIsTooOld) {
  for (const unsigned version : {0u, 1u, 2u}) {
    SFopsProto fresh(writer, server);
    FeedStream in(request("ClientInit", Body().u8(version)));
    in.arriveAll();
    try {
      fresh.run(in);
      ADD_FAILURE() << "was accepted";
    } catch (const plat::ProtocolError& e) {
      EXPECT_EQ("Protocol error: Invalid fops client version: " + std::to_string(version), e.message);
    }
  }
  EXPECT_TRUE(writer.messages.empty());
  EXPECT_TRUE(server.calls.empty());
}

TEST_F(SFopsProtoTest, acceptsNothingButClientInitOutsideASession) {
  for (const char* type : {"GetRoot", "Complete", "ClientClose", "Teleport", ""}) {
    SFopsProto fresh(writer, server);
    FeedStream in(request(type, Body()));
    in.arriveAll();
    try {
      fresh.run(in);
      ADD_FAILURE() << type << " was accepted";
    } catch (const plat::ProtocolError& e) {
      EXPECT_STREQ("Protocol error: The fops server is not initialised", e.message);
    }
  }
}

TEST_F(SFopsProtoTest, endsTheSessionWithoutAReply) {
  startSession(4);
  LogLines log;
  receive(request("ClientClose", Body()));
  EXPECT_EQ(Calls{"sessionChanged 0|"}, server.calls);
  EXPECT_TRUE(writer.messages.empty());
  EXPECT_TRUE(log.has("SFopsProto 30 File transfer session has ended"));
  FeedStream in(request("GetRoot", Body()));
  in.arriveAll();
  EXPECT_THROW(proto.run(in), plat::ProtocolError);
}

TEST_F(SFopsProtoTest, losesItsOutputWhenServerInitCannotBeFinished) {
  LogLines log;
  server.hasHome = false;
  receive(request("ClientInit", Body().u8(4)));
  EXPECT_TRUE(log.has("SFopsProto 100 Write error: HOME dir not found"));
  receive(request("DeleteFileOrFolder", Body().text("..")));
  receive(request("DeleteFileOrFolder", Body().text("a")));
  EXPECT_TRUE(log.has("FopsProto 100 Discarding outgoing message DeleteFileOrFolderResult"));
  EXPECT_TRUE(writer.messages.empty());
  EXPECT_EQ("deleteFileOrFolder a|", server.calls.back()) << "requests still act";
}

TEST_F(SFopsProtoTest, ignoresWhatANewerClientMightSend) {
  startSession(4);
  LogLines log;
  receive(request("Teleport", Body().u32(7)));
  receive(request("clientClose", Body()));
  EXPECT_TRUE(log.has("SFopsProto 100 Ignoring message type: Teleport"));
  EXPECT_TRUE(log.has("SFopsProto 100 Ignoring message type: clientClose"));
  receive(request("GetRoot", Body()));
  EXPECT_EQ(Calls{"getRoot "}, server.calls);
}

// Requests

struct RequestCase {
  int version;
  std::string wire;
  std::string call;
};

std::vector<RequestCase> goodRequests() {
  std::vector<RequestCase> cases;
  for (const int version : {3, 4}) {
    const bool v3 = version == 3;
    const auto data = [&] { return v3 ? Body().text("cd") : Body(); };
    const std::string cd = v3 ? "cd|" : "<null>|";
    const auto add = [&](const char* type, const Body& body, const std::string& call) {
      cases.push_back({version, request(type, body), call});
    };
    const auto withData = [&](Body body) { return body.raw(data().bytes()); };
    add("GetRoot", Body(), "getRoot ");
    add("DirScan", Body().text("a//b/").u8(0).u8(2), "dirScan a//b/||files|");
    add("DirScan", Body().text("").u8(1).u8(0), "dirScan |dirs||");
    add("ReqEntries", withData(Body().id(5, 7).text("a/b")), "reqEntries 5.7|a/b|" + cd);
    add("DownloadFile", withData(Body().id(5, 7).text("a/b")), "downloadFile 5.7|a/b|" + cd);
    add("DownloadFolder", withData(Body().id(5, 7).text("a")), "downloadFolder 5.7|a|" + cd);
    add("UploadFile", withData(Body().id(5, 7).entry("f", 9)).text("d"), "uploadFile 5.7|f|9|d|");
    add("UploadFolder", Body().id(5, 7).raw(data().bytes()).entry("f").text(""), "uploadFolder 5.7|f||" + cd);
    add("CreateFolder", Body().text("").text("n"), "createFolder |n|");
    add("DeleteFileOrFolder", Body().text("a\xFF"), "deleteFileOrFolder a\xEF\xBF\xBD|");
    add("RenameFileOrFolder", Body().text("a").text("b/c"), "rename a|b/c|");
    add("DataReq", Body().id(5, 7).u64(3), "dataReq 5.7|");
  }
  return cases;
}

TEST_F(SFopsProtoTest, callsTheServiceOnceForARequestCutAtAnyByte) {
  for (const RequestCase& c : goodRequests()) {
    startSession(c.version);
    for (std::size_t cut = 0; cut < c.wire.size(); ++cut) {
      SCOPED_TRACE(c.call + " version " + std::to_string(c.version) + " cut at " + std::to_string(cut));
      server.calls.clear();
      LogLines log;
      FeedStream in(c.wire);
      in.arrive(cut);
      EXPECT_FALSE(proto.run(in));
      EXPECT_TRUE(server.calls.empty());
      EXPECT_TRUE(log.all().empty());
      in.arriveAll();
      EXPECT_TRUE(proto.run(in));
      EXPECT_EQ(Calls{c.call}, server.calls);
      EXPECT_EQ(c.wire.size(), in.consumed());
    }
    EXPECT_TRUE(writer.messages.empty());
  }
}

TEST_F(SFopsProtoTest, logsRequests) {
  struct {
    std::string wire;
    const char* line;
  } const cases[] = {
      {request("DirScan", Body().text("").u8(1).u8(1)), "SFopsProto 100 Scanning directory <root>"},
      {request("DirScan", Body().text("a").u8(1).u8(1)), "SFopsProto 100 Scanning directory a"},
      {request("ReqEntries", Body().id(5, 7).text("a")), "SFopsProto 100 Request directory entries id=5.7: a"},
      {request("UploadFile", Body().id(5, 7).entry("f").text("d")), "SFopsProto 30 Upload file id=5.7 f to d"},
      {request("UploadFolder", Body().id(5, 7).entry("f").text("d")), "SFopsProto 30 Upload dir id=5.7 f to d"},
      {request("DownloadFile", Body().id(5, 7).text("a")), "SFopsProto 30 Download file id=5.7 a"},
      {request("DownloadFolder", Body().id(5, 7).text("a")), "SFopsProto 30 Download dir id=5.7 a"},
  };
  startSession(4);
  for (const auto& c : cases) {
    LogLines log;
    receive(c.wire);
    EXPECT_EQ(std::vector<std::string>{c.line}, log.all());
  }
}

using SFopsProtoDeathTest = SFopsProtoFixture;

TEST_F(SFopsProtoDeathTest, endsTheProcessForANewFolderWithALeadingSlash) {
  startSession(4);
  EXPECT_DEATH(receive(request("CreateFolder", Body().text("").text("/x"))), "libs/fops/path:34");
  EXPECT_DEATH(receive(request("CreateFolder", Body().text("/a").text("x"))), "libs/fops/path:36");
}

TEST_F(SFopsProtoTest, letsABadEntryNameEndTheLink) {
  startSession(4);
  for (const char* type : {"UploadFile", "UploadFolder"}) {
    SFopsProto fresh(writer, server);
    FeedStream init(request("ClientInit", Body().u8(4)));
    init.arriveAll();
    fresh.run(init);
    FeedStream in(request(type, Body().id(5, 7).entry("..").text("d")));
    in.arriveAll();
    EXPECT_THROW(fresh.run(in), BadPath) << type;
  }
}

TEST_F(SFopsProtoTest, takesPathsUpToTheirLimit) {
  startSession(4);
  receive(request("DeleteFileOrFolder", Body().text(std::string(10240, 'p'))));
  EXPECT_EQ(1u, server.calls.size());
  FeedStream in(request("DeleteFileOrFolder", Body().u32(10241)));
  in.arriveAll();
  EXPECT_THROW(proto.run(in), rdr::StringTooLongException) << "before the bytes are there";
}

}  // namespace
}  // namespace fops
