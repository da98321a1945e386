#ifndef QUILKOVA_KOVA_EXCEPTION_HPP
#define QUILKOVA_KOVA_EXCEPTION_HPP

/**
 * @file kova_exception.hpp
 * @brief quilkova::KovaException, the one exception of the class face.
 */

#include <exception>
#include <string>

#include "quilkova/export.h"
#include "quilkova/quilkova.h"

namespace quilkova {

class KovaExceptionImpl;

/**
 * The one exception type of the class interface: a ::KOVA_ERRCODE, a message and
 * the call stack of the place it was made. what() is the message with its
 * " [code=N]" suffix, a line break, then one "- " line per stack frame (at most 15).
 */
class QUILKOVA_EXPORT KovaException : public std::exception {
public:
    /** An exception with @p code and @p message. */
    KovaException(KOVA_ERRCODE code, const std::string& message);
    /** An exception with code 24 (::KOVA_ERR_UNKNOWN). */
    explicit KovaException(const std::string& message);
    /** An exception whose message is GetKovaErrorMsg(@p code). */
    explicit KovaException(KOVA_ERRCODE code);
    /** A new exception whose message is the source's whole what(): copying nests the texts. */
    KovaException(const KovaException& other);
    /** As the copy constructor. */
    KovaException& operator=(const KovaException& other);
    ~KovaException() override;

    /** The message, its code and the stack. */
    const char* what() const noexcept override;
    /** The code. */
    KOVA_ERRCODE GetCode() const;

private:
    KovaExceptionImpl* impl_;
};

}  // namespace quilkova

#endif
