// The flat face of the device's identity.
#include "device/identity.hpp"
#include "flat/flat.hpp"

using quilkova::internal::Flat;

extern "C" int QUILKOVAGetSerialNumber(char* buffer, size_t size) {
    return Flat([&] { return quilkova::internal::ReadCheckedSerial(buffer, size); });
}

extern "C" int QUILKOVAGenerateToken(const char* accountId, const char* password, char* serial, size_t serialSize,
                                     char* token, size_t tokenSize) {
    return Flat([&] {
        return quilkova::internal::GenerateDeviceToken(accountId, password, serial, serialSize, token, tokenSize);
    });
}

extern "C" int QUILKOVAUserAgentNameGet(char* buffer, int size) {
    return Flat([&] { return quilkova::internal::ReadUserAgent(buffer, size); });
}
