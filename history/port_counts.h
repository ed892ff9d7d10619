// Counting a run's port rows.
#ifndef QUORIN_HISTORY_PORT_COUNTS_H
#define QUORIN_HISTORY_PORT_COUNTS_H

#include <cstdint>
#include <optional>

#include "daemon/daemon_context.h"
#include "daemon/logged_statement.h"
#include "history/run_vocabulary.h"

// Counts one more port, by its state as it is stored.
void countPort(const char* statusOrNull, PortCounts* counts);

// Counts the port rows of one run after the other, with a statement that is prepared when it is
// first needed.
class PortCounter {
 public:
  explicit PortCounter(const HistoryAccess& history) : history_(history) {}
  explicit PortCounter(const HistoryAccess&& history) = delete;  // it must outlive this

  // Counts by state. Returns 0, or ERR_GENERAL (logged, all counts 0) when the rows can't be
  // queried; an error while reading them ends the counting early without a code.
  int32_t countPorts(int64_t runId, PortCounts* counts);

 private:
  const HistoryAccess& history_;
  std::optional<LoggedStatement> rows_;
};

#endif
