#include "base/result_codes.h"

const char* resultCodeName(int32_t code) {
  switch (code) {
    case RESULT_OK:
      return "RESULT_OK";
    case ERR_GENERAL:
      return "ERR_GENERAL";
    case ERR_INVALID_ARG:
      return "ERR_INVALID_ARG";
    case ERR_EXISTS:
      return "ERR_EXISTS";
    case ERR_NOT_FOUND:
      return "ERR_NOT_FOUND";
    case ERR_UNSUPPORTED:
      return "ERR_UNSUPPORTED";
    default:
      return "unknown error";
  }
}
