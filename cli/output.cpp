#include "cli/output.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "cli/failure.h"
#include "cli/text.h"

namespace {

constexpr size_t kTellIndent = 2;

// 0: no terminal.
size_t terminalColumns(int descriptor) {
  if (isatty(descriptor) == 0) {
    return 0;
  }
  winsize size{};
  const bool isTold = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isTold ? size.ws_col : 80;
}

bool wantsColor(ColorMode mode, bool isTerminal) {
  const char* noColor = getenv("NO_COLOR");
  const char* terminal = getenv("TERM");
  const bool isDumb = terminal == nullptr || strcmp(terminal, "dumb") == 0;
  const bool isRefused = noColor != nullptr && *noColor != '\0';
  return mode == ColorMode::always ||
         (mode == ColorMode::automatic && isTerminal && !isDumb && !isRefused);
}

}  // namespace

Screen screenOfStdout(ColorMode mode) {
  const bool isTerminal = isatty(STDOUT_FILENO) != 0;
  Screen screen;
  screen.utf8 = strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
  screen.color = wantsColor(mode, isTerminal);
  screen.columns = terminalColumns(STDOUT_FILENO);
  return screen;
}

size_t terminalRows() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_row : 0;
}

std::string redrawn(const std::string& text, size_t rows, size_t columns, const char* toSeeAll) {
  constexpr const char* kClearScreen = "\033[H\033[J";
  std::vector<std::string> lines = splitAt(text, '\n');
  lines.pop_back();  // behind the last line's end
  const auto rowsOf = [columns](const std::string& line) {
    return columns == 0 ? 1 : std::max<size_t>((displayWidth(line) + columns - 1) / columns, 1);
  };
  size_t shown = 0;
  size_t used = 0;
  while (shown < lines.size() && used + rowsOf(lines[shown]) + 2 <= rows) {
    used += rowsOf(lines[shown++]);
  }
  // The cursor takes a row, and so does the last line where something is left out.
  const bool fitsWhole = shown + 1 == lines.size() && used + rowsOf(lines[shown]) + 1 <= rows;
  if (rows < 3 || shown == lines.size() || fitsWhole) {
    return kClearScreen + text;
  }
  const std::string rest = counted(lines.size() - shown, "more line") + ": " + toSeeAll;
  lines.resize(shown);
  return kClearScreen + joined(lines, "\n") + "\n" + rest + "\n";
}

void tell(const std::string& text) {
  fprintf(stderr, "%s\n", wrapped(text, terminalColumns(STDERR_FILENO), kTellIndent).c_str());
}

void printNow(const std::string& text) {
  const Output output(Screen{}, false);
  output.print(text);
  output.flush();
}

void Output::print(const std::string& text) const {
  fwrite(text.data(), 1, text.size(), stdout);
}

void Output::printJson(const JsonPtr& document) const {
  print(jsonEscaped(
      printedJson(document, screen_.columns > 0 ? JsonForm::indented : JsonForm::oneLine)));
}

void Output::printJsonLine(const JsonPtr& document) const {
  print(jsonEscaped(printedJson(document)));
  flush();
}

void Output::report(const char* kind, const std::string& text, const std::string& line) const {
  if (quiet_) {
    return;
  }
  if (isJson_) {
    const JsonPtr report = jsonObject({{kind, jsonObject({{"text", text}})}});
    fputs(jsonEscaped(printedJson(report)).c_str(), stderr);
  } else {
    tell(line);
  }
}

void Output::say(const std::string& line) const {
  report("note", line, line);
}

void Output::warn(const std::string& line) const {
  report("warning", line, "quorin_poectl: warning: " + line);
}

void Output::flush() const {
  errno = 0;
  if (fflush(stdout) != 0 || ferror(stdout) != 0) {
    const std::string why = errno != 0 ? strerror(errno) : "an earlier write failed";
    throw Failure(kExitNotAsWished, "the output could not be written: " + why);
  }
}
