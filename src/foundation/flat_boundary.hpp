#ifndef QUILKOVA_INTERNAL_FLAT_BOUNDARY_HPP
#define QUILKOVA_INTERNAL_FLAT_BOUNDARY_HPP

#include <json/json.h>

#include <new>

#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"

namespace quilkova::internal {

// The boundary of a flat function that manages the error slot itself: the
// body's result, or -1 with the code of whatever it threw (KovaException's
// code, 6 for allocation failures, 2 for JSON type errors, 24 otherwise).
template <typename Body>
int GuardFlat(Body&& body) noexcept {
    try {
        return body();
    } catch (const KovaException& error) {
        QUILKOVAErrSet(error.GetCode());
    } catch (const std::bad_alloc&) {
        QUILKOVAErrSet(KOVA_ERR_SYSTEM);
    } catch (const Json::Exception&) {
        QUILKOVAErrSet(KOVA_ERR_BAD_JSON);
    } catch (...) {
        QUILKOVAErrSet(KOVA_ERR_UNKNOWN);
    }
    return -1;
}

// The boundary of a flat function whose core returns a KOVA_ERRCODE (0 for
// success) or throws: the code lands in the error slot, the result is 0 or -1.
template <typename Body>
int RunFlat(Body&& body) noexcept {
    return GuardFlat([&body] {
        const int code = body();
        QUILKOVAErrSet(code);
        return code == KOVA_ERR_SUCCESS ? 0 : -1;
    });
}

// Bad arguments of a flat function: error slot 1, result -1.
inline int FailBadParam() {
    QUILKOVAErrSet(KOVA_ERR_BAD_PARAM);
    return -1;
}

}  // namespace quilkova::internal

#endif
