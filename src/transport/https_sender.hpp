#ifndef QUILKOVA_TRANSPORT_HTTPS_SENDER_HPP
#define QUILKOVA_TRANSPORT_HTTPS_SENDER_HPP

#include "foundation/result.hpp"
#include "quilkova/quilkova.h"

// The flat face's one road to the account host: the form of `req` plus the
// device's identity, over libcurl, with retries for resolution failures and
// time-outs. `resp` receives the curl result, the status and the body (a heap
// copy, freed by FreeHttpsResponse). Failures: 1 bad arguments, 6 no memory,
// 4 anything else, each logged where it happens.
namespace quilkova::internal {

Status SendHttpsRequest(KOVA_HTTPS_REQUEST* req, KOVA_HTTPS_RESPONSE* resp);
void FreeHttpsResponse(KOVA_HTTPS_RESPONSE* resp);

}  // namespace quilkova::internal

#endif
