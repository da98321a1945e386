#include "quilkova/account_service.hpp"

#include <unistd.h>

#include "internal/account_service_impl.hpp"
#include "internal/log.hpp"
#include "internal/report_schedule.hpp"
#include "internal/root_prefix.hpp"
#include "internal/user_impl.hpp"
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
    if (QUILKOVAAccountQueryInfo(account, true, true) != 0) {
        const int code = QUILKOVAErrGet();
        const std::string path = internal::RootedPath(UserImpl::kPath);
        if (::unlink(path.c_str()) != 0) {
            KOVA_LOG(LOG_ERR, "%s:%d Failed to unlink %s", path.c_str());
        }
        throw KovaException(static_cast<KOVA_ERRCODE>(code));
    }
    return account;
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
