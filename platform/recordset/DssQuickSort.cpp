#include "platform/recordset/DssQuickSort.h"

#include <algorithm>
#include <numeric>

DssQuickSort::~DssQuickSort() = default;

std::vector<std::int32_t> DssQuickSort::Sort(std::int32_t count) const {
  std::vector<std::int32_t> order(static_cast<std::size_t>(count));
  std::iota(order.begin(), order.end(), 0);
  const auto isBefore = [this](std::int32_t left, std::int32_t right) { return Compare(left, right) < 0; };
  if (!std::is_sorted(order.begin(), order.end(), isBefore)) {
    std::stable_sort(order.begin(), order.end(), isBefore);
  }
  return order;
}
