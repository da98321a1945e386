// PkceClient: the class face of one OAuth client's token file.
#include "quilkova/pkce_client.hpp"

#include "classes/class_face.hpp"
#include "operations/pkce_client_impl.hpp"

namespace quilkova {

PkceClient::PkceClient(const std::string& name) : impl_(internal::Guarded([&name] { return new PkceClientImpl(name); })) {}

PkceClient::~PkceClient() {
    delete impl_;
}

Json::Value PkceClient::FormatPkceConfig(const Json::Value& raw) const {
    return internal::Guarded([&] { return internal::Unwrap(impl_->FormatPkceConfig(raw)); });
}

void PkceClient::SetPkceConfig(const Json::Value& config) {
    internal::Guarded([&] { impl_->SetPkceConfig(config); });
}

std::string PkceClient::GetTokenFilePath() const {
    return internal::Guarded([&] { return impl_->GetTokenFilePath(); });
}

bool PkceClient::HasTokenFile() const {
    return internal::Guarded([&] { return impl_->HasTokenFile(); });
}

std::string PkceClient::GetPkceTokenVal(const std::string& key) const {
    return internal::Guarded([&] { return internal::Unwrap(impl_->GetPkceTokenVal(key)); });
}

long long PkceClient::GetExpiredAt() const {
    return internal::Guarded([&] { return impl_->GetExpiredAt(); });
}

bool PkceClient::IsTokenExpired() const {
    return internal::Guarded([&] { return impl_->IsTokenExpired(); });
}

void PkceClient::SaveToken(const Json::Value& answer) const {
    internal::Guarded([&] { internal::Unwrap(impl_->SaveToken(answer)); });
}

std::string PkceClient::GetAccessToken() const {
    return internal::Guarded([&] { return internal::Unwrap(impl_->GetAccessToken()); });
}

std::string PkceClient::GetIdToken() const {
    return internal::Guarded([&] { return internal::Unwrap(impl_->GetIdToken()); });
}

void PkceClient::ExchangeToken(const std::string& code, const std::string& redirect_uri,
                               const std::string& code_verifier) const {
    internal::Guarded([&] { internal::Unwrap(impl_->ExchangeToken(code, redirect_uri, code_verifier)); });
}

}  // namespace quilkova
