// The flat face of the account record and the service hosts.
#include "account/account_record.hpp"
#include "flat/flat.hpp"

using quilkova::internal::Flat;

extern "C" int QUILKOVAAccountGet(KOVA_INFO* info) {
    return Flat([info] { return quilkova::internal::ReadAccountRecord(info); });
}

extern "C" int QUILKOVAAccountSet(const KOVA_INFO* info) {
    return Flat([info] { return quilkova::internal::WriteAccountRecord(info); });
}

extern "C" int QUILKOVAServerConfigGet(KOVA_SERVER_CONFIG* config) {
    return Flat([config] { return quilkova::internal::ReadServerConfig(config); });
}

extern "C" int QUILPaymentConfigGet(char* url) {
    return Flat([url] { return quilkova::internal::ReadPaymentUrl(url); });
}
