// Any bytes as the settings file: reading gives settings, and a set is kept, whatever was there.
#include <array>
#include <fstream>

#include "base/result_codes.h"
#include "config/boot_delay_config.h"
#include "daemon/paths.h"
#include "fuzz/in_process.h"

namespace {

std::array<int64_t, 3> settingsOf(int32_t unit) {
  BootDelayConfig config;
  require(bootDelayConfigGet(unit, &config) == RESULT_OK, "settings can always be read");
  return {config.delaySec, config.executionMode, config.interPortDelaySec};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  openInProcess();
  std::ofstream(kBootDelayConfigPath)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  const std::array<int64_t, 3> other = settingsOf(1);
  const BootDelayConfig wanted{60, EXECUTION_SEQUENTIAL, 5};
  require(bootDelayConfigSet(2, &wanted) == RESULT_OK, "settings can always be set");
  require(settingsOf(2) == std::array<int64_t, 3>{60, EXECUTION_SEQUENTIAL, 5},
          "what was set is what is read");
  require(settingsOf(1) == other, "another unit's settings stay as they were");
  return 0;
}
