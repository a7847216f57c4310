#include "platform/support/AppName.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

namespace {

// What the kernel appends to the path once the file has been replaced, by an update for example.
constexpr std::string_view deletedMark = " (deleted)";

std::string ownFileName() {
  std::error_code error;
  std::string name = std::filesystem::read_symlink("/proc/self/exe", error).filename().string();
  if (error || name.empty()) return program_invocation_short_name;
  if (name.ends_with(deletedMark)) name.erase(name.size() - deletedMark.size());
  return name;
}

}  // namespace

UnicodeString AppGetSystemName() {
  static const UnicodeString name(ownFileName().c_str());
  return name;
}
