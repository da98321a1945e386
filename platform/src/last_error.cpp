#include "last_error.hpp"

#include <cstring>

#include "quilplatform/qlibc_error.h"

namespace quilplatform {

namespace {
struct LastError {
    int code = QLIBC_ERR_NONE;
    const char* file = "";
    int line = 0;
};
thread_local LastError t_last_error;
}  // namespace

void SetLastError(int code, const char* file, int line) {
    const char* slash = std::strrchr(file, '/');
    t_last_error = {code, slash != nullptr ? slash + 1 : file, line};
}

}  // namespace quilplatform

extern "C" {

int QLIBCErrGet(void) {
    return quilplatform::t_last_error.code;
}

const char* QLIBCErrorGetFile(void) {
    return quilplatform::t_last_error.file;
}

int QLIBCErrorGetLine(void) {
    return quilplatform::t_last_error.line;
}

}  // extern "C"
