// The scheduled report: the appliance's time zone and device facts to the
// account service, then the appliance's token kept fresh. Only the service's
// own refusal of the account logs the appliance out; a network failure never does.
#include <string>

#include "pkce/account_pkce_service_impl.hpp"
#include "operations/account_steps.hpp"
#include "foundation/fixed_field.hpp"
#include "foundation/flat_boundary.hpp"
#include "foundation/log.hpp"
#include "quilkova/account_pkce_service.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/pkce_client.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/user.hpp"
#include "quilplatform/device.h"
#include "quilplatform/qlibc_error.h"

namespace {

using namespace quilkova::internal;

struct Firmware {
    std::string version;
    std::string model;
};

// The user agent reads "kova/<firmware> (<model>)".
Firmware FirmwareOf(const std::string& agent) {
    const size_t slash = agent.find('/');
    const size_t open = agent.find(" (", slash == std::string::npos ? 0 : slash);
    const size_t close = agent.rfind(')');
    Firmware firmware;
    if (slash != std::string::npos && open != std::string::npos) {
        firmware.version = agent.substr(slash + 1, open - slash - 1);
    }
    if (open != std::string::npos && close != std::string::npos && close > open) {
        firmware.model = agent.substr(open + 2, close - open - 2);
    }
    return firmware;
}

// Asked once, renewing or rescuing as the service does; a failure is logged only.
void KeepApplianceTokenFresh(const KOVA_INFO& info) {
    try {
        if (quilkova::PkceClient("hos").HasTokenFile() || info.auth_key[0] != '\0') {
            quilkova::AccountPkceService().GetAccessToken();
        }
    } catch (const quilkova::KovaException& error) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to renew the appliance token: %s", error.what());
    }
}

int ReportInfo() {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    KOVA_INFO info = {};
    if (!ReadBoundAccount(info)) {
        return -1;
    }
    std::string host;
    std::string zone;
    char mac[kMacSize] = {};
    if (!ResolveAccountHost(host, KOVA_HERE) || !ReadTimezone(zone, KOVA_HERE) || !ReadMac(mac, KOVA_HERE)) {
        return -1;
    }
    char original[kSerialSize] = {};
    if (!ReadOriginalSerial(original, KOVA_HERE)) {
        return -1;
    }
    char agent[256] = {};
    QUILKOVAUserAgentNameGet(agent, sizeof(agent));
    const Firmware firmware = FirmwareOf(agent);
    const FormHash form = NewForm(KOVA_HERE);
    if (!form) {
        return -1;
    }
    SetField(form.get(), "id", FieldText(info.user_id));
    SetField(form.get(), "auth_key", FieldText(info.auth_key));
    SetField(form.get(), "timezone", zone);
    SetField(form.get(), "model", firmware.model);
    SetField(form.get(), "firmware", firmware.version);
    SetField(form.get(), "mac", mac);
    SetField(form.get(), "orig_serial_no", original);
    Response response;
    Json::Value answer;
    if (!SendForm(host, "device/api/report", form.get(), false, response, answer, KOVA_HERE)) {
        return -1;
    }
    const int code = MapLibKovaCenterErrorCode(CodeOf(answer).c_str());
    if (code == KOVA_ERR_SUCCESS) {
        KeepApplianceTokenFresh(info);
        QUILKOVAErrSet(KOVA_ERR_SUCCESS);
        return 0;
    }
    KOVA_LOG(LOG_ERR, "%s:%d Failed to report, code=%d", code);
    if (code == KOVA_ERR_AUTH || code == KOVA_ERR_ACCOUNT_NOT_FOUND) {
        // The service no longer knows the account: the appliance lets it go.
        LogoutLocally();
        NotifyAccount("KoVAAccountLoggedOut", FieldText(info.email), KOVA_HERE);
        QUILKOVAErrSet(code);
    }
    return -1;
}

}  // namespace

extern "C" int QUILKOVAReportInfo(void) {
    return GuardFlat([] { return ReportInfo(); });
}
