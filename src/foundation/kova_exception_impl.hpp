#ifndef QUILKOVA_FOUNDATION_KOVA_EXCEPTION_IMPL_HPP
#define QUILKOVA_FOUNDATION_KOVA_EXCEPTION_IMPL_HPP

#include <stdexcept>
#include <string>

#include "quilkova/backtrace.hpp"
#include "quilkova/quilkova.h"

namespace quilkova {

// runtime_error holds the short message "<message> [code=N]"; full_text adds
// the captured stack and is what what() returns.
class KovaExceptionImpl : public std::runtime_error {
public:
    KovaExceptionImpl(KOVA_ERRCODE code, const std::string& message);
    ~KovaExceptionImpl() override;
    const char* what() const noexcept override;

    KOVA_ERRCODE code;
    Backtrace backtrace;
    std::string full_text;
};

namespace internal {
// The text of a KovaException of `code` and `message` ("" for the code's own
// text), with the stack of the caller: how a failure is logged where it was
// always logged as such an exception.
std::string FailureText(KOVA_ERRCODE code, const std::string& message);
}  // namespace internal

}  // namespace quilkova

#endif
