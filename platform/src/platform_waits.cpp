#include "platform_waits.hpp"

namespace quilplatform {

Waits& CurrentWaits() {
    static Waits waits;
    return waits;
}

}  // namespace quilplatform
