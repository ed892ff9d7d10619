// JSON that a person has written: where in its text something stands.
#ifndef QUORIN_CLI_JSON_TEXT_H
#define QUORIN_CLI_JSON_TEXT_H

#include <cstddef>
#include <map>
#include <string>

#include "base/json.h"

// The whole text of the file as a document. Throws Failure, kExitUsage, that names line and column
// where it is no JSON any more, both from 1.
JsonPtr parsedText(const std::string& text, const std::string& path);

// Of each value of a document the line, from 1, on which it begins in the text that it was parsed
// from.
std::map<const cJSON*, size_t> linesOfValues(const std::string& text, const cJSON* document);

#endif
