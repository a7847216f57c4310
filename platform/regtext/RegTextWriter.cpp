#include "platform/regtext/RegTextWriter.h"

#include <utility>

#include "platform/registry/registry.h"

namespace regtext {
namespace {

constexpr std::size_t pieceLength = 32U << 10U;
constexpr std::size_t hexLineLength = 77;  // 25 bytes behind two blanks; the backslash makes it 78
constexpr std::u16string_view digits = u"0123456789abcdef";

bool isSurrogate(char16_t c) {
  return (c & 0xF800U) == 0xD800U;
}
bool isHighSurrogate(char16_t c) {
  return (c & 0xFC00U) == 0xD800U;
}
bool isLowSurrogate(char16_t c) {
  return (c & 0xFC00U) == 0xDC00U;
}

// True for text that survives in quotation marks whatever encoding the file has and whoever touches its
// line ends; the text is then without its terminator.
bool plainText(std::span<const std::uint8_t> data, std::u16string& text) {
  if (data.size() < 2 || data.size() % 2 != 0) return false;
  text.resize(data.size() / 2);
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char16_t>(data[2 * i] | data[2 * i + 1] << 8U);
  }
  if (text.back() != 0) return false;
  text.pop_back();
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c == 0 || c == u'\r' || c == u'\n') return false;
    if (!isSurrogate(c)) continue;
    if (!isHighSurrogate(c) || i + 1 == text.size() || !isLowSurrogate(text[i + 1])) return false;
    ++i;
  }
  return true;
}

void appendHex(std::u16string& text, std::uint32_t number, unsigned minDigits) {
  for (unsigned digit = 8; digit-- > 0;) {
    if (digit < minDigits || number >> 4U * digit != 0) text += digits[number >> 4U * digit & 0xFU];
  }
}

}  // namespace

Writer::Writer(Sink sink, LineEnd lineEnd)
    : m_sink(std::move(sink)), m_lineEnd(lineEnd == LineEnd::CrLf ? u"\r\n" : u"\n"), m_text(header) {
  EndLine();
}

bool Writer::Key(std::u16string_view path) {
  return KeyLine(u"[", path);
}

bool Writer::DeleteKey(std::u16string_view path) {
  return KeyLine(u"[-", path);
}

bool Writer::KeyLine(std::u16string_view mark, std::u16string_view path) {
  EndLine();
  m_text += mark;
  if (path.find_first_of(u"\r\n") == std::u16string_view::npos) {
    m_text += path;
  } else {
    Quoted(path);
  }
  m_text += u']';
  EndLine();
  return Flush(pieceLength);
}

bool Writer::Value(std::u16string_view name, std::uint32_t type, std::span<const std::uint8_t> data) {
  ValueName(name);
  std::u16string text;
  if (type == REG_SZ && plainText(data, text)) {
    Quoted(text);
  } else if (type == REG_DWORD && data.size() == 4) {
    m_text += u"dword:";
    for (std::size_t i = 4; i-- > 0;) {
      m_text += digits[data[i] >> 4U];
      m_text += digits[data[i] & 0xFU];
    }
  } else {
    Hex(type, data);
  }
  EndLine();
  return Flush(pieceLength);
}

bool Writer::DeleteValue(std::u16string_view name) {
  ValueName(name);
  m_text += u'-';
  EndLine();
  return Flush(pieceLength);
}

bool Writer::Write(const Event& event) {
  switch (event.kind) {
    case Kind::Key:
      return Key(event.key);
    case Kind::DeleteKey:
      return DeleteKey(event.key);
    case Kind::Value:
      return Value(event.name, event.type, event.data);
    case Kind::DeleteValue:
      return DeleteValue(event.name);
  }
  return false;
}

bool Writer::Finish() {
  EndLine();
  return Flush(1);
}

void Writer::ValueName(std::u16string_view name) {
  if (name.empty()) {
    m_text += u'@';
  } else {
    Quoted(name);
  }
  m_text += u'=';
}

void Writer::Hex(std::uint32_t type, std::span<const std::uint8_t> data) {
  m_text += u"hex";
  if (type != REG_BINARY) {
    m_text += u'(';
    appendHex(m_text, type, 1);
    m_text += u')';
  }
  m_text += u':';
  for (std::size_t i = 0; i < data.size(); ++i) {
    const bool last = i + 1 == data.size();
    if (i > 0 && m_text.size() - m_lineBegin + 3 > hexLineLength) {
      m_text += u'\\';
      EndLine();
      m_text += u"  ";
    }
    appendHex(m_text, data[i], 2);
    if (!last) m_text += u',';
  }
}

void Writer::Quoted(std::u16string_view text) {
  m_text += u'"';
  for (const char16_t c : text) {
    if (c == u'"' || c == u'\\') m_text += u'\\';
    m_text += c;
  }
  m_text += u'"';
}

void Writer::EndLine() {
  m_text += m_lineEnd;
  m_lineBegin = m_text.size();
}

bool Writer::Flush(std::size_t atLeast) {
  if (!m_open) return false;
  if (m_text.size() < atLeast) return true;
  m_open = m_sink(m_text);
  m_text.clear();
  m_lineBegin = 0;
  return m_open;
}

}  // namespace regtext
