#ifndef QUILKOVA_OPERATIONS_ACCOUNT_OPERATIONS_HPP
#define QUILKOVA_OPERATIONS_ACCOUNT_OPERATIONS_HPP

#include <json/json.h>

#include "foundation/result.hpp"

// The account's operations, one each: what the flat QUILKOVA* functions and
// AccountService run. Each returns its outcome and logs its own lines; none
// touches the error slot.
namespace quilkova::internal {

// Logs in with e-mail and password (only checks them with `check_only`);
// `answer` receives the service's answer.
Status PasswordLogin(const char* email, const char* password, Json::Value& answer, bool check_only);
// Logs in with an access token obtained elsewhere.
Status OauthLogin(Json::Value& answer, const char* access_token);
// Binds a known user id and auth key, proven by a query.
Status LoginByKey(const char* user_id, const char* auth_key, Json::Value& output);

// The record refreshed from the service when due (a day old, or 5 minutes
// with `query_allowed`), then read as JSON.
Result<Json::Value> QueryAccount(bool query_allowed, bool short_timeout);

Status RegisterAccount(const char* email, const char* password, const char* full_name, bool critical_release,
                       bool enews, bool enews_local_promotion, const char* country);

// What the update changes; null texts and negative flags are left as they are.
struct ProfileChanges {
    const char* full_name;
    const char* email;
    const char* password;
    const char* new_password;
    const char* country;
    const char* notify_language;
    const char* timezone;
    int enews;
    int critical_release;
    int enews_local_promotion;
    const char* critical_version_list;
};
Status UpdateAccount(const ProfileChanges& changes);

// At the service and then here (`remote`), or only here.
Status LogoutAccount(bool remote);
// The record deleted, the "kova/logout" plug-ins told first.
Status RemoveAccount();

// The accounts other services of the appliance use, by e-mail.
Status ScanExistingAccounts(Json::Value& result);
// What the service's embedded pages need to know of the device.
Status ReadIframeInfo(Json::Value& info);
// A new API key when the service says it knows none ("apikey_not_found").
Status HandleApiKeyError(Json::Value& info, const char* code);

// The scheduled report of the appliance's state; logs the account out when
// the service no longer knows it.
Status ReportInfo();

}  // namespace quilkova::internal

#endif
