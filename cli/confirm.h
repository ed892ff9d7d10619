// Asking before something that may not be what was meant.
#ifndef QUORIN_CLI_CONFIRM_H
#define QUORIN_CLI_CONFIRM_H

#include <string>

// Goes on when isYes (-y), or when the person at the terminal says so after the reason, which is
// escaped and may have several lines. Throws Failure: kExitNotAsWished when he says no, kExitUsage
// where there is no terminal.
void confirm(const std::string& reason, bool isYes);

#endif
