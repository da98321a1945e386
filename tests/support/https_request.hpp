#ifndef QUILKOVA_TESTS_HTTPS_REQUEST_HPP
#define QUILKOVA_TESTS_HTTPS_REQUEST_HPP

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "quilkova/quilkova.h"
#include "quilplatform/qlibc_string.h"

namespace quilkova::test {

// A request record with its form hash, and the response, released together.
class HttpsRequest {
public:
    HttpsRequest(const std::string& host, const std::string& path,
                 const std::vector<std::pair<std::string, std::string>>& fields)
        : host_(host), path_(path), params_(QLIBCSzHashAlloc(1024)) {
        request.host = host_.c_str();
        request.path = path_.c_str();
        request.params = params_;
        for (const auto& [key, value] : fields) {
            QLIBCSzHashSetValue(params_, key.c_str(), value.c_str());
        }
    }
    ~HttpsRequest() {
        QUILKOVAHttpsResponseFree(&response);
        QLIBCSzHashFree(params_);
    }
    HttpsRequest(const HttpsRequest&) = delete;
    HttpsRequest& operator=(const HttpsRequest&) = delete;

    int Send() {
        QUILKOVAHttpsResponseFree(&response);
        return QUILKOVAHttpsRequestSend(&request, &response);
    }
    std::string Body() const { return response.data != nullptr ? response.data : ""; }

    KOVA_HTTPS_REQUEST request = {};
    KOVA_HTTPS_RESPONSE response = {};

private:
    std::string host_;
    std::string path_;
    PQLIBCSzHash params_;
};

}  // namespace quilkova::test

#endif
