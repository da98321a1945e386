// The flat face of the account's operations.
#include "flat/flat.hpp"
#include "operations/account_operations.hpp"

namespace op = quilkova::internal;
using quilkova::internal::Flat;

extern "C" int QUILKOVAAccountLogin(const char* email, const char* password, Json::Value& answer, bool checkOnly) {
    return Flat([&] { return op::PasswordLogin(email, password, answer, checkOnly); });
}

extern "C" int QUILKOVAAccountOauthLogin(Json::Value& answer, const char* accessToken) {
    return Flat([&] { return op::OauthLogin(answer, accessToken); });
}

extern "C" int QUILKOVAAccountLoginByKey(const char* userId, const char* authKey, Json::Value& output) {
    return Flat([&] { return op::LoginByKey(userId, authKey, output); });
}

extern "C" int QUILKOVAAccountQueryInfo(Json::Value& result, bool queryAllowed, bool shortTimeout) {
    return Flat([&]() -> op::Status {
        op::Result<Json::Value> account = op::QueryAccount(queryAllowed, shortTimeout);
        if (!account) {
            return account.error();
        }
        result.swap(account.value());
        return op::Done{};
    });
}

extern "C" int QUILKOVAAccountRegister(const char* email, const char* password, const char* fullName,
                                       bool criticalRelease, bool enews, bool enewsLocalPromotion, const char* country) {
    return Flat([&] {
        return op::RegisterAccount(email, password, fullName, criticalRelease, enews, enewsLocalPromotion, country);
    });
}

extern "C" int QUILKOVAAccountSetInfo(const char* fullName, const char* email, const char* password,
                                      const char* newPassword, const char* country, const char* notifyLanguage,
                                      const char* timezone, int enews, int criticalRelease, int enewsLocalPromotion,
                                      const char* criticalVersionList) {
    return Flat([&] {
        return op::UpdateAccount({fullName, email, password, newPassword, country, notifyLanguage, timezone, enews,
                                  criticalRelease, enewsLocalPromotion, criticalVersionList});
    });
}

extern "C" int QUILKOVAAccountLogout(bool remote) {
    return Flat([remote] { return op::LogoutAccount(remote); });
}

extern "C" int QUILKOVAAccountRemove(void) {
    return Flat([] { return op::RemoveAccount(); });
}

extern "C" int QUILKOVAAccountScanExisting(Json::Value& result) {
    return Flat([&result] { return op::ScanExistingAccounts(result); });
}

extern "C" int QUILKOVAGetIframeInfo(Json::Value& info) {
    return Flat([&info] { return op::ReadIframeInfo(info); });
}

extern "C" int QUILKOVAHandleApiKeyError(Json::Value& info, const char* code) {
    return Flat([&] { return op::HandleApiKeyError(info, code); });
}
