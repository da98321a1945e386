// Growable append and trimming of C strings.
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "last_error.hpp"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_string.h"

extern "C" {

int QLIBCStrCat(char** buffer, size_t* capacity, const char* text) {
    if (buffer == nullptr || *buffer == nullptr || capacity == nullptr || *capacity == 0 || text == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    const size_t used = strnlen(*buffer, *capacity);
    if (used == *capacity) {  // not terminated within its capacity
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    const size_t added = std::strlen(text);
    const size_t needed = used + added + 1;
    if (needed > static_cast<size_t>(INT32_MAX)) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
    if (needed > *capacity) {
        size_t grown = *capacity * 2;
        if (grown < needed) {
            grown = needed;
        }
        char* bigger = static_cast<char*>(std::realloc(*buffer, grown));
        if (bigger == nullptr) {
            QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
            return -1;
        }
        *buffer = bigger;
        *capacity = grown;
    }
    std::memcpy(*buffer + used, text, added + 1);
    return static_cast<int>(used + added);
}

char* QLIBCStrTrimSpace(char* text) {
    if (text == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return nullptr;
    }
    size_t start = 0;
    while (text[start] != '\0' && std::isspace(static_cast<unsigned char>(text[start]))) {
        ++start;
    }
    size_t end = std::strlen(text + start) + start;
    while (end > start && std::isspace(static_cast<unsigned char>(text[end - 1]))) {
        --end;
    }
    std::memmove(text, text + start, end - start);
    text[end - start] = '\0';
    return text;
}

}  // extern "C"
