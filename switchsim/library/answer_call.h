// What every call of a client meets before it does its work: the look for a switch, the check of
// its arguments, the server's state and the faults.
#ifndef QUORIN_SWITCHSIM_LIBRARY_ANSWER_CALL_H
#define QUORIN_SWITCHSIM_LIBRARY_ANSWER_CALL_H

#include <functional>

#include "switchsim/switch/shared_state.h"

namespace switchsim {

// The result of a call that no switch OS answers, and of one that the switch could not carry out.
constexpr int32_t kCallFailed = -1;

struct Call {
  Operation operation = Operation::connectivityCheck;
  bool argumentsValid =
      true;  // as far as the client library can tell: a registered handle, no null pointer
  uint32_t ifNum = 0;              // the port that the call is about, for the faults; 0: none
  const char* portName = nullptr;  // instead of ifNum, where the client knows only a name
  bool portMustExist = false;      // an unknown ifNum is misuse
  std::optional<int32_t> unit;     // given with ifNum: another unit than the port's is misuse
  std::optional<uint32_t>
      newMode;  // set: the call changes the port, and is journalled with this value
};

// Does the call's work on the locked state and returns its result, 0 or a code.
using CallWork = std::function<int32_t(SharedState*)>;

// See answerCall.
int32_t answerCallWith(const Call& call, const CallWork& work) noexcept;

// Answers a call: counts misuse, waits as the faults say (without the lock), does the work unless
// something speaks against it, and journals what changes a port, failed or not. Returns the call's
// result. Throws nothing: the work is passed by reference, which needs no memory.
template <typename Work>
int32_t answerCall(const Call& call, const Work& work) noexcept {
  return answerCallWith(call, CallWork(std::cref(work)));
}

}  // namespace switchsim

#endif
