#ifndef QUILKOVA_INTERNAL_FLAT_BOUNDARY_HPP
#define QUILKOVA_INTERNAL_FLAT_BOUNDARY_HPP

#include <json/json.h>

#include <new>

#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"

namespace quilkova::internal {

// The boundary of a flat function: runs its C++ core and turns the outcome
// into the flat convention. `body` returns a KOVA_ERRCODE (0 for success) or
// throws; the code lands in the error slot and the result is 0 or -1.
// Nothing escapes: allocation failures give 6, JSON type errors 2, anything
// else 24.
template <typename Body>
int RunFlat(Body&& body) noexcept {
    int code = KOVA_ERR_UNKNOWN;
    try {
        code = body();
    } catch (const KovaException& error) {
        code = error.GetCode();
    } catch (const std::bad_alloc&) {
        code = KOVA_ERR_SYSTEM;
    } catch (const Json::Exception&) {
        code = KOVA_ERR_BAD_JSON;
    } catch (...) {
        code = KOVA_ERR_UNKNOWN;
    }
    QUILKOVAErrSet(code);
    return code == KOVA_ERR_SUCCESS ? 0 : -1;
}

// Bad arguments of a flat function: error slot 1, result -1.
inline int FailBadParam() {
    QUILKOVAErrSet(KOVA_ERR_BAD_PARAM);
    return -1;
}

}  // namespace quilkova::internal

#endif
