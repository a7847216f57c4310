// What a registry text says, line by line: the language between its reader, its writer and the store.
// The text's grammar is in docs/registry-text.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace regtext {

inline constexpr std::u16string_view header = u"Windows Registry Editor Version 5.00";

// The registry's limits. What goes beyond them is refused where it stands in the text.
inline constexpr std::size_t maxKeyNameLength = 255;      // characters
inline constexpr std::size_t maxValueNameLength = 16383;  // characters
inline constexpr std::size_t maxLevels = 512;             // keys below a hive, one in the other
inline constexpr std::size_t maxDataSize = 16U << 20U;    // bytes

// What is wrong with a text, and where.
struct Fault {
  std::uint64_t line = 0;  // counted from 1; 0 where there is no fault
  std::string text;        // what was found and what was expected, UTF-8, one line

  explicit operator bool() const { return line != 0; }
  // "line 12: found ..., expected ..."
  std::string Message() const { return "line " + std::to_string(line) + ": " + text; }
};

enum class Kind : std::uint8_t {
  Key,          // the key is to exist
  DeleteKey,    // the key goes, with everything below it
  Value,        // the value is to have this type and these bytes
  DeleteValue,  // the value goes
};

// One statement of a text. Views are valid as long as the handler runs.
struct Event {
  Kind kind = Kind::Key;
  std::uint64_t line = 0;    // where the statement begins
  std::size_t position = 0;  // characters of the text read so far, this statement included
  std::u16string_view key;   // full path with the long hive name; for a value that of its key
  std::u16string_view name;  // of the value; empty for the key's default value
  std::uint32_t type = 0;    // the registry's number
  std::span<const std::uint8_t> data;
};

// Takes the statements in their order; false ends the reading.
using Handler = std::function<bool(const Event&)>;

}  // namespace regtext
