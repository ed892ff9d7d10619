#include "api/answer_words.h"

#include <array>

namespace {

// texts: by the kinds' values.
template <typename Kind, size_t N>
Kind among(const std::array<const char*, N>& texts, const std::string& text) {
  for (size_t i = 1; i < N; ++i) {
    if (text == texts[i]) {
      return static_cast<Kind>(i);
    }
  }
  return Kind{};
}

}  // namespace

template <>
RunStatus kindOf(const std::string& text) {
  constexpr std::array kTexts{"", "running", "success", "partial", "failed", "aborted"};
  return among<RunStatus>(kTexts, text);
}

template <>
PortStatus kindOf(const std::string& text) {
  constexpr std::array kTexts{"", "pending", "success", "failed", "skipped", "not-applicable"};
  return among<PortStatus>(kTexts, text);
}

template <>
Trigger kindOf(const std::string& text) {
  constexpr std::array kTexts{"", "manual", "scheduled", "boot-delay"};
  return among<Trigger>(kTexts, text);
}

template <>
AdminMode kindOf(const std::string& text) {
  constexpr std::array kTexts{"", "enable", "disable"};
  return among<AdminMode>(kTexts, text);
}

template <>
Detection kindOf(const std::string& text) {
  constexpr std::array kTexts{"", "disabled", "searching", "delivering", "fault", "denied", "off"};
  return among<Detection>(kTexts, text);
}

template <>
ScheduleType kindOf(const std::string& text) {
  return scheduleTypeOf(text.c_str());
}

Word<AdminMode> modeWord(bool isOn) {
  return isOn ? "enable" : "disable";
}
