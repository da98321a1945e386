#include "account/privilege.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "foundation/log.hpp"
#include "quilkova/kova_exception.hpp"

namespace quilkova::internal {

namespace {
enum class Id { kGroup, kUser };

// One setres*id(-1, id, -1), logged at facility auth whatever its outcome.
bool SetEffectiveId(Id which, unsigned int id) {
    const char* name = which == Id::kGroup ? "resgid" : "resuid";
    const int result = which == Id::kGroup ? ::setresgid(static_cast<gid_t>(-1), id, static_cast<gid_t>(-1))
                                           : ::setresuid(static_cast<uid_t>(-1), id, static_cast<uid_t>(-1));
    if (result != 0) {
        KOVA_LOG(LOG_AUTH | LOG_ERR, "%s:%d ERROR: set%s(%d, %d, %d) [%s]", name, -1, static_cast<int>(id), -1,
                 std::strerror(errno));
        return false;
    }
    KOVA_LOG(LOG_AUTH | LOG_INFO, "%s:%d WARNING: set%s(%d, %d, %d)", name, -1, static_cast<int>(id), -1);
    return true;
}
}  // namespace

PrivilegedSection::PrivilegedSection() : noted_uid_(::geteuid()), noted_gid_(::getegid()), raised_(false) {
    if (noted_uid_ == 0) {
        return;
    }
    bool raised = true;
    if (noted_gid_ != 0) {
        raised = SetEffectiveId(Id::kGroup, 0);
    }
    raised = SetEffectiveId(Id::kUser, 0) && raised;
    if (!raised) {
        KOVA_LOG(LOG_AUTH | LOG_ERR, "%s:%d ERROR: ENTERCriticalSection");
        // Whatever half of the raise succeeded (the group, typically) must not
        // outlive the failure; it is given back without a log line, so that
        // the log shows exactly the failed entry.
        if (::getegid() != noted_gid_) {
            (void)::setresgid(static_cast<gid_t>(-1), noted_gid_, static_cast<gid_t>(-1));
        }
        if (::geteuid() != noted_uid_) {
            (void)::setresuid(static_cast<uid_t>(-1), noted_uid_, static_cast<uid_t>(-1));
        }
        errno = EPERM;
        KOVA_LOG(LOG_ERR, "%s:%d Change permission failed");
        throw KovaException(KOVA_ERR_SYSTEM);
    }
    raised_ = true;
    errno = 0;
}

PrivilegedSection::~PrivilegedSection() {
    if (raised_) {
        DropBack();
    }
}

bool PrivilegedSection::DropBack() const {
    bool dropped = true;
    // Root again first, so that the group may be changed.
    if (::geteuid() != noted_uid_) {
        dropped = SetEffectiveId(Id::kUser, 0);
    }
    if (::getegid() != noted_gid_) {
        dropped = SetEffectiveId(Id::kGroup, noted_gid_) && dropped;
    }
    if (::geteuid() != noted_uid_) {
        dropped = SetEffectiveId(Id::kUser, noted_uid_) && dropped;
    }
    if (!dropped) {
        KOVA_LOG(LOG_AUTH | LOG_ERR, "%s:%d ERROR: LEAVECriticalSection");
        errno = EPERM;
    }
    return dropped;
}

}  // namespace quilkova::internal
