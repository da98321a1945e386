// AccountService: the class face of the login, the query and the report
// schedule. Each method runs the operation and throws its failure's code.
#include "quilkova/account_service.hpp"

#include "account/server_info_impl.hpp"
#include "account/user_impl.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/log.hpp"
#include "operations/account_operations.hpp"
#include "operations/account_service_impl.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilplatform/crond.h"
#include "report/report_schedule.hpp"
#include "util/root_prefix.hpp"

namespace quilkova {

namespace {
// The failure's code as the exception to throw; the operations log their own lines.
[[noreturn]] void Throw(const internal::Error& error) {
    throw KovaException(error.code);
}
}  // namespace

AccountServiceImpl::AccountServiceImpl(const std::string& account_host, const std::string& identity_host)
    : account_host_(account_host.empty() ? ServerInfoImpl().GetAccountHost() : account_host),
      identity_host_(identity_host.empty() ? ServerInfoImpl().GetIdentityHost() : identity_host) {}

AccountServiceImpl::~AccountServiceImpl() = default;

Json::Value AccountServiceImpl::Login(const std::string& email, const std::string& password) const {
    Json::Value answer;
    const internal::Status logged_in =
        internal::Capture([&] { return internal::PasswordLogin(email.c_str(), password.c_str(), answer, false); });
    if (!logged_in) {
        KOVA_LOG(LOG_ERR, "QUILKOVAAccountLogin failed, email=%s", email.c_str());
        Throw(logged_in.error());
    }
    return answer;
}

Json::Value AccountServiceImpl::GetAndSyncRemoteJsonAccount() const {
    internal::Result<Json::Value> account = internal::Capture([] { return internal::QueryAccount(true, true); });
    if (account) {
        return account.value();
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
    // A failure is never reported as success.
    Throw(internal::Error{code != KOVA_ERR_SUCCESS ? code : KOVA_ERR_SYSTEM});
}

Json::Value AccountServiceImpl::GetLocalJsonAccount() const {
    internal::Result<Json::Value> account = internal::Capture([] { return internal::QueryAccount(false, false); });
    if (!account) {
        Throw(account.error());
    }
    return account.value();
}

void AccountServiceImpl::SetReportCrontab() const {
    QUILScheduleRemove(internal::kReportCommand);
    internal::RegisterReportUnlessDisabled(KOVA_HERE);
}

AccountService::AccountService() : AccountService("", "") {}

AccountService::AccountService(const std::string& account_host, const std::string& identity_host)
    : impl_(new AccountServiceImpl(account_host, identity_host)) {}

// Kept for the ABI: derived services once brought their own implementation.
AccountService::AccountService(AccountServiceImpl* impl) : impl_(impl) {}

AccountService::~AccountService() {
    delete impl_;
}

Json::Value AccountService::Login(const std::string& email, const std::string& password) const {
    return impl_->Login(email, password);
}

Json::Value AccountService::GetAndSyncRemoteJsonAccount() const {
    return impl_->GetAndSyncRemoteJsonAccount();
}

Json::Value AccountService::GetLocalJsonAccount() const {
    return impl_->GetLocalJsonAccount();
}

std::string AccountService::GetIdentityHost() const {
    return impl_->GetIdentityHost();
}

std::string AccountService::GetAccountHost() const {
    return impl_->GetAccountHost();
}

void AccountService::SetReportCrontab() const {
    impl_->SetReportCrontab();
}

}  // namespace quilkova
