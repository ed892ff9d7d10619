// What ports are called, and which ports a person means.
#ifndef QUORIN_API_PORT_NAMES_H
#define QUORIN_API_PORT_NAMES_H

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/mapped.h"

// A port with PoE.
struct PoePort {
  int32_t unit = 0;
  uint32_t ifNum = 0;

  bool operator==(const PoePort& other) const { return unit == other.unit && ifNum == other.ifNum; }
  bool operator<(const PoePort& other) const {
    return std::pair(unit, ifNum) < std::pair(other.unit, other.ifNum);
  }
};

// Which of the records, each of which is a PoePort, is the port's; null for none.
template <typename Record>
const Record* findPort(const std::vector<Record>& records, const PoePort& port) {
  for (const Record& each : records) {
    if (each == port) {
      return &each;
    }
  }
  return nullptr;
}

// The units of the ports, each once.
template <typename Record>
std::set<int32_t> unitsOf(const std::vector<Record>& ports) {
  std::set<int32_t> units;
  for (const Record& port : ports) {
    units.insert(port.unit);
  }
  return units;
}

// The ports' ifNums, for requests and ranges().
template <typename Record>
std::vector<uint32_t> ifNumsOf(const std::vector<Record>& ports) {
  return mapped(ports, [](const Record& port) { return port.ifNum; });
}

// A line "ifNum name [label]" of the names' file; a name "-" is none. The label goes to the line's
// end. Empty lines and those that begin with "#" are left out.
struct PortLine {
  uint32_t ifNum = 0;
  std::string name;
  std::string label;
};

// The lines of the file's text. What is wrong with a line, which is left out then, is appended to
// *faults: "line 3: ...".
std::vector<PortLine> parsePortLines(const std::string& text, std::vector<std::string>* faults);

// Each port that words, separated by commas, tell, of a range all: "1/0/1-2,#7" is 1/0/1, 1/0/2 and
// #7. Not whether there are such. Throws Failure, kExitUsage, for a range without an end.
std::vector<std::string> namesIn(const std::string& words);

// Names come from the switch, else from the file, else there is none and a port shows as "#5";
// labels come from the file. A name is never concluded from a port's place in an answer.
class PortNames {
 public:
  // askSwitch gives a port's name, or nothing if the switch does not tell; it is asked once a port.
  PortNames(std::function<std::string(uint32_t)> askSwitch, const std::vector<PortLine>& lines);

  // Empty where there is none; for JSON and files.
  std::string nameOrEmpty(uint32_t ifNum) const;
  std::string labelOrEmpty(uint32_t ifNum) const;
  // For people: "1/0/5" or "#5"; "1/0/5 (cam-lobby)" where it has a label.
  std::string name(uint32_t ifNum) const;
  std::string nameAndLabel(uint32_t ifNum) const;
  // The ports that the file has a line for.
  std::set<uint32_t> listed() const;
  // "1/0/1-4,1/0/7": ranges, in the order of the names, each port once. Empty for no port.
  std::string ranges(const std::vector<uint32_t>& ifNums) const;
  // What parse() reads as just these ports in this order, of names and ranges of them, where all
  // are the ports that there are: "1/0/8,1/0/1-4". Empty where a port has no name or is not there.
  std::string words(const std::vector<uint32_t>& ifNums, const std::vector<PoePort>& all) const;

  // The ports that a person's words mean, in their order, each once. A word is a label or,
  // separated by commas, ifNums ("5", "#5"), names ("1/0/5"), ranges of them ("1/0/1-4", "5-8") and
  // labels. all are the ports that there are. Throws Failure: kExitNoSuch for a port that is not
  // there, kExitUsage for a label that several have.
  std::vector<PoePort> parse(const std::vector<std::string>& words,
                             const std::vector<PoePort>& all) const;

 private:
  std::vector<PoePort> parseOne(const std::string& word, const std::vector<PoePort>& all) const;
  std::vector<PoePort> parseRange(const std::string& word, const std::vector<PoePort>& all) const;
  std::vector<PoePort> labelled(const std::string& label, const std::vector<PoePort>& all) const;
  const PoePort* find(const std::string& word, const std::vector<PoePort>& all) const;
  [[noreturn]] void failNoPort(const std::string& word, const std::vector<PoePort>& all) const;
  std::string extentOf(int32_t unit, const std::vector<PoePort>& all) const;

  std::function<std::string(uint32_t)> askSwitch_;
  std::map<uint32_t, PortLine> lines_;
  mutable std::map<uint32_t, std::string> asked_;
};

#endif
