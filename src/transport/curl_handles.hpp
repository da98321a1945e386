#ifndef QUILKOVA_TRANSPORT_CURL_HANDLES_HPP
#define QUILKOVA_TRANSPORT_CURL_HANDLES_HPP

#include <curl/curl.h>

#include <memory>

// Owners of libcurl's resources, released on every path.
namespace quilkova::internal {

struct CurlEasyDeleter {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
};
struct CurlSlistDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
struct CurlFreeDeleter {
    void operator()(char* text) const { curl_free(text); }
};

using CurlEasy = std::unique_ptr<CURL, CurlEasyDeleter>;
using CurlSlist = std::unique_ptr<curl_slist, CurlSlistDeleter>;
using CurlText = std::unique_ptr<char, CurlFreeDeleter>;

}  // namespace quilkova::internal

#endif
