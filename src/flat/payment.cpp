// The flat face of the store client.
#include <cstring>

#include "flat/flat.hpp"
#include "services/store_client.hpp"

// `email` receives the account with its terminator: `size` bytes at most.
extern "C" int QUILPaymentKoVAAccountGet(char* email, size_t size) {
    return quilkova::internal::Flat([=]() -> quilkova::internal::Status {
        if (email == nullptr) {
            return quilkova::internal::Error{KOVA_ERR_BAD_PARAM};
        }
        KOVA_TRY(account, quilkova::internal::ReadStoreAccount(size));
        std::memcpy(email, account.c_str(), account.size() + 1);
        return quilkova::internal::Done{};
    });
}

extern "C" int QUILKOVAAccountPurchaseList(Json::Value& purchases) {
    return quilkova::internal::Flat([&purchases] { return quilkova::internal::PurchaseList(purchases); });
}
