#pragma once

#include <map>
#include <memory>

#include "base/io/Ipc.h"
#include "base/plat/DString.h"
#include "base/rdr/InStreamV4.h"
#include "base/rdr/OutStreamV4.h"
#include "base/rdr/StateMachine.h"

namespace io {

/// A channel of named messages over one link. The name is the only multiplexing: independent users share the connection
/// by owning different names. There is no greeting; as soon as a connection is attached both sides may write.
///
/// Purpose:   cuts the link into messages, finds the reader of each by name, and starts outgoing ones. It does not know
///            what a body holds; what a reader leaves unread of it is dropped.
/// Road:      Ipc calls ipcReadable(); its states read a message by rdr::InStreamV4 and call the Reader of its name,
///            for "fops" fops::SFopsMgrViaIpc. Replies come back by writeMsg() and endMsg().
/// Ownership: a member of the application object. Owns its connection; observes its readers and its callback.
/// Thread:    the event loop's thread only; nothing here locks.
/// Lifecycle: construct, setReader(), accept(), then messages until the link closes; accept() again for the next one.
///            Readers and callback may close, detach or accept from inside any call, but not destroy the channel.
class MsgIpc : public IoAcceptor, private Ipc::Callback, private plat::NonCopyable {
public:
  /// Watches over the channel. Implemented by the application object.
  class Callback {
  public:
    /// The link has closed, by the peer, by a failure, or by close(true).
    virtual void msgIpcClosed(MsgIpc& ipc) = 0;
    /// Whether a message may pass; asked before each one is written, and at each attempt to read one. By default yes.
    virtual bool msgAllowed(MsgIpc& ipc, const char* name, bool isWrite);
    /// A reader or the channel itself has failed; msgIpcClosed follows. The link may still be writable. By default
    /// nothing.
    virtual void msgIpcError(MsgIpc& ipc, const plat::Exception& error);
    virtual ~Callback() = default;
  };

  /// Consumes the messages of one or more names.
  class Reader {
  public:
    virtual ~Reader() = default;

    /// Called with the stream at the start of the body. May be called for the same message again.
    /// @returns true when the message is done with, false to be called again when more bytes have come: then from the
    ///   stream's last checkpoint, which is the start of the body unless the reader has taken a later one.
    /// @throws rdr::BlockException as false; any other plat::Exception ends the link.
    virtual bool readMsg(const char* name, rdr::InStream& in, MsgIpc& ipc) = 0;
    /// A connection has been attached or has gone. Once for each reader, however many names it has. By default nothing.
    virtual void connectionChanged(MsgIpc& ipc);
    /// The channel is being destroyed; all names are already off it. By default forgets `msgIpc` if it is that one.
    virtual void msgIpcGone(MsgIpc& ipc);

  protected:
    MsgIpc* msgIpc = nullptr;  ///< the channel that the reader is registered on, kept by the reader itself; or null
  };

  /// @param callback may be null; must outlive the channel. @param name for log lines.
  /// @param blocking true for the blocking reads below, false for use under the event loop.
  /// @param logDiscards log, at debug level, each message written while there is no connection.
  MsgIpc(Callback* callback, const char* name, bool blocking, bool logDiscards);

  /// Attaches a connection and tells the readers. Being attached already is a fatal assertion.
  void accept(Io* io) override;

  /// Tells each reader msgIpcGone, then closes without a callback.
  ~MsgIpc() override;

  const char* name() const noexcept { return ipc_.name(); }
  bool attached() const noexcept { return ipc_.attached(); }

  /// Answers a message without a reader with "badMsg", and stays up. At first off.
  void setReplyBadMsg(bool on) noexcept { replyBadMsg_ = on; }
  /// Has the destructor close in good order, once the readers have been let go. At first off.
  void setCloseOnDestroy(bool on) noexcept { closeOnDestroy_ = on; }
  /// Takes a name without a reader that sorts below 'A' as a corrupt stream, and closes. At first on.
  void setCloseOnBadName(bool on) noexcept { closeOnBadName_ = on; }

  /// Gives the messages of that name to `reader`, instead of the one that had them. A null name is the default, for
  /// names that nobody owns. The reader has to go with removeReader before it dies.
  void setReader(const char* name, Reader* reader);

  /// Takes all names away from `reader`, also from inside its readMsg: the rest of that message is dropped.
  void removeReader(Reader* reader);
  /// Takes one name away.
  void removeReader(const char* name);

  /// Starts a message; the result stands behind the name. endMsg on it finishes the message.
  /// Without a connection the bytes are dropped.
  /// @throws plat::Exception "MsgIpc::writeMsg: Message not currently allowed"
  /// @throws rdr::FrameException if a message is open already; writers cannot nest
  rdr::FramedOutStream& writeMsg(const char* name);

  /// Finishes the message of writeMsg. @param flush false leaves it to a later flush to send it.
  void endMsg(bool flush) { out_.endMsg(flush); }

  /// Sends what has been written so far, without waiting once the link is in an event loop.
  void flush() { out_.flush(); }

  /// Ends the connection and tells the readers. @param notify also call Callback::msgIpcClosed, if there was one.
  void close(bool notify);

  /// Takes the connection out without closing it; null if there is none. Unread bytes stay in its input stream.
  [[nodiscard]] std::unique_ptr<Io> detach() noexcept;

  /// Reads one message, waiting for it, and gives it to its reader.
  /// @param expected the only name allowed, beside "badMsg"; null for any.
  /// @throws plat::Exception "MsgIpc::readMessage: not in state startMsg", also without a connection; what the states
  ///   and readers throw, with the rest of the message skipped; rdr::BlockException if the link does not wait
  void readMessage(const char* expected);
  /// Reads messages up to and with the first of that name.
  void readUntil(const char* name);
  /// Reads messages until the peer closes.
  void readAll();

private:
  /// Orders names by byte, null first; finds without making a copy.
  struct NameLess {
    using is_transparent = void;
    static const char* text(const plat::String& name) noexcept { return name.get(); }
    static const char* text(const char* name) noexcept { return name; }
    static bool less(const char* a, const char* b) noexcept;
    template <class A, class B>
    bool operator()(const A& a, const B& b) const noexcept {
      return less(text(a), text(b));
    }
  };
  using Readers = std::map<plat::String, Reader*, NameLess>;

  void ipcReadable(Ipc& ipc) override;
  void ipcClosed(Ipc& ipc) override;
  void ipcError(Ipc& ipc, const plat::Exception& error) override;

  // The states of the read side. True: another state is to run at once.
  bool startMsg();
  bool readName();
  bool dispatch();
  bool skip();

  bool inState(bool (MsgIpc::*state)()) const { return stateMachine_.get() == state; }
  void readWholeMessage();
  void skipFailedMessage();

  void noReader();
  [[noreturn]] void peerReportsBadMsg();
  bool allowed(const char* name, bool isWrite);
  const char* msgName() const noexcept { return msgName_.orEmpty(); }

  bool isRegistered(const Reader* reader) const noexcept;
  void tellReaders();
  void useLinkStreams() noexcept;
  Readers::iterator eraseReader(Readers::iterator entry);

  Ipc ipc_;
  Callback* callback_;
  rdr::InStreamV4 in_;
  rdr::OutStreamV4 out_;
  rdr::StateMachine<MsgIpc> stateMachine_;  // empty ("none") without a connection that is being read
  Readers readers_;                         // the null key, if present, is the default reader
  Readers::iterator curReader_;             // the entry chosen for the current message; end() outside dispatch
  const char* expectedMsg_ = nullptr;       // what a blocking read insists on; null for anything
  plat::DString msgName_;                   // keeps its room from message to message
  bool logDiscards_;
  bool replyBadMsg_ = false;
  bool closeOnDestroy_ = false;
  bool closeOnBadName_ = true;
};

}  // namespace io
