#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "libs/fops/DirEntry.h"
#include "libs/fops/SFopsProto.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {

/// A file service that notes what it is asked for, as "operation argument|argument", a null text being "<null>".
class RecordingServer : public SFopsProto::Callback, private DirActions, private DataSender, private DataReceiver {
public:
  std::vector<std::string> calls;
  bool hasHome = true;

private:
  static std::string shown(const char* text) { return text ? text : "<null>"; }
  void note(const std::string& operation, std::initializer_list<std::string> arguments) {
    std::string call = operation + ' ';
    for (const std::string& argument : arguments)
      call += argument + '|';
    calls.push_back(call);
  }
  static std::string shown(TransferId id) { return TransferIdText(id).get(); }

  DataSender& getDataSender() override { return *this; }
  DataReceiver& getDataReceiver() override { return *this; }
  DirActions& getDirActions() override { return *this; }
  void uploadFile(TransferId id, const DirEntry& file, const char* destination) override {
    note("uploadFile", {shown(id), shown(file.name.get()), std::to_string(file.size), shown(destination)});
  }
  void uploadFolder(TransferId id, const DirEntry& folder, const char* destination, const char* data) override {
    note("uploadFolder", {shown(id), shown(folder.name.get()), shown(destination), shown(data)});
  }
  void downloadFile(TransferId id, const char* path, const char* data) override {
    note("downloadFile", {shown(id), shown(path), shown(data)});
  }
  void downloadFolder(TransferId id, const char* path, const char* data) override {
    note("downloadFolder", {shown(id), shown(path), shown(data)});
  }
  void reqEntries(TransferId id, const char* path, const char* data) override {
    note("reqEntries", {shown(id), shown(path), shown(data)});
  }
  std::uint8_t isRootFs() override { return 1; }
  void sessionChanged(bool started) override { note("sessionChanged", {started ? "1" : "0"}); }
  plat::String getComputerName() override { return "host"; }
  plat::String getHomePath() override {
    if (!hasHome)
      throw plat::Exception("HOME dir not found");
    return "home/u";
  }
  plat::String getDesktopPath() override { return ""; }

  void getRoot() override { note("getRoot", {}); }
  void dirScan(const char* path, bool dirs, bool files) override {
    note("dirScan", {shown(path), dirs ? "dirs" : "", files ? "files" : ""});
  }
  void createFolder(const char* dir, const char* name) override { note("createFolder", {shown(dir), shown(name)}); }
  void deleteFileOrFolder(const char* path) override { note("deleteFileOrFolder", {shown(path)}); }
  void renameFileOrFolder(const char* from, const char* to) override { note("rename", {shown(from), shown(to)}); }

  void dataReq(TransferId id, std::uint64_t) override { note("dataReq", {shown(id)}); }
  void cancelByReceiver(TransferId, const plat::Exception&) override {}
  void dataChunk(TransferId, std::uint64_t, std::int32_t, const std::uint8_t*) override {}
  void cancelBySender(TransferId, const plat::Exception&) override {}
};

/// The bytes of one message, its type ahead of its payload.
inline std::string request(const char* type, const Body& body) {
  return Body().shortText(type).raw(body.bytes()).bytes();
}

/// A server's end between a recording writer and a recording service.
class SFopsProtoFixture : public ::testing::Test {
protected:
  void receive(const std::string& wire) {
    FeedStream in(wire);
    in.arriveAll();
    EXPECT_TRUE(proto.run(in));
  }

  /// Starts a session and forgets what that caused.
  void startSession(int version) {
    receive(request("ClientInit", Body().u8(static_cast<unsigned>(version))));
    server.calls.clear();
    writer.messages.clear();
  }

  RecordingWriter writer;
  RecordingServer server;
  SFopsProto proto{writer, server};
};

}  // namespace fops
