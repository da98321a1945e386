#ifndef QUILKOVA_SERVICES_LOCALE_HPP
#define QUILKOVA_SERVICES_LOCALE_HPP

#include <string>

#include "foundation/log.hpp"
#include "foundation/result.hpp"

// The appliance's locale as the account service is told it.
namespace quilkova::internal {

// The appliance's zone by its zoneinfo name ("nameInTZDB"). A zone that
// cannot be read at all fails without a code (as the operations always did); the rest give 6.
Result<std::string> ReadTimezone(Where where);
// "language" of the system settings; `fallback` when it is missing or empty.
std::string ReadLanguage(const char* fallback);

}  // namespace quilkova::internal

#endif
