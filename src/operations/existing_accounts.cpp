// The cloud accounts other services of the appliance already use.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "foundation/appliance_paths.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"
#include "foundation/waits.hpp"
#include "operations/account_operations.hpp"
#include "services/store_client.hpp"
#include "quilplatform/process.h"
#include "quilplatform/qlibc_string.h"

namespace quilkova::internal {

namespace {

constexpr size_t kLineSize = 1024;
constexpr size_t kStoreAccountSize = 4096;

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
    const Result<std::string> email = ReadStoreAccount(kStoreAccountSize);
    if (email) {  // never an empty account
        AddEntry(result, email.value(), "package", "Quillion Antivirus");
    }
}

void ScanRelay(Json::Value& result) {
    Json::Value relay;
    if (!LoadJsonFile(kRelayFile, relay) || !relay.isObject()) {
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

// The first line of the tool's output, given at most `limit` to come: the
// tool is another package's and may print nothing, or never end.
bool ReadFirstLine(FILE* out, std::chrono::milliseconds limit, std::string& line) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::string text;
    while (text.find('\n') == std::string::npos && text.size() < kLineSize - 1) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd ready = {::fileno(out), POLLIN, 0};
        const int polled = left.count() > 0 ? ::poll(&ready, 1, static_cast<int>(left.count())) : 0;
        if (polled < 0 && errno == EINTR) {
            continue;
        }
        if (polled <= 0) {
            return false;  // nothing more in time
        }
        char chunk[256];
        const ssize_t n = ::read(ready.fd, chunk, sizeof(chunk));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            break;  // the tool closed its output
        }
        text.append(chunk, static_cast<size_t>(n));
    }
    line = text.substr(0, std::min(text.find('\n'), kLineSize - 1));
    return !text.empty();
}

// The first line the DDNS tool prints for `option`, trimmed; "" when it cannot
// run, fails, or does not answer within a few seconds.
std::string AskDdnsTool(const char* option) {
    FILE* out = QLIBCPopen(kDdnsTool, "r", option, static_cast<char*>(nullptr));
    if (out == nullptr) {
        KOVA_LOG(LOG_ERR, "Failed to open pipe");
        return "";
    }
    std::string line;
    const bool read = ReadFirstLine(out, CurrentWaits().ddns_answer, line);
    if (QLIBCPclose(out) != 0 || !read) {
        KOVA_LOG(LOG_ERR, "Failed to execute ddns command, option=%s", option);
        return "";
    }
    std::vector<char> trimmed(line.begin(), line.end());
    trimmed.push_back('\0');
    return QLIBCStrTrimSpace(trimmed.data());
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

Status ScanExistingAccounts(Json::Value& result) {
    result = Json::Value(Json::objectValue);
    // No source fails the scan: each adds its entry or nothing.
    ScanStore(result);
    ScanRelay(result);
    ScanDdns(result);
    return Done{};
}

}  // namespace quilkova::internal
