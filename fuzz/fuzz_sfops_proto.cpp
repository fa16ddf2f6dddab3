// The server's end of a session, on whatever a client may send, each message in two parts.

#include "fuzz/protoFuzz.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/SFopsProto.h"

namespace {

// Answers every request at once, with what it was given.
class NullServer : public fops::SFopsProto::Callback, private fops::DirActions {
public:
  fops::SFopsProto* proto = nullptr;

private:
  fops::DataSender& getDataSender() override { return ends_; }
  fops::DataReceiver& getDataReceiver() override { return ends_; }
  fops::DirActions& getDirActions() override { return *this; }
  void uploadFile(fops::TransferId id, const fops::DirEntry&, const char*) override { proto->dataReq(id, 1); }
  void uploadFolder(fops::TransferId id, const fops::DirEntry& folder, const char* path, const char* data) override {
    proto->uploadFolderResult(id, path, data, folder, {});
  }
  void downloadFile(fops::TransferId id, const char* path, const char* data) override {
    proto->downloadFileResult(id, {}, path, data, {});
  }
  void downloadFolder(fops::TransferId id, const char*, const char* data) override {
    proto->downloadFolderResult(id, {}, data, {});
  }
  void reqEntries(fops::TransferId id, const char* path, const char* data) override {
    proto->reqEntriesResult(id, {}, path, data, {});
  }
  std::uint8_t isRootFs() override { return 0; }
  void sessionChanged(bool) override {}
  plat::String getComputerName() override { return "host"; }
  plat::String getHomePath() override { return ""; }
  plat::String getDesktopPath() override { return ""; }

  void getRoot() override { proto->getRootResult({}); }
  void dirScan(const char*, bool, bool) override { proto->dirScanResult({}, {}); }
  void createFolder(const char* dir, const char*) override { proto->createFolderResult(dir, {}); }
  void deleteFileOrFolder(const char* path) override { proto->deleteFileOrFolderResult(path, {}); }
  void renameFileOrFolder(const char* from, const char* to) override { proto->renameFileOrFolderResult(from, to, {}); }

  fuzz::NullEnds ends_;
};

// A new folder with a leading slash ends the process by design; such a message says nothing here.
bool isFatalByDesign(std::string_view body) {
  try {
    rdr::MemInStream in = fuzz::streamOver(body);
    if (in.readShortString(true) != "CreateFolder") {
      return false;
    }
    const plat::String dir = in.readString(10240, true);
    const plat::String name = in.readString(10240, true);
    return dir.view().starts_with('/') || name.view().starts_with('/');
  } catch (const plat::Exception&) {
    return false;
  }
}

}  // namespace

void fuzz::run(std::string_view input) {
  NullWriter writer;
  NullServer server;
  fops::SFopsProto proto(writer, server);
  server.proto = &proto;
  runMessages(proto, input, isFatalByDesign);
}
