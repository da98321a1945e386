// send_probe HOST PATH [key=value ...]: one POST through QUILKOVAHttpsRequestSend,
// for shell tests. Prints the status and the body; exits 0 when it was sent.
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "https_request.hpp"

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: send_probe HOST PATH [key=value ...]\n");
        return 2;
    }
    std::vector<std::pair<std::string, std::string>> fields;
    for (int i = 3; i < argc; ++i) {
        const std::string field = argv[i];
        const size_t equals = field.find('=');
        fields.emplace_back(field.substr(0, equals), equals == std::string::npos ? "" : field.substr(equals + 1));
    }
    quilkova::test::HttpsRequest request(argv[1], argv[2], fields);
    const int result = request.Send();
    std::printf("%ld %s\n", request.response.httpCode, request.Body().c_str());
    return result == 0 ? 0 : 1;
}
