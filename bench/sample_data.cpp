#include "bench/sample_data.h"

#include <sqlite3.h>

#include <string>

#include "base/database.h"
#include "bench/floors.h"

namespace {

// A table of the numbers from 1 to count.
std::string numbers(const char* name, int64_t count) {
  return std::string(name) + "(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM " + name + " WHERE i<" +
         std::to_string(count) + ")";
}

void execute(sqlite3* db, const std::string& sql) {
  must(executeSql(db, sql.c_str()), sqlite3_errmsg(db));
}

}  // namespace

void fillSchedules(sqlite3* db, int64_t count, int unit) {
  execute(db, "PRAGMA foreign_keys=ON; BEGIN; DELETE FROM poe_schedule;");
  execute(db,
          "INSERT INTO poe_schedule (unit, name, schedule_type, start_date, end_date, recurrence, "
          "start_time, end_time, created_at) WITH RECURSIVE " +
              numbers("n", count) + " SELECT " + std::to_string(unit) +
              ", 'Schedule '||i, 'power_off', '2026-01-01', '2036-12-31', 'weekly', "
              "CASE i%100 WHEN 0 THEN '08:00' ELSE '10:00' END, '12:00', 1767225600 FROM n;");
  execute(db, "INSERT INTO poe_schedule_days WITH RECURSIVE " + numbers("n", 5) +
                  " SELECT schedule_id, i FROM poe_schedule, n;");
  execute(db, "INSERT INTO poe_schedule_ifs WITH RECURSIVE " + numbers("n", kNarrowPorts) +
                  " SELECT schedule_id, i FROM poe_schedule, n;");
  execute(db, "COMMIT;");
}

void fillHistory(sqlite3* db, int64_t runs, int64_t wideRuns) {
  const std::string all = std::to_string(runs);
  const std::string startedAt = "strftime('%s','now') - 29*86400*(" + all + "-i)/" + all;
  execute(db, "BEGIN;");
  execute(db,
          "INSERT INTO poe_history (run_id, unit, trigger_source, schedule_id, schedule_name, "
          "schedule_type, execution_mode, inter_port_delay, all_day_snapshot, started_at, "
          "completed_at, status, overall_result) WITH RECURSIVE " +
              numbers("n", runs) +
              " SELECT i, 1, 'scheduled', i%20+1, 'Schedule '||(i%20+1), 'power_off', "
              "'simultaneous', 0, 0, " +
              startedAt + ", " + startedAt + "+1, 'completed', 'success' FROM n;");
  execute(db,
          "INSERT INTO poe_history_port (run_id, if_num, status, executed_at) WITH RECURSIVE " +
              numbers("n", kWidePorts) +
              " SELECT run_id, i, 'success', completed_at FROM poe_history CROSS JOIN n WHERE i<=" +
              std::to_string(kNarrowPorts) + " OR run_id>" + std::to_string(runs - wideRuns) + ";");
  execute(db, "COMMIT;");
}
