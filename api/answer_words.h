// The words by which the daemon tells states and kinds, read once.
#ifndef QUORIN_API_ANSWER_WORDS_H
#define QUORIN_API_ANSWER_WORDS_H

#include <cstdint>
#include <string>
#include <utility>

#include "rules/schedule.h"

enum class RunStatus : uint8_t { other, running, success, partial, failed, aborted };
enum class PortStatus : uint8_t { other, pending, success, failed, skipped, notApplicable };
enum class Trigger : uint8_t { other, manual, scheduled, bootDelay };
enum class AdminMode : uint8_t { other, on, off };
enum class Detection : uint8_t { other, disabled, searching, delivering, fault, denied, off };

// Which the text is; the one of value 0 for any other.
template <typename Kind>
Kind kindOf(const std::string& text);

template <>
RunStatus kindOf(const std::string& text);
template <>
PortStatus kindOf(const std::string& text);
template <>
Trigger kindOf(const std::string& text);
template <>
AdminMode kindOf(const std::string& text);
template <>
Detection kindOf(const std::string& text);
template <>
ScheduleType kindOf(const std::string& text);

// A word of an answer: what it means, and as it was sent, for a newer daemon may have others.
template <typename Kind>
struct Word {
  Word() = default;
  Word(std::string sent) : kind(kindOf<Kind>(sent)), text(std::move(sent)) {}  // NOLINT
  Word(const char* sent) : Word(std::string(sent)) {}                          // NOLINT

  Kind kind{};
  std::string text;
};

// As the daemon tells it.
Word<AdminMode> modeWord(bool isOn);

template <typename Kind>
bool operator==(const Word<Kind>& word, Kind kind) {
  return word.kind == kind;
}
template <typename Kind>
bool operator!=(const Word<Kind>& word, Kind kind) {
  return word.kind != kind;
}

#endif
