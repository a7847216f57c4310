#include "platform/recordset/DssBinarySearch.h"

DssBinarySearch::~DssBinarySearch() = default;

// Which half goes on is computed and not branched to: no processor guesses it.
std::int32_t DssBinarySearch::Search(std::int32_t count) const {
  std::int32_t first = 0;
  for (std::int32_t left = count; left > 0;) {
    const std::int32_t half = (left + 1) / 2;
    first += half * static_cast<std::int32_t>(Compare(first + half - 1, sought) < 0);
    left -= half;
  }
  return first < count && Compare(first, sought) == 0 ? first : -1;
}
