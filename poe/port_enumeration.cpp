#include "poe/port_enumeration.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "base/file_ptr.h"
#include "base/plain_file.h"
#include "base/result_codes.h"
#include "base/thread_annotations.h"
#include "daemon/paths.h"
#include "log/log.h"
#include "poe/poe_readings.h"
#include "switchos/session.h"

namespace {

constexpr size_t kCommandBytes = 255;
constexpr size_t kPathBytes = 96;
constexpr size_t kLineBytes = 1024;
constexpr size_t kPortNameBytes = 16;
constexpr const char* kTableUnderline = "------";

// Serialises all users of the show command's output file.
Mutex showPortLock;

struct Enumeration {
  int32_t unit;
  PortCallback callback;
  void* argument;
};

// A descriptor of a zero-terminated text, whose terminator counts.
OpenBuffDesc describeText(char* text) {
  return {static_cast<uint32_t>(strlen(text) + 1), text};
}

enum class LineKind { port, other, tableEnd };

// Reads "unit/slot/port" or "slot/port" (then the unit is 1) from the start of a line.
LineKind parsePortLine(const char* line, char (&name)[kPortNameBytes], int32_t* unit) {
  int numbers[3];
  const int count = sscanf(line, "%d/%d/%d", &numbers[0], &numbers[1], &numbers[2]);
  if (count < 2) {
    const bool isEmpty = line[0] == '\n' || line[0] == '\r' || line[0] == '\0';
    return isEmpty ? LineKind::tableEnd : LineKind::other;
  }
  const int length =
      count == 3 ? snprintf(name, sizeof name, "%d/%d/%d", numbers[0], numbers[1], numbers[2])
                 : snprintf(name, sizeof name, "%d/%d", numbers[0], numbers[1]);
  *unit = count == 3 ? numbers[0] : 1;
  return length < static_cast<int>(sizeof name) ? LineKind::port : LineKind::other;
}

// The port table that the switch OS wrote: the service, as root, or the client library, as this
// user. Null when there is none that can be trusted.
FilePtr openPortTable() {
  return streamOf(openPlainFile(kShowPortOutputPath, O_RDONLY, FileOwner::selfOrRoot), "r");
}

void visitPort(const Enumeration& enumeration, char* name, int32_t unit) {
  // The switch OS keeps units in 8 bits.
  if (static_cast<uint8_t>(unit) != static_cast<uint8_t>(enumeration.unit)) {
    return;
  }
  OpenBuffDesc nameDesc = describeText(name);
  uint32_t ifNum = 0;
  if (rpcclt_openapiIfNumGet(&openApiClient, &nameDesc, &ifNum) != OPENCLT_OK) {
    return;
  }
  PoeReadings readings;
  if (poeReadingsGet(enumeration.unit, ifNum, &readings)) {
    enumeration.callback(ifNum, enumeration.argument);
  }
}

void walkPortTable(FILE* table, const Enumeration& enumeration) {
  char line[kLineBytes];
  bool inTable = false;
  while (!inTable && fgets(line, sizeof line, table) != nullptr) {
    inTable = strncmp(line, kTableUnderline, strlen(kTableUnderline)) == 0;
  }

  while (fgets(line, sizeof line, table) != nullptr) {
    char name[kPortNameBytes];
    int32_t unit = 0;
    const LineKind kind = parsePortLine(line, name, &unit);
    if (kind == LineKind::tableEnd) {
      return;
    }
    if (kind == LineKind::port) {
      visitPort(enumeration, name, unit);
    }
  }
}

}  // namespace

int32_t cliShowExecuteToFile(OpenClientHandle* session, const char* command, const char* path) {
  if (command == nullptr || path == nullptr) {
    LOG_HERE(LOG_ERR, "cliShowExecuteToFile: Invalid argument\r\n");
    return ERR_INVALID_ARG;
  }

  char commandText[kCommandBytes] = {};
  char pathText[kPathBytes] = {};
  snprintf(commandText, sizeof commandText, "%s", command);
  snprintf(pathText, sizeof pathText, "%s", path);
  OpenBuffDesc commandDesc = describeText(commandText);
  OpenBuffDesc pathDesc = describeText(pathText);
  unlink(path);
  const int32_t result = rpcclt_openapiCliShowExecuteToFile(session, &commandDesc, &pathDesc);
  if (result != OPENCLT_OK) {
    LOG_HERE(LOG_ERR, "Execute show cmd faile, result:%d\r\n", result);
    return ERR_GENERAL;
  }

  return RESULT_OK;
}

void forEachPhysicalIntf(int32_t unit, PortCallback callback, void* argument) {
  if (unit <= 0 || callback == nullptr) {
    return;
  }

  const MutexLock lock(showPortLock);
  if (cliShowExecuteToFile(&openApiClient, "show port status all", kShowPortOutputPath) !=
      RESULT_OK) {
    LOG_HERE(LOG_ERR, "forEachPhysicalIntf: cliShowExecuteToFile failed");
    return;
  }

  {
    const FilePtr table = openPortTable();
    if (table == nullptr) {
      LOG_HERE(LOG_ERR, "forEachPhysicalIntf: cannot open %s", kShowPortOutputPath);
    } else {
      walkPortTable(table.get(), {unit, callback, argument});
    }
  }

  unlink(kShowPortOutputPath);
}
