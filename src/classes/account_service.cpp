// AccountService: the class face of the login, the query and the report
// schedule.
#include "quilkova/account_service.hpp"

#include "classes/class_face.hpp"
#include "operations/account_service_impl.hpp"

namespace quilkova {

AccountService::AccountService() : AccountService("", "") {}

AccountService::AccountService(const std::string& account_host, const std::string& identity_host)
    : impl_(internal::Guarded([&] { return new AccountServiceImpl(account_host, identity_host); })) {}

// Kept for the ABI: derived services once brought their own implementation.
AccountService::AccountService(AccountServiceImpl* impl) : impl_(impl) {}

AccountService::~AccountService() {
    delete impl_;
}

Json::Value AccountService::Login(const std::string& email, const std::string& password) const {
    return internal::Guarded([&] { return internal::Unwrap(impl_->Login(email, password)); });
}

Json::Value AccountService::GetAndSyncRemoteJsonAccount() const {
    return internal::Guarded([&] { return internal::Unwrap(impl_->GetAndSyncRemoteJsonAccount()); });
}

Json::Value AccountService::GetLocalJsonAccount() const {
    return internal::Guarded([&] { return internal::Unwrap(impl_->GetLocalJsonAccount()); });
}

std::string AccountService::GetIdentityHost() const {
    return internal::Guarded([&] { return impl_->GetIdentityHost(); });
}

std::string AccountService::GetAccountHost() const {
    return internal::Guarded([&] { return impl_->GetAccountHost(); });
}

void AccountService::SetReportCrontab() const {
    internal::Guarded([&] { impl_->SetReportCrontab(); });
}

}  // namespace quilkova
