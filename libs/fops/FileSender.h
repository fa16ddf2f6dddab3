#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "libs/fops/DataSender.h"

namespace rdr {
class InStream;
}

namespace fops {

class DataReceiver;
class TransferObserver;

/// The sending end of file transfers: reads open files forward and passes their bytes on, as far as the receiving end
/// has asked for them. Knows single files only.
///
/// Road:      FopsProto calls dataReq() for the peer; it reads the file by rdr::FileInStream and gives each chunk to
///            FopsProto::dataChunk().
/// Ownership: a member of LocalFileServer (or of a client); owns the streams, observes the peer and the observer, which
///            must outlive it.
/// Thread:    the loop's, which it blocks while it reads.
/// Lifecycle: a file lives from add() until complete(), a cancel or an error. Having sent the last byte ends nothing.
///            Destruction closes what is open and tells the peer nothing. The peer's operations may call back into any
///            operation here.
class FileSender final : public DataSender, private plat::NonCopyable {
public:
  explicit FileSender(DataReceiver& peer, TransferObserver* observer = nullptr);
  ~FileSender() override;

  /// Registers a file. Sends nothing: the receiver has to ask.
  /// FATAL if `id` is in use here.
  /// @param clientPath for log lines.
  /// @param size bytes; what the file has gained or lost since is not looked at.
  /// @param stream positioned at the file's start.
  void add(TransferId id, const char* clientPath, std::uint64_t size, std::unique_ptr<rdr::InStream> stream);

  /// Sends up to `request`, in chunks straight from the stream's buffer, before it returns. An unknown id is ignored: a
  /// late request for a file that has been cancelled. Failure ends this file alone, with a cancelBySender to the peer.
  void dataReq(TransferId id, std::uint64_t request) override;
  void cancelByReceiver(TransferId id, const plat::Exception& error) override;
  void complete(TransferId id) override;

  /// Gives the file up from this side and tells the peer. An unknown id is ignored.
  void cancel(TransferId id, const plat::Exception& error);

private:
  struct SendFile {
    DataReceiver* peer;
    TransferId id;
    plat::String name;
    std::uint64_t size;
    std::uint64_t position;  // bytes handed to the peer so far
    std::unique_ptr<rdr::InStream> stream;
  };
  using Files = std::vector<SendFile>;

  Files::iterator find(TransferId id) noexcept;
  SendFile* findAgain(std::size_t index, TransferId id) noexcept;
  const char* nameOf(TransferId id) noexcept;
  void send(std::size_t index, std::uint64_t request);
  bool remove(TransferId id);

  DataReceiver& peer_;
  TransferObserver* observer_;
  Files files_;  // searched from the front; few files are live at once
};

}  // namespace fops
