// Search among elements that only their owner can compare.
#pragma once

#include <cstdint>

class DssBinarySearch {
protected:
  DssBinarySearch() = default;
  DssBinarySearch(const DssBinarySearch&) = default;
  DssBinarySearch& operator=(const DssBinarySearch&) = default;
  ~DssBinarySearch() = default;

  // The number that stands for what is sought, always on the right.
  static constexpr std::int32_t sought = -1;

  // The first of the elements 0 to count - 1, which are sorted, that equals what is sought; -1 where none
  // does. The comparison gets the number of an element and sought, and is below 0, 0 or above 0 as the
  // element sorts before, equals or sorts after it. It is no virtual operation: a search compares a dozen
  // times and more.
  template <class Comparison>
  static std::int32_t Search(std::int32_t count, const Comparison& compare);
};

// Which half goes on is computed and not branched to: no processor guesses it.
template <class Comparison>
std::int32_t DssBinarySearch::Search(std::int32_t count, const Comparison& compare) {
  std::int32_t first = 0;
  for (std::int32_t left = count; left > 0;) {
    const std::int32_t half = (left + 1) / 2;
    first += half * static_cast<std::int32_t>(compare(first + half - 1, sought) < 0);
    left -= half;
  }
  return first < count && compare(first, sought) == 0 ? first : -1;
}
