// The time zone of the generic platform.
#include "quilplatform/zone.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "last_error.hpp"
#include "quilplatform/qlibc_error.h"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

namespace {

constexpr const char* kZoneinfo = "/usr/share/zoneinfo/";

std::string ConfiguredZone() {
    std::string zone;
    if (quilkova::internal::ReadFileNoFollow(quilkova::internal::RootedPath("/etc/timezone"), zone) == 0) {
        zone.erase(zone.find_last_not_of(" \t\r\n") + 1);
        zone.erase(0, zone.find_first_not_of(" \t"));
        if (!zone.empty()) {
            return zone;
        }
    }
    char target[512] = {};
    const ssize_t length =
        ::readlink(quilkova::internal::RootedPath("/etc/localtime").c_str(), target, sizeof(target) - 1);
    if (length <= 0) {
        return "";
    }
    const std::string link(target, static_cast<size_t>(length));
    const size_t at = link.find("zoneinfo/");
    return at == std::string::npos ? "" : link.substr(at + std::strlen("zoneinfo/"));
}

// The zoneinfo database under the root when it has one, else the system's.
bool ZoneExists(const std::string& zone) {
    if (zone.empty() || zone[0] == '/' || zone.find("..") != std::string::npos) {
        return false;
    }
    const std::string path = kZoneinfo + zone;
    return ::access(quilkova::internal::RootedPath(path).c_str(), R_OK) == 0 || ::access(path.c_str(), R_OK) == 0;
}

}  // namespace

extern "C" {

int QUILZoneGet(char* buffer, int size, int* needed) {
    if (buffer == nullptr || size <= 0) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    try {
        const std::string zone = ConfiguredZone();
        if (needed != nullptr) {
            *needed = static_cast<int>(zone.size()) + 1;
        }
        if (zone.empty()) {
            QLIBC_FAIL(QLIBC_ERR_NOT_FOUND);
            return -1;
        }
        if (zone.size() + 1 > static_cast<size_t>(size)) {
            QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
            return -1;
        }
        std::snprintf(buffer, static_cast<size_t>(size), "%s", zone.c_str());
        return 0;
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

int QUILZoneGetInfo(const char* zone, PQLIBCSzHash info) {
    if (zone == nullptr || info == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    try {
        if (QLIBCSzHashSetValue(info, "name", zone) < 0) {
            return -1;
        }
        if (!ZoneExists(zone)) {
            QLIBC_FAIL(QLIBC_ERR_NOT_FOUND);
            return -1;
        }
        return QLIBCSzHashSetValue(info, "nameInTZDB", zone) < 0 ? -1 : 0;
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

}  // extern "C"
