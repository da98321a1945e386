#include "foundation/waits.hpp"

namespace quilkova::internal {

Waits& CurrentWaits() {
    static Waits waits;
    return waits;
}

}  // namespace quilkova::internal
