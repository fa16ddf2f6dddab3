#pragma once

#include "base/io/MsgIpc.h"
#include "base/plat/NonCopyable.h"
#include "libs/fops/FopsProto.h"
#include "libs/fops/local/LocalFileServer.h"

namespace fops {

/// Joins the file service to the message channel: owns the service, gives it each channel message named "fops", carries
/// its own messages as bodies of such messages, and reports the session's start and end as "fopsNotification".
///
/// Road:      io::MsgIpc calls readMsg() with a body, which goes to SFopsProto::run(); what the session writes goes to
///            MsgIpc::writeMsg() and endMsg().
/// Ownership: a member of the application object, built once the channel has its connection; observes the channel.
/// Thread:    the loop's thread, inside the channel's read events and the service's own.
/// Lifecycle: registered on the channel for as long as it lives. If the channel goes first, nothing may be written any
///            more.
class SFopsMgrViaIpc final : private io::MsgIpc::Reader,
                             private FopsProto::Writer,
                             private LocalFileServer::Callback,
                             private plat::NonCopyable {
public:
  /// @throws whatever the service's construction raises; the channel's registration is then undone.
  explicit SFopsMgrViaIpc(io::MsgIpc& ipc);
  ~SFopsMgrViaIpc() override;

private:
  // The entry in the channel's table of readers. Outlives `server_`, also where that fails to construct.
  class Registration : private plat::NonCopyable {
  public:
    Registration(SFopsMgrViaIpc& owner, io::MsgIpc& ipc);
    ~Registration();

  private:
    SFopsMgrViaIpc& owner_;
  };

  bool readMsg(const char* name, rdr::InStream& in, io::MsgIpc& ipc) override;

  rdr::OutStream& startMsg(const char* type) override;
  void endMsg() override;

  void sessionChanged(bool started) override;

  Registration registration_;
  LocalFileServer server_;
};

}  // namespace fops
