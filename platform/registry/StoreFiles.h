// The files of a store: where they lie, how a new one comes to be, what their sizes say.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace registry {

inline constexpr const char* dataFileName = "/data.mdb";
inline constexpr const char* lockFileName = "/lock.mdb";
inline constexpr mode_t directoryMode = 0770;
inline constexpr mode_t fileMode = 0660;

// Which file this is, whatever its name.
struct FileIdentity {
  dev_t device;
  ino_t node;
  auto operator<=>(const FileIdentity&) const = default;
};

// The directory that the environment asks for.
std::string defaultDirectory();
// Makes the directory and those above it. Throws Failure.
void makeDirectory(const std::string& directory);

// True where there is a data file. Throws Failure where one cannot tell.
bool hasDataFile(const std::string& directory);
// Builds an empty store beside its place and moves it there in one step, so that a data file is always
// whole. One that came first stays.
void createStore(const std::string& directory);

FileIdentity identify(const std::string& file);
std::uint64_t fileSize(const std::string& file);
// Lengthens a file to at least that size; never shortens it. False where the file system cannot.
bool lengthen(const std::string& file, std::uint64_t size);
// Lets the group in, as far as we may.
void openToGroup(const std::string& directory);

std::string bootId();

}  // namespace registry
