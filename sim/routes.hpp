#ifndef QUILKOVA_SIM_ROUTES_HPP
#define QUILKOVA_SIM_ROUTES_HPP

#include <httplib.h>
#include <json/json.h>

#include <functional>
#include <memory>
#include <string>

#include "sim/state.hpp"

// How the simulator's endpoints are served; each group of routes in a file of its own.
namespace quilkova::sim {

using Handler = std::function<void(const ReceivedRequest&, httplib::Response&)>;

// Serves `pattern` for GET and POST: every request is logged, and a canned
// answer queued for its path wins over the handler (none: 404).
void Route(httplib::Server& http, const std::shared_ptr<State>& state, const std::string& pattern,
           const Handler& handler);

void Reply(httplib::Response& response, int status, const Json::Value& body);
// {"code": code}
Json::Value CodeAnswer(const char* code);
Json::Value Parsed(const std::string& text);
std::string Text(const Json::Value& value);

void AddAccountRoutes(httplib::Server& http, const std::shared_ptr<State>& state);
void AddOAuthRoutes(httplib::Server& http, const std::shared_ptr<State>& state);
void AddControlRoutes(httplib::Server& http, const std::shared_ptr<State>& state);

}  // namespace quilkova::sim

#endif
