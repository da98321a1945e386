// backend_flow: what an administration back end does with the flat face.
//   backend_flow EMAIL    log in (password on standard input) and show the account
//   backend_flow --logout log out at the service and on the appliance
// Every flat function returns 0 or -1 and leaves its code in the error slot.
#include <quilkova/quilkova.h>

#include <iostream>
#include <string>

namespace {
int Fail(const char* step) {
    const int code = QUILKOVAErrGet();
    std::cerr << "backend_flow: " << step << " failed with " << code << ": " << GetKovaErrorMsg(code) << std::endl;
    return 1;
}
}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: backend_flow EMAIL | backend_flow --logout" << std::endl;
        return 2;
    }
    if (std::string(argv[1]) == "--logout") {
        if (QUILKOVAAccountLogout(true) != 0) {
            return Fail("logout");
        }
        std::cout << "logged out" << std::endl;
        return 0;
    }
    std::string password;
    std::getline(std::cin, password);
    Json::Value answer;
    if (QUILKOVAAccountLogin(argv[1], password.c_str(), answer, false) != 0) {
        return Fail("login");
    }
    std::cout << "logged in as " << argv[1] << ", user id " << answer["id"].asString() << std::endl;

    // A day-old record is refreshed from the service; this one was queried by the login.
    Json::Value account;
    if (QUILKOVAAccountQueryInfo(account, true, true) != 0) {
        return Fail("query");
    }
    std::cout << "name " << account["full_name"].asString() << ", language "
              << account["notify_language"].asString() << std::endl;
    return 0;
}
