// The client's end of a session, on whatever a server may send, each message in two parts.

#include "base/plat/config/Configuration.h"
#include "fuzz/protoFuzz.h"
#include "libs/fops/CFopsProto.h"

namespace {

class NullClient : public fops::CFopsProto::Callback {
  using Error = plat::Exception;

  fops::DataSender& getDataSender() override { return ends_; }
  fops::DataReceiver& getDataReceiver() override { return ends_; }
  void serverInit(const fops::ServerInit&) override {}
  bool takesPieces(fops::TransferId id, std::uint64_t, std::int32_t) override { return id % 2 == 0; }
  void getRootResult(const fops::DirEntry&) override {}
  void dirScanResult(std::vector<fops::DirEntry>&, const Error&) override {}
  void createFolderResult(const Error&) override {}
  void deleteFileOrFolderResult(const Error&) override {}
  void renameFileOrFolderResult(const Error&) override {}
  void reqEntriesResult(fops::TransferId, std::vector<fops::DirEntry>&, const char*, const char*,
                        const Error&) override {}
  void uploadFolderResult(fops::TransferId, const char*, const char*, const Error&) override {}
  void downloadFileResult(fops::TransferId, const fops::DirEntry&, const Error&) override {}
  void downloadFolderResult(fops::TransferId, const fops::DirEntry&, const Error&) override {}

  fuzz::NullEnds ends_;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  plat::Configuration::global().set("_MaxDirEntries", "1000", 40);
  return 0;
}

void fuzz::run(std::string_view input) {
  NullWriter writer;
  NullClient client;
  fops::CFopsProto proto(writer, client);
  proto.clientInit(4);
  runMessages(proto, input, [](std::string_view) { return false; });
}
