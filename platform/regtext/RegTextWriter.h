// Writes a registry text: statements in, characters out. Knows no file and no store. What it writes is
// read by other tools of the format; the one exception is a key name with a line end in it, for which
// the format has no form (see docs/registry-text.md).
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "platform/regtext/RegText.h"

namespace regtext {

// Takes the pieces of the text in their order; false ends the writing. A piece is never empty, ends with
// a line and so never between the two halves of a character, and is valid during the call.
using Sink = std::function<bool(std::u16string_view)>;

enum class LineEnd : std::uint8_t { CrLf, Lf };

// One text, from the header to Finish. Every operation returns false once the sink has. One object
// belongs to one thread.
class Writer {
public:
  explicit Writer(Sink sink, LineEnd lineEnd = LineEnd::CrLf);

  // The path with a hive's name in front, which is written as it is given.
  bool Key(std::u16string_view path);
  bool DeleteKey(std::u16string_view path);

  // Values of the key written last; an empty name is the default value.
  bool Value(std::u16string_view name, std::uint32_t type, std::span<const std::uint8_t> data);
  bool DeleteValue(std::u16string_view name);

  // Whatever the statement is.
  bool Write(const Event& event);

  // Writes the header where nothing was written, and hands over what is left.
  bool Finish();

private:
  bool KeyLine(std::u16string_view mark, std::u16string_view path);
  void ValueName(std::u16string_view name);
  void Hex(std::uint32_t type, std::span<const std::uint8_t> data);
  void Quoted(std::u16string_view text);
  void EndLine();
  bool Flush(std::size_t atLeast);

  Sink m_sink;
  std::u16string_view m_lineEnd;
  std::u16string m_text;
  std::size_t m_lineBegin = 0;  // of the line being written, in m_text
  bool m_open = true;
};

}  // namespace regtext
