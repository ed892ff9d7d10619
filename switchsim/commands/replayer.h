// Answers requests as a recording has them.
#ifndef QUORIN_SWITCHSIM_COMMANDS_REPLAYER_H
#define QUORIN_SWITCHSIM_COMMANDS_REPLAYER_H

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "base/json.h"
#include "switchsim/commands/recording.h"

namespace switchsim {

// For several threads.
class Replayer {
 public:
  struct Answer {
    std::string bytes;
    int64_t tookMs = 0;
  };

  explicit Replayer(const std::vector<Exchange>& exchanges);

  // The next answer that is recorded for this request, in the end the last one again and again.
  // Requests are the same when they are equal as JSON. One that is not recorded is told on stderr,
  // with the recorded one that is most like it, and gets the protocol's error.
  Answer answerTo(const std::string& request);
  bool wasAskedUnknown() const { return wasAskedUnknown_; }

  // Reads a request and answers it, with `isSlow` as late as it was recorded.
  void serve(int connection, int stopFd, bool isSlow);

 private:
  struct Recorded {
    size_t line = 0;  // the first one
    std::string text;
    JsonPtr request;  // null: none
    std::vector<Answer> answers;
    size_t next = 0;
  };

  Recorded* find(const std::string& text, const cJSON* request);
  std::string nearestTo(const cJSON* request) const;

  std::mutex mutex_;
  std::vector<Recorded> recorded_;  // which answer is next is guarded by mutex_
  std::atomic<bool> wasAskedUnknown_{false};
};

}  // namespace switchsim

#endif
