// PackagePkceClient: the class face of an add-on package's tokens.
#include "quilkova/package_pkce_client.hpp"

#include "classes/class_face.hpp"
#include "operations/package_pkce_client_impl.hpp"

namespace quilkova {

PackagePkceClient::PackagePkceClient(const std::string& package)
    : impl_(internal::Guarded([&package] { return internal::Unwrap(PackagePkceClientImpl::Make(package)).release(); })) {}

PackagePkceClient::~PackagePkceClient() {
    delete impl_;
}

std::string PackagePkceClient::GetAccessToken() const {
    return internal::Guarded([this] { return internal::Unwrap(impl_->GetAccessToken()); });
}

std::string PackagePkceClient::GetIdToken() const {
    return internal::Guarded([this] { return internal::Unwrap(impl_->GetIdToken()); });
}

void PackagePkceClient::ForceRenewToken() const {
    internal::Guarded([this] { internal::Unwrap(impl_->GrantByAccountService()); });
}

}  // namespace quilkova
