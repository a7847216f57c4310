// What tests do with registry text: statements as lines for comparison, and text collected from a writer.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "platform/regtext/RegTextReader.h"
#include "platform/regtext/RegTextWriter.h"
#include "platform/support/Utf.h"

inline std::string statement(const regtext::Event& event) {
  const std::string key = support::toUtf8(event.key);
  const std::string name = support::toUtf8(event.name);
  switch (event.kind) {
    case regtext::Kind::Key:
      return "key " + key;
    case regtext::Kind::DeleteKey:
      return "delete " + key;
    case regtext::Kind::DeleteValue:
      return "delete " + key + " <" + name + ">";
    case regtext::Kind::Value:
      break;
  }
  std::string line = "value <" + name + "> " + std::to_string(event.type);
  for (const std::uint8_t byte : event.data) {
    char hex[4];
    std::snprintf(hex, sizeof hex, " %02x", byte);
    line += hex;
  }
  return line;
}

struct Statements {
  std::vector<std::string> lines;
  regtext::Fault fault;
};

inline Statements read(std::u16string_view text) {
  Statements result;
  result.fault = regtext::parse(text, [&](const regtext::Event& event) {
    result.lines.push_back(statement(event));
    return true;
  });
  return result;
}

// Takes all that a writer or an export gives.
inline regtext::Sink into(std::u16string& text) {
  return [&text](std::u16string_view piece) {
    text += piece;
    return true;
  };
}

// What the writer makes of what the reader found.
inline std::u16string rewrite(std::u16string_view text, regtext::LineEnd lineEnd = regtext::LineEnd::CrLf) {
  std::u16string result;
  regtext::Writer writer(into(result), lineEnd);
  regtext::parse(text, [&](const regtext::Event& event) { return writer.Write(event); });
  writer.Finish();
  return result;
}
