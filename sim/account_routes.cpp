// The account host's form endpoints of the flat interface, and the payment host.
#include "sim/routes.hpp"

namespace quilkova::sim {

namespace {

constexpr const char* kTextMembers[] = {"email",    "full_name",       "country",
                                        "timezone", "notify_language", "critical_version_list"};
constexpr const char* kFlagMembers[] = {"activated", "disabled", "enews", "critical_release", "enews_local_promotion",
                                        "realname_validation_pass"};

Json::Value LoginAnswer(const Json::Value& account, const std::string& auth_key) {
    Json::Value answer = CodeAnswer("good");
    answer["id"] = account["id"];
    answer["auth_key"] = auth_key;
    answer["email"] = account["email"];
    return answer;
}

// Everything a query needs, with the service's types.
Json::Value QueryAnswer(const Json::Value& account) {
    Json::Value answer = CodeAnswer("good");
    for (const char* text : kTextMembers) {
        answer[text] = account.get(text, "").asString();
    }
    for (const char* flag : kFlagMembers) {
        answer[flag] = account.get(flag, false).asBool();
    }
    if (account.isMember("report_cron_timestring")) {
        answer["report_cron_timestring"] = account["report_cron_timestring"];
    }
    return answer;
}

// The account a device request names by "id" and proves with its current auth key.
const char* Authenticate(const State& state, const std::string& id, const std::string& auth_key, Json::Value& account) {
    account = state.Find("id", id);
    if (account.isNull()) {
        return "account_not_found";
    }
    return auth_key.empty() || account["auth_key"].asString() != auth_key ? "badauth" : "good";
}

void AddRegistration(httplib::Server& http, const std::shared_ptr<State>& state) {
    Route(http, state, "/device/api/user/register", [state](const ReceivedRequest& form, httplib::Response& response) {
        if (form.Field("email").empty() || form.Field("passwd").empty()) {
            Reply(response, 200, CodeAnswer("badparam"));
            return;
        }
        if (!state->Find("email", form.Field("email")).isNull()) {
            Reply(response, 200, CodeAnswer("account_inused"));
            return;
        }
        Json::Value account;
        account["id"] = "u-" + std::to_string(state->Requests().size()) + "-" +
                        std::to_string(std::hash<std::string>()(form.Field("email")) % 100000);
        account["email"] = form.Field("email");
        account["password"] = form.Field("passwd");
        account["full_name"] = form.Field("full_name");
        account["country"] = form.Field("country");
        account["timezone"] = form.Field("timezone");
        account["notify_language"] = form.Field("notify_lang");
        account["auth_key"] = "";  // issued at the first login
        for (const char* flag : {"enews", "critical_release", "enews_local_promotion"}) {
            account[flag] = form.Field(flag) == "true";
        }
        state->Add(account);
        Reply(response, 200, CodeAnswer("good"));
    });

    // The e-mail and the password change only with the current password.
    Route(http, state, "/device/api/user/update", [state](const ReceivedRequest& form, httplib::Response& response) {
        Json::Value account;
        const char* outcome = Authenticate(*state, form.Field("id"), form.Field("auth_key"), account);
        const bool proven = !form.Field("passwd").empty() && form.Field("passwd") == account["password"].asString();
        const bool needs_password = !form.Field("email").empty() || !form.Field("passwd_new").empty();
        if (std::string(outcome) == "good" && (needs_password || !form.Field("passwd").empty()) && !proven) {
            outcome = "badauth";
        }
        if (std::string(outcome) == "good" && form.Field("passwd_new") != form.Field("passwd_confirmation")) {
            outcome = "badparam";
        }
        if (std::string(outcome) != "good") {
            Reply(response, 200, CodeAnswer(outcome));
            return;
        }
        state->Update(account["id"].asString(), [&form](Json::Value& stored) {
            for (const auto& [name, value] : form.fields) {
                if (name == "full_name" || name == "country" || name == "timezone" || name == "email" ||
                    name == "critical_version_list") {
                    stored[name] = value;
                } else if (name == "notify_lang") {
                    stored["notify_language"] = value;
                } else if (name == "enews" || name == "critical_release" || name == "enews_local_promotion") {
                    stored[name] = value == "true";
                } else if (name == "passwd_new") {
                    stored["password"] = value;
                }
            }
        });
        Reply(response, 200, CodeAnswer("good"));
    });
}

}  // namespace

void AddAccountRoutes(httplib::Server& http, const std::shared_ptr<State>& state) {
    Route(http, state, "/device/api/password_login", [state](const ReceivedRequest& form, httplib::Response& response) {
        const Json::Value account = state->Find("email", form.Field("email"));
        if (account.isNull()) {
            Reply(response, 200, CodeAnswer("account_not_found"));
        } else if (account["password"].asString() != form.Field("passwd")) {
            Reply(response, 200, CodeAnswer("badauth"));
        } else {
            Reply(response, 200, LoginAnswer(account, state->CurrentAuthKey(account["id"].asString())));
        }
    });
    // An OAuth login: the seeded access token of an account, or one the identity host issued.
    Route(http, state, "/good/user/launch", [state](const ReceivedRequest& form, httplib::Response& response) {
        Json::Value account = state->Find("access_token", form.Field("access_token"));
        TokenOwner owner;
        if (account.isNull() && state->FindAccessToken(form.Field("access_token"), owner)) {
            account = state->Find("id", owner.account_id);
        }
        Reply(response, 200,
              account.isNull() ? CodeAnswer("badauth")
                               : LoginAnswer(account, state->CurrentAuthKey(account["id"].asString())));
    });
    Route(http, state, "/device/api/user/query", [state](const ReceivedRequest& form, httplib::Response& response) {
        const Json::Value account = state->Find("auth_key", form.Field("auth_key"));
        Reply(response, 200, account.isNull() ? CodeAnswer("badauth") : QueryAnswer(account));
    });
    Route(http, state, "/device/api/report", [state](const ReceivedRequest& form, httplib::Response& response) {
        Json::Value account;
        Reply(response, 200, CodeAnswer(Authenticate(*state, form.Field("id"), form.Field("auth_key"), account)));
    });
    // Revokes the account's auth key and refresh tokens; a key revoked before is logged out already.
    Route(http, state, "/device/api/logout", [state](const ReceivedRequest& form, httplib::Response& response) {
        Json::Value account;
        std::string outcome = Authenticate(*state, form.Field("id"), form.Field("auth_key"), account);
        if (outcome == "good") {
            state->Logout(account["id"].asString());
        }
        for (const Json::Value& revoked : account["revoked_auth_keys"]) {
            outcome = revoked.asString() == form.Field("auth_key") ? "good" : outcome;
        }
        Reply(response, 200, CodeAnswer(outcome.c_str()));
    });
    AddRegistration(http, state);

    // The payment host: a JSON request, a JSON answer.
    Route(http, state, "/api/v1/device/purchase/list", [state](const ReceivedRequest& request, httplib::Response& response) {
        const Json::Value asked = Parsed(request.body);
        if (!asked.isObject()) {
            Reply(response, 400, CodeAnswer("badparam"));
            return;
        }
        Json::Value account;
        const std::string outcome =
            Authenticate(*state, asked.get("id", "").asString(), asked.get("auth_key", "").asString(), account);
        Json::Value answer = CodeAnswer(outcome.c_str());
        if (outcome == "good") {
            answer["purchases"] = account.get("purchases", Json::Value(Json::arrayValue));
        }
        Reply(response, 200, answer);
    });
    // Any other path: logged, answered from the queue or with 404.
    Route(http, state, "/.*", nullptr);
}

}  // namespace quilkova::sim
