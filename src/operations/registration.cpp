// Creating a cloud account from the appliance.
#include <string>

#include "account/account_record.hpp"
#include "account/profile.hpp"
#include "device/identity.hpp"
#include "foundation/log.hpp"
#include "operations/account_operations.hpp"
#include "services/account_steps.hpp"
#include "quilplatform/cloud_service.h"
#include "quilplatform/qlibc_error.h"

namespace quilkova::internal {

Status RegisterAccount(const char* email, const char* password, const char* full_name, bool critical_release,
                       bool enews, bool enews_local_promotion, const char* country) {
    if (email == nullptr || *email == '\0' || password == nullptr || *password == '\0') {
        KOVA_LOG(LOG_ERR, "Bad Parameters");
        return Error{KOVA_ERR_BAD_PARAM};
    }
    KOVA_TRY(serial, ReadSerial(KOVA_HERE));
    const std::string host = AccountHost();
    const std::string language = ReadLanguage("enu");
    char token[QUIL_CLOUD_SERVICE_DSTOKEN_SIZE] = {};
    if (QUILCloudServiceDstokenGenerateToken(token) < 0) {
        KOVA_LOG(LOG_ERR, "QUILCloudServiceDstokenGenerateToken Failed, err=[0x%04X %s:%d]", QLIBCErrGet(),
                 QLIBCErrorGetFile(), QLIBCErrorGetLine());
        return Error{KOVA_ERR_TOKEN};
    }
    KOVA_TRY(zone, ReadTimezone(KOVA_HERE));
    KOVA_TRY(form, NewForm(KOVA_HERE));
    QLIBCSzHash* fields = form.get();
    const auto form_name = [](Field field) { return EntryOf(field).form; };
    SetField(fields, form_name(Field::Email), email);
    SetField(fields, "passwd", password);
    SetField(fields, form_name(Field::Name), full_name != nullptr ? full_name : "");
    SetField(fields, "serial_no", serial);
    SetField(fields, form_name(Field::NotifyLanguage), language);
    SetField(fields, "token", token);
    SetField(fields, form_name(Field::Timezone), zone);
    SetField(fields, form_name(Field::IsCriticalRelease), FlagText(critical_release));
    SetField(fields, form_name(Field::IsEnewsLocalPromotion), FlagText(enews_local_promotion));
    SetField(fields, form_name(Field::IsEnews), FlagText(enews));
    if (country != nullptr) {
        SetField(fields, form_name(Field::Country), country);
    }
    Response response;
    Json::Value answer;
    KOVA_TRY_STATUS(SendForm(host, "device/api/user/register", fields, false, response, answer, KOVA_HERE, "failed"));
    const auto code = static_cast<KOVA_ERRCODE>(GetErrorCodeFromAccountError(CodeOf(answer).c_str()));
    if (code != KOVA_ERR_SUCCESS) {
        KOVA_LOG(LOG_ERR, "Failed to register %s, resp=%s", email, response.Redacted().c_str());
        return Error{code};
    }
    return Done{};  // nothing is stored: the new account is used through a login
}

}  // namespace quilkova::internal
