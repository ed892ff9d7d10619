// A table for a terminal or a file.
#ifndef QUORIN_CLI_TABLE_H
#define QUORIN_CLI_TABLE_H

#include <string>
#include <utility>
#include <vector>

// What the output can show.
struct Screen {
  bool color = false;
  bool utf8 = false;
  size_t columns = 0;  // of the terminal; 0: no terminal, nothing is cut
};

enum class Tint { plain, good, warning, bad, faint };

// The text in its colour if the screen has colours.
std::string tinted(const std::string& text, Tint tint, const Screen& screen);

struct Cell {
  Cell(std::string cellText, Tint cellTint = Tint::plain)  // NOLINT: a text is a cell
      : text(std::move(cellText)), tint(cellTint) {}
  Cell(const char* cellText) : text(cellText) {}  // NOLINT

  std::string text;
  Tint tint = Tint::plain;
};

enum class Align { left, right };

// What becomes of a column where the screen is too narrow for the row.
enum class Fit {
  whole,        // it is cut where the screen ends
  yields,       // it becomes narrower, before all others
  yieldsLater,  // when those are as narrow as they can be
  wraps,        // as the last one: it is wrapped at words
};

struct Column {
  std::string title;
  Align align = Align::left;
  Fit fit = Fit::whole;
};

// Columns as wide as needed and two blanks apart, no blanks at the end of a line; a column without
// any text in its rows is left out. Texts are escaped. Notes are wrapped.
class Table {
 public:
  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  // One cell a column; missing ones are empty.
  void row(std::vector<Cell> cells);
  // A line under the last row, from its second column on; for a warning of what stands in the row.
  void note(const std::string& line, Tint tint = Tint::plain);
  bool empty() const { return lines_.empty(); }

  // Titles (none when every title is empty) and rows, each with its line end.
  std::string text(const Screen& screen) const;

 private:
  struct Line {
    std::vector<Cell> cells;
    bool isNote = false;
  };
  std::vector<size_t> widths(const Screen& screen) const;
  void narrow(Fit fit, size_t columns, std::vector<size_t>* widths) const;
  std::string rowText(const std::vector<Cell>& cells, const std::vector<size_t>& widths,
                      const Screen& screen) const;

  std::vector<Column> columns_;
  std::vector<Line> lines_;
};

#endif
