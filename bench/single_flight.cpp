// N processes ask for the appliance's token at once while it has expired:
// how many renewals reach the service, and how long the last caller waits
// after the renewal arrived there.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

#include "bench_env.hpp"
#include "child_process.hpp"
#include "foundation/json_utils.hpp"
#include "quilkova/pkce_client.hpp"

namespace {

using quilkova::bench::Env;

long long NowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void SingleFlight(benchmark::State& state) {
    const int callers = static_cast<int>(state.range(0));
    if (Env().smoke && callers > 8) {
        state.SkipWithError("skipped in a smoke run");
        return;
    }
    for (auto _ : state) {
        // A token the simulator will renew: one it issued, then aged.
        state.PauseTiming();
        const std::string code = Env().simulator->IssueAuthorizationCode("hos-client", "",
                                                                         Env().simulator->BaseUrl() + "/pkce/login");
        quilkova::PkceClient client("hos");
        Json::Value config;
        config["client_id"] = "hos-client";
        config["token_endpoint"] = Env().simulator->BaseUrl() + "/oauth2/token";
        client.SetPkceConfig(config);
        client.ExchangeToken(code, Env().simulator->BaseUrl() + "/pkce/login", "");
        Json::Value token;
        quilkova::internal::LoadJsonFile("/usr/quil/etc/quillion-account/private/hos_token.json", token);
        token["created_at"] = static_cast<Json::Int64>(token["created_at"].asInt64() - 7200);
        quilkova::internal::WriteJsonFile("/usr/quil/etc/quillion-account/private/hos_token.json", token);
        Env().simulator->Reset();
        const std::string results = Env().root + "/finished-";
        state.ResumeTiming();

        auto children = quilkova::test::StartTogether(callers, [&client, &results](int i) {
            client.GetAccessToken();
            std::ofstream(results + std::to_string(i)) << NowNs();
            return 0;
        });
        for (auto& child : children) {
            child->Wait();
        }

        state.PauseTiming();
        long long last = 0;
        for (int i = 0; i < callers; ++i) {
            long long finished = 0;
            std::ifstream(results + std::to_string(i)) >> finished;
            last = std::max(last, finished);
        }
        int renewals = 0;
        long long renewal_at = 0;
        for (const auto& request : Env().simulator->RequestsTo("/oauth2/token")) {
            if (request.Field("grant_type") == "refresh_token") {
                ++renewals;
                renewal_at = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                 request.received_at.time_since_epoch()).count();
            }
        }
        state.counters["renewals"] = renewals;
        state.counters["last_wait_ms"] = renewals > 0 ? static_cast<double>(last - renewal_at) / 1e6 : 0;
        state.ResumeTiming();
    }
    quilkova::bench::WriteHosToken(0);
}
BENCHMARK(SingleFlight)->Arg(8)->Arg(32)->Arg(64)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
