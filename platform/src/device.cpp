// Device facts of the generic platform.
#include "quilplatform/device.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "last_error.hpp"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_file.h"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

namespace {

constexpr const char* kDeviceFile = "/etc.defaults/quilinfo.conf";
constexpr const char* kNoAddress = "00:00:00:00:00:00";

// One key of the device file; its length, or -1 (last error set) when missing.
int ReadFact(const char* key, char* buffer, int size) {
    if (buffer == nullptr || size <= 0) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    const int length = QLIBCFileGetKeyValue(kDeviceFile, key, buffer, size, 0);
    if (length == 0) {
        QLIBC_FAIL(QLIBC_ERR_NOT_FOUND);
    }
    return length > 0 ? length : -1;
}

int CopyOut(const std::string& text, char* buffer, int size) {
    std::snprintf(buffer, static_cast<size_t>(size), "%s", text.c_str());
    return static_cast<int>(std::strlen(buffer));
}

// The address of the first network interface (by name) other than loopback.
std::string FirstInterfaceAddress() {
    const std::string net = quilkova::internal::RootedPath("/sys/class/net");
    std::vector<std::string> names = quilkova::internal::DirectoryEntries(net);
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        if (name == "lo" || name[0] == '.') {
            continue;
        }
        std::string address;
        if (quilkova::internal::ReadFileNoFollow(net + "/" + name + "/address", address) != 0) {
            continue;
        }
        address.erase(address.find_last_not_of(" \n") + 1);
        if (!address.empty() && address != kNoAddress) {
            return address;
        }
    }
    return "";
}

}  // namespace

extern "C" {

int QLIBGetSerialNumber(char* buffer, int size) {
    return ReadFact("serial", buffer, size);
}

int QLIBGetOriginalSerialNumber(char* buffer, int size) {
    const int length = ReadFact("original_serial", buffer, size);
    return length > 0 ? length : ReadFact("serial", buffer, size);
}

int QUILHsinfoCloudServiceGetMacAddress(char* buffer, int size) {
    if (buffer == nullptr || size <= 0) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    const int length = ReadFact("mac", buffer, size);
    if (length > 0) {
        return length;
    }
    try {
        const std::string address = FirstInterfaceAddress();
        if (address.empty()) {
            QLIBC_FAIL(QLIBC_ERR_NOT_FOUND);
            return -1;
        }
        return CopyOut(address, buffer, size);
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

int QLIBHsinfoUserAgentGet(const char* product, char* buffer, int size) {
    if (product == nullptr || buffer == nullptr || size <= 0) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    char firmware[64] = {};
    char model[64] = {};
    if (ReadFact("firmware", firmware, sizeof(firmware)) < 0 || ReadFact("model", model, sizeof(model)) < 0) {
        buffer[0] = '\0';
        return -1;
    }
    const int length = std::snprintf(buffer, static_cast<size_t>(size), "%s/%s (%s)", product, firmware, model);
    return std::min(length, size - 1);
}

}  // extern "C"
