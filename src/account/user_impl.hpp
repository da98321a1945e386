#ifndef QUILKOVA_ACCOUNT_USER_IMPL_HPP
#define QUILKOVA_ACCOUNT_USER_IMPL_HPP

#include <string>

#include "account/profile.hpp"
#include "foundation/appliance_paths.hpp"

namespace quilkova {

// The account record's file operations. Stateless; every call raises the
// process to root for its one file operation.
class UserImpl {
public:
    static constexpr const char* kPath = internal::kUserConf;

    std::string Get(const std::string& key, const std::string& default_value) const;
    void Set(const std::string& key, const std::string& value) const;
    long long GetNumber(const std::string& key, long long default_value) const;
    void SetNumber(const std::string& key, long long value) const;
    bool GetBool(const std::string& key, bool default_value) const;
    void SetBool(const std::string& key, bool value) const;
    bool Exists() const;

    // Deletes the record file with privileges raised: 0 (also when there was
    // none), EPERM when they could not be raised (logged, nothing deleted), or
    // the error of the unlink.
    static int RemoveRecord();

    // The record file whole, to be put back after a change that did not prove itself.
    struct Copy {
        bool existed = false;
        std::string content;
    };
    // Throws 6 when privileges cannot be raised.
    static Copy CopyRecord();
    // Puts the copy back: the file as it was, or none when there was none.
    static void RestoreRecord(const Copy& copy);

#define QUILKOVA_DECLARE_STRING(Name, ...) \
    std::string Get##Name() const;                   \
    void Set##Name(const std::string& value) const;
#define QUILKOVA_DECLARE_BOOL(Name, ...) \
    bool Get##Name() const;                        \
    void Set##Name(bool value) const;
#define QUILKOVA_DECLARE_NUMBER(Name, ...) \
    long long Get##Name() const;                     \
    void Set##Name(long long value) const;
    QUILKOVA_TEXT_FIELDS(QUILKOVA_DECLARE_STRING)
    QUILKOVA_FLAG_FIELDS(QUILKOVA_DECLARE_BOOL)
    QUILKOVA_NUMBER_FIELDS(QUILKOVA_DECLARE_NUMBER)
#undef QUILKOVA_DECLARE_STRING
#undef QUILKOVA_DECLARE_BOOL
#undef QUILKOVA_DECLARE_NUMBER
};

}  // namespace quilkova

#endif
