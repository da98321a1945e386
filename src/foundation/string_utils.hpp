#ifndef QUILKOVA_FOUNDATION_STRING_UTILS_HPP
#define QUILKOVA_FOUNDATION_STRING_UTILS_HPP

#include <cstdio>
#include <string>
#include <type_traits>

#include "foundation/log.hpp"

namespace quilkova {

namespace internal {
// Enumerations (scoped ones included) travel through "..." as their integer.
template <typename T>
auto PrintfArg(T value) {
    static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T> || std::is_pointer_v<T>,
                  "format takes printf-compatible arguments only");
    if constexpr (std::is_enum_v<T>) {
        return static_cast<std::underlying_type_t<T>>(value);
    } else {
        return value;
    }
}
}  // namespace internal

// printf-style formatting into a new string. Never throws: a formatting
// error or a lack of memory logs and gives "".
template <typename... Args>
std::string format(const std::string& fmt, Args... args) noexcept {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    try {
        const int length = std::snprintf(nullptr, 0, fmt.c_str(), internal::PrintfArg(args)...);
        if (length >= 0) {
            std::string text(static_cast<size_t>(length) + 1, '\0');
            std::snprintf(text.data(), text.size(), fmt.c_str(), internal::PrintfArg(args)...);
            text.resize(static_cast<size_t>(length));
            return text;
        }
    } catch (...) {
        // std::string can only run out of memory; "" needs none.
    }
#pragma GCC diagnostic pop
    KOVA_LOG(LOG_ERR, "Failed to format: %s", fmt.c_str());
    return std::string();
}

}  // namespace quilkova

#endif
