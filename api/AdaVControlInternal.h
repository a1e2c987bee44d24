// Shared by the leveller controls of the main and the LFE instance. Not
// installed.
#pragma once

#include <climits>
#include <cstdint>

namespace hvfx::api {

// Rate steps to the leveller's slew percent: ((rate - 3) * 100) / 12,
// truncating toward zero, computed in 64 bits so that no int overflows, and
// held within the int range (the leveller clamps to 0 ... 100 anyway).
inline int AdaVRateToPercent(int rate) {
  const int64_t percent = (static_cast<int64_t>(rate) - 3) * 100 / 12;
  return percent > INT_MAX ? INT_MAX : (percent < INT_MIN ? INT_MIN : static_cast<int>(percent));
}

}  // namespace hvfx::api
