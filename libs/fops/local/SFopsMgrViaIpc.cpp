#include "libs/fops/local/SFopsMgrViaIpc.h"

#include "base/rdr/FramedOutStream.h"
#include "base/rdr/InStream.h"
#include "libs/fops/SFopsProto.h"

namespace fops {

SFopsMgrViaIpc::Registration::Registration(SFopsMgrViaIpc& owner, io::MsgIpc& ipc) : owner_(owner) {
  owner_.msgIpc = &ipc;
  ipc.setReader("fops", &owner_);
}

SFopsMgrViaIpc::Registration::~Registration() {
  // Null if the channel has gone first.
  if (owner_.msgIpc) {
    owner_.msgIpc->removeReader(&owner_);
  }
}

SFopsMgrViaIpc::SFopsMgrViaIpc(io::MsgIpc& ipc) : registration_(*this, ipc), server_(*this, *this) {}

SFopsMgrViaIpc::~SFopsMgrViaIpc() = default;

bool SFopsMgrViaIpc::readMsg(const char*, rdr::InStream& in, io::MsgIpc&) {
  // False has the channel call again when more has come; the session knows then which message it is in.
  return server_.proto().run(in);
}

rdr::OutStream& SFopsMgrViaIpc::startMsg(const char* type) {
  rdr::FramedOutStream& out = msgIpc->writeMsg("fops");
  out.writeShortString(type);
  return out;
}

void SFopsMgrViaIpc::endMsg() {
  msgIpc->endMsg(true);
}

void SFopsMgrViaIpc::sessionChanged(bool started) {
  msgIpc->writeMsg("fopsNotification").writeU8(started);
  msgIpc->endMsg(true);
}

}  // namespace fops
