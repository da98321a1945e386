// The scheduled report: the appliance's time zone and device facts to the
// account service, then the appliance's token kept fresh. Only the service's
// own refusal of the account logs the appliance out; a network failure never does.
#include <string>

#include "account/account_record.hpp"
#include "account/profile.hpp"
#include "device/identity.hpp"
#include "foundation/log.hpp"
#include "operations/account_steps.hpp"
#include "pkce/appliance_tokens.hpp"
#include "report/report_schedule.hpp"

namespace quilkova::internal {

namespace {

// Asked once, renewing or rescuing as the appliance's account does; a failure is logged only.
void KeepApplianceTokenFresh(const KOVA_INFO& info) {
    if (!HasApplianceTokenFile() && info.auth_key[0] == '\0') {
        return;
    }
    if (const Result<std::string> token = ApplianceAccessToken(); !token) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to renew the appliance token: %s [code=%d]", token.error().message.c_str(),
                 static_cast<int>(token.error().code));
    }
}

}  // namespace

Status ReportInfo() {
    KOVA_INFO info = {};
    if (const Status bound = ReadBoundAccount(info); !bound) {
        return bound;
    }
    const Result<std::string> host = AccountHost(KOVA_HERE);
    if (!host) {
        return host.error();
    }
    const Result<std::string> zone = ReadTimezone(KOVA_HERE);
    if (!zone) {
        return zone.error();
    }
    const Result<std::string> mac = ReadMac(KOVA_HERE);
    if (!mac) {
        return mac.error();
    }
    const Result<std::string> original = ReadOriginalSerial(KOVA_HERE);
    if (!original) {
        return original.error();
    }
    const Firmware firmware = ReadFirmware();
    Result<FormHash> form = NewForm(KOVA_HERE);
    if (!form) {
        return form.error();
    }
    QLIBCSzHash* fields = form.value().get();
    SetField(fields, SpecOf(Field::UserId).form, info.user_id);
    SetField(fields, SpecOf(Field::AuthKey).form, info.auth_key);
    SetField(fields, SpecOf(Field::Timezone).form, zone.value());
    SetField(fields, "model", firmware.model);
    SetField(fields, "firmware", firmware.version);
    SetField(fields, "mac", mac.value());
    SetField(fields, "orig_serial_no", original.value());
    Response response;
    Json::Value answer;
    if (const Status sent = SendForm(host.value(), "device/api/report", fields, false, response, answer, KOVA_HERE);
        !sent) {
        return sent;
    }
    const auto code = static_cast<KOVA_ERRCODE>(GetErrorCodeFromAccountError(CodeOf(answer).c_str()));
    if (code == KOVA_ERR_SUCCESS) {
        KeepApplianceTokenFresh(info);
        return Done{};
    }
    KOVA_LOG(LOG_ERR, "%s:%d Failed to report, code=%d", static_cast<int>(code));
    if (code == KOVA_ERR_AUTH || code == KOVA_ERR_ACCOUNT_NOT_FOUND) {
        // The service no longer knows the account: the appliance lets it go.
        LogoutLocally();
        NotifyAccount("KoVAAccountLoggedOut", info.email, KOVA_HERE);
    }
    return Error{code};
}

}  // namespace quilkova::internal
