#ifndef QUILKOVA_ACCOUNT_PRIVILEGE_HPP
#define QUILKOVA_ACCOUNT_PRIVILEGE_HPP

namespace quilkova::internal {

// Raises the process to root (group first, then user) for the lifetime of the
// object and drops back to the effective ids it had. A process that is already
// root is left alone. Raising that fails is logged and leaves the section not
// held (ok() false: the caller fails with 6); dropping back that fails is
// logged only. Every set*id call is logged (facility auth).
// The ids are the process's, shared by its threads: the section is shared
// too. The first thread to enter raises, the last to leave drops back, so no
// thread's drop lands in the middle of another's access.
class PrivilegedSection {
public:
    PrivilegedSection();
    ~PrivilegedSection();
    // Whether the process runs as root within the section.
    bool ok() const { return held_; }
    PrivilegedSection(const PrivilegedSection&) = delete;
    PrivilegedSection& operator=(const PrivilegedSection&) = delete;

private:
    bool held_ = false;
};

}  // namespace quilkova::internal

#endif
