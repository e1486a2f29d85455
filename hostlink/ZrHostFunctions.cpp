// Lookups in the host's function table.
#include "hostlink/ZrHostFunctions.h"

#include <algorithm>
#include <iterator>

namespace {

// The lookup by number relies on the order of the rows.
constexpr bool RowsAscend() {
  for (size_t i = 1; i < std::size(kZrHostFunctionRows); ++i) {
    if (kZrHostFunctionRows[i - 1].Number >= kZrHostFunctionRows[i].Number) return false;
  }
  return true;
}

}  // namespace

static_assert(RowsAscend(), "the host function rows must be in the order of their numbers");

const ZrHostFunctionRow* ZrHostFunctionFind(int32_t number) {
  const auto end = std::end(kZrHostFunctionRows);
  const auto it =
      std::lower_bound(std::begin(kZrHostFunctionRows), end, number,
                       [](const ZrHostFunctionRow& row, int32_t n) { return row.Number < n; });
  return it != end && it->Number == number ? it : nullptr;
}

const ZrHostFunctionRow* ZrHostFunctionFind(const std::string& name) {
  for (const ZrHostFunctionRow& row : kZrHostFunctionRows) {
    if (name == row.Name) return &row;
  }
  return nullptr;
}

const char* ZrHostFunctionName(ZrHostFunction function) {
  const ZrHostFunctionRow* row = ZrHostFunctionFind(static_cast<int32_t>(function));
  return row != nullptr ? row->Name : "";
}
