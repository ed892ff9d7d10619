// The name of a file that is not whole yet.
#ifndef QUORIN_BASE_DRAFT_ENDING_H
#define QUORIN_BASE_DRAFT_ENDING_H

// What a file is called until it is whole: this at its path's end, with letters in place of the Xs.
// A program that is killed leaves it.
constexpr const char* kDraftEnding = ".new-XXXXXX";

#endif
