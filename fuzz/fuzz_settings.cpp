// Any bytes as the settings file: reading gives settings, and a set is kept, whatever was there.
#include <cstdio>
#include <memory>

#include "base/result_codes.h"
#include "config/boot_delay_config.h"
#include "daemon/paths.h"
#include "fuzz/in_process.h"

namespace {

bool same(const BootDelayConfig& a, const BootDelayConfig& b) {
  return a.delaySec == b.delaySec && a.executionMode == b.executionMode &&
         a.interPortDelaySec == b.interPortDelaySec;
}

BootDelayConfig settingsOf(int32_t unit) {
  BootDelayConfig config;
  require(bootDelayConfigGet(unit, &config) == RESULT_OK, "settings can always be read");
  return config;
}

void writeSettingsFile(const uint8_t* data, size_t size) {
  FILE* file = fopen(kBootDelayConfigPath, "wb");
  require(file != nullptr && fwrite(data, 1, size, file) == size && fclose(file) == 0,
          "no settings file");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  openInProcess();
  writeSettingsFile(data, size);
  const BootDelayConfig other = settingsOf(1);
  const BootDelayConfig wanted{60, EXECUTION_SEQUENTIAL, 5};
  require(bootDelayConfigSet(2, &wanted) == RESULT_OK, "settings can always be set");
  require(same(settingsOf(2), wanted), "what was set is what is read");
  require(same(settingsOf(1), other), "another unit's settings stay as they were");
  return 0;
}
