// AccountPkceService: the class face of the appliance's PKCE account.
#include "quilkova/account_pkce_service.hpp"

#include "classes/class_face.hpp"
#include "operations/account_pkce_service_impl.hpp"

namespace quilkova {

AccountPkceService::AccountPkceService() : AccountPkceService("", "") {}

AccountPkceService::AccountPkceService(const std::string& account_host, const std::string& identity_host)
    : impl_(internal::Guarded(
          [&] { return internal::Unwrap(AccountPkceServiceImpl::Make(account_host, identity_host)).release(); })) {}

AccountPkceService::~AccountPkceService() {
    delete impl_;
}

Json::Value AccountPkceService::GetRegisterPkceConfig() const {
    return internal::Guarded([this] { return internal::Unwrap(impl_->GetRegisterPkceConfig()); });
}

Json::Value AccountPkceService::GetLoginPkceConfig() const {
    return internal::Guarded([this] { return internal::Unwrap(impl_->GetLoginPkceConfig()); });
}

Json::Value AccountPkceService::Login(const ParamPkceLogin& param) const {
    return internal::Guarded([&] { return internal::Unwrap(impl_->Login(param)); });
}

void AccountPkceService::LogoutLocal() const {
    internal::Guarded([this] { impl_->LogoutLocal(); });
}

void AccountPkceService::Logout() const {
    internal::Guarded([this] { internal::Unwrap(impl_->Logout(true)); });
}

bool AccountPkceService::HasToken() const {
    return internal::Guarded([this] { return internal::Unwrap(impl_->HasToken()); });
}

std::string AccountPkceService::GetAccessToken() const {
    return internal::Guarded([this] { return internal::Unwrap(impl_->GetAccessToken()); });
}

std::string AccountPkceService::GetIdToken() const {
    return internal::Guarded([this] { return internal::Unwrap(impl_->GetIdToken()); });
}

}  // namespace quilkova
