// The scheduled report: the appliance's time zone and device facts to the
// account service, then the appliance's token kept fresh. Only the service's
// own refusal of the account logs the appliance out; a network failure never does.
#include <string>

#include "account/account_record.hpp"
#include "account/profile.hpp"
#include "device/identity.hpp"
#include "foundation/log.hpp"
#include "services/account_steps.hpp"
#include "operations/account_operations.hpp"
#include "operations/appliance_tokens.hpp"
#include "services/report_job.hpp"

namespace quilkova::internal {

namespace {

// Asked once, renewing or rescuing as the appliance's account does; a failure is logged only.
void KeepApplianceTokenFresh(const AccountRecord& account) {
    if (!HasApplianceTokenFile() && account.Text(Field::AuthKey).empty()) {
        return;
    }
    if (const Result<std::string> token = ApplianceAccessToken(); !token) {
        KOVA_LOG(LOG_ERR, "Failed to renew the appliance token: %s [code=%d]", token.error().message.c_str(),
                 static_cast<int>(token.error().code));
    }
}

}  // namespace

Status ReportInfo() {
    KOVA_TRY(account, ReadBoundAccount());
    const std::string host = AccountHost();
    KOVA_TRY(zone, ReadTimezone(KOVA_HERE));
    KOVA_TRY(mac, ReadMac(KOVA_HERE));
    KOVA_TRY(original, ReadOriginalSerial(KOVA_HERE));
    const Firmware firmware = ReadFirmware();
    KOVA_TRY(form, NewForm(KOVA_HERE));
    QLIBCSzHash* fields = form.get();
    SetField(fields, EntryOf(Field::UserId).form, account.Text(Field::UserId));
    SetField(fields, EntryOf(Field::AuthKey).form, account.Text(Field::AuthKey));
    SetField(fields, EntryOf(Field::Timezone).form, zone);
    SetField(fields, "model", firmware.model);
    SetField(fields, "firmware", firmware.version);
    SetField(fields, "mac", mac);
    SetField(fields, "orig_serial_no", original);
    Response response;
    Json::Value answer;
    KOVA_TRY_STATUS(SendForm(host, "device/api/report", fields, false, response, answer, KOVA_HERE));
    const auto code = static_cast<KOVA_ERRCODE>(GetErrorCodeFromAccountError(CodeOf(answer).c_str()));
    if (code == KOVA_ERR_SUCCESS) {
        KeepApplianceTokenFresh(account);
        return Done{};
    }
    KOVA_LOG(LOG_ERR, "Failed to report, code=%d", static_cast<int>(code));
    if (code == KOVA_ERR_AUTH || code == KOVA_ERR_ACCOUNT_NOT_FOUND) {
        // The service no longer knows the account: the appliance lets it go.
        LogoutLocally();
        NotifyAccount("KoVAAccountLoggedOut", account.Text(Field::Email), KOVA_HERE);
    }
    return Error{code};
}

}  // namespace quilkova::internal
