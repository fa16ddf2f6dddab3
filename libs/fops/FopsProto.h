#pragma once

#include <cstdint>

#include "base/plat/DString.h"
#include "base/plat/Exception.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "base/rdr/ByteReader.h"
#include "base/rdr/NullOutStream.h"
#include "base/rdr/StateMachine.h"
#include "libs/fops/DataReceiver.h"
#include "libs/fops/DataSender.h"
#include "libs/fops/TransferId.h"

namespace plat {
class LogSrc;
}

namespace rdr {
class InStream;
class OutStream;
}  // namespace rdr

namespace fops {

/// What both ends of the session protocol share: the five data messages, and the way out for every message.
///
/// It stands for the remote peer among the local objects: to the local FileReceiver it is the remote sender, to the
/// local FileSender the remote receiver; each DataSender or DataReceiver operation writes one message. Which messages
/// there are besides, and when a session exists, is up to SFopsProto (the server's end) and CFopsProto (the client's).
///
/// Road:      SFopsProto::run() has the states run here; data messages go on to FileSender and FileReceiver, whose own
///            calls come back as messages and go to the Writer.
/// Ownership: the base of an object that belongs to the session; the writer and the callback, which it observes, must
///            outlive it.
/// Thread:    the loop's thread only. No operation waits for the peer.
class FopsProto : public DataSender, public DataReceiver, private plat::NonCopyable {
public:
  /// Carries outgoing messages. Implemented by SFopsMgrViaIpc and by the client's end of the link.
  class Writer {
  public:
    virtual ~Writer() = default;

    /// Opens a message; its payload goes to the result until endMsg().
    virtual rdr::OutStream& startMsg(const char* type) = 0;
    virtual void endMsg() = 0;
  };

  /// The local ends of file transfers. Called when a data message has been read whole; may write messages, may throw.
  class Callback {
  public:
    virtual ~Callback() = default;

    virtual DataSender& getDataSender() = 0;
    virtual DataReceiver& getDataReceiver() = 0;
  };

  /// Longest path or client data that a request may hold, in bytes.
  static constexpr std::uint32_t MaxPathLength = 10240;

  /// The protocol versions that both ends speak.
  static constexpr int MinVersion = 3;
  static constexpr int MaxVersion = 4;

  FopsProto(Writer& messageWriter, Callback& owner);
  ~FopsProto() override;

  void dataReq(TransferId id, std::uint64_t position) override;
  void cancelByReceiver(TransferId id, const plat::Exception& error) override;
  void complete(TransferId id) override;
  void dataChunk(TransferId id, std::uint64_t offset, std::int32_t length, const std::uint8_t* data) override;
  void cancelBySender(TransferId id, const plat::Exception& error) override;

protected:
  using StateFn = rdr::StateMachine<FopsProto>::StateFn;

  /// Stores the state that reads the rest of the message; null ends the message.
  /// @return true
  virtual bool setState(StateFn stateFn) = 0;

  /// Drives the states over one message, from `first` unless a message is being continued, with a checkpoint behind
  /// each state that finished.
  /// @return true once the message has been handled, false if the current state needs more input.
  /// @throws whatever a state raises, rdr::BlockException aside.
  bool runStates(rdr::StateMachine<FopsProto>& machine, StateFn first, rdr::InStream& input);

  /// Reads the type of a message into msgType.
  void readType();

  /// Opens an outgoing message.
  ///
  /// If the one before was never ended, because its writer was left by an exception or this call is nested in it, the
  /// framing below cannot go on: this message and every later one are discarded, and the peer hears no more.
  rdr::OutStream& startMsg(const char* type);

  /// Ends the open message; does nothing for one that is being discarded.
  void endMsg();

  /// Selects the state of the data message msgType.
  /// @return false if it is none of the five.
  bool dispatch();

  /// Reads a chunk up to its data, into chunkId and chunkOffset.
  /// @return the length of the data. @throws plat::ProtocolError if that is negative or too large.
  std::int32_t readChunkHeader();

  /// Has the data of the chunk gathered from here on. Takes a checkpoint: the header is not read again.
  void beginChunk(std::int32_t length);

  /// The data goes to the local receiver once it is whole, in place if it lies so.
  /// @return false if it must be called again with more of it.
  bool gatherChunk();

  /// Ends a message whose type msgType nobody knows: it may come from a newer peer. What is left of it is dropped
  /// below.
  /// @return true
  bool ignoreMsg(plat::LogSrc& source);

  TransferId readId();
  static void writeId(rdr::OutStream& out, TransferId id);

  /// A path or client data. Malformed UTF-8 is repaired.
  /// @throws rdr::StringTooLongException beyond MaxPathLength.
  plat::String readPath();

  /// The outcome of a request: an exception, of which message and type travel; both empty mean success.
  plat::Exception readResult();
  static void writeResult(rdr::OutStream& out, const plat::Exception& error);

  /// The log source of what both ends share.
  static plat::LogSrc& protoLog();

  Writer* writer;
  Callback* callback;
  rdr::InStream* in = nullptr;  // the message being read
  rdr::NullOutStream nullOut;   // where discarded messages go
  plat::DString msgType;        // of the message being read; keeps its buffer from message to message
  int version = 0;              // negotiated, 3 or 4; 0 without a session
  bool msgOpen = false;         // an outgoing message was started and not ended
  bool discarding = false;      // output is off, for the rest of this object's life
  TransferId chunkId = 0;       // the two of the chunk being read
  std::int64_t chunkOffset = 0;
  rdr::ByteReader chunkReader;  // its len is not 0 exactly while a chunk's data is being gathered

private:
  void writeCancel(const char* type, TransferId id, const plat::Exception& error);

  bool handleDataReq();
  bool handleCancelByReceiver();
  bool handleComplete();
  bool handleDataChunk();
  bool handleCancelBySender();
  void finishChunk();
};

}  // namespace fops
