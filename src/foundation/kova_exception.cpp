#include "quilkova/kova_exception.hpp"

#include <sstream>
#include <utility>

#include "foundation/boundaries.hpp"
#include "foundation/kova_exception_impl.hpp"

namespace quilkova {

namespace {
constexpr int kBacktraceDepth = 16;

std::string ShortMessage(KOVA_ERRCODE code, const std::string& message) {
    return message + " [code=" + std::to_string(static_cast<int>(code)) + "]";
}


// "<short message>\n<stack>\n": what a KovaException says, and what the
// library logs of a failure as such an exception always read.
std::string FullText(const std::string& short_message, const Backtrace& backtrace) {
    std::ostringstream text;
    text << short_message << std::endl << backtrace << std::endl;
    return text.str();
}
}  // namespace

KovaExceptionImpl::KovaExceptionImpl(KOVA_ERRCODE code_value, const std::string& message)
    : std::runtime_error(ShortMessage(code_value, message)), code(code_value) {
    backtrace.Capture(kBacktraceDepth);
    full_text = FullText(std::runtime_error::what(), backtrace);
}

std::string internal::FailureText(KOVA_ERRCODE code, const std::string& message) {
    Backtrace backtrace;
    backtrace.Capture(kBacktraceDepth);
    return FullText(ShortMessage(code, message.empty() ? GetKovaErrorMsg(code) : message), backtrace);
}

KovaExceptionImpl::~KovaExceptionImpl() = default;

const char* KovaExceptionImpl::what() const noexcept {
    return full_text.c_str();
}

KovaException::KovaException(KOVA_ERRCODE code, const std::string& message)
    : impl_(new KovaExceptionImpl(code, message)) {}

KovaException::KovaException(const std::string& message) : KovaException(KOVA_ERR_UNKNOWN, message) {}

KovaException::KovaException(KOVA_ERRCODE code) : KovaException(code, GetKovaErrorMsg(code)) {}

KovaException::KovaException(const KovaException& other)
    : std::exception(other), impl_(new KovaExceptionImpl(other.GetCode(), other.what())) {}

KovaException& KovaException::operator=(const KovaException& other) {
    if (this != &other) {
        auto* fresh = new KovaExceptionImpl(other.GetCode(), other.what());
        delete impl_;
        impl_ = fresh;
    }
    return *this;
}

KovaException::~KovaException() {
    delete impl_;
}

const char* KovaException::what() const noexcept {
    return impl_->what();
}

KOVA_ERRCODE KovaException::GetCode() const {
    return impl_->code;
}

}  // namespace quilkova
