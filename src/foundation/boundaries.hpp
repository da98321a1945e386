#ifndef QUILKOVA_FOUNDATION_BOUNDARIES_HPP
#define QUILKOVA_FOUNDATION_BOUNDARIES_HPP

#include <json/json.h>

#include <new>
#include <string>
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

// The text of a KovaException of `code` and `message` ("" for the code's own
// text), with the stack of the caller: how a failure is logged where it was
// always logged as such an exception.
std::string FailureText(KOVA_ERRCODE code, const std::string& message);
// The same of a failure.
inline std::string FailureText(const Error& error) {
    return FailureText(error.code, error.message);
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

}  // namespace quilkova::internal

#endif
