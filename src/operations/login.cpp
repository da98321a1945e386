// Binding the appliance to an account: by e-mail and password, by an OAuth
// access token, or by a user id and auth key proven with a query.
#include <string>

#include "account/account_record.hpp"
#include "account/user_impl.hpp"
#include "device/identity.hpp"
#include "device/plugin_context.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"
#include "operations/account_operations.hpp"
#include "services/account_steps.hpp"
#include "operations/appliance_tokens.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilplatform/cloud_service.h"
#include "quilplatform/notify.h"
#include "services/report_job.hpp"

namespace quilkova::internal {

namespace {

constexpr unsigned int kLoginEvent = 0x13A00001;

Error BadParameters() {
    KOVA_LOG(LOG_ERR, "Bad Parameters");
    return Error{KOVA_ERR_BAD_PARAM};
}

// As the login always reported it: -1 with the slot as it was (0).
Error PluginInitFailed() {
    KOVA_LOG(LOG_ERR, "QLIBPluginSDKInit failed");
    return Error::WithoutCode();
}

// What identifies the device in every login form.
struct Device {
    std::string host;
    std::string serial;
    std::string mac;
    std::string api_key;
};

Result<Device> ReadDevice(bool with_host) {
    Device device;
    if (with_host) {
        const std::string host = AccountHost();
        device.host = host;
    }
    for (auto [read, into] : {std::pair{&ReadSerial, &device.serial}, std::pair{&ReadMac, &device.mac},
                              std::pair{&ReadApiKey, &device.api_key}}) {
        KOVA_TRY(fact, read(KOVA_HERE));
        *into = fact;
    }
    return device;
}

// Sends the login form and parses the answer into `answer`; succeeds when
// the service said "good". An unknown API key is replaced once and the form
// sent again; an expired one is handed to the cloud-service library. A
// refusal is logged with the service's answer (and the e-mail, when given).
Status SendLogin(const std::string& host, const char* path, QLIBCSzHash* form, Json::Value& answer,
                 const char* email) {
    Response response;
    KOVA_TRY_STATUS(SendForm(host, path, form, false, response, answer, KOVA_HERE));
    if (!answer.isObject() || !answer.isMember("code")) {
        KOVA_LOG(LOG_ERR, "bad response, no code");
        return Error{KOVA_ERR_RESPONSE};
    }
    auto code = static_cast<KOVA_ERRCODE>(GetErrorCodeFromAccountError(CodeOf(answer).c_str()));
    if (code == KOVA_ERR_APIKEY_NOT_FOUND) {
        const Result<std::string> key = RegisterNewApiKey(KOVA_HERE);
        if (!key) {
            return Error{code};
        }
        SetField(form, "api_key", key.value());
        KOVA_TRY_STATUS(SendForm(host, path, form, false, response, answer, KOVA_HERE));
        code = static_cast<KOVA_ERRCODE>(GetErrorCodeFromAccountError(CodeOf(answer).c_str()));
    } else if (code == KOVA_ERR_APIKEY_EXPIRED) {
        QUILCloudServiceActionHandler(QUIL_CLOUD_SERVICE_ACTION_APIKEY_EXPIRED, 0);
    }
    if (code == KOVA_ERR_SUCCESS) {
        return Done{};
    }
    if (email != nullptr) {
        KOVA_LOG(LOG_ERR, "Failed to login %s, resp=%s", email, response.Redacted().c_str());
    } else {
        KOVA_LOG(LOG_ERR, "Failed to login, resp=%s", response.Redacted().c_str());
    }
    return Error{code};
}

// Stores the user id and auth key as given; only a failed write fails.
Status StoreIdentity(const std::string& user_id, const std::string& auth_key) {
    const UserImpl user;
    Status stored = user.SetUserId(user_id);
    if (stored) {
        stored = user.SetAuthKey(auth_key);
    }
    if (!stored) {
        KOVA_LOG(LOG_ERR, "Failed to set user: %s", FailureText(stored.error()).c_str());
    }
    return stored;
}

void ScheduleAndRecord(const std::string& email) {
    RegisterReportUnlessDisabled(KOVA_HERE);
    KOVA_LOG(LOG_ERR, "Logged in KoVA Center as %s", email.c_str());
    QUILLogSet1(2, 1, kLoginEvent, email.c_str(), "", "", "");
}

// The query that fills the rest of the record; its outcome does not decide the login's.
void RefreshProfile() {
    (void)Capture([] { return QueryAccount(true, true); });
}

// Action 5 of "kova/login"; the login succeeds only when the plug-ins ran
// (a failure leaves the slot as it was, 0).
Status FirePostLogin(const PluginContext& plugins) {
    if (!plugins.Fire(QLIB_PLUGIN_ACTION_POST)) {
        KOVA_LOG(LOG_ERR, "QLIBPluginAction failed, action=%u", static_cast<unsigned int>(QLIB_PLUGIN_ACTION_POST));
        return Error::WithoutCode();
    }
    return Done{};
}

// Binds the account of a good answer: record, schedule, log, profile, plug-ins.
Status BindAnsweredAccount(const PluginContext& plugins, const Json::Value& answer, const std::string& email) {
    const std::string user_id = TextOf(answer["id"]);
    KOVA_TRY_STATUS(StoreIdentity(user_id, TextOf(answer["auth_key"])));
    ForgetOtherAccountsTokens(user_id);
    ScheduleAndRecord(email);
    RefreshProfile();
    return FirePostLogin(plugins);
}

// A query that never got the service's answer proves nothing against a key
// pair: a lock anyone can hold, privileges, the device or the network.
bool IsLocalOrTransportFailure(KOVA_ERRCODE code) {
    switch (code) {
        case KOVA_ERR_TOKEN:  // the query's lock
        case KOVA_ERR_SEND:   // nothing came back
        case KOVA_ERR_SYSTEM:  // privileges, memory
        case KOVA_ERR_SERIAL:
        case KOVA_ERR_CONFIG_WRITE:
        case KOVA_ERR_SERVER_CONFIG:
            return true;
        default:
            return false;
    }
}

}  // namespace

Status PasswordLogin(const char* email, const char* password, Json::Value& answer, bool check_only) {
    if (email == nullptr || password == nullptr) {
        return BadParameters();
    }
    const PluginContext plugins("kova/login", email);
    if (!plugins.opened()) {
        return PluginInitFailed();
    }
    KOVA_TRY(device, ReadDevice(true));
    KOVA_TRY(form, NewForm(KOVA_HERE));
    QLIBCSzHash* fields = form.get();
    SetField(fields, "type", "acnt_pw_apikey");
    SetField(fields, EntryOf(Field::Email).form, email);
    SetField(fields, "passwd", password);
    SetField(fields, "serial_no", device.serial);
    SetField(fields, "api_key", device.api_key);
    SetField(fields, "mac", device.mac);
    KOVA_TRY_STATUS(SendLogin(device.host, "device/api/password_login", fields, answer, email));
    if (check_only) {
        return Done{};  // the credentials are good; nothing is stored, scheduled or fired
    }
    return BindAnsweredAccount(plugins, answer, email);
}

Status OauthLogin(Json::Value& answer, const char* access_token) {
    if (access_token == nullptr) {
        return BadParameters();
    }
    const PluginContext plugins("kova/login", nullptr);
    if (!plugins.opened()) {
        return PluginInitFailed();
    }
    KOVA_TRY(device, ReadDevice(true));
    const std::string language = ReadLanguage("");
    KOVA_TRY(zone, ReadTimezone(KOVA_HERE));
    KOVA_TRY(form, NewForm(KOVA_HERE));
    QLIBCSzHash* fields = form.get();
    SetField(fields, "language", language);
    SetField(fields, "access_token", access_token);
    SetField(fields, EntryOf(Field::Timezone).form, zone);
    SetField(fields, "api_key", device.api_key);
    SetField(fields, "mac", device.mac);
    SetField(fields, "serial_no", device.serial);
    KOVA_TRY_STATUS(SendLogin(device.host, "good/user/launch", fields, answer, nullptr));
    return BindAnsweredAccount(plugins, answer, TextOf(answer[EntryOf(Field::Email).member]));
}

Status LoginByKey(const char* user_id, const char* auth_key, Json::Value& output) {
    if (user_id == nullptr || auth_key == nullptr) {
        return BadParameters();
    }
    if (const Result<std::string> api_key = ReadApiKey(KOVA_HERE); !api_key) {
        return api_key.error();
    }
    const PluginContext plugins("kova/login", nullptr);
    if (!plugins.opened()) {
        return PluginInitFailed();
    }
    KOVA_TRY(before, UserImpl::CopyRecord());
    KOVA_TRY_STATUS(StoreIdentity(user_id, auth_key));
    const Result<Json::Value> account = Capture([] { return QueryAccount(true, true); });
    if (!account) {
        KOVA_LOG(LOG_ERR, "QUILKOVAAccountQueryInfo failed");
        // A pair the service did not prove leaves the record as it was: no
        // account when there was none, else the one bound before.
        UserImpl::RestoreRecord(before);
        return IsLocalOrTransportFailure(account.error().code) ? account.error() : Error{KOVA_ERR_AUTH};
    }
    ForgetOtherAccountsTokens(user_id);
    for (const Field field : {Field::Email, Field::AuthKey, Field::IsActivated}) {
        const char* member = EntryOf(field).member;
        output[member] = account.value()[member];
    }
    // Here the plug-ins come before the schedule and the log lines.
    if (!plugins.Fire(QLIB_PLUGIN_ACTION_POST)) {
        KOVA_LOG(LOG_ERR, "QLIBPluginAction failed, action=%d", static_cast<int>(QLIB_PLUGIN_ACTION_POST));
        return Error::WithoutCode();
    }
    ScheduleAndRecord(TextOf(account.value()[EntryOf(Field::Email).member]));
    return Done{};
}

}  // namespace quilkova::internal
