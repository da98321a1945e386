// The platform's string hash and string list.
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "last_error.hpp"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_string.h"

struct QLIBCSzHash {
    std::vector<std::pair<std::string, std::optional<std::string>>> entries;
    std::unordered_map<std::string, size_t> index;
};

struct QLIBCSzList {
    std::vector<std::string> items;
};

namespace {
// A new container with room for `capacity` entries; NULL and the last error on failure.
template <typename Container, typename Member>
Container* NewContainer(int capacity, Member member) {
    if (capacity <= 0) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return nullptr;
    }
    try {
        auto container = std::make_unique<Container>();
        ((*container).*member).reserve(static_cast<size_t>(capacity));
        return container.release();
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
}
}  // namespace

extern "C" {

PQLIBCSzHash QLIBCSzHashAlloc(int capacity) {
    return NewContainer<QLIBCSzHash>(capacity, &QLIBCSzHash::entries);
}

void QLIBCSzHashFree(PQLIBCSzHash hash) {
    delete hash;
}

int QLIBCSzHashSetValue(PQLIBCSzHash hash, const char* key, const char* value) {
    if (hash == nullptr || key == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    try {
        std::optional<std::string> stored;
        if (value != nullptr) {
            stored = value;
        }
        const auto found = hash->index.find(key);
        if (found != hash->index.end()) {
            hash->entries[found->second].second = std::move(stored);
            return 0;
        }
        hash->entries.emplace_back(key, std::move(stored));
        try {
            hash->index.emplace(key, hash->entries.size() - 1);
        } catch (...) {
            hash->entries.pop_back();
            throw;
        }
        return 0;
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

const char* QLIBCSzHashGetValue(PQLIBCSzHash hash, const char* key) {
    if (hash == nullptr || key == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return nullptr;
    }
    try {
        const auto found = hash->index.find(key);
        if (found == hash->index.end() || !hash->entries[found->second].second) {
            QLIBC_FAIL(QLIBC_ERR_NOT_FOUND);
            return nullptr;
        }
        return hash->entries[found->second].second->c_str();
    } catch (const std::bad_alloc&) {  // the lookup key is built as a string
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
}

int QLIBCSzHashCount(PQLIBCSzHash hash) {
    if (hash == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    return static_cast<int>(hash->entries.size());
}

int QLIBCSzHashEnumKey(PQLIBCSzHash hash, PQLIBCSzList list) {
    if (hash == nullptr || list == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    try {
        for (const auto& entry : hash->entries) {
            list->items.push_back(entry.first);
        }
        return static_cast<int>(hash->entries.size());
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

PQLIBCSzList QLIBCSzListAlloc(int capacity) {
    return NewContainer<QLIBCSzList>(capacity, &QLIBCSzList::items);
}

void QLIBCSzListFree(PQLIBCSzList list) {
    delete list;
}

int QLIBCSzListAdd(PQLIBCSzList list, const char* text) {
    if (list == nullptr || text == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    try {
        list->items.emplace_back(text);
        return 0;
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

int QLIBCSzListCount(PQLIBCSzList list) {
    if (list == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    return static_cast<int>(list->items.size());
}

const char* QLIBCSzListGet(PQLIBCSzList list, int index) {
    if (list == nullptr || index < 0 || static_cast<size_t>(index) >= list->items.size()) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return nullptr;
    }
    return list->items[static_cast<size_t>(index)].c_str();
}

}  // extern "C"
