// The store client: the account store purchases were made with, and the
// bound account's purchases at the payment host.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/appliance_paths.hpp"
#include "operations/account_steps.hpp"
#include "foundation/fixed_field.hpp"
#include "foundation/flat_boundary.hpp"
#include "transport/http.hpp"
#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/qlibc_file.h"

namespace {

using namespace quilkova;
using namespace quilkova::internal;

constexpr long kPaymentTimeoutMs = 120000;  // the flat sender's long class
constexpr size_t kLongestAccount = 65536;

int Fail(KOVA_ERRCODE code) {
    QUILKOVAErrSet(code);
    return -1;
}

// One JSON request to the payment host; 0 with the answer object, or -1
// with 4 (not sent), 5 (status), 2 (not a JSON object) or the code the
// answer maps to.
int PaymentRequest(const std::string& host, const char* path, const Json::Value& request, Json::Value& answer) {
    char agent[256] = {};
    QUILKOVAUserAgentNameGet(agent, sizeof(agent));
    const http::Response response =
        http::Post(http::Url{std::string(host) + "/" + path}, http::Body{CompactJson(request), "application/json"},
                   http::UserAgent{agent}, http::Timeout{kPaymentTimeoutMs});
    if (response.error.code != http::ErrorCode::OK) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to send payment request %s, reqcode=%d, reqmsg=%s", path,
                 static_cast<int>(response.error.code), response.error.message.c_str());
        return Fail(KOVA_ERR_SEND);
    }
    if (response.status_code != 200) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to get payment response %s, code=%ld", path, response.status_code);
        return Fail(KOVA_ERR_RESPONSE);
    }
    if (!ParseJson(response.text, answer) || !answer.isObject()) {
        return Fail(KOVA_ERR_BAD_JSON);
    }
    return MapLibKovaCenterErrorCode(CodeOf(answer).c_str()) == KOVA_ERR_SUCCESS ? 0 : -1;
}

}  // namespace

int quilkova::internal::PurchaseListFrom(const std::string& host, Json::Value& purchases) {
    KOVA_INFO info = {};
    char serial[kSerialSize] = {};
    if (!ReadBoundAccount(info) || !ReadSerial(serial, KOVA_HERE)) {
        return -1;
    }
    Json::Value request(Json::objectValue);
    request["id"] = FieldText(info.user_id);
    request["auth_key"] = FieldText(info.auth_key);
    request["serial_no"] = serial;
    Json::Value answer;
    if (PaymentRequest(host, "api/v1/device/purchase/list", request, answer) != 0) {
        return -1;
    }
    if (!answer["purchases"].isArray()) {
        return Fail(KOVA_ERR_BAD_JSON);
    }
    purchases = answer["purchases"];
    return 0;
}

extern "C" int QUILPaymentKoVAAccountGet(char* email, size_t size) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (email == nullptr || size == 0) {
        return Fail(KOVA_ERR_BAD_PARAM);
    }
    return GuardFlat([email, size] {
        // One byte more than the caller's buffer holds (within reason): a value
        // that fills it did not fit, and is refused rather than cut silently.
        std::vector<char> account(std::min(size, kLongestAccount) + 1, '\0');
        const int length =
            QLIBCFileGetKeyValue(kStoreFile, "account", account.data(), static_cast<int>(account.size()), 0);
        if (length < 1) {
            return Fail(KOVA_ERR_NO_ACCOUNT);
        }
        if (static_cast<size_t>(length) >= account.size() - 1) {
            return Fail(KOVA_ERR_BAD_PARAM);
        }
        std::memcpy(email, account.data(), static_cast<size_t>(length) + 1);
        return 0;
    });
}

extern "C" int QUILKOVAAccountPurchaseList(Json::Value& purchases) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    return GuardFlat([&purchases] {
        char host[2048] = {};
        if (QUILPaymentConfigGet(host) != 0) {
            return Fail(KOVA_ERR_PAYMENT_CONFIG);
        }
        return PurchaseListFrom(host, purchases);
    });
}
