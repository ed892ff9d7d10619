#include "config/boot_delay_config.h"

#include <cjson/cJSON.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "base/file_ptr.h"
#include "base/json.h"
#include "base/result_codes.h"
#include "base/sync_folder.h"
#include "base/thread_annotations.h"
#include "base/unique_fd.h"
#include "daemon/paths.h"
#include "log/log.h"

namespace {

constexpr size_t kUnitKeyBytes = 16;
constexpr const char* kUnits = "units";

Mutex bootDelayConfigMutex;  // guards the file

struct UnitKey {
  char text[kUnitKeyBytes];
  explicit UnitKey(int32_t unit) { snprintf(text, sizeof text, "%d", static_cast<int>(unit)); }
};

// {"units": {}}, or null when memory runs out.
JsonPtr emptyConfig() {
  JsonPtr root(cJSON_CreateObject());
  const bool built = root != nullptr && cJSON_AddObjectToObject(root.get(), kUnits) != nullptr;
  return built ? std::move(root) : nullptr;
}

// Whether the last call failed for lack of something that others will give back.
bool wasShortOfResources() {
  return errno == ENOMEM || errno == EMFILE || errno == ENFILE || errno == EINTR;
}

// The file's whole text, empty when it can't be opened. False when it is there but can't be read
// now.
bool readConfigText(std::string* text) {
  // Without a stream, which would look at the file first and twice for its end.
  const UniqueFd file(open(kBootDelayConfigPath, O_RDONLY | O_CLOEXEC));
  if (!file) {
    return !wasShortOfResources();
  }
  char chunk[4096];
  ssize_t n = 0;
  while ((n = read(file.get(), chunk, sizeof chunk)) > 0) {
    text->append(chunk, static_cast<size_t>(n));
  }
  return n == 0 ||
         errno == EISDIR;  // a folder in its place holds no settings; the rename will fail
}

// The file as a document with an object under "units"; corrupt, it counts as one without units.
// Null when it can't be read just now, so that no set overwrites what other units have.
JsonPtr loadConfigFile() try {
  std::string text;
  if (!readConfigText(&text)) {
    LOG_HERE(LOG_ERR, "bootdelay config could not be read: %s", strerror(errno));
    return nullptr;
  }

  JsonPtr root = jsonParse(text.c_str());
  if (root == nullptr && wasShortOfResources()) {
    return nullptr;
  }
  if (!cJSON_IsObject(root.get())) {
    return emptyConfig();
  }

  const cJSON* units = jsonMember(root.get(), kUnits);
  if (cJSON_IsObject(units)) {
    return root;
  }

  return units == nullptr && cJSON_AddObjectToObject(root.get(), kUnits) != nullptr
             ? std::move(root)
             : emptyConfig();
} catch (const std::bad_alloc&) {
  return nullptr;
}

// Writes and syncs the temporary file; false when any of it fails, as on a full disk.
bool writeTemporaryFile(const char* path, const char* text) {
  FilePtr file(fopen(path, "wbe"));
  if (file == nullptr) {
    return false;
  }
  const bool written =
      fputs(text, file.get()) >= 0 && fflush(file.get()) == 0 && fsync(fileno(file.get())) == 0;
  return fclose(file.release()) == 0 && written;
}

int32_t saveConfigFile(const cJSON* root) {
  const JsonTextPtr text(cJSON_Print(root));
  if (text == nullptr) {
    return ERR_GENERAL;
  }
  const UniqueFd folder = openFolder(kDataDirPath);
  if (!folder || !writeTemporaryFile(kBootDelayTempPath, text.get())) {
    unlink(kBootDelayTempPath);
    return ERR_GENERAL;
  }
  if (rename(kBootDelayTempPath, kBootDelayConfigPath) != 0) {
    LOG_HERE(LOG_ERR, "rename bootdelay config failed: %s", strerror(errno));
    unlink(kBootDelayTempPath);
    return ERR_GENERAL;
  }

  if (!syncFolder(folder)) {
    LOG_HERE(LOG_ERR, "bootdelay config may not outlast a power cut: %s", strerror(errno));
    return ERR_GENERAL;
  }
  return RESULT_OK;
}

JsonPtr unitToJson(const BootDelayConfig& config) {
  return JsonObject()
      .number("delaySec", config.delaySec)
      .text("executionMode", executionModeText(config.executionMode))
      .number("interPortDelaySec", config.interPortDelaySec)
      .take();
}

// An infinite number counts as none: it can't be written back when another unit is set.
uint32_t readSeconds(const cJSON* entry, const char* key) {
  const cJSON* seconds = jsonMember(entry, key);
  const bool isUsable = cJSON_IsNumber(seconds) && std::isfinite(seconds->valuedouble);
  return isUsable ? static_cast<uint32_t>(jsonToInt32(seconds->valuedouble)) : 0;
}

// Any word but a mode's counts as simultaneous.
ExecutionMode readMode(const cJSON* entry) {
  ExecutionMode mode = EXECUTION_SIMULTANEOUS;
  executionModeOf(jsonTextMember(entry, "executionMode"), &mode);
  return mode;
}

bool inRange(const BootDelayConfig& config) {
  return config.delaySec <= kMaxBootDelaySec &&
         config.interPortDelaySec <= kMaxBootInterPortDelaySec &&
         static_cast<uint32_t>(config.executionMode) <= EXECUTION_SEQUENTIAL;
}

}  // namespace

int32_t configStoreInit() {
  struct stat status {};
  if (stat(kBootDelayConfigPath, &status) != 0) {
    const JsonPtr fresh = emptyConfig();
    if (fresh != nullptr) {
      saveConfigFile(fresh.get());
    }
  }
  return 0;
}

int32_t bootDelayConfigGet(int32_t unit, BootDelayConfig* config) {
  if (config == nullptr) {
    return ERR_INVALID_ARG;
  }
  *config = BootDelayConfig{};
  const MutexLock lock(bootDelayConfigMutex);
  const JsonPtr root = loadConfigFile();
  const cJSON* entry = jsonMember(jsonMember(root.get(), kUnits), UnitKey(unit).text);
  config->delaySec = readSeconds(entry, "delaySec");
  config->executionMode = readMode(entry);
  config->interPortDelaySec = readSeconds(entry, "interPortDelaySec");
  return RESULT_OK;
}

int32_t bootDelayConfigSet(int32_t unit, const BootDelayConfig* config) {
  if (config == nullptr || !inRange(*config)) {
    return ERR_INVALID_ARG;
  }

  const MutexLock lock(bootDelayConfigMutex);
  const UnitKey key(unit);  // outlives the document, which borrows it
  const JsonPtr root = loadConfigFile();
  cJSON* units = cJSON_GetObjectItem(root.get(), kUnits);
  while (cJSON_HasObjectItem(units, key.text) !=
         0) {  // a file from elsewhere may hold a unit twice
    cJSON_DeleteItemFromObject(units, key.text);
  }
  if (units == nullptr || !jsonAdd(units, key.text, unitToJson(*config))) {
    return ERR_GENERAL;
  }

  return saveConfigFile(root.get());
}
