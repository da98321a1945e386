// quilkova: the scheduled report run and an administrator's commands for the
// appliance's cloud account. Each command is one or two library calls; the
// program adds nothing but reading arguments and printing.
#include <CLI/CLI.hpp>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <utility>
#include <vector>
#include <functional>
#include <iostream>
#include <optional>
#include <set>
#include <string>

#include "console.hpp"
#include "quilkova/account_pkce_service.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/package_pkce_client.hpp"
#include "quilkova/pkce_client.hpp"
#include "quilkova/quilkova.h"
#include "util/atomic_file.hpp"
#include "util/backoff_state.hpp"
#include "util/root_prefix.hpp"

namespace {

using quilkova::tool::Console;

// The appliance's own PKCE client ("hos", for host operating system), whose token file the status shows.
constexpr const char* kApplianceClient = "hos";
// Where the token files and backoff states are, and the rendered report schedule.
constexpr const char* kPrivate = "/usr/quil/etc/quillion-account/private/";
constexpr const char* kReportSchedule = "/etc/cron.d/quil-kova";
using quilkova::tool::ReadSecret;
using quilkova::tool::SecretLine;

// Reads a secret line; when there is none, says why (`missing`, or a line too
// long) and gives the exit status to return.
std::optional<int> Unread(const Console& console, const char* prompt, std::string& secret, const char* missing) {
    switch (ReadSecret(prompt, secret)) {
        case SecretLine::kRead:
            return std::nullopt;
        case SecretLine::kTooLong:
            return console.Error(KOVA_ERR_BAD_PARAM, "a line on standard input is longer than " +
                                                         std::to_string(quilkova::tool::kLongestSecretLine) +
                                                         " bytes: refused");
        case SecretLine::kMissing:
            break;
    }
    return console.Error(KOVA_ERR_BAD_PARAM, missing);
}

// The exception's message, without its code suffix and stack.
std::string MessageOf(const quilkova::KovaException& error) {
    const std::string all = error.what();
    return all.substr(0, std::min(all.find(" [code="), all.find('\n')));
}

// A class call: its exception becomes one error line (without the stack) and status 1.
template <typename Call>
int Classes(const Console& console, Call&& call) {
    try {
        return call();
    } catch (const quilkova::KovaException& error) {
        return console.Error(error.GetCode(), MessageOf(error));
    }
}

std::string Time(long long seconds) {
    if (seconds <= 0) {
        return "never";
    }
    char text[32];
    const std::time_t time = static_cast<std::time_t>(seconds);
    std::tm utc{};
    std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S UTC", gmtime_r(&time, &utc));
    return text;
}

const char* YesNo(bool flag) {
    return flag ? "yes" : "no";
}

// The clients with a token or backoff file (the appliance's first, then the
// packages' by name).
std::vector<std::string> Clients() {
    std::set<std::string> names;
    for (const char* suffix : {"_token.json", "_backoff.json"}) {
        for (std::string& name : quilkova::internal::StemsEndingIn(quilkova::internal::RootedPath(kPrivate), suffix)) {
            names.insert(std::move(name));
        }
    }
    names.erase(kApplianceClient);
    std::vector<std::string> clients{kApplianceClient};
    clients.insert(clients.end(), names.begin(), names.end());
    return clients;
}

int Status(const Console& console) {
    KOVA_INFO info = {};
    if (QUILKOVAAccountGet(&info) != 0) {
        return console.Failed(QUILKOVAErrGet());
    }
    KOVA_SERVER_CONFIG hosts = {};
    QUILKOVAServerConfigGet(&hosts);
    const bool scheduled = ::access(quilkova::internal::RootedPath(kReportSchedule).c_str(), F_OK) == 0;
    Json::Value json;
    json["email"] = info.email;
    json["user_id"] = info.user_id;
    json["full_name"] = info.full_name;
    json["activated"] = info.activated != 0;
    json["last_query_time"] = info.last_query_time;
    json["account_host"] = hosts.account_url;
    json["report_scheduled"] = scheduled;
    std::vector<std::pair<std::string, std::string>> lines = {{"account", info.email},
                                                              {"user id", info.user_id},
                                                              {"name", info.full_name},
                                                              {"activated", YesNo(info.activated != 0)},
                                                              {"last query", Time(info.last_query_time)},
                                                              {"account host", hosts.account_url},
                                                              {"report schedule", scheduled ? "installed" : "none"}};
    json["clients"] = Json::Value(Json::arrayValue);
    for (const std::string& name : Clients()) {
        const quilkova::PkceClient client(name);
        const bool token = client.HasTokenFile();
        const long long expires_at = token ? client.GetExpiredAt() : 0;
        const quilkova::internal::BackoffState backoff = quilkova::internal::ReadBackoffState(
            quilkova::internal::RootedPath(std::string(kPrivate) + name + "_backoff.json"));
        const bool waiting = backoff.left.count() > 0;
        const std::string label = name == kApplianceClient ? "appliance" : "package " + name;
        Json::Value entry;
        entry["client"] = name;
        entry["token"] = token;
        entry["token_expires_at"] = static_cast<Json::Int64>(expires_at);
        entry["backoff"] = waiting;
        entry["backoff_until"] = static_cast<Json::Int64>(waiting ? backoff.due_at : 0);
        entry["backoff_failures"] = backoff.failures;
        entry["backoff_code"] = backoff.code;
        if (name == kApplianceClient) {  // as before, for scripts that read them
            json["appliance_token"] = token;
            json["appliance_token_expires_at"] = static_cast<Json::Int64>(expires_at);
        }
        json["clients"].append(entry);
        lines.emplace_back(label + " token", token ? "expires " + Time(expires_at) : "none");
        if (waiting) {
            lines.emplace_back(label + " backoff", "until " + Time(backoff.due_at) + ", after " +
                                                       std::to_string(backoff.failures) + " failures (error " +
                                                       std::to_string(backoff.code) + " " +
                                                       quilkova::tool::CodeName(backoff.code) + ")");
        }
    }
    console.Show(json, lines);
    return 0;
}

int ShowAccount(const Console& console, const Json::Value& account) {
    console.Show(account, {{"account", account["email"].asString()},
                           {"name", account["full_name"].asString()},
                           {"country", account["country"].asString()},
                           {"time zone", account["timezone"].asString()},
                           {"language", account["notify_language"].asString()},
                           {"activated", YesNo(account["activated"].asBool())},
                           {"newsletter", YesNo(account["enews"].asBool())},
                           {"critical releases", YesNo(account["critical_release"].asBool())}});
    return 0;
}

struct LoginOptions {
    std::string email;
    bool check = false;
    bool pkce = false;
    bool code_given = false;  // --code or --verifier on the command line: refused
    std::string redirect_uri;
};

int Login(const Console& console, const LoginOptions& options) {
    if (options.pkce) {
        // A command line is readable by every local user (/proc/PID/cmdline).
        if (options.code_given) {
            return console.Error(KOVA_ERR_BAD_PARAM,
                                 "the code and the verifier are read from standard input, never from the command line");
        }
        constexpr const char* kNeeds =
            "login --pkce needs --redirect-uri, and the code and the verifier on standard input";
        if (options.redirect_uri.empty()) {
            return console.Error(KOVA_ERR_BAD_PARAM, kNeeds);
        }
        std::string code;
        std::string verifier;
        if (const auto failed = Unread(console, "Authorization code: ", code, kNeeds)) {
            return *failed;
        }
        if (const auto failed = Unread(console, "Code verifier: ", verifier, kNeeds)) {
            return *failed;
        }
        if (code.empty() || verifier.empty()) {
            return console.Error(KOVA_ERR_BAD_PARAM, kNeeds);
        }
        return Classes(console, [&] {
            const Json::Value account = quilkova::AccountPkceService().Login({"", code, verifier, options.redirect_uri});
            console.Say("Logged in as " + account["email"].asString() + " (browser login)", account);
            return 0;
        });
    }
    if (options.email.empty()) {
        return console.Error(KOVA_ERR_BAD_PARAM, "login needs an e-mail (or --pkce)");
    }
    std::string password;
    if (const auto failed = Unread(console, "Password: ", password, "no password on standard input")) {
        return *failed;
    }
    Json::Value answer;
    if (QUILKOVAAccountLogin(options.email.c_str(), password.c_str(), answer, options.check) != 0) {
        return console.Failed(QUILKOVAErrGet());
    }
    console.Say(options.check ? "The password of " + options.email + " is right" : "Logged in as " + options.email,
                answer);
    return 0;
}

int Logout(const Console& console, bool local) {
    if (QUILKOVAAccountLogout(!local) != 0) {
        return console.Failed(QUILKOVAErrGet());
    }
    console.Say(local ? "Logged out on this appliance" : "Logged out", Json::Value(Json::objectValue));
    return 0;
}

int Query(const Console& console, bool refresh) {
    Json::Value account;
    if (QUILKOVAAccountQueryInfo(account, refresh, false) != 0) {
        return console.Failed(QUILKOVAErrGet());
    }
    return ShowAccount(console, account);
}

int Token(const Console& console, const std::string& package, bool id_token) {
    try {
        std::string token;
        if (package.empty()) {
            const quilkova::AccountPkceService appliance;
            token = id_token ? appliance.GetIdToken() : appliance.GetAccessToken();
        } else {
            const quilkova::PackagePkceClient client(package);
            token = id_token ? client.GetIdToken() : client.GetAccessToken();
        }
        Json::Value json;
        json[id_token ? "id_token" : "access_token"] = token;
        console.Say(token, json);
        return 0;
    } catch (const quilkova::KovaException& error) {
        // The first thing a person meets on a new appliance: say what gets a token.
        const std::string client = package.empty() ? kApplianceClient : package;
        if (error.GetCode() != KOVA_ERR_BAD_PARAM && !quilkova::PkceClient(client).HasTokenFile()) {
            return console.Error(error.GetCode(),
                                 "there is no token yet for " + (package.empty() ? "the appliance" : "package " + package) +
                                     ": bind the appliance to its account with \"quilkova login <e-mail>\" or "
                                     "\"quilkova login --pkce\", and its tokens follow (" + MessageOf(error) + ")");
        }
        return console.Error(error.GetCode(), MessageOf(error));
    }
}

int Scan(const Console& console) {
    Json::Value accounts;
    if (QUILKOVAAccountScanExisting(accounts) != 0) {
        return console.Failed(QUILKOVAErrGet());
    }
    std::vector<std::pair<std::string, std::string>> lines;
    for (const std::string& email : accounts.getMemberNames()) {
        for (const Json::Value& service : accounts[email]["services"]) {
            lines.emplace_back(email, service["type"].asString() + " " + service["value"].asString());
        }
    }
    if (lines.empty() && !console.json()) {
        std::cout << "No account is known to other services of this appliance." << std::endl;
    }
    console.Show(accounts, lines);
    return 0;
}

struct RegisterOptions {
    std::string email;
    std::string name;
    std::optional<std::string> country;
    bool enews = false;
    bool critical_release = false;
    bool local_promotion = false;
};

int Register(const Console& console, const RegisterOptions& options) {
    std::string password;
    if (const auto failed = Unread(console, "Password for the new account: ", password, "no password on standard input")) {
        return *failed;
    }
    if (QUILKOVAAccountRegister(options.email.c_str(), password.c_str(), options.name.c_str(),
                                options.critical_release, options.enews, options.local_promotion,
                                options.country ? options.country->c_str() : nullptr) != 0) {
        return console.Failed(QUILKOVAErrGet());
    }
    console.Say("Registered " + options.email + "; log in with it to bind it", Json::Value(Json::objectValue));
    return 0;
}

struct UpdateOptions {
    std::optional<std::string> name, email, country, language, timezone, versions;
    std::optional<bool> enews, critical_release, local_promotion;
    bool change_password = false;
};

int Update(const Console& console, const UpdateOptions& options) {
    std::string current;
    std::string fresh;
    const bool needs_current = options.email || options.change_password;
    if (const auto failed =
            needs_current ? Unread(console, "Current password: ", current, "no current password on standard input")
                          : std::nullopt) {
        return *failed;
    }
    if (const auto failed = options.change_password
                                ? Unread(console, "New password: ", fresh, "no new password on standard input")
                                : std::nullopt) {
        return *failed;
    }
    const auto text = [](const std::optional<std::string>& value) { return value ? value->c_str() : nullptr; };
    const auto flag = [](const std::optional<bool>& value) { return value ? (*value ? 1 : 0) : -1; };
    if (QUILKOVAAccountSetInfo(text(options.name), text(options.email), needs_current ? current.c_str() : nullptr,
                               options.change_password ? fresh.c_str() : nullptr, text(options.country),
                               text(options.language), text(options.timezone), flag(options.enews),
                               flag(options.critical_release), flag(options.local_promotion),
                               text(options.versions)) != 0) {
        return console.Failed(QUILKOVAErrGet());
    }
    console.Say("Account updated", Json::Value(Json::objectValue));
    return 0;
}

// Everything the command line can set.
struct Options {
    bool json = false;
    bool report = false;
    bool show_auth_key = false;
    LoginOptions login;
    bool local = false;
    std::string package;
    bool id_token = false;
    bool refresh = false;
    RegisterOptions registration;
    UpdateOptions update;
};

CLI::App* AddLogin(CLI::App& app, LoginOptions& options) {
    CLI::App* login = app.add_subcommand(
        "login", "log in with an e-mail (password on standard input or typed, never on the command line)");
    login->add_option("email", options.email, "the account's e-mail");
    login->add_flag("--check", options.check, "only check the password; store nothing");
    login->add_flag("--pkce", options.pkce, "finish a browser (PKCE) login instead");
    login->add_option("--redirect-uri", options.redirect_uri,
                      "with --pkce: the redirect address the code was issued for (the code, then the verifier, "
                      "are read from standard input)");
    // Accepted only to be refused with a clear message; hidden from the help.
    const auto refuse_on_command_line = [&options](const std::string&) { options.code_given = true; };
    login->add_option_function<std::string>("--code", refuse_on_command_line)->group("");
    login->add_option_function<std::string>("--verifier", refuse_on_command_line)->group("");
    return login;
}

CLI::App* AddRegister(CLI::App& app, RegisterOptions& options) {
    CLI::App* registration = app.add_subcommand("register", "create an account (password on standard input)");
    registration->add_option("email", options.email, "the new account's e-mail")->required();
    registration->add_option("--name", options.name, "the account holder's name");
    registration->add_option("--country", options.country, "a country code");
    registration->add_flag("--enews", options.enews, "subscribe to the newsletter");
    registration->add_flag("--critical-release", options.critical_release, "be told of critical releases");
    registration->add_flag("--local-promotion", options.local_promotion, "receive local promotions");
    return registration;
}

CLI::App* AddUpdate(CLI::App& app, UpdateOptions& options) {
    CLI::App* update = app.add_subcommand(
        "update", "change the bound account (passwords on standard input, current first)");
    update->add_option("--name", options.name, "the account holder's name");
    update->add_option("--email", options.email, "a new e-mail (needs the current password)");
    update->add_option("--country", options.country, "a country code");
    update->add_option("--language", options.language, "the notification language, e.g. enu");
    update->add_option("--timezone", options.timezone, "a time zone, e.g. Europe/Berlin");
    update->add_option("--critical-versions", options.versions, "the critical version list");
    update->add_option("--enews", options.enews, "newsletter: true or false");
    update->add_option("--critical-release", options.critical_release, "critical releases: true or false");
    update->add_option("--local-promotion", options.local_promotion, "local promotions: true or false");
    update->add_flag("--change-password", options.change_password, "change the password");
    return update;
}

using Command = std::pair<const CLI::App*, std::function<int(const Console&)>>;

// The program's flags and subcommands, each subcommand with what runs it.
std::vector<Command> DefineCommandLine(CLI::App& app, Options& options) {
    app.require_subcommand(0, 1);
    app.fallthrough();
    app.add_flag("--json", options.json, "print results (and errors, on standard error) as JSON, for scripts");
    app.add_flag("--show-auth-key", options.show_auth_key, "include the device's auth key in what is printed");
    app.add_flag("--report_info", options.report, "send the scheduled report of the appliance's state");

    CLI::App* status = app.add_subcommand(
        "status", "show the bound account, the report schedule, and each token's expiry and backoff");
    CLI::App* login = AddLogin(app, options.login);
    CLI::App* logout = app.add_subcommand("logout", "log out at the service, then on this appliance");
    logout->add_flag("--local", options.local, "only on this appliance");
    CLI::App* token = app.add_subcommand("token", "print the appliance's (or a package's) access token");
    token->add_option("--package", options.package, "the package whose token to print");
    token->add_flag("--id", options.id_token, "the ID token instead of the access token");
    CLI::App* query = app.add_subcommand("query", "show the account as stored, refreshed when it is old");
    query->add_flag("--refresh", options.refresh, "ask the service unless the last query is under 5 minutes old");
    CLI::App* scan = app.add_subcommand("scan", "list the accounts other services of the appliance use");
    CLI::App* registration = AddRegister(app, options.registration);
    CLI::App* update = AddUpdate(app, options.update);
    const Options& o = options;
    return {
        {status, [](const Console& console) { return Status(console); }},
        {login, [&o](const Console& console) { return Login(console, o.login); }},
        {logout, [&o](const Console& console) { return Logout(console, o.local); }},
        {token, [&o](const Console& console) { return Token(console, o.package, o.id_token); }},
        {query, [&o](const Console& console) { return Query(console, o.refresh); }},
        {scan, [](const Console& console) { return Scan(console); }},
        {registration, [&o](const Console& console) { return Register(console, o.registration); }},
        {update, [&o](const Console& console) { return Update(console, o.update); }},
    };
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"quilkova: the appliance's cloud account. Run by the scheduler with --report_info."};
    Options options;
    const std::vector<Command> commands = DefineCommandLine(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& help) {
        return app.exit(help);
    } catch (const CLI::CallForAllHelp& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        std::cerr << "quilkova: " << error.what() << " (see quilkova --help)" << std::endl;
        return 2;
    }
    const Console console(options.json, options.show_auth_key);
    if (options.report) {
        return QUILKOVAReportInfo() == 0 ? 0 : console.Failed(QUILKOVAErrGet());
    }
    for (const auto& [command, run] : commands) {
        if (*command) {
            return run(console);
        }
    }
    std::cout << app.help();
    return 2;
}
