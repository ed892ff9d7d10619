#include "bench/schedule_writes.h"

#include <sqlite3.h>

#include "bench/sample_data.h"

namespace {

constexpr int64_t kUnit = 1;
constexpr int64_t kLastDay = 5;
constexpr int64_t kZero = 0;
constexpr const char* kNone = nullptr;
constexpr int64_t kCreatedAt = 1767225600;

std::string nameOf(int64_t number) {
  return "New " + std::to_string(number);
}

}  // namespace

ScheduleWritesFloor::ScheduleWritesFloor(const std::string& path) : db_(openFloorDatabase(path)) {}

void ScheduleWritesFloor::insertChildren(int64_t scheduleId) {
  for (int64_t day = 1; day <= kLastDay; ++day) {
    insertDay_.bind(scheduleId, day).readAll();
  }
  for (int64_t port = 1; port <= kNarrowPorts; ++port) {
    insertPort_.bind(scheduleId, port).readAll();
  }
}

void ScheduleWritesFloor::create(int64_t number) {
  const std::string name = nameOf(number);
  const std::lock_guard<std::mutex> lock(mutex_);
  begin_.readAll();
  insert_
      .bind(kUnit, name.c_str(), "power_off", "2026-01-01", "2036-12-31", "weekly", "08:00",
            "12:00", kNone, kZero, kZero, kZero, kZero, kZero, kCreatedAt)
      .readAll();
  insertChildren(sqlite3_last_insert_rowid(db_.get()));
  commit_.readAll();
}

void ScheduleWritesFloor::update(int64_t scheduleId, int64_t number) {
  const std::string name = nameOf(number);
  const std::lock_guard<std::mutex> lock(mutex_);
  read_.bind(kUnit, scheduleId).readAll();
  begin_.readAll();
  update_
      .bind(name.c_str(), "2026-01-01", "2036-12-31", "weekly", "08:00", "12:00", kNone, kZero,
            kZero, kZero, kZero, kZero, kUnit, scheduleId)
      .readAll();
  removeDays_.bind(scheduleId).readAll();
  removePorts_.bind(scheduleId).readAll();
  insertChildren(scheduleId);
  commit_.readAll();
}

void ScheduleWritesFloor::remove(int64_t scheduleId) {
  const std::lock_guard<std::mutex> lock(mutex_);
  remove_.bind(kUnit, scheduleId).readAll();
}
