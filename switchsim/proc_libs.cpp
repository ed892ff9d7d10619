// The process library: the switch OS's crash logger, which here only counts who registers.
#include "switchos/openclt.h"
#include "switchsim/answer_call.h"

using namespace switchsim;

extern "C" __attribute__((visibility("default"))) int32_t l7proc_crashlog_register(void) {
  Call call;
  call.operation = Operation::crashlogRegister;
  return answerCall(call, [](SharedState* state) {
    state->crashlogCount++;
    return OPENCLT_OK;
  });
}
