// The flat face of the HTTPS sender.
#include "flat/flat.hpp"
#include "transport/https_sender.hpp"

extern "C" int QUILKOVAHttpsRequestSend(KOVA_HTTPS_REQUEST* req, KOVA_HTTPS_RESPONSE* resp) {
    return quilkova::internal::Flat([&] { return quilkova::internal::SendHttpsRequest(req, resp); });
}

extern "C" void QUILKOVAHttpsResponseFree(KOVA_HTTPS_RESPONSE* resp) {
    quilkova::internal::FreeHttpsResponse(resp);
}
