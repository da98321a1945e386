// Every answer the library reads from a service: the logins' and the query's
// forms, the classes' JSON answers; never a crash, and messages never hold
// more than their limit.
#include <cstdlib>
#include <string>

#include "foundation/json_utils.hpp"
#include "foundation/redact.hpp"
#include "fuzz_root.hpp"
#include "services/account_steps.hpp"
#include "services/query_answer.hpp"
#include "services/token_requests.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/pkce_client.hpp"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FuzzRoot();
    quilkova::internal::SetLogSink([](int, const std::string&) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quilkova::internal;
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (Redacted(text).size() > kMessageBodyLimit) {
        std::abort();
    }
    quilkova::http::Response response;
    response.status_code = 200;
    response.text = text;
    (void)RequireObject(response, "Failed to parse", KOVA_ERR_RESPONSE, "grant_code");
    Json::Value answer;
    if (!TryParseJson(text, answer)) {
        return 0;
    }
    GetErrorCodeFromAccountError(CodeOf(answer).c_str());
    HasRequiredMembers(answer);
    ReadProfile(answer);
    if (answer.isObject()) {
        TextOf(answer["id"]);
        TextOf(answer["auth_key"]);
    }
    try {
        quilkova::PkceClient("hos").FormatPkceConfig(answer);
    } catch (const quilkova::KovaException&) {
    }
    return 0;
}
