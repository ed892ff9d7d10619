#include "cli/table.h"

#include <algorithm>
#include <utility>

#include "cli/text.h"

namespace {

constexpr size_t kGap = 2;
constexpr size_t kNoteIndent = 10;
constexpr size_t kLeastYielding = 8;   // columns of what has become narrow
constexpr size_t kNarrowIndent = 4;    // of what is wrapped below its row
constexpr size_t kLeastWrapping = 24;  // of what is wrapped rather than cut

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

// What does not fit ends in a character that says so.
std::string cutTo(const std::string& text, size_t columns, const Screen& screen) {
  return displayWidth(text) <= columns ? text
                                       : cutToWidth(text, columns - 1) + (screen.utf8 ? "…" : ">");
}

// A line that takes pieces until the screen is full.
class LineBuilder {
 public:
  explicit LineBuilder(const Screen& screen) : screen_(screen) {}

  void blanks(size_t count) { pending_ += count; }
  void piece(const std::string& text, Tint tint) {
    if (text.empty() || room() == 0) {
      return;
    }
    line_ += std::string(pending_, ' ') + tinted(cutTo(text, room(), screen_), tint, screen_);
    used_ += pending_ + displayWidth(text);
    pending_ = 0;
  }
  // The line; the next one begins.
  std::string take() {
    used_ = 0;
    pending_ = 0;
    return std::exchange(line_, "") + "\n";
  }
  // What is left of the line.
  size_t room() const {
    const size_t used = used_ + pending_;
    return screen_.columns == 0      ? std::string::npos
           : used >= screen_.columns ? 0
                                     : screen_.columns - used;
  }
  size_t used() const { return used_ + pending_; }

 private:
  const Screen& screen_;
  std::string line_;
  size_t used_ = 0;
  size_t pending_ = 0;
};

size_t sumOf(const std::vector<size_t>& widths) {
  size_t sum = 0;
  for (const size_t width : widths) {
    sum += width > 0 ? width + kGap : 0;
  }
  return sum > 0 ? sum - kGap : 0;
}

// In lines of so many columns, the second and further ones behind blanks.
void addWrapped(const Cell& cell, size_t blanks, LineBuilder* line, std::string* text) {
  if (cell.text.empty()) {
    return;
  }
  if (line->used() != blanks) {  // there is no room beside what stands in the line
    *text += line->take();
    line->blanks(blanks);
  }
  const std::vector<std::string> parts = splitAt(wrapped(cell.text, line->room()), '\n');
  for (size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) {
      *text += line->take();
      line->blanks(blanks);
    }
    line->piece(parts[i], cell.tint);
  }
}

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

std::vector<size_t> Table::widths(const Screen& screen) const {
  std::vector<size_t> widths;
  for (size_t i = 0; i < columns_.size(); ++i) {
    size_t width = 0;
    for (const Line& line : lines_) {
      width = line.isNote ? width : std::max(width, displayWidth(line.cells[i].text));
    }
    widths.push_back(width > 0 ? std::max(width, displayWidth(columns_[i].title)) : 0);
    if (columns_[i].fit == Fit::wraps) {
      widths.back() = std::min(widths.back(), kLeastWrapping);
    }
  }
  if (screen.columns > 0) {
    narrow(Fit::yields, screen.columns, &widths);
    narrow(Fit::yieldsLater, screen.columns, &widths);
  }
  return widths;
}

// The widest of them first.
void Table::narrow(Fit fit, size_t columns, std::vector<size_t>* widths) const {
  while (sumOf(*widths) > columns) {
    size_t* widest = nullptr;
    for (size_t i = 0; i < columns_.size(); ++i) {
      size_t& width = (*widths)[i];
      const size_t least = std::max(kLeastYielding, displayWidth(columns_[i].title));
      if (columns_[i].fit == fit && width > least && (widest == nullptr || width > *widest)) {
        widest = &width;
      }
    }
    if (widest == nullptr) {
      return;
    }
    --*widest;
  }
}

std::string Table::rowText(const std::vector<Cell>& cells, const std::vector<size_t>& widths,
                           const Screen& screen) const {
  LineBuilder line(screen);
  std::string text;
  for (size_t i = 0; i < cells.size(); ++i) {
    if (widths[i] == 0) {
      continue;
    }
    if (columns_[i].fit == Fit::wraps) {
      addWrapped(cells[i], line.room() >= kLeastWrapping ? line.used() : kNarrowIndent, &line,
                 &text);
      continue;
    }
    const std::string shown = cutTo(cells[i].text, widths[i], screen);
    const size_t fill = widths[i] - displayWidth(shown);
    const bool isRight = columns_[i].align == Align::right;
    line.blanks(isRight ? fill : 0);
    line.piece(shown, cells[i].tint);
    line.blanks((isRight ? 0 : fill) + kGap);
  }
  return text + line.take();
}

std::string Table::text(const Screen& screen) const {
  const std::vector<size_t> all = widths(screen);
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
    addWrapped(each.cells[0], kNoteIndent, &line, &text);
    text += line.take();
  }
  return text;
}
