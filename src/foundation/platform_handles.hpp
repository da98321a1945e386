#ifndef QUILKOVA_FOUNDATION_PLATFORM_HANDLES_HPP
#define QUILKOVA_FOUNDATION_PLATFORM_HANDLES_HPP

#include <cstdlib>
#include <memory>

#include "quilplatform/qlibc_string.h"

// Owners of the platform's string containers and growable texts, released on
// every path.
namespace quilkova::internal {

struct SzHashDeleter {
    void operator()(QLIBCSzHash* hash) const { QLIBCSzHashFree(hash); }
};
struct SzListDeleter {
    void operator()(QLIBCSzList* list) const { QLIBCSzListFree(list); }
};
using SzHash = std::unique_ptr<QLIBCSzHash, SzHashDeleter>;
// The capacity every string hash of the library is made with (forms, zone
// details, notification parameters).
constexpr int kHashCapacity = 1024;
using SzList = std::unique_ptr<QLIBCSzList, SzListDeleter>;

// A zeroed heap text grown by QLIBCStrCat; `text` is null when it could not
// be allocated.
class HeapText {
public:
    explicit HeapText(size_t capacity)
        : text_(static_cast<char*>(std::calloc(capacity, 1))), capacity_(text_ != nullptr ? capacity : 0) {}
    ~HeapText() { std::free(text_); }
    HeapText(const HeapText&) = delete;
    HeapText& operator=(const HeapText&) = delete;

    const char* text() const { return text_; }
    bool Append(const char* more) { return QLIBCStrCat(&text_, &capacity_, more) >= 0; }

private:
    char* text_;
    size_t capacity_;
};

}  // namespace quilkova::internal

#endif
