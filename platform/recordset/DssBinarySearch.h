// Search among elements that only their owner can compare.
#pragma once

#include <cstdint>

#include "platform/support/api.h"

class SPS_API DssBinarySearch {
public:
  DssBinarySearch() = default;
  DssBinarySearch(const DssBinarySearch&) = default;
  DssBinarySearch& operator=(const DssBinarySearch&) = default;
  virtual ~DssBinarySearch();

protected:
  // The number that stands for what is sought, always on the right.
  static constexpr std::int32_t sought = -1;

  // Below 0, 0 or above 0 as the element sorts before, equals or sorts after what is sought.
  virtual std::int32_t Compare(std::int32_t element, std::int32_t other) const = 0;

  // The first of the elements 0 to count - 1, which are sorted, that equals what is sought; -1 where none
  // does.
  std::int32_t Search(std::int32_t count) const;
};
