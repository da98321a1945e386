#ifndef QUILKOVA_TESTS_TEST_PRELUDE_HPP
#define QUILKOVA_TESTS_TEST_PRELUDE_HPP

// What nearly every test file needs: the framework, the fixtures and both
// faces of the library. Files add only the internal or platform headers of
// what they test.
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "fixtures.hpp"
#include "foundation/json_utils.hpp"
#include "log_capture.hpp"
#include "quilkova/quilkova.hpp"
#include "quilplatform/qlibc_error.h"
#include "tls_server.hpp"

using namespace quilkova;  // NOLINT(google-build-using-namespace): test code only
using namespace quilkova::test;  // NOLINT(google-build-using-namespace)
using namespace std::chrono_literals;

#endif
