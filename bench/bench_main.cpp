// quilkova_bench: each hot path beside its bare baseline, measured in the same
// run, and the ratio between them. Run as root (the account record is root's)
// through scripts/bench.sh; --smoke runs one quick pass of everything.
#include <benchmark/benchmark.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "bench_env.hpp"
#include "foundation/json_utils.hpp"

namespace quilkova::bench {

Environment& Env() {
    static Environment environment;
    return environment;
}

std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void WriteHosToken(long long age) {
    Json::Value token;
    token["access_token"] = "at-bench";
    token["id_token"] = "id-bench";
    token["refresh_token"] = "rt-bench";
    token["token_type"] = "Bearer";
    token["expires_in"] = 3600;
    token["created_at"] = static_cast<Json::Int64>(std::time(nullptr) - age);
    token["bound_user_id"] = "u-1";  // the account of the record the appliance is made with
    internal::WriteJsonFile("/usr/quil/etc/quillion-account/private/hos_token.json", token);
}

}  // namespace quilkova::bench

namespace {

using quilkova::bench::Env;

void Write(const std::string& appliance_path, const std::string& content) {
    const std::string path = Env().root + appliance_path;
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        ::mkdir(path.substr(0, slash).c_str(), 0700);
    }
    std::ofstream(path) << content;
}

void MakeAppliance() {
    char pattern[] = "/tmp/quilkova-bench-XXXXXX";
    Env().root = ::mkdtemp(pattern);
    ::setenv("QUILKOVA_ROOT", Env().root.c_str(), 1);
    Json::Value seed;
    seed["accounts"][0]["email"] = "owner@example.com";
    seed["accounts"][0]["password"] = "s3cret";
    seed["accounts"][0]["id"] = "u-1";
    seed["accounts"][0]["auth_key"] = "key-1";
    Env().simulator = new quilkova::sim::Simulator(seed);
    Env().simulator->Start();
    const std::string url = Env().simulator->BaseUrl();
    Write("/etc.defaults/quilinfo.conf", "serial=\"2150ABCD1234\"\nmac=\"00:11:32:aa:bb:cc\"\nmodel=\"QN-420\"\n"
                                         "firmware=\"7.2.1\"\n");
    Write("/usr/quil/etc/quillion-account/private/user.conf",
          "account_host=\"" + url + "\"\nidentity_host=\"" + url + "\"\nkovaID=\"owner@example.com\"\n"
          "kovaIDSerial=\"u-1\"\nhs_auth_key=\"key-1\"\nfull_name=\"Ann Owner\"\nlast_query_time=\"" +
          std::to_string(std::time(nullptr)) + "\"\n");
    Write("/usr/quil/etc.defaults/quillion-account/config/pkce_login.conf",
          R"({"client_id": "hos-client", "token_endpoint_path": "/oauth2/token", "login_redirect_path": "/pkce/login"})");
    quilkova::bench::WriteHosToken(0);
}

void RemoveAppliance() {
    delete Env().simulator;
    ::nftw(Env().root.c_str(), [](const char* path, const struct stat*, int, struct FTW*) { return ::remove(path); },
           16, FTW_DEPTH | FTW_PHYS);
}

// Keeps each benchmark's time per iteration for the table of ratios.
class Collector : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        // A single run's time, or the median of repeated ones.
        for (const Run& run : runs) {
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (!run.error_occurred && (run.run_type == Run::RT_Iteration || median)) {
                times_[run.run_name.str()] = run.GetAdjustedRealTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    double Time(const std::string& name) const {
        const auto found = times_.find(name);
        return found == times_.end() ? 0 : found->second;
    }

private:
    std::map<std::string, double> times_;
};

void PrintRatios(const Collector& times) {
    const struct {
        const char* path;
        const char* baseline;
    } pairs[] = {
        {"ValidTokenRead", "BareTokenRead"},
        {"AccountGet/root", "BareRecordRead"},
        {"AccountGet/unprivileged", "BareRecordRead"},
        {"FlatSender", "RawCurl"},
        {"HttpLayer", "RawCurl"},
    };
    std::printf("\n%-26s %12s   %-16s %12s   %s\n", "path", "time", "baseline", "time", "ratio");
    for (const auto& pair : pairs) {
        const double path = times.Time(pair.path);
        const double baseline = times.Time(pair.baseline);
        std::printf("%-26s %9.1f us   %-16s %9.1f us   %5.2fx\n", pair.path, path / 1000, pair.baseline,
                    baseline / 1000, baseline > 0 ? path / baseline : 0.0);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<char*> args(argv, argv + argc);
    for (auto it = args.begin(); it != args.end();) {
        if (std::strcmp(*it, "--smoke") == 0) {
            Env().smoke = true;
            it = args.erase(it);
        } else {
            ++it;
        }
    }
    static char min_time[] = "--benchmark_min_time=0.001";
    if (Env().smoke) {
        args.push_back(min_time);
    }
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    if (::geteuid() != 0) {
        std::fprintf(stderr, "quilkova_bench: run as root (the account record is root's)\n");
        return 1;
    }
    MakeAppliance();
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    PrintRatios(collector);
    RemoveAppliance();
    benchmark::Shutdown();
    return 0;
}
