// What there is to tell of a record, described once: its table and its JSON come from there.
#ifndef QUORIN_CLI_FIELDS_H
#define QUORIN_CLI_FIELDS_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "cli/json.h"
#include "cli/table.h"

template <typename Record>
class Fields {
 public:
  using ValueOf = std::function<JsonValue(const Record&)>;
  using CellOf = std::function<Cell(const Record&)>;
  using TextOf = std::function<std::string(const Record&)>;

  // A member of the JSON object alone; keys are literals.
  void member(const char* key, ValueOf valueOf) { members_.emplace_back(key, std::move(valueOf)); }
  // A column of the table alone.
  void column(const Column& column, CellOf cellOf) {
    columns_.push_back(column);
    cells_.push_back(std::move(cellOf));
  }
  // A member that has a column.
  void both(const char* key, const Column& title, ValueOf valueOf, CellOf cellOf) {
    member(key, std::move(valueOf));
    column(title, std::move(cellOf));
  }
  // The same text in both.
  void text(const char* key, const Column& title, const TextOf& textOf) {
    both(key, title, textOf, textOf);
  }

  JsonPtr json(const Record& record) const {
    JsonPtr object = jsonObject({});
    for (const auto& [key, valueOf] : members_) {
      object = jsonObject(std::move(object), {{key, valueOf(record)}});
    }
    return object;
  }
  JsonPtr json(const std::vector<Record>& records) const {
    return jsonArray(records, [this](const Record& each) { return json(each); });
  }
  std::vector<Cell> cells(const Record& record) const {
    std::vector<Cell> cells;
    for (const CellOf& cellOf : cells_) {
      cells.push_back(cellOf(record));
    }
    return cells;
  }
  Table table() const { return Table(columns_); }
  std::string table(const std::vector<Record>& records, const Screen& screen) const {
    Table all(columns_);
    for (const Record& each : records) {
      all.row(cells(each));
    }
    return all.text(screen);
  }

 private:
  std::vector<std::pair<const char*, ValueOf>> members_;
  std::vector<Column> columns_;
  std::vector<CellOf> cells_;
};

#endif
