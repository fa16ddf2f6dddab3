#include "libs/fops/FopsProto.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "base/plat/config/IntParameter.h"
#include "base/plat/exceptions.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/utf8.h"
#include "base/rdr/InStream.h"
#include "base/rdr/OutStream.h"

// Each handler reads all of its payload before it acts. Where bytes are missing the read leaves with BlockException,
// and the handler runs again from the checkpoint: whatever it had done before would be done twice. Chunk data alone is
// kept across blocks, by chunkReader.

namespace fops {

namespace {

plat::LogSrc log("FopsProto");
plat::IntParameter maxChunkSize("_FopsMaxChunkSize", "", 4194304, false, nullptr, 0, 2147483647);

}  // namespace

FopsProto::FopsProto(Writer& messageWriter, Callback& owner) : writer(&messageWriter), callback(&owner) {}

FopsProto::~FopsProto() = default;

bool FopsProto::runStates(rdr::StateMachine<FopsProto>& machine, StateFn first, rdr::InStream& input) {
  // Set each time: the states find the message here, and it need not be the stream of the last call.
  in = &input;
  if (!machine.get()) {
    machine.set(first);
  }
  machine.run(*this, [&] {
    input.checkpoint();
    return machine.get() != nullptr;
  });
  return !machine.get();
}

plat::LogSrc& FopsProto::protoLog() {
  return log;
}

void FopsProto::readType() {
  const std::uint8_t length = in->readU8();
  in->readBytesInto(length, msgType, false);
  // No type holds a zero byte. In its place goes another that none holds, so that the handlers and the log, which take
  // texts by their terminators, see all of what was sent.
  char* const end = msgType.data() + length;
  std::replace(msgType.data(), end, '\0', '\1');
  if (!plat::isValidUtf8(msgType.get())) {
    msgType = plat::DString(plat::utf8Repair(msgType.get()).get());
  }
}

rdr::OutStream& FopsProto::startMsg(const char* type) {
  if (msgOpen) {
    msgOpen = false;
    discarding = true;
  }
  if (!discarding) {
    msgOpen = true;
    return writer->startMsg(type);
  }
  log.debug("Discarding outgoing message %s", type);
  return nullOut;
}

void FopsProto::endMsg() {
  if (msgOpen) {
    msgOpen = false;
    writer->endMsg();
  }
}

TransferId FopsProto::readId() {
  const TransferId low = in->readU32();
  const TransferId high = in->readU32();
  return high << 32 | low;
}

void FopsProto::writeId(rdr::OutStream& out, TransferId id) {
  out.writeU32(static_cast<std::uint32_t>(id));
  out.writeU32(static_cast<std::uint32_t>(id >> 32));
}

plat::String FopsProto::readPath() {
  return in->readString(MaxPathLength, true);
}

plat::Exception FopsProto::readResult() {
  const plat::String message = in->readShortString(true);
  const plat::String type = in->readShortString(true);
  return plat::Exception(message.get(), type.get());
}

void FopsProto::writeResult(rdr::OutStream& out, const plat::Exception& error) {
  out.writeShortString(error.message);
  out.writeShortString(error.type);
}

void FopsProto::dataReq(TransferId id, std::uint64_t position) {
  rdr::OutStream& out = startMsg("DataReq");
  writeId(out, id);
  out.writeU64(position);
  endMsg();
}

void FopsProto::complete(TransferId id) {
  writeId(startMsg("Complete"), id);
  endMsg();
}

void FopsProto::dataChunk(TransferId id, std::uint64_t offset, std::int32_t length, const std::uint8_t* data) {
  rdr::OutStream& out = startMsg("DataChunk");
  writeId(out, id);
  out.writeU64(offset);
  out.writeU32(static_cast<std::uint32_t>(length));
  out.writeBytes(data, length);
  endMsg();
}

void FopsProto::cancelByReceiver(TransferId id, const plat::Exception& error) {
  writeCancel("CancelByReceiver", id, error);
}

void FopsProto::cancelBySender(TransferId id, const plat::Exception& error) {
  writeCancel("CancelBySender", id, error);
}

void FopsProto::writeCancel(const char* type, TransferId id, const plat::Exception& error) {
  rdr::OutStream& out = startMsg(type);
  writeId(out, id);
  writeResult(out, error);
  endMsg();
}

bool FopsProto::dispatch() {
  static constexpr struct {
    const char* type;
    StateFn state;
  } dataMessages[] = {
      {"DataReq", &FopsProto::handleDataReq},
      {"CancelByReceiver", &FopsProto::handleCancelByReceiver},
      {"Complete", &FopsProto::handleComplete},
      {"DataChunk", &FopsProto::handleDataChunk},
      {"CancelBySender", &FopsProto::handleCancelBySender},
  };
  const std::string_view type = msgType.orEmpty();
  for (const auto& message : dataMessages) {
    if (type == message.type) {
      return setState(message.state);
    }
  }
  return false;
}

bool FopsProto::ignoreMsg(plat::LogSrc& source) {
  source.debug("Ignoring message type: %s", msgType.orEmpty());
  return setState(nullptr);
}

bool FopsProto::handleDataReq() {
  const TransferId id = readId();
  const std::uint64_t position = in->readU64();
  callback->getDataSender().dataReq(id, position);
  return setState(nullptr);
}

bool FopsProto::handleComplete() {
  const TransferId id = readId();
  callback->getDataSender().complete(id);
  return setState(nullptr);
}

bool FopsProto::handleCancelByReceiver() {
  const TransferId id = readId();
  const plat::Exception error = readResult();
  callback->getDataSender().cancelByReceiver(id, error);
  return setState(nullptr);
}

bool FopsProto::handleCancelBySender() {
  const TransferId id = readId();
  const plat::Exception error = readResult();
  callback->getDataReceiver().cancelBySender(id, error);
  return setState(nullptr);
}

std::int32_t FopsProto::readChunkHeader() {
  chunkId = readId();
  chunkOffset = static_cast<std::int64_t>(in->readU64());
  const auto length = static_cast<std::int32_t>(in->readU32());
  // Ahead of the buffer that a chunk may be gathered in: a length that the peer made up must not become an allocation.
  if (length < 0 || length >= maxChunkSize.getValueInt()) {
    throw plat::ProtocolError("Fops chunk too large");
  }
  return length;
}

bool FopsProto::handleDataChunk() {
  if (chunkReader.len() == 0) {
    beginChunk(readChunkHeader());
  }
  return gatherChunk();
}

void FopsProto::beginChunk(std::int32_t length) {
  chunkReader.init(in, static_cast<std::uint32_t>(length), nullptr, false);
}

bool FopsProto::gatherChunk() {
  const auto [length, data] = chunkReader.read(false);
  if (!data) {
    return false;
  }
  try {
    callback->getDataReceiver().dataChunk(chunkId, static_cast<std::uint64_t>(chunkOffset), length, data);
  } catch (...) {
    // Here too: the buffer of a chunk may be as large as a chunk is allowed to be.
    finishChunk();
    throw;
  }
  finishChunk();
  return true;
}

void FopsProto::finishChunk() {
  setState(nullptr);
  in->checkpoint();
  chunkReader.reset();
}

}  // namespace fops
