#ifndef QUILKOVA_BACKTRACE_HPP
#define QUILKOVA_BACKTRACE_HPP

/**
 * @file backtrace.hpp
 * @brief quilkova::Backtrace, the call stack of a KovaException.
 */

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "quilkova/export.h"

namespace quilkova {

/** The call stack at the moment of Capture(), one readable "- " line per frame, innermost first. */
class QUILKOVA_EXPORT Backtrace {
public:
    /** Replaces the lines with at most @p depth frames of the current stack (the capturing frame
     *  itself skipped): "- module: demangled name +offset". Never empty: "- empty" at worst. */
    void Capture(int depth);

    /** Calls @p fn with each line in order; an empty @p fn throws std::bad_function_call. */
    void EachLine(std::function<void(const std::string&)> fn) const;

    /** The demangled form of @p symbol, or the symbol unchanged when it is no mangled name. */
    std::string FormatFunctionName(const char* symbol) const;

private:
    std::vector<std::string> lines_;
};

/** Writes every line of @p backtrace followed by std::endl. */
QUILKOVA_EXPORT std::ostream& operator<<(std::ostream& out, const Backtrace& backtrace);

}  // namespace quilkova

#endif
