#ifndef QUILKOVA_FLAT_FLAT_HPP
#define QUILKOVA_FLAT_FLAT_HPP

#include "foundation/boundaries.hpp"
#include "foundation/result.hpp"
#include "quilkova/quilkova.h"

// The flat face: every QUILKOVA* function is this boundary around one
// operation. The error slot is cleared on entry and set from the outcome on
// the way out (0 on success); nothing else in the library writes it, and
// nothing thrown inside gets out. The slot stays one integer for the whole
// process, so a caller that needs a reliable code keeps to one thread.
namespace quilkova::internal {

template <typename Operation>
int Flat(Operation&& operation) noexcept {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    const auto outcome = Capture(operation);
    QUILKOVAErrSet(outcome.ok() || !outcome.error().coded ? KOVA_ERR_SUCCESS : outcome.error().code);
    return outcome.ok() ? 0 : -1;
}

}  // namespace quilkova::internal

#endif
