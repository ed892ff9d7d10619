#include "rules/schedule.h"

const char* scheduleTypeText(ScheduleType type) {
  switch (type) {
    case ScheduleType::powerOn:
      return "power_on";
    case ScheduleType::restart:
      return "restart";
    case ScheduleType::powerOff:
      return "power_off";
    default:
      return "unknown";
  }
}

const char* recurrenceText(Recurrence recurrence) {
  switch (recurrence) {
    case Recurrence::daily:
      return "daily";
    case Recurrence::monthly:
      return "monthly";
    default:
      return "weekly";
  }
}

ScheduleType scheduleTypeOf(const char* textOrNull) {
  for (const ScheduleType type :
       {ScheduleType::powerOn, ScheduleType::restart, ScheduleType::powerOff}) {
    if (textOrNull != nullptr && strcmp(textOrNull, scheduleTypeText(type)) == 0) {
      return type;
    }
  }
  return ScheduleType::unknown;
}

Recurrence recurrenceOf(const char* textOrNull) {
  for (const Recurrence recurrence : {Recurrence::daily, Recurrence::weekly, Recurrence::monthly}) {
    if (textOrNull != nullptr && strcmp(textOrNull, recurrenceText(recurrence)) == 0) {
      return recurrence;
    }
  }
  return Recurrence::unknown;
}
