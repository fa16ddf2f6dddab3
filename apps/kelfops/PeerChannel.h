#pragma once

#include <memory>

#include "base/io/MsgIpc.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/time/Timer.h"
#include "libs/fops/FopsProto.h"

namespace io {
class Io;
}

/// The parent's end of the link: the named-message channel to the helper, as the protocol's writer and reader need it.
///
/// Shows the helper's forwarded log lines on standard error. Requests are not flushed one by one: they leave when the
/// input at hand has been worked through, so that answers to a burst of replies share system calls.
/// Ownership: a member of PeerSession. Thread: the loop's.
class PeerChannel final : public fops::FopsProto::Writer,
                          private io::MsgIpc::Callback,
                          private io::MsgIpc::Reader,
                          private plat::Timer::Callback,
                          private plat::NonCopyable {
public:
  /// Learns what arrives. Implemented by PeerSession.
  class Callback {
  public:
    /// The body of a session message; called again with the same one while it returns false.
    virtual bool sessionMessage(rdr::InStream& in) = 0;
    /// The link is gone; `reason` is empty if the helper closed it in good order.
    virtual void channelClosed(const char* reason) = 0;

  protected:
    ~Callback() = default;  // never deleted through this interface
  };

  PeerChannel(std::unique_ptr<io::Io> link, Callback& callback);
  ~PeerChannel() override;

  /// Tells the helper up to which level it should forward its log.
  void sendLogLevel(int level);

  /// Sends what has been written so far.
  void flush();

  /// Sends what has been written so far and closes this direction of the link: the helper will end.
  void closeWrite();

  rdr::OutStream& startMsg(const char* type) override;
  void endMsg() override;

private:
  void msgIpcClosed(io::MsgIpc& ipc) override;
  void msgIpcError(io::MsgIpc& ipc, const plat::Exception& failure) override;
  bool readMsg(const char* name, rdr::InStream& in, io::MsgIpc& ipc) override;
  bool timerFired(plat::Timer& timer) override;
  static void showLogLine(rdr::InStream& in);

  Callback& callback_;
  io::Io* link_;  ///< owned by the channel; null once it has gone
  plat::String reason_;
  plat::Timer flushTimer_;
  io::MsgIpc ipc_;
};
