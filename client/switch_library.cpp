#include "client/switch_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <future>
#include <thread>

#include "switchos/openclt.h"

namespace {

constexpr std::chrono::milliseconds kMaxCallMs(3000);
constexpr const char* kLibrary = "libopenclt.so";
constexpr uint32_t kClockTextBytes = 20;

template <typename Function>
bool find(void* library, const char* symbol, Function** function) {
  *function = reinterpret_cast<Function*>(dlsym(library, symbol));
  return *function != nullptr;
}

}  // namespace

struct SwitchLibrary::Functions {
  OpenClientHandle handle{};
  decltype(openapiClientRegister)* clientRegister = nullptr;
  decltype(openapiClientTearDown)* clientTearDown = nullptr;
  decltype(rpcclt_openapiConnectivityCheck)* connectivityCheck = nullptr;
  decltype(rpcclt_openapiHashIntfUnitSlotPortGet)* unitSlotPortGet = nullptr;
  decltype(rpcclt_openapiIfNumGet)* ifNumGet = nullptr;
  decltype(rpcclt_openapiClockGet)* clockGet = nullptr;

  bool load(void* library) {
    return find(library, "openapiClientRegister", &clientRegister) &&
           find(library, "openapiClientTearDown", &clientTearDown) &&
           find(library, "rpcclt_openapiConnectivityCheck", &connectivityCheck) &&
           find(library, "rpcclt_openapiHashIntfUnitSlotPortGet", &unitSlotPortGet) &&
           find(library, "rpcclt_openapiIfNumGet", &ifNumGet) &&
           find(library, "rpcclt_openapiClockGet", &clockGet);
  }
  bool connect() {
    char name[64];
    snprintf(name, sizeof name, "quorin_poectl_%d", static_cast<int>(getpid()));
    return clientRegister(name, &handle) == OPENCLT_OK && connectivityCheck(&handle) == OPENCLT_OK;
  }
  bool isName(std::string name, uint32_t ifNum) {
    OpenBuffDesc buffer{static_cast<uint32_t>(name.size() + 1), name.data()};
    uint32_t found = 0;
    return ifNumGet(&handle, &buffer, &found) == OPENCLT_OK && found == ifNum;
  }
};

SwitchLibrary::SwitchLibrary(std::shared_ptr<Functions> functions,
                             std::chrono::milliseconds maxWait)
    : functions_(std::move(functions)), maxWait_(maxWait) {}

// A call that hangs can't be taken back: its thread stays, and ends with the process.
template <typename Result>
std::optional<Result> SwitchLibrary::within(std::function<std::optional<Result>(Functions&)> ask) {
  if (isSilent_) {
    return std::nullopt;
  }
  auto promise = std::make_shared<std::promise<std::optional<Result>>>();
  std::future<std::optional<Result>> answer = promise->get_future();
  std::thread([promise, functions = functions_, ask = std::move(ask)] {
    promise->set_value(ask(*functions));
  }).detach();

  isSilent_ = answer.wait_for(maxWait_) != std::future_status::ready;
  return isSilent_ ? std::nullopt : answer.get();
}

std::unique_ptr<SwitchLibrary> SwitchLibrary::open(int64_t maxMs) {
  void* library = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
  auto functions = std::make_shared<Functions>();
  if (library == nullptr || !functions->load(library)) {
    return nullptr;
  }

  std::unique_ptr<SwitchLibrary> opened(new SwitchLibrary(
      std::move(functions), std::min(kMaxCallMs, std::chrono::milliseconds(maxMs))));
  const auto connected = opened->within<bool>([](Functions& f) { return f.connect(); });
  return connected.value_or(false) || opened->isSilent() ? std::move(opened) : nullptr;
}

SwitchLibrary::~SwitchLibrary() {
  within<int32_t>([](Functions& f) { return f.clientTearDown(&f.handle); });
}

// The switch tells where a port is; whether it is called so is asked back.
std::string SwitchLibrary::nameOf(uint32_t ifNum) {
  return within<std::string>([ifNum](Functions& f) -> std::optional<std::string> {
           OpenUnitSlotPort where{};
           if (f.unitSlotPortGet(&f.handle, ifNum, &where) != OPENCLT_OK) {
             return std::nullopt;
           }
           const std::string port = std::to_string(where.slot) + "/" + std::to_string(where.port);
           const std::string whole = std::to_string(where.unit) + "/" + port;
           if (f.isName(whole, ifNum)) {
             return whole;
           }
           return f.isName(port, ifNum) ? std::make_optional(port) : std::nullopt;
         })
      .value_or("");
}

std::optional<SwitchClock> SwitchLibrary::clock() {
  return within<SwitchClock>([](Functions& f) -> std::optional<SwitchClock> {
    char text[kClockTextBytes + 1] = {};  // one more, for a switch that fills the buffer to its end
    OpenBuffDesc buffer{kClockTextBytes, text};
    SwitchClock clock;
    TickTime& local = clock.local;
    if (f.clockGet(&f.handle, &buffer, &clock.zoneOffsetMin) != OPENCLT_OK ||
        sscanf(text, "%d-%d-%d %d:%d:%d", &local.year, &local.month, &local.day, &local.hour,
               &local.minute, &local.second) != 6) {
      return std::nullopt;
    }
    return clock;
  });
}
