// read_account: prints the account bound to this appliance, if any.
// Build: c++ -std=c++17 read_account.cpp $(pkg-config --cflags --libs quilkova)
#include <quilkova/quilkova.h>

#include <cstdio>

int main() {
    // The record is large (about 20 KiB): not on a small stack.
    static KOVA_INFO info;
    if (QUILKOVAAccountGet(&info) != 0) {
        const int code = QUILKOVAErrGet();
        if (code == KOVA_ERR_NO_ACCOUNT) {
            std::puts("no account is bound to this appliance");
            return 0;
        }
        std::fprintf(stderr, "read_account: error %d: %s\n", code, GetKovaErrorMsg(code));
        return 1;
    }
    std::printf("account %s (user id %s)\n", info.email, info.user_id);
    if (info.last_query_time > 0) {
        std::printf("name %s, country %s, time zone %s, e-mail %s\n", info.full_name, info.country, info.timezone,
                    info.activated ? "verified" : "not verified");
    }
    return 0;
}
