// The token file and the cached package configuration as found on disk:
// whatever they hold, reading them never crashes and never throws anything
// but the library's own exception.
#include <sys/stat.h>

#include <string>

#include "foundation/log.hpp"
#include "fuzz_root.hpp"
#include "operations/package_pkce_client_impl.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/pkce_client.hpp"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const std::string root = FuzzRoot();
    for (const char* directory : {"/usr", "/usr/quil", "/usr/quil/etc", "/usr/quil/etc/quillion-account",
                                  "/usr/quil/etc/quillion-account/private", "/tmp"}) {
        ::mkdir((root + directory).c_str(), 0700);
    }
    quilkova::internal::SetLogSink([](int, const std::string&) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    WriteRaw(FuzzRoot() + "/usr/quil/etc/quillion-account/private/hos_token.json", text);
    const quilkova::PkceClient client("hos");
    client.GetExpiredAt();
    client.IsTokenExpired();
    for (const char* key : {"access_token", "id_token", "refresh_token", "created_at"}) {
        try {
            client.GetPkceTokenVal(key);
        } catch (const quilkova::KovaException&) {
        }
    }
    WriteRaw(FuzzRoot() + "/tmp/account_fuzz_pkce_client.conf", text);
    ::chmod((FuzzRoot() + "/tmp/account_fuzz_pkce_client.conf").c_str(), 0600);
    Json::Value config;
    long long created_at = 0;
    const quilkova::PackagePkceClientImpl package("fuzz");
    if (package.ReadCache(config, created_at)) {
        try {
            client.FormatPkceConfig(config);
        } catch (const quilkova::KovaException&) {
        }
    }
    return 0;
}
