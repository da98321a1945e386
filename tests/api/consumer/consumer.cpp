#include <quilkova/quilkova.hpp>

#include <cstdio>
#include <cstring>

int main() {
    try {
        throw quilkova::KovaException(KOVA_ERR_AUTH);
    } catch (const quilkova::KovaException& error) {  // the type information crosses the library boundary
        if (error.GetCode() != KOVA_ERR_AUTH || std::strncmp(error.what(), "Failed to auth [code=14]", 24) != 0) {
            return 1;
        }
    }
    char md5[33];
    if (KoVAGetMd5String("", md5, sizeof(md5)) != 0 || std::strcmp(md5, "d41d8cd98f00b204e9800998ecf8427e") != 0) {
        return 2;
    }
    std::puts(GetKovaErrorMsg(QUILKOVAErrSet(KOVA_ERR_SUCCESS)));
    return 0;
}
