#include "switchsim/library/client_handles.h"

#include <mutex>
#include <new>
#include <set>

namespace switchsim {
namespace {

constexpr uint64_t kHandleMagic = 0x7377636873696d31;

// What is inside a registered handle: opaque[0] is the magic, opaque[1] its id.
struct HandleTable {
  std::mutex mutex;  // guards the rest, and the inside of every handle
  uint64_t lastId = 0;
  std::set<uint64_t> ids;
};

// Never destroyed: detached threads may call while the process exits.
HandleTable& handleTable() {
  static HandleTable* table = new HandleTable;
  return *table;
}

// REQUIRES: the table's mutex is held.
bool holdsKnownId(HandleTable& table, const OpenClientHandle& handle) {
  return handle.opaque[0] == kHandleMagic && table.ids.count(handle.opaque[1]) == 1;
}

}  // namespace

bool registerHandle(OpenClientHandle* handle) noexcept {
  HandleTable& table = handleTable();
  const std::lock_guard<std::mutex> lock(table.mutex);
  if (holdsKnownId(table, *handle)) {
    table.ids.erase(handle->opaque[1]);
  }

  try {
    table.ids.insert(table.lastId + 1);
  } catch (const std::bad_alloc&) {
    return false;
  }

  table.lastId++;
  handle->opaque[0] = kHandleMagic;
  handle->opaque[1] = table.lastId;
  return true;
}

void unregisterHandle(OpenClientHandle* handle) noexcept {
  HandleTable& table = handleTable();
  const std::lock_guard<std::mutex> lock(table.mutex);
  if (!holdsKnownId(table, *handle)) {
    return;
  }
  table.ids.erase(handle->opaque[1]);
  *handle = OpenClientHandle{};
}

bool isRegistered(const OpenClientHandle* handle) noexcept {
  if (handle == nullptr) {
    return false;
  }
  HandleTable& table = handleTable();
  const std::lock_guard<std::mutex> lock(table.mutex);
  return holdsKnownId(table, *handle);
}

}  // namespace switchsim
