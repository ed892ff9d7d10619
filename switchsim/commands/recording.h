// A recording: exchanges between a daemon and its clients, each a JSON document on a line.
//
//   {"at": "2026-03-03T14:07:12.345Z", "ms": 12, "request": {...}, "answer": {...}}
//
// at: when the request was there, UTC; ms: how long its answer took. A request that is no JSON
// document has another key instead, and so has an answer that is none of the daemon's form:
// requestText and answerText are the bytes, requestHex and answerHex two digits for each where they
// are not UTF-8 or hold a 0.
#ifndef QUORIN_SWITCHSIM_COMMANDS_RECORDING_H
#define QUORIN_SWITCHSIM_COMMANDS_RECORDING_H

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "base/json.h"
#include "base/unique_fd.h"

namespace switchsim {

struct Exchange {
  int64_t atMs = 0;  // real time
  int64_t tookMs = 0;
  std::string request;  // up to its newline, which is not kept
  std::string answer;   // every byte
};

std::string exchangeLine(const Exchange& exchange);

// The exchanges of a recording's text; the numbers of the lines that are none are added to *bad.
// The time that a request came at is not read.
std::vector<Exchange> readExchanges(const std::string& text, std::vector<size_t>* bad);

// The file that exchanges are appended to; for several threads.
class RecordingFile {
 public:
  // For the owner alone (0600). Empty, or why not.
  std::string open(const std::string& path);
  // Writes a line, whole or not at all. The first failure is told on stderr, and nothing is
  // written any more: what came later without what came before would lie.
  void append(const Exchange& exchange);

  // How many were written; -1 after a failure.
  int64_t count() const;

 private:
  mutable std::mutex mutex_;
  std::string path_;
  UniqueFd fd_;
  int64_t count_ = 0;
};

}  // namespace switchsim

#endif
