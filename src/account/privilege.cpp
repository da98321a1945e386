#include "account/privilege.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>

#include "foundation/log.hpp"

namespace quilkova::internal {

namespace {
enum class Id { kGroup, kUser };

// One setres*id(-1, id, -1), logged at facility auth whatever its outcome.
bool SetEffectiveId(Id which, unsigned int id) {
    const char* name = which == Id::kGroup ? "resgid" : "resuid";
    const int result = which == Id::kGroup ? ::setresgid(static_cast<gid_t>(-1), id, static_cast<gid_t>(-1))
                                           : ::setresuid(static_cast<uid_t>(-1), id, static_cast<uid_t>(-1));
    if (result != 0) {
        KOVA_LOG(LOG_AUTH | LOG_ERR, "ERROR: set%s(%d, %d, %d) [%s]", name, -1, static_cast<int>(id), -1,
                 std::strerror(errno));
        return false;
    }
    KOVA_LOG(LOG_AUTH | LOG_INFO, "WARNING: set%s(%d, %d, %d)", name, -1, static_cast<int>(id), -1);
    return true;
}
// The section as the process's threads share it.
struct SharedSection {
    std::mutex mutex;
    int holders = 0;
    uid_t noted_uid = 0;
    gid_t noted_gid = 0;
    bool raised = false;
};

SharedSection& Shared() {
    static SharedSection section;
    return section;
}

// The effective ids back to the noted ones: root again first, so that the group may be changed.
void DropBack(const SharedSection& section) {
    bool dropped = true;
    if (::geteuid() != section.noted_uid) {
        dropped = SetEffectiveId(Id::kUser, 0);
    }
    if (::getegid() != section.noted_gid) {
        dropped = SetEffectiveId(Id::kGroup, section.noted_gid) && dropped;
    }
    if (::geteuid() != section.noted_uid) {
        dropped = SetEffectiveId(Id::kUser, section.noted_uid) && dropped;
    }
    if (!dropped) {
        KOVA_LOG(LOG_AUTH | LOG_ERR, "ERROR: LEAVECriticalSection");
        errno = EPERM;
    }
}

// Raises from the noted ids; false (logged, the half given back) when it cannot.
bool Raise(const SharedSection& section) {
    bool raised = true;
    if (section.noted_gid != 0) {
        raised = SetEffectiveId(Id::kGroup, 0);
    }
    raised = SetEffectiveId(Id::kUser, 0) && raised;
    if (raised) {
        return true;
    }
    KOVA_LOG(LOG_AUTH | LOG_ERR, "ERROR: ENTERCriticalSection");
    // Whatever half of the raise succeeded (the group, typically) must not
    // outlive the failure; it is given back without a log line, so that the
    // log shows exactly the failed entry.
    if (::getegid() != section.noted_gid) {
        (void)::setresgid(static_cast<gid_t>(-1), section.noted_gid, static_cast<gid_t>(-1));
    }
    if (::geteuid() != section.noted_uid) {
        (void)::setresuid(static_cast<uid_t>(-1), section.noted_uid, static_cast<uid_t>(-1));
    }
    return false;
}
}  // namespace

PrivilegedSection::PrivilegedSection() {
    SharedSection& section = Shared();
    const std::lock_guard<std::mutex> guard(section.mutex);
    if (section.holders == 0) {
        section.noted_uid = ::geteuid();
        section.noted_gid = ::getegid();
        section.raised = section.noted_uid != 0 && Raise(section);
        if (section.noted_uid != 0 && !section.raised) {
            errno = EPERM;
            KOVA_LOG(LOG_ERR, "Change permission failed");
            return;
        }
    }
    ++section.holders;
    held_ = true;
    errno = 0;
}

PrivilegedSection::~PrivilegedSection() {
    if (!held_) {
        return;
    }
    SharedSection& section = Shared();
    const std::lock_guard<std::mutex> guard(section.mutex);
    if (--section.holders == 0 && section.raised) {
        DropBack(section);
        section.raised = false;
    }
}

}  // namespace quilkova::internal
