#ifndef QUILKOVA_ACCOUNT_USER_IMPL_HPP
#define QUILKOVA_ACCOUNT_USER_IMPL_HPP

#include <string>

#include "account/profile.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/result.hpp"

namespace quilkova {

// The account record's file operations. Stateless; every call raises the
// process to root for its one file operation, and fails with 6 when it cannot.
class UserImpl {
public:
    static constexpr const char* kPath = internal::kUserConf;

    internal::Result<std::string> Get(const std::string& key, const std::string& default_value) const;
    // 19 when the store refuses the write.
    internal::Status Set(const std::string& key, const std::string& value) const;
    internal::Result<long long> GetNumber(const std::string& key, long long default_value) const;
    internal::Status SetNumber(const std::string& key, long long value) const;
    internal::Result<bool> GetBool(const std::string& key, bool default_value) const;
    internal::Status SetBool(const std::string& key, bool value) const;
    // Whether an account is bound (the record names a user id).
    internal::Result<bool> Exists() const;

    // Deletes the record file with privileges raised: 0 (also when there was
    // none), EPERM when they could not be raised (logged, nothing deleted), or
    // the error of the unlink.
    static int RemoveRecord();

    // The record file whole, to be put back after a change that did not prove itself.
    struct Copy {
        bool existed = false;
        std::string content;
    };
    static internal::Result<Copy> CopyRecord();
    // Puts the copy back: the file as it was, or none when there was none.
    static void RestoreRecord(const Copy& copy);

#define QUILKOVA_DECLARE_STRING(Name, ...)                     \
    internal::Result<std::string> Get##Name() const;           \
    internal::Status Set##Name(const std::string& value) const;
#define QUILKOVA_DECLARE_BOOL(Name, ...)          \
    internal::Result<bool> Get##Name() const;     \
    internal::Status Set##Name(bool value) const;
#define QUILKOVA_DECLARE_NUMBER(Name, ...)             \
    internal::Result<long long> Get##Name() const;     \
    internal::Status Set##Name(long long value) const;
    QUILKOVA_TEXT_FIELDS(QUILKOVA_DECLARE_STRING)
    QUILKOVA_FLAG_FIELDS(QUILKOVA_DECLARE_BOOL)
    QUILKOVA_NUMBER_FIELDS(QUILKOVA_DECLARE_NUMBER)
#undef QUILKOVA_DECLARE_STRING
#undef QUILKOVA_DECLARE_BOOL
#undef QUILKOVA_DECLARE_NUMBER
};

}  // namespace quilkova

#endif
