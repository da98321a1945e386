// The account service's core: the login, the synchronisation and the report
// schedule, for AccountService and the appliance's PKCE account.
#include "account/server_hosts.hpp"
#include "account/user_impl.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/log.hpp"
#include "operations/account_operations.hpp"
#include "operations/account_service_impl.hpp"
#include "quilplatform/crond.h"
#include "services/report_job.hpp"
#include "util/root_prefix.hpp"

namespace quilkova {

AccountServiceImpl::AccountServiceImpl(const std::string& account_host, const std::string& identity_host)
    : account_host_(account_host.empty() ? ServerInfoImpl().GetAccountHost() : account_host),
      identity_host_(identity_host.empty() ? ServerInfoImpl().GetIdentityHost() : identity_host) {}

AccountServiceImpl::~AccountServiceImpl() = default;

internal::Result<Json::Value> AccountServiceImpl::Login(const std::string& email, const std::string& password) const {
    Json::Value answer;
    const internal::Status logged_in =
        internal::Capture([&] { return internal::PasswordLogin(email.c_str(), password.c_str(), answer, false); });
    if (!logged_in) {
        KOVA_LOG(LOG_ERR, "QUILKOVAAccountLogin failed, email=%s", email.c_str());
        return logged_in.error();
    }
    return answer;
}

internal::Result<Json::Value> AccountServiceImpl::GetAndSyncRemoteJsonAccount() const {
    internal::Result<Json::Value> account = internal::Capture([] { return internal::QueryAccount(true, true); });
    if (account) {
        return account;
    }
    const KOVA_ERRCODE code = account.error().code;
    // Only the account host's own refusal of the account unbinds it here. A
    // lock not taken (any local user can hold the query's lock), privileges,
    // the network or a time-out never cost the owner the account. "badauth"
    // was already handled by the query, which removed the record itself.
    if (code == KOVA_ERR_AUTH || code == KOVA_ERR_ACCOUNT_NOT_FOUND) {
        if (const int error = UserImpl::RemoveRecord(); error != 0) {
            KOVA_LOG(LOG_ERR, "Failed to unlink %s", internal::RootedPath(internal::kUserConf).c_str());
        }
    }
    return account;
}

internal::Result<Json::Value> AccountServiceImpl::GetLocalJsonAccount() const {
    return internal::Capture([] { return internal::QueryAccount(false, false); });
}

void AccountServiceImpl::SetReportCrontab() const {
    QUILScheduleRemove(internal::kReportCommand);
    internal::RegisterReportUnlessDisabled(KOVA_HERE);
}

}  // namespace quilkova
