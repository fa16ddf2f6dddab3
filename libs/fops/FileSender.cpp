#include "libs/fops/FileSender.h"

#include <algorithm>
#include <utility>

#include "base/plat/Exception.h"
#include "base/plat/assert.h"
#include "base/plat/exceptions.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/InStream.h"
#include "libs/fops/DataReceiver.h"
#include "libs/fops/TransferObserver.h"

// A call to the peer may come back in here before it returns, and add or remove files; the list then moves. Behind such
// a call nothing is used that points into the list: the file is looked up again by its id.

namespace fops {

namespace {

plat::LogSrc log("FileSender");

/// Most bytes of one chunk, whatever the stream has at hand.
constexpr std::uint64_t MaxChunk = 1048576;

}  // namespace

FileSender::FileSender(DataReceiver& peer, TransferObserver* observer) : peer_(peer), observer_(observer) {}

FileSender::~FileSender() = default;

FileSender::Files::iterator FileSender::find(TransferId id) noexcept {
  return std::find_if(files_.begin(), files_.end(), [id](const SendFile& file) { return file.id == id; });
}

/// The file again, after a call to the peer that may have added or removed files. @return null if it is gone.
FileSender::SendFile* FileSender::findAgain(std::size_t index, TransferId id) noexcept {
  if (index < files_.size() && files_[index].id == id) {
    return &files_[index];
  }
  const auto i = find(id);
  return i == files_.end() ? nullptr : &*i;
}

const char* FileSender::nameOf(TransferId id) noexcept {
  const auto i = find(id);
  return i == files_.end() ? "(unknown)" : i->name.orEmpty();
}

bool FileSender::remove(TransferId id) {
  const auto i = find(id);
  if (i == files_.end()) {
    return false;
  }
  files_.erase(i);
  return true;
}

void FileSender::add(TransferId id, const char* clientPath, std::uint64_t size, std::unique_ptr<rdr::InStream> stream) {
  log.info("New id=%s %s %lld bytes", TransferIdText(id).get(), clientPath ? clientPath : "",
           static_cast<long long>(size));
  const auto i = find(id);
  PLAT_ASSERT_AS(i == files_.end(), "i == files.end()", "libs/fops/FileSender", __LINE__);
  files_.push_back({&peer_, id, plat::String(clientPath), size, 0, std::move(stream)});
}

void FileSender::dataReq(TransferId id, std::uint64_t request) {
  auto i = find(id);
  if (i == files_.end()) {
    return;
  }
  const std::uint64_t before = i->position;
  try {
    send(static_cast<std::size_t>(i - files_.begin()), request);
    if (observer_ && (i = find(id)) != files_.end()) {
      observer_->transferProgress(id, i->position, i->position - before);
    }
  } catch (const plat::Exception& error) {
    i = find(id);
    if (i == files_.end()) {
      return;  // ended from inside a call to the peer, who knows
    }
    log.info("Error id=%s %s: %s", TransferIdText(id).get(), i->name.orEmpty(), plat::ExceptionText(error).get());
    i->peer->cancelBySender(id, error);
    if (remove(id) && observer_) {
      observer_->transferDone(id, 2, error);
    }
  }
}

void FileSender::send(std::size_t index, std::uint64_t request) {
  SendFile* file = &files_[index];
  const TransferId id = file->id;
  if (log.enabled(plat::LogVerbose)) {
    log.verbose("DataReq id=%s %lld (%lld%%)", TransferIdText(id).get(), static_cast<long long>(request),
                static_cast<long long>(file->size ? request * 100 / file->size : 0));
  }
  // Credit only grows. A request that grants nothing, or more than there is, comes from a peer that has lost count.
  if (file->position >= request || request > file->size) {
    throw plat::ProtocolError("Fops request bad position");
  }
  for (; file && file->position < request; file = findAgain(index, id)) {
    rdr::InStream& stream = *file->stream;
    if (stream.nUnread() == 0) {
      // A file that has become shorter ends here, with EndOfStream, and the peer gets a cancel in place of the bytes.
      stream.check(true);
    }
    const std::uint8_t* data = stream.getPtr();
    const std::uint64_t length =
        std::min({static_cast<std::uint64_t>(stream.nUnread()), request - file->position, MaxChunk});
    // Consumed ahead of the call as well: from within it the stream may be read on, or be gone.
    stream.setPtr(data + length);
    // Counted before the call, so that a receiver that asks for more from inside it gets what follows.
    const std::uint64_t position = file->position;
    file->position += length;
    file->peer->dataChunk(id, position, static_cast<std::int32_t>(length), data);
  }
}

void FileSender::complete(TransferId id) {
  log.info("Complete id=%s %s", TransferIdText(id).get(), nameOf(id));
  if (remove(id) && observer_) {
    observer_->transferDone(id, 0, plat::Exception());
  }
}

void FileSender::cancelByReceiver(TransferId id, const plat::Exception& error) {
  log.info("Cancel by receiver id=%s %s: %s", TransferIdText(id).get(), nameOf(id), plat::ExceptionText(error).get());
  if (remove(id) && observer_) {
    observer_->transferDone(id, 2, error);
  }
}

void FileSender::cancel(TransferId id, const plat::Exception& error) {
  const auto i = find(id);
  if (i == files_.end()) {
    return;
  }
  log.info("Cancel by sender id=%s %s: %s", TransferIdText(id).get(), i->name.orEmpty(),
           plat::ExceptionText(error, "cancelled").get());
  i->peer->cancelBySender(id, error);
  remove(id);
}

}  // namespace fops
