// The plug-in SDK: executables per event, run one after another, each bounded.
#include "quilplatform/plugin.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <string>
#include <vector>

#include "last_error.hpp"
#include "platform_waits.hpp"
#include "process_runner.hpp"
#include "quilplatform/qlibc_error.h"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

struct QLIBPluginContext {
    std::string directory;  // real path of "<event>.d"
    std::string account;
};

namespace {

// Regular executable files of the directory, by name.
std::vector<std::string> Plugins(const std::string& directory) {
    std::vector<std::string> names;
    for (const std::string& name : quilkova::internal::DirectoryEntries(directory)) {
        const std::string path = directory + "/" + name;
        struct stat info {};
        if (name[0] != '.' && ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
            ::access(path.c_str(), X_OK) == 0) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

extern "C" {

int QLIBPluginSDKInit(const char* domain, const char* event, PQLIBPLUGIN* handle, const char* account) {
    if (domain == nullptr || event == nullptr || handle == nullptr || *event == '\0' ||
        std::string(event).find("..") != std::string::npos) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    try {
        *handle = new QLIBPluginContext{quilkova::internal::RootedPath("/usr/quil/lib/plugins/" + std::string(event) + ".d"),
                                        account != nullptr ? account : ""};
        return 0;
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

int QLIBPluginAction(int action, PQLIBPLUGIN handle) {
    if (handle == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    try {
        int result = 0;
        for (const std::string& name : Plugins(handle->directory)) {
            const pid_t pid = quilplatform::StartProcess({handle->directory + "/" + name, std::to_string(action)},
                                                         {"QUIL_PLUGIN_ACCOUNT=" + handle->account});
            const int status = pid < 0 ? quilplatform::kNotStarted : quilplatform::WaitProcess(pid, quilplatform::CurrentWaits().plugin_limit);
            if (status != 0) {
                QLIBC_FAIL(QLIBC_ERR_SYSTEM);
                result = -1;  // the remaining plug-ins still run
            }
        }
        return result;
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}

void QLIBPluginExit(PQLIBPLUGIN handle) {
    delete handle;
}

}  // extern "C"
