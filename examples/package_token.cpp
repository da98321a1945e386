// package_token: an add-on package calls a service of the cloud with its own
// bearer token, granted on the strength of the appliance's account.
//   package_token PACKAGE URL
#include <curl/curl.h>
#include <quilkova/quilkova.hpp>

#include <iostream>
#include <string>

namespace {
// A GET of `url` with the token; the HTTP status, or 0 when nothing came back.
long CallService(const std::string& url, const std::string& token) {
    CURL* curl = curl_easy_init();
    if (curl == nullptr) {
        return 0;
    }
    curl_slist* headers = curl_slist_append(nullptr, ("Authorization: Bearer " + token).c_str());
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, +[](char*, size_t size, size_t count, void*) { return size * count; });
    long status = 0;
    if (curl_easy_perform(curl) == CURLE_OK) {
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    }
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    return status;
}
}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: package_token PACKAGE URL" << std::endl;
        return 2;
    }
    try {
        // Fetches and caches the package's configuration, grants and renews its
        // token as needed; concurrent processes of the package share the work.
        const quilkova::PackagePkceClient package(argv[1]);
        const std::string token = package.GetAccessToken();
        std::cout << "token of " << argv[1] << ": " << token.substr(0, 6) << "..." << std::endl;
        const long status = CallService(argv[2], token);
        std::cout << "the service answered " << status << std::endl;
        return status == 200 ? 0 : 1;
    } catch (const quilkova::KovaException& error) {
        // what() holds the message and the stack of the place it was thrown.
        const std::string text = error.what();
        std::cerr << "package_token: error " << error.GetCode() << ": " << text.substr(0, text.find('\n')) << std::endl;
        return 1;
    }
}
