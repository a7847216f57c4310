#include "platform/registry/Record.h"

#include <cstring>
#include <limits>
#include <type_traits>

#include "platform/registry/Errors.h"
#include "platform/registry/Hash.h"

namespace registry {
namespace {

constexpr std::uint8_t volatileFlag = 1;
constexpr std::uint8_t smallFlag = 2;  // of the form for keys without sub keys and values outside

[[noreturn]] void damaged() {
  throw Failure(ERROR_REGISTRY_CORRUPT);
}

// Takes fields off the front of a record; a field that reaches past the end is damage.
class Reader {
public:
  explicit Reader(std::string_view bytes) : m_rest(bytes) {}

  template <class Number>
  Number number() {
    Number value{};
    std::memcpy(&value, bytes(sizeof value).data(), sizeof value);
    return value;
  }
  std::string_view bytes(std::size_t count) {
    if (count > m_rest.size()) [[unlikely]]
      damaged();
    const std::string_view part = m_rest.substr(0, count);
    m_rest.remove_prefix(count);
    return part;
  }
  bool atEnd() const { return m_rest.empty(); }
  std::string_view rest() const { return m_rest; }

private:
  std::string_view m_rest;
};

template <class Number>
void put(std::string& out, std::type_identity_t<Number> value) {
  char bytes[sizeof(Number)];
  std::memcpy(bytes, &value, sizeof bytes);
  out.append(bytes, sizeof bytes);
}

std::string& seal(std::string& record) {
  const std::uint32_t sum = checksum(std::string_view(record).substr(sizeof sum));
  std::memcpy(record.data(), &sum, sizeof sum);
  return record;
}

// Fixed bytes of a key's record in its larger form, and of each value in it.
constexpr std::size_t idAt = 4 + 1;
constexpr std::size_t commonSize = idAt + 3 * sizeof(std::uint64_t);
constexpr std::size_t headSize = commonSize + 2 + 8 * sizeof(std::uint32_t);
constexpr std::size_t valueHeadSize = 1 + 2 + 1 + 1;

// Where a value's sizes stand in its head. A name of no bytes is the folded one.
constexpr std::size_t dataSizeAt = 1;
constexpr std::size_t foldedSizeAt = 3;
constexpr std::size_t nameSizeAt = 4;

template <class Number>
Number numberAt(const char* at) {
  Number number{};
  std::memcpy(&number, at, sizeof number);
  return number;
}

struct ValueSizes {
  std::size_t folded;
  std::size_t name;
  std::size_t data;

  explicit ValueSizes(const char* at)
      : folded(static_cast<unsigned char>(at[foldedSizeAt])),
        name(static_cast<unsigned char>(at[nameSizeAt])),
        data(numberAt<std::uint16_t>(at + dataSizeAt)) {}
  std::size_t whole() const { return valueHeadSize + folded + name + data; }
};

InlineValue valueAt(const char* at) {
  const ValueSizes sizes(at);
  const char* const folded = at + valueHeadSize;
  const char* const name = folded + sizes.folded;
  return {numberAt<std::uint8_t>(at),
          {folded, sizes.folded},
          sizes.name == 0 ? std::string_view(folded, sizes.folded) : std::string_view(name, sizes.name),
          {name + sizes.name, sizes.data}};
}

template <class Byte>
bool fits(std::uint64_t number) {
  return number <= std::numeric_limits<Byte>::max();
}

bool isSmall(const NodeHeader& header, std::size_t nameSize) {
  return header.subKeys == 0 && header.maxSubKeyName == 0 && header.outside == 0 &&
         fits<std::uint8_t>(nameSize) && fits<std::uint8_t>(header.values) &&
         fits<std::uint8_t>(header.depth) && fits<std::uint8_t>(header.maxValueName) &&
         fits<std::uint16_t>(header.maxValueData);
}

std::string_view storedName(const NodeRecord::Value& value) {
  return value.name == value.folded ? std::string_view() : std::string_view(value.name);
}

std::size_t sizeOf(const NodeRecord::Value& value) {
  return valueHeadSize + value.folded.size() + storedName(value).size() + value.data.size();
}

}  // namespace

std::string sealed(std::string_view bytes) {
  std::string record(sizeof(std::uint32_t), '\0');
  record.append(bytes);
  return seal(record);
}

std::string_view unsealed(std::string_view record) {
  Reader in(record);
  const auto sum = in.number<std::uint32_t>();
  const std::string_view bytes = record.substr(sizeof sum);
  if (checksum(bytes) != sum) damaged();
  return bytes;
}

void NodeView::decode(std::string_view record) {
  Reader in(unsealed(record));
  const auto flags = in.number<std::uint8_t>();
  NodeHeader& header = m_header;
  header = {};
  header.isVolatile = (flags & volatileFlag) != 0;
  header.id = in.number<std::uint64_t>();
  header.revision = in.number<std::uint64_t>();
  header.lastWrite = in.number<std::uint64_t>();
  std::size_t nameSize = 0;
  std::uint32_t inside = 0;
  if ((flags & smallFlag) != 0) {
    nameSize = in.number<std::uint8_t>();
    header.values = inside = in.number<std::uint8_t>();
    header.depth = in.number<std::uint8_t>();
    header.maxValueName = in.number<std::uint8_t>();
    header.maxValueData = in.number<std::uint16_t>();
  } else {
    nameSize = in.number<std::uint16_t>();
    for (std::uint32_t* const number :
         {&header.subKeys, &header.values, &header.outside, &header.maxSubKeyName, &header.maxValueName,
          &header.maxValueData, &header.depth, &inside}) {
      *number = in.number<std::uint32_t>();
    }
  }
  m_name = in.bytes(nameSize);
  m_values = in.rest();
  for (std::uint32_t i = 0; i < inside; ++i) {
    const std::size_t size = ValueSizes(in.bytes(valueHeadSize).data()).whole();
    in.bytes(size - valueHeadSize);
  }
  if (!in.atEnd()) damaged();
}

bool NodeView::find(std::string_view folded, ValueRef& value) const {
  const char* at = m_values.data();
  const char* const end = at + m_values.size();
  for (; at != end; at += ValueSizes(at).whole()) {
    if (static_cast<unsigned char>(at[foldedSizeAt]) != folded.size()) continue;
    if (std::memcmp(at + valueHeadSize, folded.data(), folded.size()) != 0) continue;
    const InlineValue found = valueAt(at);
    value = {found.type, found.data};
    return true;
  }
  return false;
}

InlineValue NodeView::Iterator::operator*() const {
  return valueAt(m_at);
}

NodeView::Iterator& NodeView::Iterator::operator++() {
  m_at += ValueSizes(m_at).whole();
  return *this;
}

NodeView::Identity NodeView::peek(std::string_view record) {
  Reader in(record);
  in.bytes(idAt);
  const auto id = in.number<std::uint64_t>();
  return {id, in.number<std::uint64_t>()};
}

NodeRecord NodeRecord::from(const NodeView& view) {
  NodeRecord record{view.header(), std::string(view.name()), {}};
  for (const InlineValue value : view) {
    record.values.push_back(
        {value.type, std::string(value.folded), std::string(value.name), std::string(value.data)});
  }
  return record;
}

std::size_t NodeRecord::encodedSize() const {
  std::size_t size = headSize + name.size();
  for (const Value& value : values) size += sizeOf(value);
  return size;
}

std::string NodeRecord::encode() const {
  const bool asSmall = isSmall(header, name.size());
  std::string out;
  out.reserve(encodedSize());
  put<std::uint32_t>(out, 0);  // the check sum's place
  const int flags = (header.isVolatile ? volatileFlag : 0) | (asSmall ? smallFlag : 0);
  put<std::uint8_t>(out, static_cast<std::uint8_t>(flags));
  for (const std::uint64_t number : {header.id, header.revision, header.lastWrite}) {
    put<std::uint64_t>(out, number);
  }
  if (asSmall) {
    for (const std::size_t number :
         {name.size(), values.size(), std::size_t{header.depth}, std::size_t{header.maxValueName}}) {
      put<std::uint8_t>(out, static_cast<std::uint8_t>(number));
    }
    put<std::uint16_t>(out, static_cast<std::uint16_t>(header.maxValueData));
  } else {
    put<std::uint16_t>(out, static_cast<std::uint16_t>(name.size()));
    for (const std::uint32_t number : {header.subKeys, header.values, header.outside, header.maxSubKeyName,
                                       header.maxValueName, header.maxValueData, header.depth}) {
      put<std::uint32_t>(out, number);
    }
    put<std::uint32_t>(out, static_cast<std::uint32_t>(values.size()));
  }
  out += name;
  for (const Value& value : values) {
    const std::string_view own = storedName(value);
    put<std::uint8_t>(out, static_cast<std::uint8_t>(value.type));
    put<std::uint16_t>(out, static_cast<std::uint16_t>(value.data.size()));
    put<std::uint8_t>(out, static_cast<std::uint8_t>(value.folded.size()));
    put<std::uint8_t>(out, static_cast<std::uint8_t>(own.size()));
    out.append(value.folded).append(own).append(value.data);
  }
  return seal(out);
}

OutsideValue OutsideValue::decode(std::string_view record) {
  Reader in(unsealed(record));
  OutsideValue value;
  value.type = in.number<std::uint32_t>();
  const auto nameSize = in.number<std::uint32_t>();
  value.name = in.bytes(nameSize);
  value.data = record.substr(sizeof(std::uint32_t) * 3 + nameSize);
  return value;
}

std::string OutsideValue::encode() const {
  std::string out;
  out.reserve(3 * sizeof(std::uint32_t) + name.size() + data.size());
  put<std::uint32_t>(out, 0);  // the check sum's place
  put<std::uint32_t>(out, type);
  put<std::uint32_t>(out, static_cast<std::uint32_t>(name.size()));
  out.append(name).append(data);
  return seal(out);
}

}  // namespace registry
