#include "tools/sps/Failure.h"

#include "platform/registry/registry.h"

namespace tool {

namespace {

struct NumberText {
  std::int64_t code;
  const char* text;
};

constexpr NumberText texts[] = {
    {ERROR_FILE_NOT_FOUND, "not found"},
    {ERROR_ACCESS_DENIED, "access denied"},
    {ERROR_INVALID_HANDLE, "invalid handle"},
    {ERROR_NOT_ENOUGH_MEMORY, "out of memory"},
    {ERROR_INVALID_PARAMETER, "name or value outside the registry's limits"},
    {ERROR_DISK_FULL, "disk full"},
    {ERROR_MORE_DATA, "larger than its type"},
    {ERROR_REGISTRY_CORRUPT, "the store is damaged"},
    {ERROR_REGISTRY_IO_FAILED, "the store cannot be read or written"},
    {ERROR_NOT_REGISTRY_FILE, "not a store"},
    {ERROR_KEY_DELETED, "deleted meanwhile"},
    {ERROR_KEY_HAS_CHILDREN, "the key has sub keys"},
    {ERROR_CHILD_MUST_BE_VOLATILE, "the key above is volatile"},
    {ERROR_REVISION_MISMATCH, "a store of another format version"},
    {ERROR_NO_SYSTEM_RESOURCES, "out of system resources"},
};

}  // namespace

std::string registryText(std::int64_t code) {
  for (const NumberText& entry : texts) {
    if (entry.code == code) return entry.text;
  }
  return {};
}

}  // namespace tool
