// The cloud accounts other services of the appliance already use.
#include <cstdio>
#include <string>

#include "internal/flat_boundary.hpp"
#include "internal/json_utils.hpp"
#include "internal/log.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/process.h"
#include "quilplatform/qlibc_string.h"

namespace {

using quilkova::internal::TextOf;

constexpr const char* kRelayFile = "/usr/quil/etc/quilrelayd/quilrelayd.conf";
constexpr const char* kDdnsTool = "/usr/quil/sbin/quilddnsinfo";
constexpr size_t kLineSize = 1024;

void AddEntry(Json::Value& result, const std::string& account, const char* type, const std::string& value) {
    Json::Value entry(Json::objectValue);
    entry["type"] = type;
    entry["value"] = value;
    Json::Value& services = result[account]["services"];
    if (!services.isArray()) {
        services = Json::Value(Json::arrayValue);
    }
    services.append(entry);
}

void ScanStore(Json::Value& result) {
    char email[4096] = {};
    if (QUILPaymentKoVAAccountGet(email, sizeof(email)) == 0 && email[0] != '\0') {
        AddEntry(result, email, "package", "Quillion Antivirus");
    }
}

void ScanRelay(Json::Value& result) {
    Json::Value relay;
    if (!quilkova::internal::LoadJsonFile(kRelayFile, relay) || !relay.isObject()) {
        return;
    }
    const Json::Value& alias = relay["server_alias"];
    const Json::Value& kova = relay["server_kova"];
    if (alias.isObject() && alias.isMember("alias") && kova.isObject()) {
        const std::string account = TextOf(kova["account"]);
        if (!account.empty()) {
            AddEntry(result, account, "linkanywhere", TextOf(alias["alias"]));
        }
    }
}

// The first line the DDNS tool prints for `option`, trimmed; "" when it cannot run or fails.
std::string AskDdnsTool(const char* option) {
    FILE* out = QLIBCPopen(kDdnsTool, "r", option, static_cast<char*>(nullptr));
    if (out == nullptr) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to open pipe");
        return "";
    }
    char line[kLineSize] = {};
    const bool read = std::fgets(line, sizeof(line), out) != nullptr;
    if (QLIBCPclose(out) != 0 || !read) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to execute ddns command, option=%s", option);
        return "";
    }
    return QLIBCStrTrimSpace(line);
}

void ScanDdns(Json::Value& result) {
    const std::string account = AskDdnsTool("--get-quil-account");
    if (account.empty()) {
        return;
    }
    const std::string host = AskDdnsTool("--get-quil-hostname");
    if (!host.empty()) {
        AddEntry(result, account, "ddns", host);
    }
}

}  // namespace

extern "C" int QUILKOVAAccountScanExisting(Json::Value& result) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    return quilkova::internal::GuardFlat([&result] {
        result = Json::Value(Json::objectValue);
        // No source fails the scan: each adds its entry or nothing.
        ScanStore(result);
        ScanRelay(result);
        ScanDdns(result);
        QUILKOVAErrSet(KOVA_ERR_SUCCESS);
        return 0;
    });
}
