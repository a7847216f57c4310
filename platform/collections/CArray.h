// A growing array whose index is checked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/support/api.h"

namespace collections {

// Raised for an index outside the array.
class SPS_API InvalidIndex : public std::invalid_argument {
public:
  InvalidIndex(std::int32_t index, std::int32_t size)
      : std::invalid_argument("index " + std::to_string(index) + " in an array of " + std::to_string(size)) {}
};

}  // namespace collections

// An array of Type that takes its elements as ArgType. Indices count from 0; one below 0 or not below
// GetSize raises collections::InvalidIndex and changes nothing. References to elements are valid until
// the array grows. It can be moved but not copied: its owner says what a copy of it holds. One object
// belongs to one thread at a time.
template <class Type, class ArgType = const Type&>
class CArray {
public:
  CArray() = default;
  CArray(const CArray&) = delete;
  CArray& operator=(const CArray&) = delete;
  CArray(CArray&&) noexcept = default;
  CArray& operator=(CArray&&) noexcept = default;
  ~CArray() = default;

  std::int32_t GetSize() const { return static_cast<std::int32_t>(m_elements.size()); }
  bool IsEmpty() const { return m_elements.empty(); }

  const Type& GetAt(std::int32_t index) const { return m_elements[checked(index)]; }
  const Type& operator[](std::int32_t index) const { return m_elements[checked(index)]; }
  Type& operator[](std::int32_t index) { return m_elements[checked(index)]; }

  // Replaces an element, or first grows the array up to the index; elements in between are made by
  // Type's default constructor. Only an index below 0 is invalid.
  void SetAtGrow(std::int32_t index, ArgType element) {
    if (index < 0) throw collections::InvalidIndex(index, GetSize());
    // A copy first: the element may lie in this array, which is about to move.
    Type value(std::forward<ArgType>(element));
    const auto at = static_cast<std::size_t>(index);
    if (at == m_elements.size()) {
      m_elements.push_back(std::move(value));
      return;
    }
    if (at > m_elements.size()) m_elements.resize(at + 1);
    m_elements[at] = std::move(value);
  }

  // Appends an element and returns its index.
  std::int32_t Add(ArgType element) {
    SetAtGrow(GetSize(), std::forward<ArgType>(element));
    return GetSize() - 1;
  }

  void RemoveAll() { m_elements.clear(); }

private:
  std::size_t checked(std::int32_t index) const {
    if (index < 0 || index >= GetSize()) throw collections::InvalidIndex(index, GetSize());
    return static_cast<std::size_t>(index);
  }

  std::vector<Type> m_elements;
};
