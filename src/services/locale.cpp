#include "services/locale.hpp"

#include "foundation/appliance_paths.hpp"
#include "foundation/platform_handles.hpp"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_file.h"
#include "quilplatform/qlibc_string.h"
#include "quilplatform/zone.h"

namespace quilkova::internal {

namespace {
constexpr int kZoneSize = 256;
constexpr int kLanguageSize = 32;
}  // namespace

Result<std::string> ReadTimezone(Where where) {
    char zone[kZoneSize] = {};
    int needed = 0;
    if (QUILZoneGet(zone, sizeof(zone), &needed) < 0) {
        KOVA_LOG_AT(where, "failed to get time zone, size need: %d, err=[0x%04X %s:%d]", needed, QLIBCErrGet(),
                    QLIBCErrorGetFile(), QLIBCErrorGetLine());
        return Error::WithoutCode();
    }
    const SzHash details(QLIBCSzHashAlloc(kHashCapacity));
    if (!details) {
        KOVA_LOG_AT(where, "Failed to alloc pTZInfo, err=[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                    QLIBCErrorGetLine());
        return Error{KOVA_ERR_SYSTEM};
    }
    if (QUILZoneGetInfo(zone, details.get()) < 0) {
        KOVA_LOG_AT(where, "failed to get timezone info[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                    QLIBCErrorGetLine());
        return Error{KOVA_ERR_SYSTEM};
    }
    const char* name = QLIBCSzHashGetValue(details.get(), "nameInTZDB");
    if (name == nullptr) {
        KOVA_LOG_AT(where, "failed to get tmz[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                    QLIBCErrorGetLine());
        return Error{KOVA_ERR_SYSTEM};
    }
    return std::string(name);
}

std::string ReadLanguage(const char* fallback) {
    char language[kLanguageSize] = {};
    if (QLIBCFileGetKeyValue(kSystemSettings, "language", language, sizeof(language), 0) < 1) {
        return fallback;
    }
    return language;
}

}  // namespace quilkova::internal
