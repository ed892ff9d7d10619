// The bounds of a boot delay's settings.
#ifndef QUORIN_RULES_BOOT_DELAY_H
#define QUORIN_RULES_BOOT_DELAY_H

#include <cstdint>

constexpr uint32_t kMaxBootDelaySec = 600;
constexpr uint32_t kMaxBootInterPortDelaySec = 300;

#endif
