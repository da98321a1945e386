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
        "Serves the account service on 127.0.0.1 over plain HTTP until SIGINT or SIGTERM.\n"
        "Prints \"listening on http://127.0.0.1:PORT\" once it accepts requests.\n"
        "\n"
        "  --port N     port to listen on; 0 (the default) picks a free one\n"
        "  --seed FILE  JSON file with the accounts: {\"accounts\": [{\"email\": ..., \"password\": ...,\n"
        "               \"id\": ..., \"auth_key\": ..., \"access_token\": ..., \"full_name\": ..., ...}]}\n"
        "  --help       this text\n"
        "\n"
        "Account endpoints: /device/api/password_login, /good/user/launch, /device/api/user/query,\n"
        "/device/api/user/register, /device/api/user/update, /device/api/report.\n"
        "Identity endpoint: /oauth2/token (authorization_code with S256 code_verifier, refresh_token;\n"
        "refresh tokens rotate; refusals are HTTP 400 {\"error\": \"invalid_grant\"}).\n"
        "Control: POST /_sim/queue {\"path\", \"status\", \"body\", \"delay_ms\"} answers the next request\n"
        "to path as given; GET /_sim/requests lists the requests received; POST /_sim/reset forgets\n"
        "both and restores the seeded accounts. POST /_sim/authorize {\"client_id\", \"code_challenge\",\n"
        "\"redirect_uri\"} issues a one-time authorization code, as a browser login would;\n"
        "POST /_sim/token_lifetime {\"seconds\"} sets expires_in; POST /_sim/revoke revokes every\n"
        "refresh token.\n",
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
