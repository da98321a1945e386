#include "lock_holder.hpp"

#include "quilkova/file_lock.hpp"

namespace quilkova::test {

using namespace std::chrono_literals;

LockHolder::LockHolder(const std::string& lock_path) {
    child_ = std::make_unique<ChildProcess>([this, lock_path] {
        FileLock lock(lock_path);
        if (!lock.Lock(5)) {
            return 1;
        }
        locked_.Notify();
        release_.Wait(60s);
        return 0;
    });
    holding_ = locked_.Wait(10s);
}

LockHolder::~LockHolder() {
    Release();
}

bool LockHolder::Release() {
    release_.Notify();
    return child_->Wait(10s) == 0;
}

}  // namespace quilkova::test
