// The appliance's token recreated from the device auth key, without a browser.
#include "internal/account_pkce_service_impl.hpp"
#include "internal/json_utils.hpp"
#include "internal/pkce_requests.hpp"
#include "quilkova/hos_service.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/user.hpp"

namespace quilkova {

void AccountPkceServiceImpl::GrantByAuthKey() const {
    const Json::Value config = GetLoginPkceConfig();
    const std::string redirect = internal::TextOf(config["login_redirect_uri"]);
    const internal::ChallengePair pair = internal::NewChallengePair();
    const std::string client_id = internal::TextOf(config["client_id"]);
    const http::Payload form = internal::GrantForm(client_id, redirect, pair.challenge,
                                                   {{"auth_key", User().GetAuthKey()}},
                                                   internal::TextOf(config["scope"]));
    const http::Response response =
        http::Post(http::Url{GetAccountHost() + "/migration/api/v1/device/core/authorization_code/grant"}, form,
                   http::UserAgent{HosService().GetUserAgent()}, http::Header{{"X-Client-ID", client_id}},
                   http::Timeout{internal::kRequestTimeoutMs});
    // 401 is the auth key itself refused, told apart from every other refusal.
    if (response.error.code == http::ErrorCode::OK && response.status_code == 401) {
        throw KovaException(KOVA_ERR_AUTH, internal::StatusMessage("Failed to auth on grant by authkey", response));
    }
    internal::RequireDelivered(response, "Failed to grant by authkey", "Failed to grant by authkey");
    const Json::Value answer = internal::RequireObject(response, "Failed to parse grant by authkey resp",
                                                       KOVA_ERR_RESPONSE, "grant_code");
    // The grant code plays the authorization code, with this call's verifier.
    client_.ExchangeToken(internal::TextOf(answer["grant_code"]), redirect, pair.verifier);
}

}  // namespace quilkova
