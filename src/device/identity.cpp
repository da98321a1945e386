#include "device/identity.hpp"

#include "quilkova/quilkova.h"
#include "quilplatform/device.h"
#include "quilplatform/qlibc_error.h"

namespace quilkova::internal {

namespace {
// `name` is how the failure's log line calls that serial.
Result<std::string> ReadSerialWith(int (*get)(char*, int), const char* name, Where where) {
    char serial[kSerialSize] = {};
    if (get(serial, kSerialSize) < 0) {
        KOVA_LOG_AT(where, "Failed to get %s, err=[0x%04X %s:%d]", name, QLIBCErrGet(), QLIBCErrorGetFile(),
                    QLIBCErrorGetLine());
        return Error{KOVA_ERR_SERIAL};
    }
    return std::string(serial);
}
}  // namespace

Result<std::string> ReadSerial(Where where) {
    return ReadSerialWith(QLIBGetSerialNumber, "serial number", where);
}

Result<std::string> ReadOriginalSerial(Where where) {
    return ReadSerialWith(QLIBGetOriginalSerialNumber, "original sn", where);
}

Result<std::string> ReadMac(Where where) {
    char mac[kMacSize] = {};
    if (QUILHsinfoCloudServiceGetMacAddress(mac, kMacSize) < 0) {
        KOVA_LOG_AT(where, "Failed to get mac address");
        return Error{KOVA_ERR_MAC};
    }
    return std::string(mac);
}

Result<std::string> ReadApiKey(Where where) {
    char key[kApiKeySize] = {};
    if (QUILCloudServiceGetApiKey(key, 1) < 0) {
        KOVA_LOG_AT(where, "Failed to get apikey");
        return Error{static_cast<KOVA_ERRCODE>(GetErrorCodeFromCloudService())};
    }
    return std::string(key);
}

Result<std::string> RegisterApiKey() {
    char key[kApiKeySize] = {};
    if (QUILCloudServiceRegisterApiKey(key) < 0) {
        return Error{static_cast<KOVA_ERRCODE>(GetErrorCodeFromCloudService())};
    }
    return std::string(key);
}

std::string UserAgent() {
    char agent[kUserAgentSize] = {};
    (void)ReadUserAgent(agent, sizeof(agent));
    return agent;
}

// The user agent reads "kova/<firmware> (<model>)".
Firmware ReadFirmware() {
    const std::string agent = UserAgent();
    const size_t slash = agent.find('/');
    const size_t open = agent.find(" (", slash == std::string::npos ? 0 : slash);
    const size_t close = agent.rfind(')');
    Firmware firmware;
    if (slash != std::string::npos && open != std::string::npos) {
        firmware.version = agent.substr(slash + 1, open - slash - 1);
    }
    if (open != std::string::npos && close != std::string::npos && close > open) {
        firmware.model = agent.substr(open + 2, close - open - 2);
    }
    return firmware;
}

}  // namespace quilkova::internal
