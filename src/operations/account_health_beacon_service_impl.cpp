// The monitoring service's grant, vouched for by the "healthbeacon" package.
#include "operations/account_health_beacon_service_impl.hpp"

#include "account/server_hosts.hpp"
#include "foundation/json_utils.hpp"
#include "operations/package_pkce_client_impl.hpp"
#include "services/token_requests.hpp"
#include "device/identity.hpp"

namespace quilkova {

internal::Result<std::string> AccountHealthBeaconServiceImpl::Grant(const std::string& client_id, const std::string& scope,
                                                  const std::string& redirect_url, const std::string& state) const {
    const std::string url =
        ServerInfoImpl().GetAccountHost() + "/oauth2/api/v1/device/healthbeacon/authorization_code/grant";
    KOVA_TRY(package, PackagePkceClientImpl::Make("healthbeacon"));
    KOVA_TRY(token, package->GetAccessToken());
    // The second header set replaces the first: only "Authorization" is
    // sent. The scope travels whole, in one pair.
    KOVA_TRY(response, http::Post(http::Url{url}, internal::RequestTimeout(), http::UserAgent{internal::UserAgent()},
                                  http::Header{{"X-Client-ID", client_id}},
                                  http::Header{{"Authorization", "Bearer " + token}},
                                  http::Payload{{"client_id", client_id},
                                                {"redirect_url", redirect_url},
                                                {"state", state},
                                                {"scopes[]", scope}}));
    KOVA_TRY_STATUS(internal::RequireDelivered(response, "Failed to grant healthbeacon", "Failed to grant healthbeacon"));
    KOVA_TRY(answer, internal::RequireObject(response, "Failed to parse healthbeacon grant resp", KOVA_ERR_RESPONSE,
                                             "grant_code"));
    // "?" whatever the address holds already, as a browser redirect would look.
    return redirect_url + "?" +
           http::Encode(http::Parameters{
               {"scope", scope}, {"state", state}, {"code", internal::TextOf(answer["grant_code"])}});
}

}  // namespace quilkova
