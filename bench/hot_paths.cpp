// The paths every caller takes often: the valid token, the account record,
// the flat sender and the classes' HTTP layer, each with its bare baseline.
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "bench_env.hpp"
#include "quilkova/pkce_client.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/qlibc_string.h"
#include "transport/http.hpp"
#include "util/root_prefix.hpp"

namespace {

using quilkova::bench::Env;

constexpr const char* kTokenFile = "/usr/quil/etc/quillion-account/private/hos_token.json";
constexpr const char* kRecord = "/usr/quil/etc/quillion-account/private/user.conf";

void ValidTokenRead(benchmark::State& state) {
    quilkova::bench::WriteHosToken(0);
    quilkova::PkceClient client("hos");
    for (auto _ : state) {
        benchmark::DoNotOptimize(client.GetAccessToken());
    }
}
BENCHMARK(ValidTokenRead);

// open, read, close and parse of the same file.
void BareTokenRead(benchmark::State& state) {
    const std::string path = quilkova::internal::RootedPath(kTokenFile);
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    for (auto _ : state) {
        const std::string text = quilkova::bench::Slurp(path);
        Json::Value token;
        std::string errors;
        reader->parse(text.data(), text.data() + text.size(), &token, &errors);
        benchmark::DoNotOptimize(token["access_token"].asString());
    }
}
BENCHMARK(BareTokenRead);

// As root, and as a caller whose saved user id is root (raised and dropped per key).
void AccountGet(benchmark::State& state, bool unprivileged) {
    if (unprivileged && (::setresgid(65534, 65534, 0) != 0 || ::setresuid(65534, 65534, 0) != 0)) {
        state.SkipWithError("cannot become an unprivileged caller");
        return;
    }
    static KOVA_INFO info;
    for (auto _ : state) {
        benchmark::DoNotOptimize(QUILKOVAAccountGet(&info));
    }
    if (unprivileged) {
        (void)!::setresuid(0, 0, 0);
        (void)!::setresgid(0, 0, 0);
    }
}
void AccountGetAsRoot(benchmark::State& state) {
    AccountGet(state, false);
}
BENCHMARK(AccountGetAsRoot)->Name("AccountGet/root");

void AccountGetUnprivileged(benchmark::State& state) {
    AccountGet(state, true);
}
BENCHMARK(AccountGetUnprivileged)->Name("AccountGet/unprivileged");

void BareRecordRead(benchmark::State& state) {
    const std::string path = quilkova::internal::RootedPath(kRecord);
    for (auto _ : state) {
        benchmark::DoNotOptimize(quilkova::bench::Slurp(path));
    }
}
BENCHMARK(BareRecordRead);

void FlatSender(benchmark::State& state) {
    Env().simulator->Reset();  // each network path starts with an empty request log
    const std::string host = Env().simulator->BaseUrl();
    PQLIBCSzHash form = QLIBCSzHashAlloc(4);
    QLIBCSzHashSetValue(form, "id", "u-1");
    QLIBCSzHashSetValue(form, "auth_key", "key-1");
    for (auto _ : state) {
        KOVA_HTTPS_REQUEST request = {};
        request.host = host.c_str();
        request.path = "device/api/report";
        request.params = form;
        request.shortTimeout = 1;
        KOVA_HTTPS_RESPONSE response = {};
        if (QUILKOVAHttpsRequestSend(&request, &response) != 0) {
            state.SkipWithError("the sender failed");
            break;
        }
        QUILKOVAHttpsResponseFree(&response);
    }
    QLIBCSzHashFree(form);
}
BENCHMARK(FlatSender);

void HttpLayer(benchmark::State& state) {
    Env().simulator->Reset();
    const std::string url = Env().simulator->BaseUrl() + "/device/api/report";
    for (auto _ : state) {
        const auto response = quilkova::http::Post(quilkova::http::Url{url}, quilkova::http::Timeout{15000},
                                                   quilkova::http::Payload{{"id", "u-1"}, {"auth_key", "key-1"}});
        if (!response || response.value().status_code != 200) {
            state.SkipWithError("the request failed");
            break;
        }
    }
}
BENCHMARK(HttpLayer);

size_t Discard(char*, size_t size, size_t count, void*) {
    return size * count;
}

// The same request with libcurl itself, a new easy handle each time.
void RawCurl(benchmark::State& state) {
    Env().simulator->Reset();
    const std::string url = Env().simulator->BaseUrl() + "/device/api/report";
    const std::string body = "hs_sn=2150ABCD1234&hs_token=0123456789abcdef0123456789abcdef&id=u-1&auth_key=key-1";
    for (auto _ : state) {
        CURL* curl = curl_easy_init();
        curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Discard);
        if (curl_easy_perform(curl) != CURLE_OK) {
            state.SkipWithError("libcurl failed");
        }
        curl_easy_cleanup(curl);
    }
}
BENCHMARK(RawCurl);

}  // namespace
