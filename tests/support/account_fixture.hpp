#ifndef QUILKOVA_TESTS_ACCOUNT_FIXTURE_HPP
#define QUILKOVA_TESTS_ACCOUNT_FIXTURE_HPP

#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "temp_root.hpp"

namespace quilkova::test {

constexpr const char* kUserConf = "/usr/quil/etc/quillion-account/private/user.conf";

// A fresh root for tests of the account record. Every access to the record
// raises the process to root, so these tests need root and are skipped
// otherwise.
class AccountTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "needs root: every access to the account record raises the process to root";
        }
        root_ = std::make_unique<TempRoot>();
    }

    TempRoot& root() { return *root_; }
    std::string UserConf() { return root_->ReadFile(kUserConf); }

private:
    std::unique_ptr<TempRoot> root_;
};

}  // namespace quilkova::test

#endif
