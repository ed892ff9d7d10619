// Asking before what is hard to take back.
#ifndef QUORIN_CLIENT_CONFIRM_H
#define QUORIN_CLIENT_CONFIRM_H

#include <string>

// Returns when the person agrees: by -y (isAgreed), or with "y" on the terminal. question: "Reset
// all 24 ports of unit 1?". Throws Failure when he does not (kExitNotAsWished), and where there is
// no terminal to ask on (kExitUsage).
void confirm(const std::string& question, bool isAgreed);

#endif
