// The flat face's error channel: one integer for the whole process, written
// only by the flat functions' boundary (and by the caller, through QUILKOVAErrSet).
#include "quilkova/quilkova.h"

namespace {
int g_error_slot = KOVA_ERR_SUCCESS;
}  // namespace

extern "C" {

int QUILKOVAErrSet(int code) {
    g_error_slot = code;
    return code;
}

int QUILKOVAErrGet(void) {
    return g_error_slot;
}

int MapLibKovaCenterErrorCode(const char* keyword) {
    return QUILKOVAErrSet(GetErrorCodeFromAccountError(keyword));
}

}  // extern "C"
