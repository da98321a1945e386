#ifndef QUILKOVA_FOUNDATION_BOUNDARIES_HPP
#define QUILKOVA_FOUNDATION_BOUNDARIES_HPP

#include <json/json.h>

#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include "foundation/result.hpp"
#include "quilkova/kova_exception.hpp"

// Where what is thrown inside the library becomes a result: an operation's
// boundary turns whatever was thrown inside it into its failure.
namespace quilkova::internal {

// The message a KovaException was made with, without its code and stack.
inline std::string MessageOf(const KovaException& error) {
    std::string text = error.what();
    text = text.substr(0, text.find('\n'));
    const size_t suffix = text.rfind(" [code=");
    return suffix == std::string::npos ? text : text.substr(0, suffix);
}

// The failure of whatever `operation` threw: a KovaException's code and
// message, 6 for a lack of memory, 2 for a JSON value of an unexpected type,
// 24 for anything else.
inline Error ErrorOf(std::exception_ptr thrown) noexcept {
    try {
        std::rethrow_exception(std::move(thrown));
    } catch (const KovaException& error) {
        try {
            return Error{error.GetCode(), MessageOf(error)};
        } catch (...) {
            return Error{error.GetCode()};
        }
    } catch (const std::bad_alloc&) {
        return Error{KOVA_ERR_SYSTEM};
    } catch (const Json::Exception&) {
        return Error{KOVA_ERR_BAD_JSON};
    } catch (...) {
        return Error{KOVA_ERR_UNKNOWN};
    }
}

// Runs an operation that returns a Result; what it throws becomes its failure.
template <typename Operation>
auto Capture(Operation&& operation) noexcept -> decltype(operation()) {
    try {
        return operation();
    } catch (...) {
        return ErrorOf(std::current_exception());
    }
}

// What `call` gives, as a result: for a part that reports its failures by
// throwing (the account record's accessors), its exception becomes the failure.
template <typename Call>
auto Attempt(Call&& call) noexcept {
    using Value = decltype(call());
    if constexpr (std::is_void_v<Value>) {
        return Capture([&]() -> Result<Done> {
            call();
            return Done{};
        });
    } else {
        return Capture([&]() -> Result<Value> { return call(); });
    }
}

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

}  // namespace quilkova::internal

#endif
