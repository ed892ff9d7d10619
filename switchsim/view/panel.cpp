// The front panel as people know it: two rows of ports, those with odd numbers above.
#include <cstdio>
#include <map>

#include "switchsim/view/view.h"

namespace switchsim {
namespace {

constexpr size_t kMaxLine = 80;
constexpr size_t kPowerWidth = 5;   // of a column with a character and a power, such as "#12.9"
constexpr size_t kNarrowWidth = 2;  // of one without PoE
constexpr size_t kMaxPowerColumns = 12;
constexpr const char* kLegend =
    "# delivers   ~ device starts   - searches   . off   x denied   ! fault\n";

// Two ports, one above the other; null where there is none.
struct Column {
  const PortView* upper = nullptr;
  const PortView* lower = nullptr;

  bool hasPoe() const {
    return (upper != nullptr && upper->poe) || (lower != nullptr && lower->poe);
  }
};
using Block = std::vector<Column>;

std::string label(const PortView* port) {
  if (port == nullptr) {
    return "";
  }
  const std::string number = std::to_string(port->place.number);
  return port->place.slot == 0 ? number : std::to_string(port->place.slot) + "/" + number;
}

char characterOf(const PortView& port) {
  static constexpr char kCharacters[] = {'.', '-', '#', '!', 'x'};
  return port.isStarting ? '~' : port.status < kOff ? kCharacters[port.status] : '.';
}

std::string cell(const PortView* port) {
  if (port == nullptr || !port->poe) {
    return "";
  }
  char text[16] = {characterOf(*port)};
  if (port->powerMw != 0) {
    snprintf(text + 1, sizeof(text) - 1, "%4.1f", port->powerMw / 1000.0);
  }
  return text;
}

size_t widthOf(const Column& column) {
  const size_t labels = std::max(label(column.upper).size(), label(column.lower).size());
  return std::max(labels, column.hasPoe() ? kPowerWidth : kNarrowWidth);
}

std::string withoutBlanksAtEnd(const std::string& line) {
  return line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
}

// The text in the middle of a column, and room for its border.
std::string centred(const std::string& text, size_t width) {
  const size_t before = (width - text.size() + 1) / 2;
  return " " + std::string(before, ' ') + text + std::string(width - text.size() - before, ' ');
}

std::string padded(const std::string& text, size_t width) {
  return "|" + text + std::string(width - text.size(), ' ');
}

std::string blockText(const Block& block) {
  std::string above, border, upper, lower, below;
  for (const Column& column : block) {
    const size_t width = widthOf(column);
    above += centred(label(column.upper), width);
    upper += padded(cell(column.upper), width);
    border += "+" + std::string(width, '-');
    lower += padded(cell(column.lower), width);
    below += centred(label(column.lower), width);
  }
  border += "+\n";
  return withoutBlanksAtEnd(above) + border + upper + "|\n" + border + lower + "|\n" + border +
         withoutBlanksAtEnd(below);
}

// In the order of slots and numbers.
std::vector<Column> columnsOf(const SwitchView& view, uint32_t unit) {
  std::map<std::pair<uint32_t, uint32_t>, Column> columns;
  for (const PortView& port : view.ports) {
    if (port.place.unit == unit) {
      Column& column = columns[{port.place.slot, (port.place.number + 1) / 2}];
      (port.place.number % 2 == 1 ? column.upper : column.lower) = &port;
    }
  }

  std::vector<Column> ordered;
  ordered.reserve(columns.size());
  for (const auto& [place, column] : columns) {
    ordered.push_back(column);
  }
  return ordered;
}

// As many columns beside each other as fit.
std::vector<Block> blocksOf(const std::vector<Column>& columns) {
  std::vector<Block> blocks;
  size_t length = kMaxLine;
  size_t powerColumns = 0;
  for (const Column& column : columns) {
    length += 1 + widthOf(column);
    powerColumns += column.hasPoe() ? 1 : 0;
    if (length > kMaxLine || powerColumns > kMaxPowerColumns) {
      blocks.emplace_back();
      length = 2 + widthOf(column);  // with the border at the block's end
      powerColumns = column.hasPoe() ? 1 : 0;
    }
    blocks.back().push_back(column);
  }
  return blocks;
}

}  // namespace

std::string panelText(const SwitchView& view) {
  std::string text;
  for (const UnitView& unit : view.units) {
    text += unitText(view, unit) + "\n";
    for (const Block& block : blocksOf(columnsOf(view, unit.unit))) {
      text += blockText(block);
    }
    text += "\n";
  }
  return text + kLegend + abnormalText(view);
}

}  // namespace switchsim
