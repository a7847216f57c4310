#include "platform/registry/Handles.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

#include "platform/registry/Store.h"

namespace registry {
namespace {

// A handle is a slot's index and, above it, the slot's generation, which tells a closed handle from the
// one that has its slot now. The top bit is left to the hives.
constexpr unsigned indexBits = 16;
constexpr std::uint32_t indexMask = (1U << indexBits) - 1;
constexpr std::uint32_t generationMask = (1U << (31 - indexBits)) - 1;
constexpr std::size_t slotsInChunk = 256;
constexpr std::size_t chunkCount = (std::size_t{1} << indexBits) / slotsInChunk;
constexpr std::size_t keptFree = 64;  // slots a thread keeps to itself, so that opening takes no lock

constexpr std::size_t placeWords = (EntryKey::capacity + 7) / 8;

// Written by one thread at a time, read by any. Every word is released and acquired, so a reader that has
// seen a word of a later state sees the later generation too: one that finds the generation unchanged
// afterwards has read one state.
struct Slot {
  std::atomic<std::uint32_t> generation{0};  // odd while open
  std::atomic<std::uint32_t> rights{0};
  std::atomic<std::uint64_t> store{0};
  std::atomic<std::uint64_t> id{0};
  std::atomic<std::uint64_t> cache{0};
  std::atomic<std::uint64_t> serial{0};
  std::atomic<std::uint64_t> placeSize{0};
  std::array<std::atomic<std::uint64_t>, placeWords> place{};
};

using Chunk = std::array<Slot, slotsInChunk>;

std::array<std::atomic<Chunk*>, chunkCount> g_chunks{};

// Guards the free list and the making of chunks. Slots are never freed: a late reader may look at one.
std::mutex g_slotMutex;
std::uint32_t g_nextIndex = 1;  // 0 would make the handle 0 possible

// A child must not inherit the lock from a thread that it doesn't have.
void guardAgainstForks() {
  static const int result = ::pthread_atfork([] { g_slotMutex.lock(); }, [] { g_slotMutex.unlock(); },
                                             [] { g_slotMutex.unlock(); });
  check(result);
}

// As in Store.cpp.
[[gnu::constructor]] void guardSlots() {
  try {
    guardAgainstForks();
  } catch (const Failure&) {
    return;
  }
}

std::vector<std::uint32_t>& freeSlots() {
  static auto* const list = new std::vector<std::uint32_t>;  // NOLINT(*-owning-memory): outlives all threads
  return *list;
}

struct LocalFree {
  std::vector<std::uint32_t> slots;

  LocalFree() = default;
  LocalFree(const LocalFree&) = delete;
  LocalFree& operator=(const LocalFree&) = delete;
  ~LocalFree() { giveBack(0); }
  std::uint32_t take() {
    if (slots.empty()) refill();
    const std::uint32_t index = slots.back();
    slots.pop_back();
    return index;
  }
  void put(std::uint32_t index) {
    slots.push_back(index);
    if (slots.size() > keptFree) giveBack(keptFree / 2);
  }
  void giveBack(std::size_t keep) {
    const std::lock_guard lock(g_slotMutex);
    for (; slots.size() > keep; slots.pop_back()) freeSlots().push_back(slots.back());
  }
  void refill() {
    guardAgainstForks();
    const std::lock_guard lock(g_slotMutex);
    auto& common = freeSlots();
    for (; !common.empty() && slots.size() < keptFree / 2; common.pop_back()) slots.push_back(common.back());
    if (!slots.empty()) return;
    if (g_nextIndex > indexMask) throw Failure(ERROR_NO_SYSTEM_RESOURCES);
    auto& chunk = g_chunks[g_nextIndex / slotsInChunk];
    if (chunk.load(std::memory_order_relaxed) == nullptr) {
      common.reserve(g_nextIndex + slotsInChunk);  // so that giving back never fails
      chunk.store(std::make_unique<Chunk>().release(), std::memory_order_release);
    }
    slots.push_back(g_nextIndex++);
  }
};

// Null once the thread's list has gone: static and older thread-local objects may still open and close keys.
LocalFree* localFree() {
  static constinit thread_local LocalFree* t_local = nullptr;
  static constinit thread_local bool t_ended = false;
  struct Owner {
    std::unique_ptr<LocalFree> local = std::make_unique<LocalFree>();
    Owner() = default;
    ~Owner() {
      t_local = nullptr;
      t_ended = true;
    }
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
  };
  if (t_local != nullptr) [[likely]]
    return t_local;
  if (t_ended) return nullptr;
  thread_local const Owner owner;
  t_local = owner.local.get();
  return t_local;
}

std::uint32_t takeSlot() {
  if (LocalFree* const local = localFree()) [[likely]]
    return local->take();
  return LocalFree().take();
}

void putSlot(std::uint32_t index) {
  if (LocalFree* const local = localFree()) [[likely]] {
    local->put(index);
  } else {
    LocalFree().put(index);
  }
}

Slot* slotOf(std::uint32_t index) {
  Chunk* const chunk = g_chunks[index / slotsInChunk].load(std::memory_order_acquire);
  return chunk == nullptr ? nullptr : &(*chunk)[index % slotsInChunk];
}

// The slot of a handle that is open; the generation is what must still be there after reading.
Slot* openSlot(HKEY handle, std::uint32_t& generation) {
  if (handle >= HKEY_CLASSES_ROOT) return nullptr;
  Slot* const slot = slotOf(handle & indexMask);
  if (slot == nullptr) return nullptr;
  generation = slot->generation.load(std::memory_order_acquire);
  const bool same = (generation & 1U) != 0 && ((generation >> 1) & generationMask) == handle >> indexBits;
  return same ? slot : nullptr;
}

bool isUnchanged(const Slot& slot, std::uint32_t generation) {
  return slot.generation.load(std::memory_order_acquire) == generation;
}

void writePlace(Slot& slot, std::string_view bytes) {
  slot.placeSize.store(bytes.size(), std::memory_order_release);
  for (std::size_t at = 0, word = 0; at < bytes.size(); at += 8, ++word) {
    std::uint64_t part = 0;
    std::memcpy(&part, bytes.data() + at, std::min<std::size_t>(8, bytes.size() - at));
    slot.place[word].store(part, std::memory_order_release);
  }
}

EntryKey readPlace(const Slot& slot) {
  std::array<std::uint64_t, placeWords> words;  // NOLINT(*-member-init): the size says how much counts
  const std::size_t size =
      std::min<std::size_t>(slot.placeSize.load(std::memory_order_acquire), EntryKey::capacity);
  for (std::size_t word = 0; word * 8 < size; ++word) {
    words[word] = slot.place[word].load(std::memory_order_acquire);
  }
  return EntryKey::fromBytes({reinterpret_cast<const char*>(words.data()), size});
}

}  // namespace

HKEY makeHandle(const NodeRef& node, REGSAM rights, CacheHint hint) {
  const std::uint32_t index = takeSlot();
  Slot& slot = *slotOf(index);
  slot.rights.store(rights, std::memory_order_release);
  slot.store.store(storeGeneration(), std::memory_order_release);
  slot.id.store(node.id, std::memory_order_release);
  slot.cache.store(hint.cache, std::memory_order_release);
  slot.serial.store(hint.serial, std::memory_order_release);
  writePlace(slot, node.place.bytes());
  const std::uint32_t generation = slot.generation.load(std::memory_order_acquire) + 1;
  slot.generation.store(generation, std::memory_order_release);
  return index | (((generation >> 1) & generationMask) << indexBits);
}

bool glance(HKEY handle, std::uint64_t& id, REGSAM& rights, CacheHint& hint) {
  std::uint32_t generation = 0;
  const Slot* const slot = openSlot(handle, generation);
  if (slot == nullptr || slot->store.load(std::memory_order_acquire) != storeGeneration()) return false;
  id = slot->id.load(std::memory_order_acquire);
  rights = slot->rights.load(std::memory_order_acquire);
  hint = {slot->cache.load(std::memory_order_acquire), slot->serial.load(std::memory_order_acquire)};
  return isUnchanged(*slot, generation);
}

bool lookUp(HKEY handle, OpenKey& key) {
  std::uint32_t generation = 0;
  const Slot* const slot = openSlot(handle, generation);
  if (slot == nullptr) return false;
  if (!glance(handle, key.node.id, key.rights, key.hint)) return false;
  key.node.place = readPlace(*slot);
  return isUnchanged(*slot, generation);
}

constinit const std::atomic<std::uint32_t> OpenState::never{0};

OpenState::OpenState(HKEY handle) {
  std::uint32_t generation = 0;
  const Slot* const slot = openSlot(handle, generation);
  if (slot == nullptr) return;
  m_generation = &slot->generation;
  m_asOpened = generation;
}

bool closeHandle(HKEY handle) {
  std::uint32_t generation = 0;
  Slot* const slot = openSlot(handle, generation);
  if (slot == nullptr) return false;
  // Of two threads that close one handle, one wins.
  if (!slot->generation.compare_exchange_strong(generation, generation + 1, std::memory_order_acq_rel)) {
    return false;
  }
  try {
    putSlot(handle & indexMask);
  } catch (const std::bad_alloc&) {
    return true;  // closed all the same: its slot is not given again
  }
  return true;
}

}  // namespace registry
