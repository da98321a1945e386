#ifndef QUILKOVA_TESTS_SEED_HPP
#define QUILKOVA_TESTS_SEED_HPP

#include <json/json.h>

#include <string>

namespace quilkova::test {

// One account, owner@example.com: id "u-1", auth key "key-1", access token "at-1".
inline Json::Value OwnerSeed(const std::string& password) {
    Json::Value account;
    account["email"] = "owner@example.com";
    account["password"] = password;
    account["id"] = "u-1";
    account["auth_key"] = "key-1";
    account["access_token"] = "at-1";
    Json::Value seed;
    seed["accounts"].append(account);
    return seed;
}

}  // namespace quilkova::test

#endif
