#ifndef QUILKOVA_INTERNAL_PRIVILEGE_HPP
#define QUILKOVA_INTERNAL_PRIVILEGE_HPP

#include <sys/types.h>

namespace quilkova::internal {

// Raises the process to root (group first, then user) for the lifetime of the
// object and drops back to the effective ids it had. A process that is already
// root is left alone. Raising that fails throws KovaException(6); dropping
// back that fails is logged only. Every set*id call is logged (facility auth).
// The change is process-wide: one thread at a time.
class PrivilegedSection {
public:
    PrivilegedSection();
    ~PrivilegedSection();
    PrivilegedSection(const PrivilegedSection&) = delete;
    PrivilegedSection& operator=(const PrivilegedSection&) = delete;

private:
    bool DropBack() const;

    uid_t noted_uid_;
    gid_t noted_gid_;
    bool raised_;
};

}  // namespace quilkova::internal

#endif
