#ifndef QUILKOVA_INTERNAL_CLASS_BOUNDARY_HPP
#define QUILKOVA_INTERNAL_CLASS_BOUNDARY_HPP

#include <json/json.h>

#include <new>

#include "quilkova/kova_exception.hpp"

namespace quilkova::internal {

// The boundary of a public class method: what leaves it is a KovaException,
// whatever went wrong inside (6 for a lack of memory, 2 for a JSON value of
// an unexpected type).
template <typename Body>
auto Guarded(Body&& body) -> decltype(body()) {
    try {
        return body();
    } catch (const KovaException&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw KovaException(KOVA_ERR_SYSTEM, "Out of memory");
    } catch (const Json::Exception& error) {
        throw KovaException(KOVA_ERR_BAD_JSON, error.what());
    }
}

}  // namespace quilkova::internal

#endif
