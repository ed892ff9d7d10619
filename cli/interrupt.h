// Ending in good order when somebody interrupts.
#ifndef QUORIN_CLI_INTERRUPT_H
#define QUORIN_CLI_INTERRUPT_H

// From now on the first SIGINT, SIGTERM or SIGHUP only makes isInterrupted() true; a second one
// ends the process at once.
void catchInterrupts();
bool isInterrupted();

#endif
