#include "cli/table.h"

#include <algorithm>

#include "cli/text.h"

namespace {

constexpr size_t kGap = 2;
constexpr size_t kNoteIndent = 10;

const char* colorOf(Tint tint) {
  switch (tint) {
    case Tint::good:
      return "\033[32m";
    case Tint::warning:
      return "\033[33m";
    case Tint::bad:
      return "\033[31m";
    case Tint::faint:
      return "\033[2m";
    default:
      return nullptr;
  }
}

// A line that takes pieces until the screen is full.
class LineBuilder {
 public:
  explicit LineBuilder(const Screen& screen) : screen_(screen) {}

  void blanks(size_t count) { pending_ += count; }
  void piece(const std::string& text, Tint tint) {
    if (text.empty() || full()) {
      return;
    }
    used_ += pending_;
    if (full()) {
      return;
    }
    line_ += std::string(pending_, ' ') + tinted(cut(text), tint, screen_);
    used_ += displayWidth(text);
    pending_ = 0;
  }
  std::string take() { return std::move(line_) + "\n"; }

 private:
  bool full() const { return screen_.columns > 0 && used_ >= screen_.columns; }
  size_t room() const { return screen_.columns > 0 ? screen_.columns - used_ : std::string::npos; }
  // What does not fit ends in a character that says so.
  std::string cut(const std::string& text) const {
    if (displayWidth(text) <= room()) {
      return text;
    }
    return cutToWidth(text, room() - 1) + (screen_.utf8 ? "…" : ">");
  }

  const Screen& screen_;
  std::string line_;
  size_t used_ = 0;
  size_t pending_ = 0;
};

}  // namespace

std::string tinted(const std::string& text, Tint tint, const Screen& screen) {
  const char* color = screen.color ? colorOf(tint) : nullptr;
  return color == nullptr || text.empty() ? text : color + text + "\033[0m";
}

void Table::row(std::vector<Cell> cells) {
  cells.resize(columns_.size(), "");
  for (Cell& cell : cells) {
    cell.text = escaped(cell.text);
  }
  lines_.push_back({std::move(cells), false});
}

void Table::note(const std::string& line, Tint tint) {
  lines_.push_back({{Cell(escaped(line), tint)}, true});
}

std::vector<size_t> Table::widths() const {
  std::vector<size_t> widths;
  for (size_t i = 0; i < columns_.size(); ++i) {
    size_t width = 0;
    for (const Line& line : lines_) {
      width = line.isNote ? width : std::max(width, displayWidth(line.cells[i].text));
    }
    widths.push_back(width > 0 ? std::max(width, displayWidth(columns_[i].title)) : 0);
  }
  return widths;
}

std::string Table::rowText(const std::vector<Cell>& cells, const std::vector<size_t>& widths,
                           const Screen& screen) const {
  LineBuilder line(screen);
  for (size_t i = 0; i < cells.size(); ++i) {
    if (widths[i] == 0) {
      continue;
    }
    const size_t fill = widths[i] - displayWidth(cells[i].text);
    const bool isRight = columns_[i].align == Align::right;
    line.blanks(isRight ? fill : 0);
    line.piece(cells[i].text, cells[i].tint);
    line.blanks((isRight ? 0 : fill) + kGap);
  }
  return line.take();
}

std::string Table::text(const Screen& screen) const {
  const std::vector<size_t> all = widths();
  std::vector<Cell> titles;
  bool isTitled = false;
  for (const Column& column : columns_) {
    titles.emplace_back(column.title, Tint::faint);
    isTitled = isTitled || !column.title.empty();
  }

  std::string text = isTitled ? rowText(titles, all, screen) : "";
  for (const Line& each : lines_) {
    if (!each.isNote) {
      text += rowText(each.cells, all, screen);
      continue;
    }
    LineBuilder line(screen);
    line.blanks(kNoteIndent);
    line.piece(each.cells[0].text, each.cells[0].tint);
    text += line.take();
  }
  return text;
}
