#include "apps/kelfops/PeerChannel.h"

#include <cstdio>
#include <cstring>

#include "apps/kelfops/terminalText.h"
#include "base/io/Io.h"
#include "base/plat/Exception.h"
#include "base/rdr/BufferedOutStream.h"
#include "base/rdr/InStream.h"
#include "base/rdr/OutStream.h"

namespace {
constexpr std::uint32_t MaxLogText = 1024;
}

PeerChannel::PeerChannel(std::unique_ptr<io::Io> link, Callback& callback)
    : callback_(callback), link_(link.get()), flushTimer_(this), ipc_(this, "helper", false, false) {
  ipc_.accept(link.release());
  // In time: nothing is read before the first turn of the loop.
  for (const char* name : {"fops", "fopsNotification", "logMsg"}) {
    ipc_.setReader(name, this);
  }
}

PeerChannel::~PeerChannel() {
  if (link_) {
    // Letting go of the link would wait for a helper that may take nothing any more.
    if (auto* const out = dynamic_cast<rdr::BufferedOutStream*>(link_->out())) {
      out->discardPending();
    }
  }
  ipc_.removeReader(this);
}

void PeerChannel::sendLogLevel(int level) {
  ipc_.writeMsg("setLogLevel").writeS32(level);
  ipc_.endMsg(false);
}

void PeerChannel::flush() {
  if (link_) {
    link_->out()->flush();
  }
}

void PeerChannel::closeWrite() {
  flush();
  if (link_) {
    link_->out()->closeWrite();
  }
}

bool PeerChannel::timerFired(plat::Timer&) {
  flush();
  return false;
}

rdr::OutStream& PeerChannel::startMsg(const char* type) {
  rdr::OutStream& out = ipc_.writeMsg("fops");
  out.writeShortString(type);
  return out;
}

void PeerChannel::endMsg() {
  ipc_.endMsg(false);
}

void PeerChannel::msgIpcClosed(io::MsgIpc&) {
  link_ = nullptr;
  callback_.channelClosed(reason_.orEmpty());
}

void PeerChannel::msgIpcError(io::MsgIpc&, const plat::Exception& failure) {
  // The end of the stream is how a helper in good order takes its leave.
  if (std::strcmp(failure.type, "EndOfStream") != 0) {
    reason_ = plat::ExceptionText(failure).get();
  }
}

bool PeerChannel::readMsg(const char* name, rdr::InStream& in, io::MsgIpc&) {
  if (std::strcmp(name, "logMsg") == 0) {
    showLogLine(in);
  } else if (std::strcmp(name, "fopsNotification") == 0) {
    in.readU8();  // the session's own messages say the same
  } else if (!callback_.sessionMessage(in)) {
    flush();  // the first part of a chunk may have led to a request
    return false;
  }
  // Whatever message it was, an earlier one of the same burst may have left requests unsent.
  if (link_ && in.getPtr() == link_->in()->getEnd()) {
    flush();
  } else if (!flushTimer_.running()) {
    flushTimer_.start(0);  // what follows in the window may be no whole message
  }
  return true;
}

/// MaxLogText is the most that the helper forwards of a line; a longer one is no log line of its.
void PeerChannel::showLogLine(rdr::InStream& in) {
  const std::int32_t level = in.readS32();
  const plat::String source = in.readShortString(true);
  const plat::String text = in.readString(MaxLogText, true);
  std::fprintf(stderr, "helper %s (%d): %s\n", terminalText(source.orEmpty(), stderr).c_str(), level,
               terminalText(text.orEmpty(), stderr).c_str());
}
