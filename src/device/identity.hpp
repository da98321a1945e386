#ifndef QUILKOVA_DEVICE_IDENTITY_HPP
#define QUILKOVA_DEVICE_IDENTITY_HPP

#include <string>

#include "foundation/log.hpp"
#include "foundation/result.hpp"
#include "quilplatform/cloud_service.h"

// The appliance's identity as the account service knows it: serial numbers,
// MAC address, user agent with firmware and model, API key, device token.
// Both faces read it here. A reader that fails logs its message as written at
// `where` (the operation's line) and returns its code.
namespace quilkova::internal {

// The platform's buffers for these facts, each zeroed before it is filled.
constexpr int kSerialSize = 36;
constexpr int kMacSize = 24;
constexpr int kUserAgentSize = 256;
constexpr int kApiKeySize = QUIL_CLOUD_SERVICE_APIKEY_SIZE;
constexpr int kDeviceTokenSize = 33;  // 32 hex digits and the terminator

// 8 "Failed to get serial number, err=[0x%04X %s:%d]"
Result<std::string> ReadSerial(Where where);
// 8 "Failed to get original sn, err=[0x%04X %s:%d]"
Result<std::string> ReadOriginalSerial(Where where);
// 20 "Failed to get mac address"
Result<std::string> ReadMac(Where where);
// The stored key (one is registered when none is); "Failed to get apikey" and
// the cloud-service library's code (which may be 0).
Result<std::string> ReadApiKey(Where where);
// A freshly registered key; the cloud-service library's code, nothing logged.
Result<std::string> RegisterApiKey();

// "kova/<firmware> (<model>)" into `buffer`; a platform without one leaves it
// empty and is only logged. 1 for a null buffer or a size below 1.
Status ReadUserAgent(char* buffer, int size);
// The same as a string ("" when there is none).
std::string UserAgent();

// The firmware version and model the user agent names.
struct Firmware {
    std::string version;
    std::string model;
};
Firmware ReadFirmware();

// The serial number from the device's flash, checked (its first character a
// letter or a digit), copied into `buffer` (cut to `size`): 1, 8.
Status ReadCheckedSerial(char* buffer, size_t size);
// The device token of a serial (read from flash when `serial` is empty),
// account id and password: 32 hex digits into `token`. 1, 6, 8, 22.
Status GenerateDeviceToken(const char* account_id, const char* password, char* serial, size_t serial_size,
                           char* token, size_t token_size);

}  // namespace quilkova::internal

#endif
