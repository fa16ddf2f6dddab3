#include "apps/kelfops/Interrupter.h"

#include <signal.h>

#include "apps/kelfops/ExitStatus.h"
#include "base/os/AppLoop.h"

Interrupter::Interrupter(os::AppLoop& loop) : loop_(loop), timer_(this) {
  for (const int sig : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before = {};
    sigaction(sig, nullptr, &before);
    if (before.sa_handler != SIG_IGN) {
      os::SignalHandler::instance().setHandler(sig, this, true);
      handled_.push_back(sig);
    }
  }
}

Interrupter::~Interrupter() {
  for (const int sig : handled_) {
    os::SignalHandler::instance().setHandler(sig, this, false);
  }
}

bool Interrupter::hasCome() {
  if (!hasCome_) {
    // It ends the turn in which a signal that has come is read from its pipe.
    timer_.start(0);
    loop_.run();
  }
  return hasCome_;
}

void Interrupter::signalled(int) {
  hasCome_ = true;
  os::AppLoop::quit(HelperFailed);
}

bool Interrupter::timerFired(plat::Timer&) {
  os::AppLoop::quit(HelperFailed);
  return false;
}
