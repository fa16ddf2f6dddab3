#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/plat/NonCopyable.h"
#include "libs/fops/DataReceiver.h"

namespace fops {

class DataSender;
class FileWriter;
class TransferObserver;

/// The receiving end of file transfers: asks the sending end for a window of data at a time, checks that the bytes come
/// in order and within bounds, and hands them to the file's writer.
///
/// Ownership: a member of LocalFileServer (or of a client); owns the writers, observes the peer and the observer, which
///            must outlive it.
/// Thread:    the loop's, which it blocks while it writes.
/// Lifecycle: a file lives from add() until its last byte, a cancel or an error. A file that goes early is abandoned by
///            its writer and leaves nothing on disk; so do all live files at destruction, which tells the peer nothing.
///            The peer's operations may call back into any operation here.
class FileReceiver final : public DataReceiver, private plat::NonCopyable {
public:
  /// Bytes that may be outstanding per file; the next request leaves when half of them have arrived.
  static constexpr std::uint64_t RequestWindow = 1048576;

  explicit FileReceiver(DataSender& peer, TransferObserver* observer = nullptr);
  ~FileReceiver() override;

  /// Registers a file and sends its first request; an empty file is finished at once.
  /// FATAL if `id` is in use here.
  /// @throws plat::Exception of the request or of finish(); the file is registered still, and cancel() removes it.
  void add(TransferId id, std::unique_ptr<FileWriter> writer);

  /// Takes the next bytes. An unknown id is ignored: chunks that were under way when the file was cancelled. Failure
  /// ends this file alone, with a cancelByReceiver to the peer.
  void dataChunk(TransferId id, std::uint64_t chunkPosition, std::int32_t length, const std::uint8_t* data) override;
  /// Whether a chunk continues a known file and stays within it.
  bool accepts(TransferId id, std::uint64_t chunkPosition, std::int32_t length) noexcept;
  void cancelBySender(TransferId id, const plat::Exception& error) override;

  /// Gives the file up from this side.
  /// @param onlyIfKnown false: the peer is told even if the id is unknown, which refuses a file that could not start.
  void cancel(TransferId id, bool onlyIfKnown, const plat::Exception& error);

private:
  struct ReceiveFile {
    DataSender* peer;
    TransferId id;
    std::unique_ptr<FileWriter> writer;
    std::uint64_t size;
    std::uint64_t position;   // bytes accepted so far, at most size
    std::uint64_t windowEnd;  // the position at which the next request goes out
  };
  using Files = std::vector<ReceiveFile>;

  Files::iterator find(TransferId id) noexcept;
  const char* nameOf(TransferId id) noexcept;
  static bool fits(const ReceiveFile& file, std::uint64_t chunkPosition, std::int32_t length) noexcept;
  void takeChunk(ReceiveFile& file, std::uint64_t chunkPosition, std::int32_t length, const std::uint8_t* data);
  void request(ReceiveFile& file);
  void endFile(ReceiveFile& file);
  bool remove(TransferId id);
  void done(TransferId id, int status, const plat::Exception& error);

  DataSender& peer_;
  TransferObserver* observer_;
  Files files_;  // searched from the front; few files are live at once
};

}  // namespace fops
