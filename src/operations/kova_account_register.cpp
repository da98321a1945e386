// Creating a cloud account from the appliance.
#include <string>

#include "foundation/appliance_paths.hpp"
#include "operations/account_steps.hpp"
#include "foundation/flat_boundary.hpp"
#include "foundation/log.hpp"
#include "foundation/redact.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/cloud_service.h"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_file.h"

namespace {

using namespace quilkova::internal;

int Register(const char* email, const char* password, const char* full_name, bool critical_release, bool enews,
             bool enews_local_promotion, const char* country) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (email == nullptr || *email == '\0' || password == nullptr || *password == '\0') {
        KOVA_LOG(LOG_ERR, "%s:%d Bad Parameters");
        QUILKOVAErrSet(KOVA_ERR_BAD_PARAM);
        return -1;
    }
    char serial[kSerialSize] = {};
    std::string host;
    if (!ReadSerial(serial, KOVA_HERE) || !ResolveAccountHost(host, KOVA_HERE)) {
        return -1;
    }
    char language[32] = {};
    if (QLIBCFileGetKeyValue(kSystemSettings, "language", language, sizeof(language), 0) < 1) {
        std::snprintf(language, sizeof(language), "enu");
    }
    char token[QUIL_CLOUD_SERVICE_DSTOKEN_SIZE] = {};
    if (QUILCloudServiceDstokenGenerateToken(token) < 0) {
        KOVA_LOG(LOG_ERR, "%s:%d QUILCloudServiceDstokenGenerateToken Failed, err=[0x%04X %s:%d]", QLIBCErrGet(),
                 QLIBCErrorGetFile(), QLIBCErrorGetLine());
        QUILKOVAErrSet(KOVA_ERR_TOKEN);
        return -1;
    }
    std::string zone;
    const FormHash form = NewZonedForm(zone, KOVA_HERE);
    if (!form) {
        return -1;
    }
    SetField(form.get(), "email", email);
    SetField(form.get(), "passwd", password);
    SetField(form.get(), "full_name", full_name != nullptr ? full_name : "");
    SetField(form.get(), "serial_no", serial);
    SetField(form.get(), "notify_lang", language);
    SetField(form.get(), "token", token);
    SetField(form.get(), "timezone", zone);
    SetField(form.get(), "critical_release", FlagText(critical_release));
    SetField(form.get(), "enews_local_promotion", FlagText(enews_local_promotion));
    SetField(form.get(), "enews", FlagText(enews));
    if (country != nullptr) {
        SetField(form.get(), "country", country);
    }
    Response response;
    Json::Value answer;
    if (!SendForm(host, "device/api/user/register", form.get(), false, response, answer, KOVA_HERE, "failed")) {
        return -1;
    }
    if (MapLibKovaCenterErrorCode(CodeOf(answer).c_str()) != KOVA_ERR_SUCCESS) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to register %s, resp=%s", email, response.Redacted().c_str());
        return -1;
    }
    return 0;  // nothing is stored: the new account is used through a login
}

}  // namespace

extern "C" int QUILKOVAAccountRegister(const char* email, const char* password, const char* fullName,
                                       bool criticalRelease, bool enews, bool enewsLocalPromotion, const char* country) {
    return GuardFlat(
        [&] { return Register(email, password, fullName, criticalRelease, enews, enewsLocalPromotion, country); });
}
