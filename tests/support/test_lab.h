// A lab of a test's own, below /tmp, whose clock stands but where the test lets it go on.
#ifndef QUORIN_TESTS_SUPPORT_TEST_LAB_H
#define QUORIN_TESTS_SUPPORT_TEST_LAB_H

#include <string>
#include <vector>

#include "api/link.h"
#include "tests/support/fixtures.h"

class TestLab {
 public:
  // at: when it begins; shuffle: a seed of the turns of the daemon's threads. This process gets the
  // zone, too, and its environment names the lab.
  TestLab(const std::string& zone, time_t at, unsigned shuffle);
  ~TestLab();
  TestLab(const TestLab&) = delete;
  TestLab& operator=(const TestLab&) = delete;

  // What a command of switchsim or quorin_poectl prints; it must succeed.
  std::string command(const std::string& arguments) const;
  std::string client(const std::string& arguments) const;
  // Lets the lab live until then.
  void goTo(time_t at) const;
  // As a crash ends it; and another one, then.
  void killDaemon() const;
  void startDaemon(time_t at) const;
  Daemon& daemon() { return daemon_; }

  // What was asked of the switch for its ports since the last look.
  std::vector<switchsim::JournalEntry> newActs();
  std::string history(const std::string& sql) const;
  std::string log() const;

 private:
  std::string run(const std::string& program, const std::string& arguments) const;

  const unsigned shuffle_;
  const std::string folder_;
  SocketDaemon daemon_;
  uint64_t lastSeen_ = 0;
};

// "2032-02-27T12:00:30Z", as commands take it.
std::string instantText(time_t at);

#endif
