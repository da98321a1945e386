#ifndef QUILKOVA_KOVA_EXCEPTION_HPP
#define QUILKOVA_KOVA_EXCEPTION_HPP

#include <exception>
#include <string>

#include "quilkova/export.h"
#include "quilkova/quilkova.h"

namespace quilkova {

class KovaExceptionImpl;

// The one exception type of the class interface. what() is the message with
// its " [code=N]" suffix followed by the stack of the place it was made.
class QUILKOVA_EXPORT KovaException : public std::exception {
public:
    KovaException(KOVA_ERRCODE code, const std::string& message);
    // Code KOVA_ERR_UNKNOWN.
    explicit KovaException(const std::string& message);
    // Message GetKovaErrorMsg(code).
    explicit KovaException(KOVA_ERRCODE code);
    // A copy is a new exception whose message is the source's whole what():
    // copying nests the texts instead of sharing them.
    KovaException(const KovaException& other);
    KovaException& operator=(const KovaException& other);
    ~KovaException() override;

    const char* what() const noexcept override;
    KOVA_ERRCODE GetCode() const;

private:
    KovaExceptionImpl* impl_;
};

}  // namespace quilkova

#endif
