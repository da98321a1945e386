#ifndef QUILKOVA_CLASSES_CLASS_FACE_HPP
#define QUILKOVA_CLASSES_CLASS_FACE_HPP

#include <json/json.h>

#include <exception>
#include <new>
#include <utility>

#include "foundation/boundaries.hpp"
#include "foundation/result.hpp"
#include "quilkova/kova_exception.hpp"

// The class face: every public method of every class runs its body through
// Guarded, and a failure the operations return leaves it as a KovaException.
// Nothing else in the library throws to a caller.
namespace quilkova::internal {

// The value of a result, or its failure thrown as a KovaException.
template <typename T>
T Unwrap(Result<T> result) {
    if (!result.ok()) {
        const Error& error = result.error();
        if (error.message.empty()) {
            throw KovaException(error.code);
        }
        throw KovaException(error.code, error.message);
    }
    return std::move(result.value());
}

// The boundary of a public class method: what leaves it is a KovaException,
// whatever went wrong inside (6 for a lack of memory, 2 for a JSON value of
// an unexpected type, 24 for anything else).
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
    } catch (const std::exception& error) {
        throw KovaException(KOVA_ERR_UNKNOWN, error.what());
    } catch (...) {
        throw KovaException(KOVA_ERR_UNKNOWN);
    }
}

}  // namespace quilkova::internal

#endif
