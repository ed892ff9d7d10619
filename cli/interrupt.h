// Ending in good order when somebody interrupts.
#ifndef QUORIN_CLI_INTERRUPT_H
#define QUORIN_CLI_INTERRUPT_H

#include <string>

// From now on the first SIGINT, SIGTERM or SIGHUP only makes isInterrupted() true; a second one
// ends the process at once.
void catchInterrupts();
bool isInterrupted();

// From now on SIGINT ends the process with kExitInterrupted and this text on stderr: what goes on
// without it, and how to undo that.
void sayWhenInterrupted(const char* program, const std::string& text);

#endif
