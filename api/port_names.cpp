#include "api/port_names.h"

#include <algorithm>

#include "cli/failure.h"
#include "cli/text.h"

namespace {

constexpr const char* kSeePorts = "  See: quorin_poectl ports";
constexpr int64_t kMaxRange = 1024;

// A name as what stands before its last number, and that number: "1/0/" and 5.
struct NameParts {
  std::string prefix;
  int64_t number = -1;  // none

  bool operator<(const NameParts& other) const {
    return std::pair(prefix, number) < std::pair(other.prefix, other.number);
  }
};

NameParts partsOf(const std::string& name) {
  const size_t last = name.find_last_not_of("0123456789");
  const size_t digits = last == std::string::npos ? 0 : last + 1;
  return {name.substr(0, digits), wholeNumber(name.substr(digits))};
}

// In their order, those that follow one another as ranges.
std::string rangesOf(const std::vector<NameParts>& names) {
  std::vector<std::string> texts;
  for (auto first = names.begin(); first != names.end();) {
    auto last = first;
    auto next = std::next(first);
    while (next != names.end() && first->number >= 0 && next->prefix == first->prefix &&
           next->number == last->number + 1) {
      last = next++;
    }
    const bool hasNumber = first->number >= 0;
    texts.push_back(first->prefix + (hasNumber ? std::to_string(first->number) : "") +
                    (last != first ? "-" + std::to_string(last->number) : ""));
    first = next;
  }
  return joined(texts, ",");
}

[[noreturn]] void failAcross(const std::string& range) {
  throw Failure(kExitUsage, inQuotes(range) + " is no range: a range stays in its unit.");
}

// The names in "1/0/1-4", "1/0/1-1/0/4", "5-8"; none for what is no range.
std::vector<std::string> rangeNames(const std::string& word) {
  const size_t dash = word.rfind('-');
  const NameParts first = partsOf(word.substr(0, dash));
  const NameParts last = dash == std::string::npos ? first : partsOf(word.substr(dash + 1));
  const bool isAcross = first.number >= 0 && last.number >= 0 && !last.prefix.empty() &&
                        last.prefix.back() == '/' && last.prefix != first.prefix;
  if (dash != std::string::npos && isAcross) {
    failAcross(word);
  }
  const bool isRange = dash != std::string::npos && first.number >= 0 && last.number >= 0 &&
                       (last.prefix.empty() || last.prefix == first.prefix) &&
                       last.number - first.number < kMaxRange;
  if (isRange && last.number < first.number) {
    throw Failure(kExitUsage, inQuotes(word) + " is no range: its end is before its beginning.");
  }
  std::vector<std::string> names;
  for (int64_t number = first.number; isRange && number <= last.number; ++number) {
    names.push_back(first.prefix + std::to_string(number));
  }
  return names;
}

// "5" and "#5" as 5; -1 for anything else.
int64_t ifNumOf(const std::string& word) {
  return wholeNumber(!word.empty() && word[0] == '#' ? word.substr(1) : word);
}

std::string trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t\r");
  const size_t last = text.find_last_not_of(" \t\r");
  return first == std::string::npos ? "" : text.substr(first, last + 1 - first);
}

// Takes the first word off the text.
std::string takeWord(std::string* text) {
  *text = trimmed(*text);
  const size_t end = std::min(text->find_first_of(" \t"), text->size());
  std::string word = text->substr(0, end);
  *text = trimmed(text->substr(end));
  return word;
}

}  // namespace

std::vector<PortLine> parsePortLines(const std::string& text, std::vector<std::string>* faults) {
  std::vector<PortLine> lines;
  size_t lineNumber = 0;
  for (std::string rest : splitAt(text, '\n')) {
    ++lineNumber;
    const std::string first = takeWord(&rest);
    const std::string name = takeWord(&rest);
    const int64_t ifNum = wholeNumber(first);
    if (first.empty() || first[0] == '#') {
      continue;
    }
    if (ifNum < 1 || name.empty()) {
      faults->push_back("line " + std::to_string(lineNumber) + ": " + inQuotes(first) +
                        (ifNum < 1 ? " is no ifNum" : " has no name") +
                        "; lines are: ifNum name [label]");
      continue;
    }
    lines.push_back({static_cast<uint32_t>(ifNum), name == "-" ? "" : name, rest});
  }
  return lines;
}

std::vector<std::string> namesIn(const std::string& words) {
  std::vector<std::string> names;
  for (const std::string& word : splitAt(words, ',')) {
    const std::vector<std::string> range = rangeNames(trimmed(word));
    names.insert(names.end(), range.begin(), range.end());
    if (range.empty()) {
      names.push_back(trimmed(word));
    }
  }
  return names;
}

PortNames::PortNames(std::function<std::string(uint32_t)> askSwitch,
                     const std::vector<PortLine>& lines)
    : askSwitch_(std::move(askSwitch)) {
  for (const PortLine& line : lines) {
    lines_[line.ifNum] = line;
  }
}

std::string PortNames::nameOrEmpty(uint32_t ifNum) const {
  if (askSwitch_ && asked_.count(ifNum) == 0) {
    asked_[ifNum] = askSwitch_(ifNum);
  }
  const auto asked = asked_.find(ifNum);
  if (asked != asked_.end() && !asked->second.empty()) {
    return asked->second;
  }
  const auto line = lines_.find(ifNum);
  return line != lines_.end() ? line->second.name : "";
}

std::string PortNames::labelOrEmpty(uint32_t ifNum) const {
  const auto line = lines_.find(ifNum);
  return line != lines_.end() ? line->second.label : "";
}

std::string PortNames::name(uint32_t ifNum) const {
  const std::string known = nameOrEmpty(ifNum);
  return known.empty() ? "#" + std::to_string(ifNum) : escaped(known);
}

std::string PortNames::nameAndLabel(uint32_t ifNum) const {
  const std::string label = labelOrEmpty(ifNum);
  return label.empty() ? name(ifNum) : name(ifNum) + " (" + escaped(label) + ")";
}

std::set<uint32_t> PortNames::listed() const {
  std::set<uint32_t> ifNums;
  for (const auto& [ifNum, line] : lines_) {
    ifNums.insert(ifNum);
  }
  return ifNums;
}

std::string PortNames::ranges(const std::vector<uint32_t>& ifNums) const {
  std::set<NameParts> names;
  for (const uint32_t ifNum : ifNums) {
    names.insert(partsOf(name(ifNum)));
  }
  return rangesOf({names.begin(), names.end()});
}

std::string PortNames::words(const std::vector<uint32_t>& ifNums,
                             const std::vector<PoePort>& all) const try {
  const std::string text =
      rangesOf(mapped(ifNums, [this](uint32_t ifNum) { return partsOf(nameOrEmpty(ifNum)); }));
  return ifNumsOf(parse({text}, all)) == ifNums ? text : "";
} catch (const Failure&) {
  return "";
}

std::vector<PoePort> PortNames::parse(const std::vector<std::string>& words,
                                      const std::vector<PoePort>& all) const {
  std::vector<PoePort> ports;
  std::set<uint32_t> taken;
  for (const std::string& word : words) {
    const bool isLabel = !labelled(word, all).empty();
    for (const std::string& part : isLabel ? std::vector{word} : splitAt(word, ',')) {
      for (const PoePort& port : parseOne(trimmed(part), all)) {
        if (taken.insert(port.ifNum).second) {
          ports.push_back(port);
        }
      }
    }
  }
  return ports;
}

std::vector<PoePort> PortNames::parseOne(const std::string& word,
                                         const std::vector<PoePort>& all) const {
  if (const PoePort* port = find(word, all)) {
    return {*port};
  }
  const std::vector<PoePort> byLabel = labelled(word, all);
  if (byLabel.size() > 1) {
    throw Failure(kExitUsage, "the label " + inQuotes(word) + " is on " +
                                  ranges(ifNumsOf(byLabel)) + ": name the port.");
  }
  return byLabel.empty() ? parseRange(word, all) : byLabel;
}

std::vector<PoePort> PortNames::parseRange(const std::string& word,
                                           const std::vector<PoePort>& all) const {
  const std::vector<std::string> names = rangeNames(word);
  if (names.empty()) {
    failNoPort(word, all);
  }
  std::vector<PoePort> ports;
  for (const std::string& name : names) {
    const PoePort* port = find(name, all);
    if (port == nullptr) {
      failNoPort(name, all);
    }
    if (!ports.empty() && ports.front().unit != port->unit) {
      failAcross(word);
    }
    ports.push_back(*port);
  }
  return ports;
}

std::vector<PoePort> PortNames::labelled(const std::string& label,
                                         const std::vector<PoePort>& all) const {
  std::vector<PoePort> ports;
  for (const PoePort& port : all) {
    if (!label.empty() && labelOrEmpty(port.ifNum) == label) {
      ports.push_back(port);
    }
  }
  return ports;
}

// By ifNum or by name.
const PoePort* PortNames::find(const std::string& word, const std::vector<PoePort>& all) const {
  const int64_t ifNum = ifNumOf(word);
  for (const PoePort& port : all) {
    if (ifNum >= 0 ? port.ifNum == ifNum : !word.empty() && nameOrEmpty(port.ifNum) == word) {
      return &port;
    }
  }
  return nullptr;
}

// "unit 1 has 1/0/1 to 1/0/24": first and last by name.
std::string PortNames::extentOf(int32_t unit, const std::vector<PoePort>& all) const {
  std::vector<NameParts> names;
  for (const PoePort& port : all) {
    if (port.unit == unit) {
      names.push_back(partsOf(name(port.ifNum)));
    }
  }
  const auto [first, last] = std::minmax_element(names.begin(), names.end());
  const auto text = [](const NameParts& parts) {
    return parts.prefix + (parts.number >= 0 ? std::to_string(parts.number) : "");
  };
  return "unit " + std::to_string(unit) + " has " + text(*first) +
         (names.size() > 1 ? " to " + text(*last) : "");
}

// Tells of the unit that the name begins with, else of all.
void PortNames::failNoPort(const std::string& word, const std::vector<PoePort>& all) const {
  std::set<int32_t> units = unitsOf(all);
  const int64_t meant = wholeNumber(word.substr(0, word.find('/')));
  if (word.find('/') != std::string::npos && units.count(static_cast<int32_t>(meant)) > 0) {
    units = {static_cast<int32_t>(meant)};
  }
  const auto extents = mapped(units, [&](int32_t unit) { return extentOf(unit, all); });
  const auto labels = mapped(all, [&](const PoePort& port) { return labelOrEmpty(port.ifNum); });

  const std::string there = extents.empty() ? "no unit has PoE ports" : joined(extents, ", ");
  const bool isNumber = word.find_first_not_of("#0123456789/-") == std::string::npos;
  throw Failure(kExitNoSuch, "no PoE port " + inQuotes(word) + ": " + there + "." +
                                 (isNumber ? "" : didYouMean(word, labels)) + kSeePorts);
}
