// Sorting of what only its owner can compare.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/support/api.h"

class SPS_API DssQuickSort {
public:
  DssQuickSort() = default;
  DssQuickSort(const DssQuickSort&) = default;
  DssQuickSort& operator=(const DssQuickSort&) = default;
  virtual ~DssQuickSort();

protected:
  // Below 0, 0 or above 0 as the left element sorts before, equals or sorts after the right one.
  virtual std::int32_t Compare(std::int32_t left, std::int32_t right) const = 0;

  // The numbers 0 to count - 1 in the order of their elements; equal ones stay as they were.
  std::vector<std::int32_t> Sort(std::int32_t count) const;
};
