// Result codes of every operation behind the control interface. The numbers are the switch's
// management software's; they travel to the client unchanged as the "error" of an answer.
#ifndef QUORIN_BASE_RESULT_CODES_H
#define QUORIN_BASE_RESULT_CODES_H

#include <cstdint>

constexpr int32_t RESULT_OK = 0;
constexpr int32_t ERR_GENERAL =
    10000;  // storage, memory or other internal failure; a refused port write
constexpr int32_t ERR_INVALID_ARG =
    10003;  // unreadable request, or a parameter missing, mistyped or out of range
constexpr int32_t ERR_EXISTS = 10011;  // the name is taken
constexpr int32_t ERR_NOT_FOUND =
    10023;  // no such object, or not in the state that the operation needs
constexpr int32_t ERR_UNSUPPORTED = 17002;  // unknown method

// The constant's name for a code ("ERR_GENERAL"), or "unknown error". Never null, never freed.
const char* resultCodeName(int32_t code);

#endif
