// Decimal text of integers, independent of any locale (internal).
#pragma once

#include <string>
#include <type_traits>

namespace vx::detail {

template <class Integer, class = std::enable_if_t<std::is_integral_v<Integer>>>
std::wstring decimal(Integer value) {
    return std::to_wstring(value);
}

} // namespace vx::detail
