// The stored forms of a key and of a value. docs/store.md has them byte by byte.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace registry {

// Small values lie in their key's own record, so that opening a key brings them along with one lookup.
// The others have a record each.
inline constexpr std::uint32_t maxInlineType = 255;
inline constexpr std::size_t maxInlineName = 64;      // bytes, folded and as displayed each
inline constexpr std::size_t maxInlineData = 256;     // bytes
inline constexpr std::size_t maxInlineRecord = 1024;  // bytes of the whole record

// The fixed fields of a key's record.
struct NodeHeader {
  std::uint64_t id = 0;         // never given twice
  std::uint64_t revision = 0;   // counts the changes of this key
  std::uint64_t lastWrite = 0;  // 100-nanosecond steps since 1601
  std::uint32_t subKeys = 0;
  std::uint32_t values = 0;
  std::uint32_t outside = 0;  // values with a record of their own, counted in values too
  std::uint32_t maxSubKeyName = 0;
  std::uint32_t maxValueName = 0;
  std::uint32_t maxValueData = 0;
  std::uint32_t depth = 0;  // levels below the hive
  bool isVolatile = false;
};

// A value inside its key's record; the views point into that record.
struct InlineValue {
  std::uint32_t type;
  std::string_view folded;
  std::string_view name;  // as displayed, UTF-8
  std::string_view data;
};

// A value as it is handed out; valid until the thread's next registry call.
struct ValueRef {
  std::uint32_t type = 0;
  std::string_view data;
};

// Reads a key's record where it lies; a view is as small as the record is in one piece, since this is what
// a read of a parameter goes through. Every function that decodes throws Failure with
// ERROR_REGISTRY_CORRUPT for a record whose check sum or lengths are wrong.
class NodeView {
public:
  // Whose record it is and how often it changed, without a check of the rest.
  struct Identity {
    std::uint64_t id;
    std::uint64_t revision;
  };
  static Identity peek(std::string_view record);

  // Checks the sum and every length; afterwards nothing can point outside the record.
  void decode(std::string_view record);

  const NodeHeader& header() const { return m_header; }
  std::string_view name() const { return m_name; }
  bool find(std::string_view folded, ValueRef& value) const;

  // The values inside the record, by folded name, ascending.
  class Iterator {
  public:
    InlineValue operator*() const;
    Iterator& operator++();
    bool operator==(const Iterator&) const = default;

  private:
    friend class NodeView;
    explicit Iterator(const char* at) : m_at(at) {}
    const char* m_at;
  };
  Iterator begin() const { return Iterator(m_values.data()); }
  Iterator end() const { return Iterator(m_values.data() + m_values.size()); }

private:
  NodeHeader m_header;
  std::string_view m_name;
  std::string_view m_values;
};

// A key's record in parts that own their bytes, for changing it.
struct NodeRecord {
  struct Value {
    std::uint32_t type;
    std::string folded;
    std::string name;
    std::string data;
  };

  NodeHeader header;
  std::string name;
  std::vector<Value> values;

  static NodeRecord from(const NodeView& view);
  std::string encode() const;
  std::size_t encodedSize() const;  // at most
};

// The record of a value that lies outside its key's.
struct OutsideValue {
  std::uint32_t type = 0;
  std::string_view name;  // as displayed, UTF-8
  std::string_view data;

  static OutsideValue decode(std::string_view record);
  std::string encode() const;
};

// Anything else that is kept: the bytes behind a check sum.
std::string sealed(std::string_view bytes);
std::string_view unsealed(std::string_view record);

}  // namespace registry
