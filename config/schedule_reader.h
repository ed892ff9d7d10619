// Reading the schedule database, for the store's answers and for the scheduler.
//
// Whoever reads has the access, and so the schedule mutex, from before the first call until after
// the last.
#ifndef QUORIN_CONFIG_SCHEDULE_READER_H
#define QUORIN_CONFIG_SCHEDULE_READER_H

#include <cstdint>
#include <vector>

#include "daemon/daemon_context.h"
#include "rules/schedule.h"

// A table of numbers that belong to schedules.
struct ScheduleChildTable {
  const char* name;
  const char* column;
};
constexpr ScheduleChildTable kScheduleDays{"poe_schedule_days", "day"};
constexpr ScheduleChildTable kSchedulePorts{"poe_schedule_ifs", "if_num"};

// All schedules, one after the other, in the order of the database.
class ScheduleRows {
 public:
  explicit ScheduleRows(const ScheduleAccess& schedules);
  bool isOpen() const { return rows_ != nullptr; }
  // Fills a record, without days and ports, from the next row: unknown words read as unknown,
  // over-long strings are cut, NULL leaves a field empty or 0. False when there is none; then atEnd
  // distinguishes an end from a failure.
  bool next(PoeSchedule* schedule);
  bool atEnd() const { return atEnd_; }

 private:
  StatementPtr rows_;
  bool atEnd_ = false;
};

// Whether schedules have certain days. The statement is prepared when it is first needed.
class ScheduleDays {
 public:
  explicit ScheduleDays(const ScheduleAccess& schedules) : schedules_(schedules) {}
  explicit ScheduleDays(const ScheduleAccess&& schedules) = delete;  // it must outlive this
  // False also when it can't be told.
  bool contain(int64_t scheduleId, int32_t day);

 private:
  const ScheduleAccess& schedules_;
  StatementPtr lookup_;
};

// Reads any number of schedules by their ids, with statements that are prepared once, and only when
// they are needed.
class ScheduleReader {
 public:
  explicit ScheduleReader(const ScheduleAccess& schedules);
  explicit ScheduleReader(const ScheduleAccess&& schedules) = delete;  // it must outlive this
  // Fills a record from its row, without days and ports. RESULT_OK, ERR_NOT_FOUND or ERR_GENERAL.
  int32_t readRow(int32_t unit, int64_t scheduleId, PoeSchedule* schedule);
  // Also its days and ports, in ascending order; empty when they can't be read whole.
  int32_t readWhole(int32_t unit, int64_t scheduleId, PoeSchedule* schedule);

 private:
  const ScheduleAccess& schedules_;
  StatementPtr row_;
  StatementPtr days_;
  StatementPtr ports_;
};

// The ids of a unit's schedules, one after the other, in ascending order. As long as it lives, what
// is read beside it is of the same moment, whatever another program writes.
class ScheduleIds {
 public:
  ScheduleIds(const ScheduleAccess& schedules, int32_t unit);
  bool isOpen() const { return ids_ != nullptr; }
  // False when there is none; then atEnd distinguishes an end from a failure.
  bool next(int64_t* scheduleId);
  bool atEnd() const { return atEnd_; }

 private:
  StatementPtr ids_;
  bool atEnd_ = false;
};

// A schedule's ports in ascending order; empty when it has none or they can't be read.
std::vector<uint32_t> scheduleLoadIfNums(const ScheduleAccess& schedules, int64_t scheduleId);

// Whether a schedule still stands as a window schedule.
enum class WindowSchedule { valid, goneOrChanged, unknown };

// Looks the schedule up. Failures are logged and give unknown.
WindowSchedule scheduleCanCloseRun(const ScheduleAccess& schedules, int64_t scheduleId,
                                   int32_t unit);

#endif
