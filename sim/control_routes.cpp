// The control surface under "/_sim/", for tests and the demo driving the
// simulator from another process.
#include "sim/routes.hpp"

namespace quilkova::sim {

namespace {
Json::Value Listed(const ReceivedRequest& request) {
    Json::Value item;
    item["method"] = request.method;
    item["path"] = request.path;
    item["query"] = request.query;
    item["body"] = request.body;
    item["headers"] = Json::objectValue;
    for (const auto& [name, value] : request.headers) {
        item["headers"][name] = value;
    }
    item["fields"] = Json::arrayValue;
    for (const auto& [name, value] : request.fields) {
        Json::Value pair(Json::arrayValue);
        pair.append(name);
        pair.append(value);
        item["fields"].append(pair);
    }
    return item;
}

using Order = std::function<Json::Value(State&, const Json::Value&)>;

// POST /_sim/<name> with a JSON object; answers {"code": "good", ...what the order adds}.
void Control(httplib::Server& http, const std::shared_ptr<State>& state, const std::string& name, const Order& order) {
    http.Post("/_sim/" + name, [state, order](const httplib::Request& request, httplib::Response& response) {
        const Json::Value given = request.body.empty() ? Json::Value(Json::objectValue) : Parsed(request.body);
        if (!given.isObject()) {
            Reply(response, 400, CodeAnswer("badparam"));
            return;
        }
        Json::Value answer = order(*state, given);
        answer["code"] = "good";
        Reply(response, 200, answer);
    });
}
}  // namespace

void AddControlRoutes(httplib::Server& http, const std::shared_ptr<State>& state) {
    http.Get("/_sim/requests", [state](const httplib::Request&, httplib::Response& response) {
        Json::Value list(Json::arrayValue);
        for (const ReceivedRequest& each : state->Requests()) {
            list.append(Listed(each));
        }
        Reply(response, 200, list);
    });
    Control(http, state, "queue", [](State& s, const Json::Value& given) {
        CannedAnswer answer{given.get("status", 200).asInt(), given.get("body", "").asString(),
                            given.get("delay_ms", 0).asInt(), {}};
        const Json::Value headers = given["headers"].isObject() ? given["headers"] : Json::Value(Json::objectValue);
        for (const std::string& name : headers.getMemberNames()) {
            answer.headers.emplace_back(name, headers[name].asString());
        }
        s.Queue(given.get("path", "/").asString(), answer);
        return Json::Value(Json::objectValue);
    });
    Control(http, state, "reset", [](State& s, const Json::Value&) {
        s.Reset();
        return Json::Value(Json::objectValue);
    });
    Control(http, state, "authorize", [](State& s, const Json::Value& given) {
        const Json::Value account = s.Account(given.get("email", "").asString());
        Json::Value answer;
        answer["authorization_code"] =
            s.IssueCode({given.get("client_id", "").asString(), given.get("code_challenge", "").asString(),
                         given.get("redirect_uri", "").asString(), account["id"].asString()});
        return answer;
    });
    Control(http, state, "token_lifetime", [](State& s, const Json::Value& given) {
        s.SetTokenLifetime(given.get("seconds", 3600).asInt());
        return Json::Value(Json::objectValue);
    });
    Control(http, state, "revoke", [](State& s, const Json::Value&) {
        s.RevokeRefreshTokens();
        return Json::Value(Json::objectValue);
    });
    Control(http, state, "revoke_auth_key", [](State& s, const Json::Value& given) {
        s.RevokeAuthKey(given.get("email", "").asString());
        return Json::Value(Json::objectValue);
    });
}

}  // namespace quilkova::sim
