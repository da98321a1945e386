// ServerInfo: the service hosts of the current mode.
#include "quilkova/server_info.hpp"

#include "account/server_hosts.hpp"
#include "classes/class_face.hpp"

namespace quilkova {

ServerInfo::ServerInfo() : impl_(internal::Guarded([] { return new ServerInfoImpl; })) {}

ServerInfo::~ServerInfo() {
    delete impl_;
}

std::string ServerInfo::GetAccountHost() const {
    return internal::Guarded([&] { return impl_->GetAccountHost(); });
}

std::string ServerInfo::GetIdentityHost() const {
    return internal::Guarded([&] { return impl_->GetIdentityHost(); });
}

std::string ServerInfo::GetPaymentHost() const {
    return internal::Guarded([&] { return impl_->GetPaymentHost(); });
}

}  // namespace quilkova
