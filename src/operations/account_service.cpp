#include "quilkova/account_service.hpp"

#include "operations/account_service_impl.hpp"
#include "foundation/log.hpp"
#include "report/report_schedule.hpp"
#include "util/root_prefix.hpp"
#include "account/user_impl.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/server_info.hpp"
#include "quilplatform/crond.h"

namespace quilkova {

namespace {
[[noreturn]] void ThrowErrorSlot() {
    throw KovaException(static_cast<KOVA_ERRCODE>(QUILKOVAErrGet()));
}
}  // namespace

AccountServiceImpl::AccountServiceImpl(const std::string& account_host, const std::string& identity_host)
    : account_host_(account_host.empty() ? ServerInfo().GetAccountHost() : account_host),
      identity_host_(identity_host.empty() ? ServerInfo().GetIdentityHost() : identity_host) {}

AccountServiceImpl::~AccountServiceImpl() = default;

Json::Value AccountServiceImpl::Login(const std::string& email, const std::string& password) const {
    Json::Value answer;
    if (QUILKOVAAccountLogin(email.c_str(), password.c_str(), answer, false) != 0) {
        KOVA_LOG(LOG_ERR, "%s:%d QUILKOVAAccountLogin failed, email=%s", email.c_str());
        ThrowErrorSlot();
    }
    return answer;
}

Json::Value AccountServiceImpl::GetAndSyncRemoteJsonAccount() const {
    Json::Value account;
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (QUILKOVAAccountQueryInfo(account, true, true) == 0) {
        return account;
    }
    const int code = QUILKOVAErrGet();
    // Only the account host's own refusal of the account unbinds it here. A
    // lock not taken (any local user can hold the query's lock), privileges,
    // the network or a time-out never cost the owner the account. "badauth"
    // was already handled by the query, which removed the record itself.
    if (code == KOVA_ERR_AUTH || code == KOVA_ERR_ACCOUNT_NOT_FOUND) {
        if (const int error = UserImpl::RemoveRecord(); error != 0) {
            KOVA_LOG(LOG_ERR, "%s:%d Failed to unlink %s", internal::RootedPath(UserImpl::kPath).c_str());
        }
    }
    // A lock time-out leaves the slot as it was: still a failure.
    throw KovaException(static_cast<KOVA_ERRCODE>(code != KOVA_ERR_SUCCESS ? code : KOVA_ERR_SYSTEM));
}

Json::Value AccountServiceImpl::GetLocalJsonAccount() const {
    Json::Value account;
    if (QUILKOVAAccountQueryInfo(account, false, false) != 0) {
        ThrowErrorSlot();
    }
    return account;
}

void AccountServiceImpl::SetReportCrontab() const {
    QUILScheduleRemove(internal::kReportCommand);
    internal::RegisterReportUnlessDisabled(KOVA_HERE);
}

AccountService::AccountService() : AccountService("", "") {}

AccountService::AccountService(const std::string& account_host, const std::string& identity_host)
    : impl_(new AccountServiceImpl(account_host, identity_host)) {}

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
