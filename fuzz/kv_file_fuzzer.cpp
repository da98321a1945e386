// The key/value files: whatever the file holds and whatever key and value are
// written, a write that is accepted reads back as written and changes no other key.
#include <sys/stat.h>

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "fuzz_root.hpp"
#include "quilplatform/qlibc_file.h"

namespace {
constexpr const char* kFile = "/etc/fuzz.conf";

std::string Get(const std::string& key) {
    std::vector<char> buffer(1 << 20);
    const int length = QLIBCFileGetKeyValue(kFile, key.c_str(), buffer.data(), static_cast<int>(buffer.size()), 0);
    return length > 0 ? std::string(buffer.data(), static_cast<size_t>(length)) : "";
}

std::map<std::string, std::string> All() {
    std::map<std::string, std::string> values;
    PQLIBCSzList keys = QLIBCSzListAlloc(16);
    const int count = QLIBCFileGetKeys(kFile, keys);
    for (int i = 0; i < count; ++i) {
        const std::string key = QLIBCSzListGet(keys, i);
        values[key] = Get(key);
    }
    QLIBCSzListFree(keys);
    return values;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t first = input.find('\0');
    const size_t second = first == std::string::npos ? std::string::npos : input.find('\0', first + 1);
    if (second == std::string::npos) {
        return 0;
    }
    const std::string key = input.substr(0, first);
    const std::string value = input.substr(first + 1, second - first - 1);
    std::string content = input.substr(second + 1);
    for (char& c : content) {
        c = c == '\0' ? ' ' : c;
    }
    ::mkdir((FuzzRoot() + "/etc").c_str(), 0755);
    WriteRaw(FuzzRoot() + kFile, content);
    std::map<std::string, std::string> expected = All();
    if (QLIBCFileSetKeyValue(kFile, key.c_str(), value.c_str(), "%s=\"%s\"\n") != 0) {
        if (All() != expected) {
            std::abort();  // a refused write changed the file
        }
        return 0;
    }
    expected[key] = value;
    if (All() != expected) {
        std::abort();  // the value did not come back, or another key changed
    }
    return 0;
}
