#include "libs/fops/FileReceiver.h"

#include <algorithm>
#include <utility>

#include "base/plat/Exception.h"
#include "base/plat/assert.h"
#include "base/plat/exceptions.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/OutStream.h"
#include "libs/fops/DataSender.h"
#include "libs/fops/FileWriter.h"
#include "libs/fops/TransferObserver.h"

// A call to the peer may come back in here before it returns, and add or remove files; the list then moves. Behind such
// a call nothing is used that points into the list: ids are copied first, and the file is looked up again.

namespace fops {

namespace {

plat::LogSrc log("FileReceiver");

}  // namespace

FileReceiver::FileReceiver(DataSender& peer, TransferObserver* observer) : peer_(peer), observer_(observer) {}

FileReceiver::~FileReceiver() = default;

FileReceiver::Files::iterator FileReceiver::find(TransferId id) noexcept {
  return std::find_if(files_.begin(), files_.end(), [id](const ReceiveFile& file) { return file.id == id; });
}

const char* FileReceiver::nameOf(TransferId id) noexcept {
  const auto i = find(id);
  return i == files_.end() ? "(unknown)" : i->writer->displayPath();
}

bool FileReceiver::remove(TransferId id) {
  const auto i = find(id);
  if (i == files_.end()) {
    return false;
  }
  // Abandoning the file logs a line and that may lead anywhere: let it happen once the list is whole again.
  const std::unique_ptr<FileWriter> last = std::move(i->writer);
  files_.erase(i);
  return true;
}

void FileReceiver::done(TransferId id, int status, const plat::Exception& error) {
  // Gone before the observer hears of it, which may begin the next transfer from there, even under the same id.
  if (remove(id) && observer_) {
    observer_->transferDone(id, status, error);
  }
}

void FileReceiver::add(TransferId id, std::unique_ptr<FileWriter> writer) {
  // As the peer says it, and without harm: it is compared and never allocated.
  const auto size = static_cast<std::uint64_t>(writer->entry().size);
  log.info("New id=%s %s %lld bytes", TransferIdText(id).get(), writer->displayPath(), static_cast<long long>(size));
  const auto i = find(id);
  PLAT_ASSERT_AS(i == files_.end(), "i == files.end()", "libs/fops/FileReceiver", __LINE__);
  files_.push_back({&peer_, id, std::move(writer), size, 0, 0});
  if (size != 0) {
    request(files_.back());
    return;
  }
  endFile(files_.back());
  done(id, 0, plat::Exception());
}

/// Asks for the next window. `file` may be gone afterwards.
void FileReceiver::request(ReceiveFile& file) {
  const TransferId id = file.id;
  const std::uint64_t size = file.size;
  // Not position + RequestWindow, which a size near the top of 64 bits would wrap.
  const std::uint64_t wanted = file.position + std::min(RequestWindow, size - file.position);
  // Set before the call: a sender may answer from inside it.
  file.windowEnd = wanted == size ? wanted : file.position + RequestWindow / 2;
  file.peer->dataReq(id, wanted);
  if (log.enabled(plat::LogVerbose)) {
    log.verbose("DataReq id=%s %lld (%lld%%)", TransferIdText(id).get(), static_cast<long long>(wanted),
                static_cast<long long>(size ? wanted * 100 / size : 0));
  }
}

/// The file gets its final name before the sender hears of it. `file` may be gone afterwards.
void FileReceiver::endFile(ReceiveFile& file) {
  const TransferId id = file.id;
  file.writer->finish();
  file.peer->complete(id);
  log.info("Complete id=%s %s", TransferIdText(id).get(), nameOf(id));
}

void FileReceiver::dataChunk(TransferId id, std::uint64_t chunkPosition, std::int32_t length,
                             const std::uint8_t* data) {
  const auto found = find(id);
  if (found == files_.end()) {
    return;
  }
  try {
    takeChunk(*found, chunkPosition, length, data);
  } catch (const plat::Exception& error) {
    const auto i = find(id);
    if (i == files_.end()) {
      return;  // ended from inside a call to the peer, who knows
    }
    log.info("Error id=%s %s: %s", TransferIdText(id).get(), i->writer->displayPath(),
             plat::ExceptionText(error).get());
    i->peer->cancelByReceiver(id, error);
    done(id, 2, error);
  }
}

bool FileReceiver::fits(const ReceiveFile& file, std::uint64_t chunkPosition, std::int32_t length) noexcept {
  return chunkPosition == file.position && length >= 0 &&
         static_cast<std::uint64_t>(length) <= file.size - file.position;
}

bool FileReceiver::accepts(TransferId id, std::uint64_t chunkPosition, std::int32_t length) noexcept {
  const auto i = find(id);
  return i != files_.end() && fits(*i, chunkPosition, length);
}

/// `file` may be gone afterwards.
void FileReceiver::takeChunk(ReceiveFile& file, std::uint64_t chunkPosition, std::int32_t length,
                             const std::uint8_t* data) {
  const TransferId id = file.id;
  // In order and within the announced size: nobody can make a file larger than it was said to be, or leave a hole in
  // it.
  if (!fits(file, chunkPosition, length)) {
    throw plat::ProtocolError("Fops write bad position/size");
  }
  // Ahead of any further request: when the disk is full, no more comes than what is under way.
  file.writer->getOutStream().writeBytes(data, length);
  const std::uint64_t position = file.position += static_cast<std::uint64_t>(length);
  const bool ended = position == file.size;
  if (ended) {
    endFile(file);
  } else if (position >= file.windowEnd) {
    request(file);
  }
  if (observer_) {
    observer_->transferProgress(id, position, static_cast<std::uint64_t>(length));
  }
  if (ended) {
    done(id, 0, plat::Exception());
  }
}

void FileReceiver::cancelBySender(TransferId id, const plat::Exception& error) {
  log.info("Cancel by sender id=%s %s: %s", TransferIdText(id).get(), nameOf(id), plat::ExceptionText(error).get());
  done(id, 2, error);
}

void FileReceiver::cancel(TransferId id, bool onlyIfKnown, const plat::Exception& error) {
  if (onlyIfKnown && find(id) == files_.end()) {
    return;
  }
  log.info("Cancel by receiver id=%s %s: %s", TransferIdText(id).get(), nameOf(id),
           plat::ExceptionText(error, "cancelled").get());
  peer_.cancelByReceiver(id, error);
  remove(id);
}

}  // namespace fops
