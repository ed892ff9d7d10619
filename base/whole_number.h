// Whole numbers in texts from outside.
#ifndef QUORIN_BASE_WHOLE_NUMBER_H
#define QUORIN_BASE_WHOLE_NUMBER_H

#include <cstdint>
#include <string_view>

// The number that the whole text is, of decimal digits only; -1 for anything else and above 2^31.
int64_t wholeNumber(std::string_view text);

#endif
