// Binding the appliance to an account: by e-mail and password, by an OAuth
// access token, or by a user id and auth key proven with a query.
#include <string>

#include "foundation/appliance_paths.hpp"
#include "operations/account_steps.hpp"
#include "foundation/flat_boundary.hpp"
#include "foundation/log.hpp"
#include "device/plugin_context.hpp"
#include "foundation/redact.hpp"
#include "report/report_schedule.hpp"
#include "account/user_impl.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/user.hpp"
#include "quilplatform/cloud_service.h"
#include "quilplatform/notify.h"
#include "quilplatform/qlibc_file.h"

namespace {

using namespace quilkova::internal;

constexpr unsigned int kLoginEvent = 0x13A00001;

int BadParameters() {
    KOVA_LOG(LOG_ERR, "%s:%d Bad Parameters");
    QUILKOVAErrSet(KOVA_ERR_BAD_PARAM);
    return -1;
}

int PluginInitFailed() {
    KOVA_LOG(LOG_ERR, "%s:%d QLIBPluginSDKInit failed");
    return -1;
}

// What identifies the device in every login form.
struct Device {
    std::string host;
    char serial[kSerialSize] = {};
    char mac[kMacSize] = {};
    char api_key[kApiKeySize] = {};

    bool Read() {
        return ResolveAccountHost(host, KOVA_HERE) && ReadSerial(serial, KOVA_HERE) && ReadMac(mac, KOVA_HERE) &&
               ReadApiKey(api_key, KOVA_HERE);
    }
};

// Sends the login form, parses the answer into `answer` and maps its code
// into the error slot. An unknown API key is replaced once and the form sent
// again; an expired one is handed to the cloud-service library. False when
// the exchange itself failed (slot set).
bool SendLogin(const std::string& host, const char* path, QLIBCSzHash* form, Json::Value& answer,
               Response& response) {
    if (!SendForm(host, path, form, false, response, answer, KOVA_HERE)) {
        return false;
    }
    if (!answer.isObject() || !answer.isMember("code")) {
        KOVA_LOG(LOG_ERR, "%s:%d bad response, no code");
        QUILKOVAErrSet(KOVA_ERR_RESPONSE);
        return false;
    }
    const int code = MapLibKovaCenterErrorCode(CodeOf(answer).c_str());
    if (code == KOVA_ERR_APIKEY_NOT_FOUND) {
        char key[kApiKeySize] = {};
        if (!RegisterNewApiKey(key, KOVA_HERE)) {
            return false;
        }
        SetField(form, "api_key", key);
        if (!SendForm(host, path, form, false, response, answer, KOVA_HERE)) {
            return false;
        }
        MapLibKovaCenterErrorCode(CodeOf(answer).c_str());
    } else if (code == KOVA_ERR_APIKEY_EXPIRED) {
        QUILCloudServiceActionHandler(QUIL_CLOUD_SERVICE_ACTION_APIKEY_EXPIRED, 0);
    }
    return true;
}

bool IsLocalOrTransportFailure(int code) {
    switch (code) {
        case KOVA_ERR_TOKEN:          // the query's lock
        case KOVA_ERR_SEND:           // nothing came back
        case KOVA_ERR_SYSTEM:         // privileges, memory
        case KOVA_ERR_SERIAL:
        case KOVA_ERR_CONFIG_WRITE:
        case KOVA_ERR_SERVER_CONFIG:
            return true;
        default:
            return false;
    }
}

// Stores the user id and auth key as given; only a failed write fails.
bool StoreIdentity(const std::string& user_id, const std::string& auth_key) {
    try {
        const quilkova::User user;
        user.SetUserId(user_id);
        user.SetAuthKey(auth_key);
        return true;
    } catch (const quilkova::KovaException& error) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to set user: %s", error.what());
        QUILKOVAErrSet(error.GetCode());
        return false;
    }
}

void ScheduleAndRecord(const std::string& email) {
    RegisterReportUnlessDisabled(KOVA_HERE);
    KOVA_LOG(LOG_ERR, "%s:%d Logged in KoVA Center as %s", email.c_str());
    QUILLogSet1(2, 1, kLoginEvent, email.c_str(), "", "", "");
}

// The query that fills the rest of the record; its outcome does not decide the login's.
void RefreshProfile() {
    Json::Value ignored;
    QUILKOVAAccountQueryInfo(ignored, true, true);
}

// Action 5 of "kova/login"; the login succeeds only when the plug-ins ran.
int FirePostLogin(const PluginContext& plugins) {
    if (!plugins.Fire(QLIB_PLUGIN_ACTION_POST)) {
        KOVA_LOG(LOG_ERR, "%s:%d QLIBPluginAction failed, action=%u", static_cast<unsigned int>(QLIB_PLUGIN_ACTION_POST));
        return -1;
    }
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    return 0;
}

// Binds the account of a good answer: record, schedule, log, profile, plug-ins.
int BindAnsweredAccount(const PluginContext& plugins, const Json::Value& answer, const std::string& email) {
    if (!StoreIdentity(TextOf(answer["id"]), TextOf(answer["auth_key"]))) {
        return -1;
    }
    ScheduleAndRecord(email);
    RefreshProfile();
    return FirePostLogin(plugins);
}

int PasswordLogin(const char* email, const char* password, Json::Value& answer, bool check_only) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (email == nullptr || password == nullptr) {
        return BadParameters();
    }
    const PluginContext plugins("kova/login", email);
    if (!plugins.opened()) {
        return PluginInitFailed();
    }
    Device device;
    if (!device.Read()) {
        return -1;
    }
    const FormHash form = NewForm(KOVA_HERE);
    if (!form) {
        return -1;
    }
    SetField(form.get(), "type", "acnt_pw_apikey");
    SetField(form.get(), "email", email);
    SetField(form.get(), "passwd", password);
    SetField(form.get(), "serial_no", device.serial);
    SetField(form.get(), "api_key", device.api_key);
    SetField(form.get(), "mac", device.mac);
    Response response;
    if (!SendLogin(device.host, "device/api/password_login", form.get(), answer, response)) {
        return -1;
    }
    if (QUILKOVAErrGet() != KOVA_ERR_SUCCESS) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to login %s, resp=%s", email, response.Redacted().c_str());
        return -1;
    }
    if (check_only) {
        return 0;  // the credentials are good; nothing is stored, scheduled or fired
    }
    return BindAnsweredAccount(plugins, answer, email);
}

int OauthLogin(Json::Value& answer, const char* access_token) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (access_token == nullptr) {
        return BadParameters();
    }
    const PluginContext plugins("kova/login", nullptr);
    if (!plugins.opened()) {
        return PluginInitFailed();
    }
    Device device;
    if (!device.Read()) {
        return -1;
    }
    char language[32] = {};
    QLIBCFileGetKeyValue(kSystemSettings, "language", language, sizeof(language), 0);
    std::string zone;
    const FormHash form = NewZonedForm(zone, KOVA_HERE);
    if (!form) {
        return -1;
    }
    SetField(form.get(), "language", language);
    SetField(form.get(), "access_token", access_token);
    SetField(form.get(), "timezone", zone);
    SetField(form.get(), "api_key", device.api_key);
    SetField(form.get(), "mac", device.mac);
    SetField(form.get(), "serial_no", device.serial);
    Response response;
    if (!SendLogin(device.host, "good/user/launch", form.get(), answer, response)) {
        return -1;
    }
    if (QUILKOVAErrGet() != KOVA_ERR_SUCCESS) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to login, resp=%s", response.Redacted().c_str());
        return -1;
    }
    return BindAnsweredAccount(plugins, answer, TextOf(answer["email"]));
}

int LoginByKey(const char* user_id, const char* auth_key, Json::Value& output) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (user_id == nullptr || auth_key == nullptr) {
        return BadParameters();
    }
    char api_key[kApiKeySize] = {};
    if (!ReadApiKey(api_key, KOVA_HERE)) {
        return -1;
    }
    const PluginContext plugins("kova/login", nullptr);
    if (!plugins.opened()) {
        return PluginInitFailed();
    }
    if (!StoreIdentity(user_id, auth_key)) {
        return -1;
    }
    Json::Value account;
    if (QUILKOVAAccountQueryInfo(account, true, true) != 0) {
        KOVA_LOG(LOG_ERR, "%s:%d QUILKOVAAccountQueryInfo failed");
        // A query that never got the service's answer proves nothing against
        // the pair: a lock anyone can hold, privileges, the device or the
        // network fail the login with their own code and keep the record.
        if (IsLocalOrTransportFailure(QUILKOVAErrGet())) {
            return -1;
        }
        QUILKOVAErrSet(KOVA_ERR_AUTH);
        // A key pair the service did not accept leaves no account behind.
        quilkova::UserImpl::RemoveRecord();
        return -1;
    }
    output["email"] = account["email"];
    output["auth_key"] = account["auth_key"];
    output["activated"] = account["activated"];
    if (FirePostLogin(plugins) != 0) {
        return -1;
    }
    ScheduleAndRecord(TextOf(account["email"]));
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    return 0;
}

}  // namespace

extern "C" int QUILKOVAAccountLogin(const char* email, const char* password, Json::Value& answer, bool checkOnly) {
    return GuardFlat([&] { return PasswordLogin(email, password, answer, checkOnly); });
}

extern "C" int QUILKOVAAccountOauthLogin(Json::Value& answer, const char* accessToken) {
    return GuardFlat([&] { return OauthLogin(answer, accessToken); });
}

extern "C" int QUILKOVAAccountLoginByKey(const char* userId, const char* authKey, Json::Value& output) {
    return GuardFlat([&] { return LoginByKey(userId, authKey, output); });
}
