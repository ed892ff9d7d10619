#include "switchsim/switch/journal.h"

#include <algorithm>

#include "cli/lab_clock.h"
#include "switchsim/switch/port_model.h"

namespace switchsim {
namespace {

JournalEntry entryAt(const SharedState& state, uint64_t seq) {
  const JournalRecord& record = state.journal[(seq - 1) % kJournalCapacity];
  JournalEntry entry;
  entry.seq = seq;
  entry.timeMs = record.timeMs;
  entry.monoMs = record.monoMs;
  entry.op = operationName(record.operation);
  entry.unit = record.unit;
  entry.ifNum = record.ifNum;
  entry.value = record.value;
  entry.result = record.result;
  return entry;
}

}  // namespace

void appendJournal(SharedState* state, Operation operation, uint32_t ifNum, uint32_t value,
                   int32_t result) {
  JournalRecord* record = &state->journal[state->lastSeq % kJournalCapacity];
  record->timeMs = systemMs();
  record->monoMs = monotonicMs();
  record->operation = operation;
  const PortRecord* port = portRecord(*state, ifNum);
  record->unit = port == nullptr ? 0 : static_cast<int32_t>(port->place.unit);
  record->ifNum = ifNum;
  record->value = value;
  record->result = result;
  state->lastSeq++;
}

std::vector<JournalEntry> journalSince(uint64_t seq) {
  std::vector<JournalEntry> entries;
  const LockedState state = lockState();
  if (state == nullptr || seq >= state->lastSeq) {
    return entries;
  }
  const uint64_t dropped =
      state->lastSeq > kJournalCapacity ? state->lastSeq - kJournalCapacity : 0;
  const uint64_t first = std::max(seq, dropped) + 1;
  entries.reserve(static_cast<size_t>(state->lastSeq - first + 1));
  for (uint64_t each = first; each <= state->lastSeq; each++) {
    entries.push_back(entryAt(*state, each));
  }
  return entries;
}

uint64_t lastSeq() {
  const LockedState state = lockState();
  return state == nullptr ? 0 : state->lastSeq;
}

}  // namespace switchsim
