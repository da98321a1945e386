#include "account/user_impl.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "account/privilege.hpp"
#include "foundation/log.hpp"
#include "foundation/redact.hpp"
#include "quilplatform/qlibc_file.h"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

namespace quilkova {

namespace {
constexpr size_t kValueBufferSize = 2048;
constexpr const char* kLineFormat = "%s=\"%s\"\n";

// Mode 0600 and owner root, after every write whatever its outcome. Through
// a descriptor opened without following links, so a link planted at the
// path never hands its target to root.
void ReapplyOwnership() {
    const std::string path = internal::RootedPath(UserImpl::kPath);
    const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0 || ::fchmod(fd, 0600) != 0) {
        KOVA_LOG(LOG_ERR, "chmod failed, path=%s, reason=%m", path.c_str());
    }
    if (fd < 0 || ::fchown(fd, 0, 0) != 0) {
        KOVA_LOG(LOG_ERR, "chown failed, path=%s, reason=%m", path.c_str());
    }
    if (fd >= 0) {
        ::close(fd);
    }
}

// What a read can give back whole: the first 2047 bytes, ending on a whole UTF-8 character.
std::string Storable(const std::string& key, const std::string& value) {
    if (value.size() < kValueBufferSize) {
        return value;
    }
    size_t cut = kValueBufferSize - 1;
    while (cut > 0 && (static_cast<unsigned char>(value[cut]) & 0xc0) == 0x80) {
        --cut;  // not in the middle of a character
    }
    KOVA_LOG(LOG_ERR, "Value of %s cut to %zu of its %zu bytes", key.c_str(), cut, value.size());
    return value.substr(0, cut);
}
}  // namespace

using internal::Done;
using internal::Error;
using internal::Result;
using internal::Status;

// The failure of a section whose privileges could not be raised (logged there).
Error Unprivileged() {
    return Error{KOVA_ERR_SYSTEM};
}

Result<std::string> UserImpl::Get(const std::string& key, const std::string& default_value) const {
    char buffer[kValueBufferSize] = {};
    int length = 0;
    {
        const internal::PrivilegedSection root;
        if (!root.ok()) {
            return Unprivileged();
        }
        length = QLIBCFileGetKeyValue(kPath, key.c_str(), buffer, sizeof(buffer), 0);
    }
    if (length < 1) {
        return default_value;
    }
    if (internal::IsSecretKey(key)) {
        internal::NoteHeldSecret(buffer);
    }
    return std::string(buffer);
}

Status UserImpl::Set(const std::string& key, const std::string& given) const {
    const std::string value = Storable(key, given);
    bool written = false;
    {
        const internal::PrivilegedSection root;
        if (!root.ok()) {
            return Unprivileged();
        }
        written = QLIBCFileSetKeyValue(kPath, key.c_str(), value.c_str(), kLineFormat) >= 0;
        if (!written) {
            KOVA_LOG(LOG_ERR, "Failed to set kova config for %s:%s", key.c_str(),
                     internal::RedactedValue(key, value).c_str());
        }
        ReapplyOwnership();
    }
    if (!written) {
        return Error{KOVA_ERR_CONFIG_WRITE};
    }
    return Done{};
}

Result<long long> UserImpl::GetNumber(const std::string& key, long long default_value) const {
    KOVA_TRY(text, Get(key, ""));
    if (text.empty()) {
        return default_value;
    }
    // Like "%lld": leading blanks and a sign, then digits; trailing text is ignored.
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    if (end == text.c_str() || errno == ERANGE) {
        return default_value;
    }
    return value;
}

Status UserImpl::SetNumber(const std::string& key, long long value) const {
    char buffer[kValueBufferSize];
    std::snprintf(buffer, sizeof(buffer), "%lld", value);
    return Set(key, buffer);
}

Result<bool> UserImpl::GetBool(const std::string& key, bool default_value) const {
    KOVA_TRY(text, Get(key, ""));
    if (text.empty()) {
        return default_value;
    }
    return text == "yes" || text == "true";
}

Status UserImpl::SetBool(const std::string& key, bool value) const {
    return Set(key, value ? "yes" : "no");
}

int UserImpl::RemoveRecord() {
    const std::string path = internal::RootedPath(kPath);
    const internal::PrivilegedSection root;
    if (!root.ok()) {
        return EPERM;
    }
    return ::unlink(path.c_str()) == 0 || errno == ENOENT ? 0 : errno;
}

Result<UserImpl::Copy> UserImpl::CopyRecord() {
    Copy copy;
    const internal::PrivilegedSection root;
    if (!root.ok()) {
        return Unprivileged();
    }
    copy.existed = internal::ReadFileNoFollow(internal::RootedPath(kPath), copy.content) != ENOENT;
    return copy;
}

void UserImpl::RestoreRecord(const Copy& copy) {
    if (!copy.existed) {
        RemoveRecord();
        return;
    }
    const internal::PrivilegedSection root;  // a refusal is logged where the privileges were refused
    if (root.ok() &&
        internal::ReplaceFileAtomically(internal::RootedPath(kPath), copy.content, 0600, 0, 0) != 0) {
        KOVA_LOG(LOG_ERR, "Failed to restore %s", kPath);
    }
}

Result<bool> UserImpl::Exists() const {
    KOVA_TRY(user_id, GetUserId());
    return !user_id.empty();
}

#define QUILKOVA_DEFINE_STRING(Name, key, fallback, ...)                                            \
    Result<std::string> UserImpl::Get##Name() const { return Get(key, fallback); }                 \
    Status UserImpl::Set##Name(const std::string& value) const { return Set(key, value); }
#define QUILKOVA_DEFINE_BOOL(Name, key, fallback, ...)                                    \
    Result<bool> UserImpl::Get##Name() const { return GetBool(key, fallback); }          \
    Status UserImpl::Set##Name(bool value) const { return SetBool(key, value); }
#define QUILKOVA_DEFINE_NUMBER(Name, key, fallback, ...)                                    \
    Result<long long> UserImpl::Get##Name() const { return GetNumber(key, fallback); }     \
    Status UserImpl::Set##Name(long long value) const { return SetNumber(key, value); }
QUILKOVA_TEXT_FIELDS(QUILKOVA_DEFINE_STRING)
QUILKOVA_FLAG_FIELDS(QUILKOVA_DEFINE_BOOL)
QUILKOVA_NUMBER_FIELDS(QUILKOVA_DEFINE_NUMBER)

}  // namespace quilkova
