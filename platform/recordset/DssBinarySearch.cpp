#include "platform/recordset/DssBinarySearch.h"

#include <algorithm>

DssBinarySearch::~DssBinarySearch() = default;

std::int32_t DssBinarySearch::Search(std::span<const std::int32_t> sorted) const {
  const auto found = std::ranges::partition_point(
      sorted, [this](std::int32_t element) { return Compare(element, sought) < 0; });
  return found != sorted.end() && Compare(*found, sought) == 0 ? *found : -1;
}
