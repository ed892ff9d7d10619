// The daemon's error codes in words for people.
#ifndef QUORIN_API_ERROR_WORDS_H
#define QUORIN_API_ERROR_WORDS_H

#include <cstdint>
#include <string>

struct cJSON;

// What a code of the daemon means for this request, with advice: "unit 1 has no schedule 7. See:
// quorin_poectl schedule list". params may be null.
std::string errorInWords(const std::string& method, const cJSON* params, int32_t code);

#endif
