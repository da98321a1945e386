#ifndef QUILKOVA_TESTS_KOVA_CODE_HPP
#define QUILKOVA_TESTS_KOVA_CODE_HPP

#include <functional>

#include "quilkova/kova_exception.hpp"

namespace quilkova::test {

// The code of the KovaException an action throws; 0 when it throws none.
inline KOVA_ERRCODE CodeOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const KovaException& error) {
        return error.GetCode();
    }
    return KOVA_ERR_SUCCESS;
}

}  // namespace quilkova::test

#endif
