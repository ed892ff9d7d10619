// What the answers of the daemon's methods must hold, as docs/schema has it.
#ifndef QUORIN_API_ANSWER_SHAPES_H
#define QUORIN_API_ANSWER_SHAPES_H

#include <string>

struct cJSON;

// What keeps an answer, whose "ok" is a boolean, from being one to the method: "runs[0] has no
// runId". Empty for a right one, which may have more keys and other words than this client knows,
// and for any of a method that it does not know.
std::string answerFault(const std::string& method, const cJSON* answer);

#endif
