// The identity host's token endpoint and the account host's device OAuth endpoints.
#include "sim/routes.hpp"

namespace quilkova::sim {

namespace {

void OAuthError(httplib::Response& response, int status, const char* error, const char* description) {
    Json::Value body;
    body["error"] = error;
    body["error_description"] = description;
    Reply(response, status, body);
}

// The owner of the request's bearer token; false (401 answered) when it has none that is valid.
bool Bearer(const State& state, const ReceivedRequest& request, httplib::Response& response, TokenOwner& owner) {
    const std::string header = request.Header("Authorization");
    const std::string prefix = "Bearer ";
    if (header.rfind(prefix, 0) == 0 && state.FindAccessToken(header.substr(prefix.size()), owner)) {
        return true;
    }
    OAuthError(response, 401, "invalid_token", "no valid bearer token");
    return false;
}

Json::Value GrantAnswer(const std::string& code, const std::string& state) {
    Json::Value answer;
    answer["grant_code"] = code;
    answer["state"] = state;
    return answer;
}

void AddTokenEndpoint(httplib::Server& http, const std::shared_ptr<State>& state) {
    Route(http, state, "/oauth2/token", [state](const ReceivedRequest& form, httplib::Response& response) {
        const std::string grant_type = form.Field("grant_type");
        const std::string client_id = form.Field("client_id");
        if (grant_type == "authorization_code") {
            Grant grant;
            if (!state->TakeCode(form.Field("code"), grant)) {
                OAuthError(response, 400, "invalid_grant", "unknown or already used authorization code");
            } else if (grant.client_id != client_id || grant.redirect_uri != form.Field("redirect_uri")) {
                OAuthError(response, 400, "invalid_grant", "client or redirect_uri does not match the code");
            } else if (!grant.challenge.empty() && S256(form.Field("code_verifier")) != grant.challenge) {
                OAuthError(response, 400, "invalid_grant", "code_verifier does not match the code_challenge");
            } else {
                Reply(response, 200, state->IssueTokens(client_id, grant.account_id));
            }
        } else if (grant_type == "refresh_token") {
            std::string account_id;
            if (!state->TakeRefreshToken(form.Field("refresh_token"), client_id, account_id)) {
                OAuthError(response, 400, "invalid_grant", "refresh token is invalid, used or revoked");
            } else {
                Reply(response, 200, state->IssueTokens(client_id, account_id));
            }
        } else {
            OAuthError(response, 400, "unsupported_grant_type", "grant_type must be authorization_code or refresh_token");
        }
    });
}

void AddPackageEndpoints(httplib::Server& http, const std::shared_ptr<State>& state) {
    Route(http, state, "/oauth2/api/v1/device/package/config/pkce/client",
          [state](const ReceivedRequest& request, httplib::Response& response) {
              TokenOwner owner;
              if (!Bearer(*state, request, response, owner)) {
                  return;
              }
              const Json::Value config = state->Package(request.Field("package_name"));
              if (config.isNull()) {
                  OAuthError(response, 404, "unknown_package", "no such package");
              } else {
                  Reply(response, 200, config);
              }
          });
    // A grant for a package's client, vouched for by the appliance's token.
    Route(http, state, "/oauth2/api/v1/device/package/authorization_code/grant",
          [state](const ReceivedRequest& form, httplib::Response& response) {
              TokenOwner owner;
              if (!Bearer(*state, form, response, owner)) {
                  return;
              }
              if (state->PackageOfClient(form.Field("client_id")).empty() || form.Field("code_challenge").empty()) {
                  OAuthError(response, 400, "invalid_request", "unknown client or no code_challenge");
                  return;
              }
              const std::string code = state->IssueCode(
                  {form.Field("client_id"), form.Field("code_challenge"), form.Field("redirect_url"), owner.account_id});
              Reply(response, 200, GrantAnswer(code, form.Field("state")));
          });
    // A code for the monitoring service's own web client, vouched for by the
    // "healthbeacon" package's token; no PKCE.
    Route(http, state, "/oauth2/api/v1/device/healthbeacon/authorization_code/grant",
          [state](const ReceivedRequest& form, httplib::Response& response) {
              TokenOwner owner;
              if (!Bearer(*state, form, response, owner)) {
                  return;
              }
              if (state->PackageOfClient(owner.client_id) != "healthbeacon" || form.Field("client_id").empty()) {
                  OAuthError(response, 403, "access_denied", "not the healthbeacon package's token");
                  return;
              }
              const std::string code =
                  state->IssueCode({form.Field("client_id"), "", form.Field("redirect_url"), owner.account_id});
              Reply(response, 200, GrantAnswer(code, form.Field("state")));
          });
}

}  // namespace

void AddOAuthRoutes(httplib::Server& http, const std::shared_ptr<State>& state) {
    AddTokenEndpoint(http, state);
    // The appliance's fresh access token for the account's user id and auth key.
    Route(http, state, "/oauth2/api/v1/device/core/authkey/exchange",
          [state](const ReceivedRequest& request, httplib::Response& response) {
              TokenOwner owner;
              if (!Bearer(*state, request, response, owner)) {
                  return;
              }
              Json::Value answer;
              answer["user_id"] = owner.account_id;
              answer["auth_key"] = state->CurrentAuthKey(owner.account_id);
              Reply(response, 200, answer);
          });
    // A one-time code for the login client from the device's auth key, in place of a browser login.
    Route(http, state, "/migration/api/v1/device/core/authorization_code/grant",
          [state](const ReceivedRequest& form, httplib::Response& response) {
              const Json::Value account = state->Find("auth_key", form.Field("auth_key"));
              if (account.isNull()) {
                  OAuthError(response, 401, "invalid_auth_key", "unknown or revoked auth key");
                  return;
              }
              if (form.Field("client_id").empty() || form.Field("code_challenge").empty()) {
                  OAuthError(response, 400, "invalid_request", "client_id and code_challenge are required");
                  return;
              }
              const std::string code = state->IssueCode({form.Field("client_id"), form.Field("code_challenge"),
                                                         form.Field("redirect_url"), account["id"].asString()});
              Reply(response, 200, GrantAnswer(code, form.Field("state")));
          });
    AddPackageEndpoints(http, state);
}

}  // namespace quilkova::sim
