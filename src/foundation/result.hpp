#ifndef QUILKOVA_FOUNDATION_RESULT_HPP
#define QUILKOVA_FOUNDATION_RESULT_HPP

#include <optional>
#include <string>
#include <utility>

#include "quilkova/quilkova.h"

// What the library's operations return: a value, or the failure that stopped
// them. The flat face stores the failure's code in the error slot, the class
// face throws it as a KovaException; the operations themselves never touch
// the slot.
namespace quilkova::internal {

// A failure: a code of the library's one numbering and, for the class face,
// a message ("" gives the code's own text). Some failures have no code of
// their own (a plug-in context that could not be opened, a time zone that
// could not be read, a library below that failed without saying why): the
// flat face reports them with the error slot left at 0, as those functions
// always did, and the class face throws them as 24 (unknown). A failure is
// never "success": a code of 0 handed in makes a failure without a code.
struct Error {
    explicit Error(KOVA_ERRCODE failure = KOVA_ERR_UNKNOWN, std::string text = "")
        : code(failure == KOVA_ERR_SUCCESS ? KOVA_ERR_UNKNOWN : failure),
          message(std::move(text)),
          coded(failure != KOVA_ERR_SUCCESS) {}
    static Error WithoutCode(std::string text = "") { return Error(KOVA_ERR_SUCCESS, std::move(text)); }

    KOVA_ERRCODE code;  // never KOVA_ERR_SUCCESS
    std::string message;
    bool coded;  // false: the flat face leaves the error slot at 0
};

template <typename T>
class [[nodiscard]] Result {
public:
    // A returned local moves in: `return value;` reads best.
    Result(const T& value) : value_(value) {}     // NOLINT(google-explicit-constructor)
    Result(T&& value) : value_(std::move(value)) {}  // NOLINT(google-explicit-constructor)
    Result(Error error) : error_(std::move(error)) {}  // NOLINT: likewise `return Error{...};`

    bool ok() const { return value_.has_value(); }
    explicit operator bool() const { return ok(); }
    T& value() & { return *value_; }
    const T& value() const& { return *value_; }
    T&& value() && { return std::move(*value_); }
    const Error& error() const { return error_; }

private:
    std::optional<T> value_;
    Error error_;
};

// Success with nothing to return.
struct Done {};
using Status = Result<Done>;

// Declares `name` as the value of the result of `expression`, or returns
// that result's failure from the enclosing operation.
#define KOVA_TRY(name, expression)             \
    auto name##_outcome = (expression);        \
    if (!name##_outcome) {                     \
        return name##_outcome.error();         \
    }                                          \
    auto& name = name##_outcome.value()

// Returns the failure of the status of `expression`, if it failed.
#define KOVA_TRY_STATUS(expression)            \
    if (auto status_ = (expression); !status_) { \
        return status_.error();                \
    }

}  // namespace quilkova::internal

#endif
