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

}  // namespace quilkova

#endif
