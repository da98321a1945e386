// The store client: the account store purchases were made with, and the
// bound account's purchases at the payment host.
#include "services/store_client.hpp"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "account/account_record.hpp"
#include "account/profile.hpp"
#include "device/identity.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"
#include "services/account_steps.hpp"
#include "quilplatform/qlibc_file.h"
#include "transport/http.hpp"

namespace quilkova::internal {

namespace {

constexpr long kPaymentTimeoutMs = 120000;  // the flat sender's long class
constexpr size_t kLongestAccount = 65536;

// One JSON request to the payment host: the answer object, or 4 (not sent),
// 5 (status), 2 (not a JSON object) or the code the answer maps to.
Result<Json::Value> PaymentRequest(const std::string& host, const char* path, const Json::Value& request) {
    KOVA_TRY(response, http::Post(http::Url{host + "/" + path}, http::Body{CompactJson(request), "application/json"},
                                  http::UserAgent{UserAgent()}, http::Timeout{kPaymentTimeoutMs}));
    if (response.error.code != http::ErrorCode::OK) {
        KOVA_LOG(LOG_ERR, "Failed to send payment request %s, reqcode=%d, reqmsg=%s", path,
                 static_cast<int>(response.error.code), response.error.message.c_str());
        return Error{KOVA_ERR_SEND};
    }
    if (response.status_code != 200) {
        KOVA_LOG(LOG_ERR, "Failed to get payment response %s, code=%ld", path, response.status_code);
        return Error{KOVA_ERR_RESPONSE};
    }
    Json::Value answer;
    if (!ParseJson(response.text, answer) || !answer.isObject()) {
        return Error{KOVA_ERR_BAD_JSON};
    }
    const auto code = static_cast<KOVA_ERRCODE>(GetErrorCodeFromAccountError(CodeOf(answer).c_str()));
    if (code != KOVA_ERR_SUCCESS) {
        return Error{code};
    }
    return answer;
}

}  // namespace

Status PurchaseListFrom(const std::string& host, Json::Value& purchases) {
    KOVA_TRY(account, ReadBoundAccount());
    KOVA_TRY(serial, ReadSerial(KOVA_HERE));
    Json::Value request(Json::objectValue);
    request[EntryOf(Field::UserId).form] = account.Text(Field::UserId);
    request[EntryOf(Field::AuthKey).form] = account.Text(Field::AuthKey);
    request["serial_no"] = serial;
    KOVA_TRY(answer, PaymentRequest(host, "api/v1/device/purchase/list", request));
    if (!answer["purchases"].isArray()) {
        return Error{KOVA_ERR_BAD_JSON};
    }
    purchases = answer["purchases"];
    return Done{};
}

Status PurchaseList(Json::Value& purchases) {
    return PurchaseListFrom(PaymentHost(), purchases);
}

Result<std::string> ReadStoreAccount(size_t room) {
    if (room == 0) {
        return Error{KOVA_ERR_BAD_PARAM};
    }
    // One byte more than the room (within reason): a value that fills it did
    // not fit, and is refused rather than cut silently.
    std::vector<char> account(std::min(room, kLongestAccount) + 1, '\0');
    const int length = QLIBCFileGetKeyValue(kStoreFile, "account", account.data(), static_cast<int>(account.size()), 0);
    if (length < 1) {
        return Error{KOVA_ERR_NO_ACCOUNT};
    }
    if (static_cast<size_t>(length) >= account.size() - 1) {
        return Error{KOVA_ERR_BAD_PARAM};
    }
    return std::string(account.data(), static_cast<size_t>(length));
}

}  // namespace quilkova::internal
