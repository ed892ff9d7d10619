// Where a command's output goes: data to stdout, progress and errors to stderr.
#ifndef QUORIN_CLI_OUTPUT_H
#define QUORIN_CLI_OUTPUT_H

#include <string>

#include "cli/json.h"
#include "cli/table.h"

enum class ColorMode { automatic, always, never };

// What stdout can show. Of the locale REQUIRES: setlocale was called.
Screen screenOfStdout(ColorMode mode);

// Of stdout's window, as high as it is now; 0: no terminal, or it does not tell.
size_t terminalRows();

// A text in place of all that the terminal shows, of which it shows no more than its window, of so
// many rows and columns, holds: what is left out is counted in the last line, with what to do to
// see it. A window of less than three rows is given all.
std::string redrawn(const std::string& text, size_t rows, size_t columns, const char* toSeeAll);

// To stderr, with a line end; on a terminal wrapped at words.
void tell(const std::string& text);

// To stdout, at once. Throws Failure where it cannot be written.
void printNow(const std::string& text);

class Output {
 public:
  Output(const Screen& screen, bool quiet, bool isJson = false)
      : screen_(screen), quiet_(quiet), isJson_(isJson) {}
  const Screen& screen() const { return screen_; }

  // As it is: what comes from outside is escaped before.
  void print(const std::string& text) const;
  // A whole document: indented on a terminal, else on one line. Throws std::bad_alloc for null.
  void printJson(const JsonPtr& document) const;
  // One line always, written at once: for commands that watch.
  void printJsonLine(const JsonPtr& document) const;
  // To stderr as tell does, both silenced by -q; for a program that is asked for JSON a line
  // {"note": {"text"}} or {"warning": {"text"}}.
  void say(const std::string& line) const;
  void warn(const std::string& line) const;
  // Throws Failure when what was printed could not be written.
  void flush() const;

 private:
  void report(const char* kind, const std::string& text, const std::string& line) const;

  Screen screen_;
  bool quiet_;
  bool isJson_;
};

#endif
