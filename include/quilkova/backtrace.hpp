#ifndef QUILKOVA_BACKTRACE_HPP
#define QUILKOVA_BACKTRACE_HPP

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "quilkova/export.h"

namespace quilkova {

// The call stack at the moment of Capture, one readable "- " line per frame,
// innermost first.
class QUILKOVA_EXPORT Backtrace {
public:
    // Replaces the lines with at most `depth` frames of the current stack
    // (the capturing frame itself is skipped). Never empty afterwards.
    void Capture(int depth);

    // Calls fn with each line in order; an empty fn throws std::bad_function_call.
    void EachLine(std::function<void(const std::string&)> fn) const;

    // Demangled symbol name, or the symbol unchanged when it is not a mangled name.
    std::string FormatFunctionName(const char* symbol) const;

private:
    std::vector<std::string> lines_;
};

// Writes every line followed by std::endl.
QUILKOVA_EXPORT std::ostream& operator<<(std::ostream& out, const Backtrace& backtrace);

}  // namespace quilkova

#endif
