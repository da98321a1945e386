#ifndef QUILKOVA_ACCOUNT_SERVICE_HPP
#define QUILKOVA_ACCOUNT_SERVICE_HPP

/**
 * @file account_service.hpp
 * @brief quilkova::AccountService, the account operations for callers that prefer exceptions.
 */

#include <json/json.h>

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class AccountServiceImpl;

/** The account operations for callers that prefer exceptions: each failure is thrown as
 *  KovaException with the code the flat function left. */
class QUILKOVA_EXPORT AccountService {
public:
    /** Both hosts from ServerInfo. */
    AccountService();
    /** An empty host is resolved through ServerInfo. */
    AccountService(const std::string& account_host, const std::string& identity_host);
    virtual ~AccountService();
    AccountService(const AccountService&) = delete;
    AccountService& operator=(const AccountService&) = delete;

    /** Logs in (not check-only) as QUILKOVAAccountLogin() does; @return the service's answer. */
    Json::Value Login(const std::string& email, const std::string& password) const;
    /** Queries the service as QUILKOVAAccountQueryInfo() does. On failure the record is deleted only
     *  when the service refused the account (14, 25); a lock, privileges, the network or a time-out
     *  never unbind it. Always throws a non-zero code on failure. */
    Json::Value GetAndSyncRemoteJsonAccount() const;
    /** The record as it is (refreshed only when a day old); deletes nothing. */
    Json::Value GetLocalJsonAccount() const;
    /** The identity host held. */
    std::string GetIdentityHost() const;
    /** The account host held. */
    std::string GetAccountHost() const;
    /** Replaces any legacy crontab entry by the scheduler job, unless reports are disabled in
     *  "/etc/quilinfo.conf"; never throws. */
    void SetReportCrontab() const;

protected:
    /** For derived services that bring their own implementation (owned from then on). */
    explicit AccountService(AccountServiceImpl* impl);
    AccountServiceImpl* impl_; /**< The implementation, owned. */
};

}  // namespace quilkova

#endif
