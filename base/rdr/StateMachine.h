#pragma once

#include "base/plat/assert.h"
#include "base/rdr/exceptions.h"

namespace rdr {

/// The driver of a restartable parser: the present state is a member function of the owner.
///
/// Purpose:   a state parses one piece of input. It answers true to go on, with the state it has set(), and false if it
///            is to be called again when more data has come; a BlockException out of it means the same.
/// Road:      twice on the way of a request: io::MsgIpc finds a message's reader with one, fops::FopsProto its handler
///            with another.
/// Ownership: a member of `Owner`, on whose thread it runs. A null state stands for none.
template <class Owner>
class StateMachine {
public:
  using StateFn = bool (Owner::*)();

  void set(StateFn state) noexcept { stateFn_ = state; }
  [[nodiscard]] StateFn get() const noexcept { return stateFn_; }

  /// Calls the present state once and gives its answer.
  /// @throws plat::AssertionFail "stateFn" if there is none; whatever the state raises
  bool step(Owner& owner) {
    PLAT_REQUIRE_AS(stateFn_ != nullptr, "stateFn", "base/rdr/StateMachine", 77);
    return (owner.*stateFn_)();
  }

  /// Steps until a state answers false or blocks, or `goOn()` answers false. That one is called after each state that
  /// answered true: it takes the checkpoint and says whether there is still something to read from.
  template <class GoOn>
  void run(Owner& owner, GoOn&& goOn) {
    try {
      while (step(owner) && goOn()) {
      }
    } catch (const BlockException&) {
      // The stream stands at its checkpoint again; this state runs anew when more has come.
    }
  }

private:
  StateFn stateFn_ = nullptr;
};

}  // namespace rdr
