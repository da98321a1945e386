// The shared libraries export exactly their documented names.
#include <cxxabi.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

std::vector<std::string> DefinedDynamicSymbols(const std::string& library) {
    const std::string command = "nm -D --defined-only --format=posix " + library;
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    std::vector<std::string> names;
    if (!pipe) {
        return names;
    }
    char line[4096];
    while (std::fgets(line, sizeof(line), pipe.get()) != nullptr) {
        const std::string text = line;
        names.push_back(text.substr(0, text.find(' ')));
    }
    return names;
}

std::string Demangled(const std::string& name) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> text(abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), std::free);
    return status == 0 && text ? text.get() : name;
}

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.rfind(prefix, 0) == 0;
}

bool StartsWithAny(const std::string& text, const std::vector<std::string>& prefixes) {
    for (const std::string& prefix : prefixes) {
        if (StartsWith(text, prefix)) {
            return true;
        }
    }
    return false;
}

TEST(ExportedSymbols, LibquilkovaExportsOnlyItsDocumentedNames) {
    const auto names = DefinedDynamicSymbols(QUILKOVA_LIBRARY);
    ASSERT_FALSE(names.empty()) << "nm found nothing in " << QUILKOVA_LIBRARY;

    const std::set<std::string> helpers = {
        "gErrorCodeMap",       "GetKovaErrorMsg",          "printErrCode",
        "KoVAGetMd5String",    "GetErrorCodeFromAccountError", "MapLibKovaCenterErrorCode",
        "GetErrorCodeFromCloudService", "WriteMemoryCallback",
    };
    const std::vector<std::string> namespace_prefixes = {
        "quilkova::", "typeinfo for quilkova::", "typeinfo name for quilkova::", "vtable for quilkova::"};
    std::set<std::string> seen;
    for (const std::string& name : names) {
        const std::string readable = Demangled(name);
        seen.insert(readable);
        const bool documented = helpers.count(name) > 0 || StartsWith(name, "QUILKOVA") ||
                                StartsWith(name, "QUILPayment") || StartsWithAny(readable, namespace_prefixes);
        EXPECT_TRUE(documented) << "exported but undocumented: " << readable;
        EXPECT_EQ(readable.find("quilkova::internal::"), std::string::npos) << readable;
    }
    for (const char* required : {"QUILKOVAErrSet", "QUILKOVAErrGet", "gErrorCodeMap", "GetKovaErrorMsg",
                                 "KoVAGetMd5String", "typeinfo for quilkova::KovaException",
                                 "quilkova::FileLock::Lock(unsigned int)"}) {
        EXPECT_EQ(seen.count(required), 1u) << "missing: " << required;
    }
}

TEST(ExportedSymbols, LibquilplatformExportsOnlyPlatformNames) {
    const auto names = DefinedDynamicSymbols(QUILPLATFORM_LIBRARY);
    ASSERT_FALSE(names.empty());
    for (const std::string& name : names) {
        const std::string readable = Demangled(name);
        EXPECT_TRUE(StartsWithAny(readable, {"QLIB", "QUIL", "quil_", "typeinfo for QUIL::",
                                             "typeinfo name for QUIL::", "vtable for QUIL::"}))
            << "exported but not a platform name: " << readable;
    }
}

}  // namespace
