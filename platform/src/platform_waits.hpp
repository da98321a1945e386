#ifndef QUILPLATFORM_PLATFORM_WAITS_HPP
#define QUILPLATFORM_PLATFORM_WAITS_HPP

#include <chrono>

// How long the generic platform waits. Production never changes these. The
// test programs link the platform's objects, not its shared library (which
// does not export this), and shorten them.
namespace quilplatform {

struct Waits {
    std::chrono::milliseconds directory_lock{30000};  // a key/value file's writers, for each other
    std::chrono::milliseconds plugin_limit{30000};    // each plug-in of an event
    std::chrono::milliseconds close_grace{1000};      // a piped program, once its output is closed
};

Waits& CurrentWaits();

}  // namespace quilplatform

#endif
