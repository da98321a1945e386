#ifndef QUILKOVA_TESTS_FUZZ_ROOT_HPP
#define QUILKOVA_TESTS_FUZZ_ROOT_HPP

#include <ftw.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <string>

// A root prefix of the fuzzer's own (in memory where /dev/shm exists), with
// the device's facts, made once per process and removed when it exits.
inline const std::string& FuzzRoot() {
    // Removed by path of its own, never by what the environment says at exit.
    static char made[] = "/dev/shm/quilkova-fuzz-XXXXXX";
    static const std::string root = [] {
        if (::mkdtemp(made) == nullptr) {
            std::snprintf(made, sizeof(made), "%s", "/tmp/quilkova-fuzz-XXXXXX");
            if (::mkdtemp(made) == nullptr) {
                ::abort();
            }
        }
        ::setenv("QUILKOVA_ROOT", made, 1);
        const std::string base = made;
        ::atexit([] {
            ::nftw(made, [](const char* path, const struct stat*, int, struct FTW*) { return ::remove(path); }, 16,
                   FTW_DEPTH | FTW_PHYS);
        });
        ::mkdir((base + "/etc.defaults").c_str(), 0755);
        std::ofstream(base + "/etc.defaults/quilinfo.conf")
            << "serial=\"2150ABCD1234\"\nmac=\"00:11:32:aa:bb:cc\"\nmodel=\"QN-420\"\nfirmware=\"7.2.1\"\n";
        return base;
    }();
    return root;
}

inline void WriteRaw(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

#endif
