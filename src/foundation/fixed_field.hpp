#ifndef QUILKOVA_FOUNDATION_FIXED_FIELD_HPP
#define QUILKOVA_FOUNDATION_FIXED_FIELD_HPP

#include <cstdio>
#include <cstring>
#include <string>

// Copies between std::string and the fixed-width text fields of the flat
// records, which the caller owns and may not have terminated.
namespace quilkova::internal {

// "%s" into the field, cut to its width, always terminated.
template <size_t N>
void CopyField(char (&field)[N], const std::string& value) {
    std::snprintf(field, N, "%s", value.c_str());
}

// The field's text up to its terminator or its end, whichever comes first.
template <size_t N>
std::string FieldText(const char (&field)[N]) {
    return std::string(field, strnlen(field, N));
}

}  // namespace quilkova::internal

#endif
