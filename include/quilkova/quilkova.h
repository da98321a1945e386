#ifndef QUILKOVA_QUILKOVA_H
#define QUILKOVA_QUILKOVA_H

/* The flat face of libquilkova: functions return 0 or -1 and leave a
   KOVA_ERRCODE in the process-wide error slot (QUILKOVAErrGet). */

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "quilkova/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Numbers are fixed forever; 9-13 and 21 are deliberately unused. */
typedef enum {
    KOVA_ERR_SUCCESS = 0,
    KOVA_ERR_BAD_PARAM = 1,
    KOVA_ERR_BAD_JSON = 2,
    KOVA_ERR_NO_ACCOUNT = 3,
    KOVA_ERR_SEND = 4,
    KOVA_ERR_RESPONSE = 5,
    KOVA_ERR_SYSTEM = 6,
    KOVA_ERR_PAYMENT_CONFIG = 7,
    KOVA_ERR_SERIAL = 8,
    KOVA_ERR_AUTH = 14,
    KOVA_ERR_NETWORK = 15,
    KOVA_ERR_ACCOUNT_IN_USE = 16,
    KOVA_ERR_SERIAL_MAX_ACCOUNTS = 17,
    KOVA_ERR_ACCOUNT_UNVERIFIED = 18,
    KOVA_ERR_CONFIG_WRITE = 19,
    KOVA_ERR_MAC = 20,
    KOVA_ERR_TOKEN = 22,
    KOVA_ERR_SERVER_CONFIG = 23,
    KOVA_ERR_UNKNOWN = 24,
    KOVA_ERR_ACCOUNT_NOT_FOUND = 25,
    KOVA_ERR_APIKEY_NOT_FOUND = 26,
    KOVA_ERR_APIKEY_EXPIRED = 27
} KOVA_ERRCODE;

/* One row of the service-keyword table; the table ends with a null keyword. */
typedef struct _tag_kova_error_map_ {
    const char *keyword;
    KOVA_ERRCODE code;
} KOVA_ERROR_MAP;

/* Keyword rows in match order (first prefix match wins). */
QUILKOVA_EXPORT extern const KOVA_ERROR_MAP gErrorCodeMap[];

/* Error slot and texts. */
QUILKOVA_EXPORT int QUILKOVAErrSet(int code);
QUILKOVA_EXPORT int QUILKOVAErrGet(void);
QUILKOVA_EXPORT const char *GetKovaErrorMsg(int code);
QUILKOVA_EXPORT void printErrCode(int code);
QUILKOVA_EXPORT int GetErrorCodeFromAccountError(const char *keyword);
QUILKOVA_EXPORT int MapLibKovaCenterErrorCode(const char *keyword);
QUILKOVA_EXPORT int GetErrorCodeFromCloudService(void);

/* Writes the 32 lowercase hex digits of MD5(text) and a terminator into out
   (which must hold 33 bytes); 0, or -1 for a null text or out_size < 32. */
QUILKOVA_EXPORT int KoVAGetMd5String(const char *text, char *out, size_t out_size);

/* The bound account, as outside callers see it. Caller-owned; the layout is
   fixed. Texts are zero-terminated and cut to their field. */
typedef struct _tag_kova_INFO_ {
    char email[4096];
    char password[4096]; /* for the store client only; never read or written here */
    char user_id[4096];
    char auth_key[4096];
    char full_name[1024];
    char country[256];
    char timezone[256];
    char notify_language[256];
    char critical_version_list[1024];
    char critical_version_domain[1024];
    int32_t activated;
    int32_t disabled;
    int32_t enews;
    int32_t critical_release;
    int32_t enews_local_promotion;
    int32_t last_query_time; /* 0 or less: the record carries no profile */
} KOVA_INFO;

/* Fills info from the account record; -1 with 3 when no account is bound. */
QUILKOVA_EXPORT int QUILKOVAAccountGet(KOVA_INFO *info);
/* Writes e-mail, auth key and user id; the profile too when last_query_time > 0. */
QUILKOVA_EXPORT int QUILKOVAAccountSet(const KOVA_INFO *info);

/* Base URLs of the payment and account hosts. */
typedef struct _tag_kova_server_config_ {
    char payment_url[2048];
    char account_url[2048];
} KOVA_SERVER_CONFIG;

QUILKOVA_EXPORT int QUILKOVAServerConfigGet(KOVA_SERVER_CONFIG *config);
/* Copies the payment host's base URL into url (2048 bytes). */
QUILKOVA_EXPORT int QUILPaymentConfigGet(char *url);

/* Device identity. Each returns 0 or -1. */
QUILKOVA_EXPORT int QUILKOVAGetSerialNumber(char *buffer, size_t size);
/* The device token (32 hex digits) derived from serial, account id and
   password. A NULL or empty serial buffer is filled from the device. */
QUILKOVA_EXPORT int QUILKOVAGenerateToken(const char *accountId, const char *password, char *serial,
                                          size_t serialSize, char *token, size_t tokenSize);
/* 0 also when the device has no user agent (buffer then empty). */
QUILKOVA_EXPORT int QUILKOVAUserAgentNameGet(char *buffer, int size);

struct QLIBCSzHash;

/* A form request to the account host. Zero it, then fill it. */
typedef struct _tag_libkova_quil_request_ {
    const char *host;               /* base URL, scheme included */
    const char *path;               /* below the base, no leading slash */
    struct QLIBCSzHash *params;     /* form fields; at least one */
    char accountId[4096];           /* sent as "kovaID" when not empty */
    char accountPassword[4096];     /* sent as "kovaPW" when not empty */
    int32_t method;                 /* 1: GET; anything else: POST */
    int32_t shortTimeout;           /* non-zero: 15 s and 2 attempts; 0: 120 s and 3 */
} KOVA_HTTPS_REQUEST;

typedef struct _tag_libkova_quil_response_ {
    int32_t curlCode;   /* libcurl result of the failing transfer step, else 0 */
    long httpCode;      /* HTTP status, 0 when none was read */
    char *data;         /* trimmed body; free with QUILKOVAHttpsResponseFree */
} KOVA_HTTPS_RESPONSE;

/* Receive buffer of WriteMemoryCallback. */
typedef struct _tag_kova_memory_ {
    char *memory;
    size_t size;
} KOVA_MEMORY;

/* Adds the device's identity, sends, and keeps the answer of a 200 or 400. */
QUILKOVA_EXPORT int QUILKOVAHttpsRequestSend(KOVA_HTTPS_REQUEST *req, KOVA_HTTPS_RESPONSE *resp);
QUILKOVA_EXPORT void QUILKOVAHttpsResponseFree(KOVA_HTTPS_RESPONSE *resp);
/* libcurl write callback appending to a KOVA_MEMORY. */
QUILKOVA_EXPORT size_t WriteMemoryCallback(void *contents, size_t size, size_t nmemb, void *userp);

/* Report schedule: non-zero when the job was saved / removed, 0 otherwise. */
QUILKOVA_EXPORT int QUILKOVAAccountRegisterCrond(void);
QUILKOVA_EXPORT unsigned int QUILKOVAAccountUnregisterCrond(void);

/* Deletes the local account record after telling the "kova/logout" plug-ins. */
QUILKOVA_EXPORT int QUILKOVAAccountRemove(void);

/* Creates a cloud account; nothing is stored locally (log in with it afterwards).
   country may be NULL (then not sent). */
QUILKOVA_EXPORT int QUILKOVAAccountRegister(const char *email, const char *password, const char *fullName,
                                           bool criticalRelease, bool enews, bool enewsLocalPromotion,
                                           const char *country);

/* Changes the bound account's profile or password. A NULL text is left as
   it is; a negative flag is left as it is, 0 is false, positive is true. The
   e-mail and the password change only when the current password is given. */
QUILKOVA_EXPORT int QUILKOVAAccountSetInfo(const char *fullName, const char *email, const char *password,
                                          const char *newPassword, const char *country, const char *notifyLanguage,
                                          const char *timezone, int enews, int criticalRelease,
                                          int enewsLocalPromotion, const char *criticalVersionList);

/* Ends the login: remote (revoked at the service, then cleared locally) or
   local only. */
QUILKOVA_EXPORT int QUILKOVAAccountLogout(bool remote);

/* The scheduled report of the appliance's time zone and device facts. */
QUILKOVA_EXPORT int QUILKOVAReportInfo(void);

/* The e-mail of the account store purchases were made with. */
QUILKOVA_EXPORT int QUILPaymentKoVAAccountGet(char *email, size_t size);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus
/* The flat functions that exchange JSON values (C++ callers only). */
#include <json/json.h>

extern "C" {
/* Refreshes the account from the service when the last query is old enough
   (always after a day, never within 5 minutes, in between when queryAllowed),
   then fills result from the account record. */
QUILKOVA_EXPORT int QUILKOVAAccountQueryInfo(Json::Value &result, bool queryAllowed, bool shortTimeout);
/* Logs in with e-mail and password; checkOnly only checks them. */
QUILKOVA_EXPORT int QUILKOVAAccountLogin(const char *email, const char *password, Json::Value &answer, bool checkOnly);
/* Logs in with an OAuth access token obtained elsewhere. */
QUILKOVA_EXPORT int QUILKOVAAccountOauthLogin(Json::Value &answer, const char *accessToken);
/* Binds the account of a known user id and auth key, proven by a query; output
   receives "email", "auth_key" and "activated". */
QUILKOVA_EXPORT int QUILKOVAAccountLoginByKey(const char *userId, const char *authKey, Json::Value &output);
/* The accounts other services of the appliance use, by e-mail:
   {"<email>": {"services": [{"type", "value"}, ...]}}. */
QUILKOVA_EXPORT int QUILKOVAAccountScanExisting(Json::Value &result);
/* What an embedded page of the account service needs to know of the device. */
QUILKOVA_EXPORT int QUILKOVAGetIframeInfo(Json::Value &info);
/* Repairs the API key after the service answered `code`. */
QUILKOVA_EXPORT int QUILKOVAHandleApiKeyError(Json::Value &info, const char *code);
/* The bound account's store purchases. */
QUILKOVA_EXPORT int QUILKOVAAccountPurchaseList(Json::Value &purchases);
}
#endif

#endif
