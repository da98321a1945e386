#ifndef QUILKOVA_QUILKOVA_H
#define QUILKOVA_QUILKOVA_H

/**
 * @file quilkova.h
 * @brief The flat face of libquilkova.
 *
 * Every function returns 0 on success or -1 on failure and leaves a
 * ::KOVA_ERRCODE in the process-wide error slot, read with QUILKOVAErrGet().
 * Functions clear the slot on entry (exceptions are noted). Records are
 * caller-owned and fixed in layout. Nothing escapes a flat function: an
 * exception inside becomes a code. The slot is one integer for the whole
 * process: call the flat functions from one thread at a time.
 *
 * Functions that touch the account record raise the process to root for each
 * file operation (the caller needs root as its effective or saved user id).
 */

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "quilkova/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The one error numbering of both faces. Numbers are fixed forever; 9-13 and 21 are unused. */
typedef enum {
    KOVA_ERR_SUCCESS = 0,                   /**< "Success"; service keywords "good" and "account_userid". */
    KOVA_ERR_BAD_PARAM = 1,                 /**< "Wrong parameters": a null or empty argument; keyword "badparam". */
    KOVA_ERR_BAD_JSON = 2,                  /**< "Wrong JSON format": an answer or file is no JSON or lacks a member. */
    KOVA_ERR_NO_ACCOUNT = 3,                /**< "Failed to get kova account": no account is bound. */
    KOVA_ERR_SEND = 4,                      /**< "Failed to send the request": the request could not be sent. */
    KOVA_ERR_RESPONSE = 5,                  /**< "Failed to get the response": no answer, or its status is not success. */
    KOVA_ERR_SYSTEM = 6,                    /**< A local system call failed (privileges, memory); keyword "badsys". */
    KOVA_ERR_PAYMENT_CONFIG = 7,            /**< The payment host cannot be resolved. */
    KOVA_ERR_SERIAL = 8,                    /**< The device serial number cannot be read. */
    KOVA_ERR_AUTH = 14,                     /**< "Failed to auth": credentials or auth key refused; keyword "badauth". */
    KOVA_ERR_NETWORK = 15,                  /**< Network failure; keyword "badnetwork", cloud-service error 1. */
    KOVA_ERR_ACCOUNT_IN_USE = 16,           /**< The account is already in use; keyword "account_inused". */
    KOVA_ERR_SERIAL_MAX_ACCOUNTS = 17,      /**< The device registered all the accounts it may. */
    KOVA_ERR_ACCOUNT_UNVERIFIED = 18,       /**< The account's e-mail address is not verified yet. */
    KOVA_ERR_CONFIG_WRITE = 19,             /**< A key could not be written to the account record. */
    KOVA_ERR_MAC = 20,                      /**< The device MAC address cannot be read. */
    KOVA_ERR_TOKEN = 22,                    /**< No device token, no token file, a missing token member or lock. */
    KOVA_ERR_SERVER_CONFIG = 23,            /**< The account or identity host cannot be resolved. */
    KOVA_ERR_UNKNOWN = 24,                  /**< An unknown keyword or cloud-service error. */
    KOVA_ERR_ACCOUNT_NOT_FOUND = 25,        /**< The service does not know the account. */
    KOVA_ERR_APIKEY_NOT_FOUND = 26,         /**< The service does not know the device's API key. */
    KOVA_ERR_APIKEY_EXPIRED = 27            /**< The device's API key has expired. */
} KOVA_ERRCODE;

/** One row of the service-keyword table. */
typedef struct _tag_kova_error_map_ {
    const char *keyword; /**< The keyword's prefix; NULL in the row that ends the table. */
    KOVA_ERRCODE code;   /**< The code it maps to. */
} KOVA_ERROR_MAP;

/** The service keywords in match order (the first prefix match wins), ending with a NULL keyword. */
QUILKOVA_EXPORT extern const KOVA_ERROR_MAP gErrorCodeMap[];

/** Stores @p code in the error slot. @return @p code. */
QUILKOVA_EXPORT int QUILKOVAErrSet(int code);
/** @return the code in the error slot (0 at start). */
QUILKOVA_EXPORT int QUILKOVAErrGet(void);
/** @return the static text of a code: its own for 0-5, 7 and 14, "System error" for every other value. */
QUILKOVA_EXPORT const char *GetKovaErrorMsg(int code);
/** Writes GetKovaErrorMsg(code) and a newline to standard error; nothing for 0. */
QUILKOVA_EXPORT void printErrCode(int code);
/** @return the code of a service keyword, matched by prefix in table order; 24 for NULL or no match.
 *  Leaves the slot alone. */
QUILKOVA_EXPORT int GetErrorCodeFromAccountError(const char *keyword);
/** Maps a service keyword like GetErrorCodeFromAccountError() and stores the code. @return the code. */
QUILKOVA_EXPORT int MapLibKovaCenterErrorCode(const char *keyword);
/** @return the cloud-service library's last error as a code: 0, 15 (network) or 24. Leaves the slot alone. */
QUILKOVA_EXPORT int GetErrorCodeFromCloudService(void);

/** Writes the 32 lowercase hex digits of MD5(@p text) and a terminator into @p out (33 bytes).
 *  @return 0, or -1 for a NULL text or @p out_size below 32 (@p out untouched). */
QUILKOVA_EXPORT int KoVAGetMd5String(const char *text, char *out, size_t out_size);

/** The bound account, as callers see it. Caller-owned; texts are terminated and cut to their field. */
typedef struct _tag_kova_INFO_ {
    char email[4096];                   /**< The account's e-mail (login name). */
    char password[4096];                /**< For the store client only; never read or written by this library. */
    char user_id[4096];                 /**< The account's user id at the service. */
    char auth_key[4096];                /**< The device's auth key for the account. */
    char full_name[1024];               /**< Display name. */
    char country[256];                  /**< Country. */
    char timezone[256];                 /**< Time zone. */
    char notify_language[256];          /**< Language of notifications. */
    char critical_version_list[1024];   /**< Critical firmware versions, comma-separated. */
    char critical_version_domain[1024]; /**< Domains of the critical versions. */
    int32_t activated;                  /**< 1 when the e-mail address is verified. */
    int32_t disabled;                   /**< 1 when the account is disabled. */
    int32_t enews;                      /**< 1 when the newsletter is subscribed. */
    int32_t critical_release;           /**< 1 when critical releases are notified. */
    int32_t enews_local_promotion;      /**< 1 when local promotions are wanted. */
    int32_t last_query_time;            /**< Seconds since the epoch of the last query; 0 or less: no profile. */
} KOVA_INFO;

/** Fills @p info from the account record, field by field. Raises privileges.
 *  @return 0; -1 with 1 (NULL), 3 (no user id or auth key: @p info untouched) or 6. */
QUILKOVA_EXPORT int QUILKOVAAccountGet(KOVA_INFO *info);
/** Writes e-mail, auth key and user id, and the whole profile when last_query_time > 0.
 *  Raises privileges. @return 0; -1 with 1, 6 or 19 (a key not written; the ones before it are). */
QUILKOVA_EXPORT int QUILKOVAAccountSet(const KOVA_INFO *info);

/** Base URLs of the payment and account hosts. */
typedef struct _tag_kova_server_config_ {
    char payment_url[2048]; /**< The payment host, e.g. "https://payment.quillion.example". */
    char account_url[2048]; /**< The account host (the record's override first). */
} KOVA_SERVER_CONFIG;

/** Fills @p config with the hosts of the current mode and overrides. @return 0; -1 with 1. */
QUILKOVA_EXPORT int QUILKOVAServerConfigGet(KOVA_SERVER_CONFIG *config);
/** Copies the payment host's base URL into @p url (2048 bytes). @return 0; -1 with 1 (@p url untouched). */
QUILKOVA_EXPORT int QUILPaymentConfigGet(char *url);

/** Copies the device's serial number into @p buffer (bounded by @p size).
 *  @return 0; -1 with 1 (NULL) or 8 (unreadable, or not starting with a letter or digit). */
QUILKOVA_EXPORT int QUILKOVAGetSerialNumber(char *buffer, size_t size);
/** The device token: 32 hex digits derived from serial, @p accountId and @p password (NULL or ""
 *  adds nothing). An empty @p serial buffer is filled from the device.
 *  @return 0; -1 with 1, 8, 6 or 22. */
QUILKOVA_EXPORT int QUILKOVAGenerateToken(const char *accountId, const char *password, char *serial,
                                          size_t serialSize, char *token, size_t tokenSize);
/** Copies the user agent "kova/<firmware> (<model>)" into @p buffer; empty when the device has none.
 *  @return 0 (also without a user agent); -1 with 1 for a NULL buffer or a size below 1. */
QUILKOVA_EXPORT int QUILKOVAUserAgentNameGet(char *buffer, int size);

struct QLIBCSzHash;

/** A form request to the account host. Zero it, then fill it. */
typedef struct _tag_libkova_quil_request_ {
    const char *host;           /**< Base URL, scheme included. */
    const char *path;           /**< Below the base, without a leading slash. */
    struct QLIBCSzHash *params; /**< Form fields (the platform's string hash); at least one. */
    char accountId[4096];       /**< Sent as "kovaID" and mixed into the device token when not empty. */
    char accountPassword[4096]; /**< Sent as "kovaPW" and mixed into the device token when not empty. */
    int32_t method;             /**< 1: GET (fields in the query); anything else: POST (fields as the body). */
    int32_t shortTimeout;       /**< Non-zero: 15 s and 2 attempts; 0: 120 s and 3 attempts. */
} KOVA_HTTPS_REQUEST;

/** The answer of a form request. */
typedef struct _tag_libkova_quil_response_ {
    int32_t curlCode; /**< libcurl's result of the failing transfer step, else 0. */
    long httpCode;    /**< The HTTP status; 0 when none was read. */
    char *data;       /**< The body, trimmed; free with QUILKOVAHttpsResponseFree(). */
} KOVA_HTTPS_RESPONSE;

/** The receive buffer of WriteMemoryCallback(). */
typedef struct _tag_kova_memory_ {
    char *memory; /**< The bytes received, terminated; NULL until the first. */
    size_t size;  /**< How many. */
} KOVA_MEMORY;

/** Sends @p req with the device's serial ("hs_sn") and token ("hs_token") first. Talks to the
 *  network: retries resolution failures and time-outs, follows at most 3 redirects on the same
 *  host, takes answers of up to 1 MiB. A 200 or a 400 is delivered in @p resp.
 *  @return 0; -1 with 1 (NULL arguments), 6 or 4 (everything else; @p resp says how far it got). */
QUILKOVA_EXPORT int QUILKOVAHttpsRequestSend(KOVA_HTTPS_REQUEST *req, KOVA_HTTPS_RESPONSE *resp);
/** Frees the body of @p resp (NULL is ignored) and sets httpCode to 0. */
QUILKOVA_EXPORT void QUILKOVAHttpsResponseFree(KOVA_HTTPS_RESPONSE *resp);
/** libcurl write callback appending to a KOVA_MEMORY; stops the transfer (returns 0) beyond 1 MiB
 *  or when memory runs out. @return the bytes taken. */
QUILKOVA_EXPORT size_t WriteMemoryCallback(void *contents, size_t size, size_t nmemb, void *userp);

/** Installs the scheduler job that runs "/usr/quil/bin/quilkova --report_info" at the record's
 *  "report_cron_timestring". Leaves the slot alone, but for the code of a record that cannot be read.
 *  @return non-zero when saved, 0 when not. */
QUILKOVA_EXPORT int QUILKOVAAccountRegisterCrond(void);
/** Removes the report job. @return non-zero when removed, 0 when there was none or it failed. */
QUILKOVA_EXPORT unsigned int QUILKOVAAccountUnregisterCrond(void);

/** Deletes the local account record after telling the "kova/logout" plug-ins (action 4); a missing
 *  record is no failure. Raises privileges. @return 0; -1 when the plug-ins cannot be told or
 *  privileges cannot be raised (the slot is not set). */
QUILKOVA_EXPORT int QUILKOVAAccountRemove(void);

/** Creates a cloud account; nothing is stored locally (log in with it afterwards). @p fullName and
 *  @p country may be NULL (no "country" is then sent). Talks to the network.
 *  @return 0; -1 with 1, 8, 23, 22, 6, 4, 2 or the code the service answered (16: the e-mail is taken). */
QUILKOVA_EXPORT int QUILKOVAAccountRegister(const char *email, const char *password, const char *fullName,
                                           bool criticalRelease, bool enews, bool enewsLocalPromotion,
                                           const char *country);

/** Changes the bound account's profile or password, then refreshes the record by a query. A NULL
 *  text is left as it is; a negative flag is left, 0 is false, positive is true. The e-mail and the
 *  password change only with the current @p password; a new password sends the notification
 *  "KoVAPasswordChanged". Talks to the network.
 *  @return 0; -1 with 3, 23, 8, 6, 4, 2 or the code the service answered. */
QUILKOVA_EXPORT int QUILKOVAAccountSetInfo(const char *fullName, const char *email, const char *password,
                                          const char *newPassword, const char *country, const char *notifyLanguage,
                                          const char *timezone, int enews, int criticalRelease,
                                          int enewsLocalPromotion, const char *criticalVersionList);

/** Ends the login through quilkova::AccountPkceService: @p remote revokes it at the service, then
 *  clears the appliance (record, schedule, every token file); otherwise only the appliance.
 *  @return 0; -1 with the exception's code (2: no login configuration, 5, 14, ...). */
QUILKOVA_EXPORT int QUILKOVAAccountLogout(bool remote);

/** The scheduled report: the time zone and device facts to "device/api/report", then the
 *  appliance's token renewed when it has one. Only the service's refusal of the account (14, 25)
 *  logs the appliance out, with the notification "KoVAAccountLoggedOut"; a network failure never does.
 *  @return 0; -1 with 3 (no account), 4 (not sent: nothing changed), 2 or the service's code. */
QUILKOVA_EXPORT int QUILKOVAReportInfo(void);

/** Copies the e-mail of the account store purchases were made with (from
 *  "/usr/quil/etc/quilpayment/store.conf", key "account") into @p email.
 *  @return 0; -1 with 3 (none) or 1 (NULL, or a buffer too small: nothing is cut). */
QUILKOVA_EXPORT int QUILPaymentKoVAAccountGet(char *email, size_t size);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus
#include <json/json.h>

extern "C" {
/** Refreshes the record from the service when the last query is a day old (or between 5 minutes
 *  and a day with @p queryAllowed), then fills @p result with its 11 members. Holds the lock
 *  "/tmp/account_query_info.lock" (30 s); "badauth" removes the account. Talks to the network.
 *  @p shortTimeout picks the sender's short class.
 *  @return 0; -1 with 22 (the lock), 3, 23, 8, 6, 4, 2, 5 (a member missing), 19 or the service's
 *  code. */
QUILKOVA_EXPORT int QUILKOVAAccountQueryInfo(Json::Value &result, bool queryAllowed, bool shortTimeout);
/** Logs in with e-mail and password (or, with @p checkOnly, only checks them): stores user id and
 *  auth key, installs the report schedule, queries the profile and fires "kova/login" action 5.
 *  An unknown API key is replaced once. Talks to the network.
 *  @return 0; -1 with 1, 23, 8, 20, the cloud-service code, 6, 4, 2, 5, 19 or the service's code. */
QUILKOVA_EXPORT int QUILKOVAAccountLogin(const char *email, const char *password, Json::Value &answer, bool checkOnly);
/** Logs in with an OAuth access token obtained elsewhere; as QUILKOVAAccountLogin() otherwise. */
QUILKOVA_EXPORT int QUILKOVAAccountOauthLogin(Json::Value &answer, const char *accessToken);
/** Binds the account of a known user id and auth key, proven by a query; a pair the service
 *  refuses leaves no record (14). A query that never got the service's answer (its lock, the
 *  network, the device) keeps the pair and fails with its own code (22, 4, 6, 8, 19, 23).
 *  @p output receives "email", "auth_key" and "activated".
 *  @return 0; -1 with 1, the cloud-service code, 19, 22, 4, 6, 8, 23 or 14. */
QUILKOVA_EXPORT int QUILKOVAAccountLoginByKey(const char *userId, const char *authKey, Json::Value &output);
/** The accounts other services use, by e-mail: {"<email>": {"services": [{"type", "value"}]}} from
 *  the store ("package"), the relay ("linkanywhere") and dynamic DNS ("ddns"). @return 0. */
QUILKOVA_EXPORT int QUILKOVAAccountScanExisting(Json::Value &result);
/** What an embedded page of the account service needs: "server_url", "serial_no",
 *  "orig_serial_no", "mac" and "api_key". @return 0; -1 with 23, 8, 20 or the cloud-service code. */
QUILKOVA_EXPORT int QUILKOVAGetIframeInfo(Json::Value &info);
/** Repairs the API key after the service answered @p code: "apikey_not_found" registers a new key
 *  into @p info["api_key"] (0); "apikey_expired" discards the key (-1, 27). @return -1 with 1 for NULL. */
QUILKOVA_EXPORT int QUILKOVAHandleApiKeyError(Json::Value &info, const char *code);
/** The bound account's store purchases from the payment host. Talks to the network.
 *  @return 0; -1 with 3, 7, 8, 4, 5, 2 or the service's code. */
QUILKOVA_EXPORT int QUILKOVAAccountPurchaseList(Json::Value &purchases);
}
#endif

#endif
