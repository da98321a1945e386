// The flat face of the store client.
#include "flat/flat.hpp"
#include "services/store_client.hpp"

extern "C" int QUILPaymentKoVAAccountGet(char* email, size_t size) {
    return quilkova::internal::Flat([=] { return quilkova::internal::ReadStoreAccount(email, size); });
}

extern "C" int QUILKOVAAccountPurchaseList(Json::Value& purchases) {
    return quilkova::internal::Flat([&purchases] { return quilkova::internal::PurchaseList(purchases); });
}
