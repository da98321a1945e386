// quilkova-sim: the account-service simulator as a program, for the demo and
// for tests that drive it from a shell.
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

#include "sim/simulator.hpp"

namespace {

std::atomic<bool> g_stop{false};

void RequestStop(int) {
    g_stop = true;
}

void PrintUsage(FILE* out) {
    std::fputs(
        "Usage: quilkova-sim [--port N] [--seed FILE]\n"
        "\n"
        "Serves the cloud service (account, identity and payment hosts) on 127.0.0.1 over plain\n"
        "HTTP until SIGINT or SIGTERM. Prints \"listening on http://127.0.0.1:PORT\" once it accepts\n"
        "requests.\n"
        "\n"
        "  --port N     port to listen on; 0 (the default) picks a free one\n"
        "  --seed FILE  JSON file: {\"accounts\": [{\"email\", \"password\", \"id\", \"auth_key\",\n"
        "               \"access_token\", \"full_name\", ..., \"purchases\": [...]}],\n"
        "               \"packages\": {\"<name>\": {\"client_id\", \"scope\", \"..._path\", ...}}}\n"
        "  --help       this text\n"
        "\n"
        "Account endpoints (forms): /device/api/password_login, /good/user/launch,\n"
        "/device/api/user/query, /device/api/user/register, /device/api/user/update,\n"
        "/device/api/report, /device/api/logout (revokes the auth key and refresh tokens).\n"
        "Device OAuth: /oauth2/api/v1/device/core/authkey/exchange (bearer token in, user id and\n"
        "auth key out), /migration/api/v1/device/core/authorization_code/grant (auth key in, a\n"
        "one-time grant code out; 401 for an unknown key), /oauth2/api/v1/device/package/config/\n"
        "pkce/client, /oauth2/api/v1/device/package/authorization_code/grant and /oauth2/api/v1/\n"
        "device/healthbeacon/authorization_code/grant (bearer token of the appliance or package).\n"
        "Identity: /oauth2/token (authorization_code with S256 code_verifier, refresh_token; refresh\n"
        "tokens rotate; refusals are HTTP 400 {\"error\": \"invalid_grant\"}).\n"
        "Payment: /api/v1/device/purchase/list (JSON {\"id\", \"auth_key\", \"serial_no\"}).\n"
        "\n"
        "Control (POST, JSON): /_sim/queue {\"path\", \"status\", \"body\", \"delay_ms\", \"headers\"}\n"
        "answers the next request to path as given; /_sim/reset forgets requests and canned answers\n"
        "and restores the seeded accounts; /_sim/authorize {\"client_id\", \"code_challenge\",\n"
        "\"redirect_uri\", \"email\"} issues a one-time authorization code, as a browser login would;\n"
        "/_sim/token_lifetime {\"seconds\"} sets expires_in; /_sim/revoke revokes every refresh token;\n"
        "/_sim/revoke_auth_key {\"email\"} revokes an account's auth key. GET /_sim/requests lists the\n"
        "requests received.\n",
        out);
}

bool LoadSeed(const char* path, Json::Value& seed) {
    std::ifstream in(path);
    Json::CharReaderBuilder builder;
    std::string errors;
    return in && Json::parseFromStream(builder, in, &seed, &errors);
}

}  // namespace

int main(int argc, char** argv) {
    int port = 0;
    Json::Value seed;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            PrintUsage(stdout);
            return 0;
        }
        if (arg == "--port" && i + 1 < argc) {
            port = std::atoi(argv[++i]);
        } else if (arg == "--seed" && i + 1 < argc) {
            if (!LoadSeed(argv[++i], seed)) {
                std::fprintf(stderr, "quilkova-sim: cannot read seed file %s\n", argv[i]);
                return 2;
            }
        } else {
            std::fprintf(stderr, "quilkova-sim: unknown argument %s\n\n", arg.c_str());
            PrintUsage(stderr);
            return 2;
        }
    }

    quilkova::sim::Simulator simulator(seed);
    const int bound = simulator.Start(port);
    if (bound < 0) {
        std::fprintf(stderr, "quilkova-sim: cannot listen on 127.0.0.1:%d\n", port);
        return 1;
    }
    signal(SIGINT, RequestStop);
    signal(SIGTERM, RequestStop);
    std::printf("listening on %s\n", simulator.BaseUrl().c_str());
    std::fflush(stdout);
    while (!g_stop) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    simulator.Stop();
    return 0;
}
