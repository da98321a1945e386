// Notifications and system-log events: JSON lines appended to files under
// /var/log/quil, and syslog.
#include "quilplatform/notify.h"

#include <fcntl.h>
#include <json/json.h>
#include <syslog.h>
#include <unistd.h>

#include <memory>
#include <new>
#include <string>

#include "last_error.hpp"
#include "quilplatform/qlibc_error.h"
#include "util/root_prefix.hpp"

namespace {

// One write per line, so lines of concurrent writers never interleave.
int AppendLine(const char* path, const Json::Value& record) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    const std::string line = Json::writeString(builder, record) + "\n";
    const std::string real_path = quilkova::internal::RootedPath(path);
    quilkova::internal::MakeParentDirectories(real_path);
    const int fd = ::open(real_path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) {
        QLIBC_FAIL(QLIBC_ERR_FILE_OPEN);
        return -1;
    }
    const bool written = ::write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    ::close(fd);
    if (!written) {
        QLIBC_FAIL(QLIBC_ERR_FILE_WRITE);
        return -1;
    }
    syslog(LOG_NOTICE, "%s", line.c_str());
    return 0;
}

}  // namespace

extern "C" {

int QUILSysNotifySendNotifiction(const char* tag, PQLIBCSzHash params) {
    if (tag == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    try {
        Json::Value record;
        record["tag"] = tag;
        record["params"] = Json::objectValue;
        const int count = params != nullptr ? QLIBCSzHashCount(params) : 0;
        const std::unique_ptr<QLIBCSzList, void (*)(PQLIBCSzList)> keys(count > 0 ? QLIBCSzListAlloc(count) : nullptr,
                                                                        QLIBCSzListFree);
        if (count > 0 && (!keys || QLIBCSzHashEnumKey(params, keys.get()) != count)) {
            return -1;  // the last error is the container's
        }
        for (int i = 0; i < count; ++i) {
            const char* key = QLIBCSzListGet(keys.get(), i);
            const char* value = QLIBCSzHashGetValue(params, key);
            record["params"][key] = value != nullptr ? value : "";
        }
        return AppendLine("/var/log/quil/notifications.jsonl", record);
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

int QUILLogSet1(int type, int level, unsigned int eventCode, const char* arg1, const char* arg2, const char* arg3,
                const char* arg4) {
    try {
        Json::Value record;
        record["type"] = type;
        record["level"] = level;
        record["event"] = eventCode;
        record["args"] = Json::arrayValue;
        for (const char* arg : {arg1, arg2, arg3, arg4}) {
            record["args"].append(arg != nullptr ? arg : "");
        }
        return AppendLine("/var/log/quil/events.jsonl", record);
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

}  // extern "C"
