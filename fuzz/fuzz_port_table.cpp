// Any text as the switch's port table: the walk finds only ports that the switch has.
#include <fstream>
#include <string>

#include "fuzz/in_process.h"
#include "poe/port_actions.h"
#include "poe/port_enumeration.h"
#include "switchos/openclt.h"

namespace {

std::string portTable;

int32_t checkPort(uint32_t ifNum, void* unit) {
  require(poePortsCheckUnit(*static_cast<int32_t*>(unit), &ifNum, 1, nullptr) == 0,
          "a port of another unit");
  return 0;
}

}  // namespace

// Takes the place of the simulated switch's.
extern "C" int32_t rpcclt_openapiCliShowExecuteToFile(OpenClientHandle*, OpenBuffDesc*,
                                                      OpenBuffDesc* path) {
  std::ofstream(path->start) << portTable;
  return OPENCLT_OK;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  openInProcess();
  portTable.assign(reinterpret_cast<const char*>(data), size);
  for (int32_t unit : {1, 2}) {
    forEachPhysicalIntf(unit, checkPort, &unit);
  }
  return 0;
}
