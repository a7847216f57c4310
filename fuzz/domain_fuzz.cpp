// Domain texts of any content. The first byte is the length of the parameter's name, which follows, a byte a
// character; the rest is the text in characters of 16 bits. Each field has to arrive in its column, and the
// table to answer whatever it holds.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/Fuzz.h"
#include "platform/recordset/DslExc.h"
#include "src/shc.h"

namespace {

constexpr std::size_t fieldsOfRecord = 5;

class Hierarchy : public Shc {
public:
  using Shc::AddDomainData;
  using Shc::m_colDevId;
  using Shc::m_colDomain;
  using Shc::m_colDsc;
  using Shc::m_colHost;
  using Shc::m_colNoMacs;
  using Shc::m_colSubDomain;
  using Shc::m_localDomain;
  using Shc::m_localSubDomain;
};

// What the text holds by its grammar: its fields, without a rest that no semicolon closes.
std::vector<std::u16string_view> fieldsOf(std::u16string_view text) {
  std::vector<std::u16string_view> fields;
  for (std::size_t end; (end = text.find(u';')) != std::u16string_view::npos; text.remove_prefix(end + 1)) {
    fields.push_back(text.substr(0, end));
  }
  return fields;
}

// The digits at a text's end; numbers that were taken have nothing behind them.
std::int64_t numberOf(std::u16string_view text) {
  std::string digits;
  for (const char16_t character : text) {
    const bool isDigit = character >= u'0' && character <= u'9';
    if (!isDigit) digits.clear();
    if (isDigit || character == u'-') digits += static_cast<char>(character);
  }
  std::int64_t number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

std::u16string_view lastFour(std::u16string_view name) {
  return name.substr(name.size() - std::min<std::size_t>(name.size(), 4));
}

void checkRow(const Hierarchy& hierarchy, const std::vector<std::u16string_view>& fields, std::size_t first) {
  const auto field = [&](std::size_t column) {
    const std::size_t at = first + column - 1;
    return at < fields.size() ? fields[at] : std::u16string_view();
  };
  require(hierarchy.m_colSubDomain.GetInt() == numberOf(field(1)));
  require(std::u16string(hierarchy.m_colDevId.Get()) == std::u16string(field(2)).c_str());
  require(std::u16string(hierarchy.m_colDsc.Get()) == std::u16string(field(3)).c_str());
  require(std::u16string(hierarchy.m_colHost.Get()) == std::u16string(field(4)).c_str());
  require(hierarchy.m_colNoMacs.GetShort() == numberOf(field(5)));
}

void checkRows(Hierarchy& hierarchy, std::u16string_view name, std::u16string_view text) {
  const std::vector<std::u16string_view> fields = fieldsOf(text);
  const std::size_t records = (fields.size() + fieldsOfRecord - 1) / fieldsOfRecord;
  require(static_cast<std::size_t>(hierarchy.GetNumRows()) == (text.empty() ? 1 : records));
  for (std::size_t record = 0; record < records; ++record) {
    require(hierarchy.SelectRow(static_cast<std::int32_t>(record), false));
    require(hierarchy.m_colDomain.GetInt() == numberOf(lastFour(name)));
    checkRow(hierarchy, fields, record * fieldsOfRecord);
  }
}

void ask(Hierarchy& hierarchy) {
  require(hierarchy.SortBy(0, 1, -1, -1, -1));
  for (std::int32_t row = 0; hierarchy.SelectRow(row, false); ++row) {
    const std::int32_t domain = hierarchy.m_colDomain.GetInt();
    const std::int32_t subdomain = hierarchy.m_colSubDomain.GetInt();
    UnicodeString host;
    const bool hasParent = hierarchy.GetParentHost(host);
    require(hierarchy.GetSelectedRow() == row);
    require(hierarchy.GetHierarchyLevel() == (domain == 0 ? 0 : domain == subdomain ? 1 : 2));
    require(domain != 0 || (hasParent && host.IsEmpty()));
    require(hierarchy.FindI4(u"subdomain", subdomain) && hierarchy.m_colSubDomain.GetInt() == subdomain);
    require(hierarchy.GetSelectedRow() <= row);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t nameLength = std::min<std::size_t>(data[0], size - 1);
  UnicodeString name(std::u16string(data + 1, data + 1 + nameLength));
  const std::u16string text = textOf(data + 1 + nameLength, size - 1 - nameLength);
  static Hierarchy hierarchy;
  hierarchy.DeleteAllRows();
  hierarchy.m_localDomain = 1;
  hierarchy.m_localSubDomain = 1;
  UnicodeString rest{std::u16string_view(text)};
  if (hierarchy.AddDomainData(name, rest)) {
    require(rest.IsEmpty());
    checkRows(hierarchy, name.View(), text);
  } else {
    require(text.ends_with(rest.View()));
  }
  ask(hierarchy);
  return 0;
}
