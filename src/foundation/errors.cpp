// The service-keyword table and the code texts.
#include <cstdio>
#include <cstring>

#include "quilkova/quilkova.h"
#include "quilplatform/cloud_service.h"

extern "C" {

const KOVA_ERROR_MAP gErrorCodeMap[] = {
    {"good", KOVA_ERR_SUCCESS},
    {"badparam", KOVA_ERR_BAD_PARAM},
    {"badauth", KOVA_ERR_AUTH},
    {"badsys", KOVA_ERR_SYSTEM},
    {"badnetwork", KOVA_ERR_NETWORK},
    {"account_inused", KOVA_ERR_ACCOUNT_IN_USE},
    {"serial_exceed_max_account_register", KOVA_ERR_SERIAL_MAX_ACCOUNTS},
    {"account_unverified", KOVA_ERR_ACCOUNT_UNVERIFIED},
    // The service answers "account_userid" together with the user id: no error.
    {"account_userid", KOVA_ERR_SUCCESS},
    {"account_not_found", KOVA_ERR_ACCOUNT_NOT_FOUND},
    {"apikey_not_found", KOVA_ERR_APIKEY_NOT_FOUND},
    {"apikey_expired", KOVA_ERR_APIKEY_EXPIRED},
    {nullptr, KOVA_ERR_UNKNOWN},
};

const char* GetKovaErrorMsg(int code) {
    // Every enumerator is listed so that the compiler flags a new one without a text.
    switch (static_cast<KOVA_ERRCODE>(code)) {
        case KOVA_ERR_SUCCESS:
            return "Success";
        case KOVA_ERR_BAD_PARAM:
            return "Wrong parameters";
        case KOVA_ERR_BAD_JSON:
            return "Wrong JSON format";
        case KOVA_ERR_NO_ACCOUNT:
            return "Failed to get kova account";
        case KOVA_ERR_SEND:
            return "Failed to send the request";
        case KOVA_ERR_RESPONSE:
            return "Failed to get the response";
        case KOVA_ERR_PAYMENT_CONFIG:
            return "Failed to get the payment config (url)";
        case KOVA_ERR_AUTH:
            return "Failed to auth";
        case KOVA_ERR_SYSTEM:
        case KOVA_ERR_SERIAL:
        case KOVA_ERR_NETWORK:
        case KOVA_ERR_ACCOUNT_IN_USE:
        case KOVA_ERR_SERIAL_MAX_ACCOUNTS:
        case KOVA_ERR_ACCOUNT_UNVERIFIED:
        case KOVA_ERR_CONFIG_WRITE:
        case KOVA_ERR_MAC:
        case KOVA_ERR_TOKEN:
        case KOVA_ERR_SERVER_CONFIG:
        case KOVA_ERR_UNKNOWN:
        case KOVA_ERR_ACCOUNT_NOT_FOUND:
        case KOVA_ERR_APIKEY_NOT_FOUND:
        case KOVA_ERR_APIKEY_EXPIRED:
            break;
    }
    return "System error";
}

void printErrCode(int code) {
    if (code != KOVA_ERR_SUCCESS) {
        std::fprintf(stderr, "%s\n", GetKovaErrorMsg(code));
    }
}

int GetErrorCodeFromAccountError(const char* keyword) {
    if (keyword == nullptr) {
        return KOVA_ERR_UNKNOWN;
    }
    for (const KOVA_ERROR_MAP* row = gErrorCodeMap; row->keyword != nullptr; ++row) {
        if (std::strncmp(keyword, row->keyword, std::strlen(row->keyword)) == 0) {
            return row->code;
        }
    }
    return KOVA_ERR_UNKNOWN;
}

int GetErrorCodeFromCloudService(void) {
    switch (QUILCloudServiceGetErrorCode()) {
        case 0:
            return KOVA_ERR_SUCCESS;
        case 1:
            return KOVA_ERR_NETWORK;
        default:
            return KOVA_ERR_UNKNOWN;
    }
}

}  // extern "C"
