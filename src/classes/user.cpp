#include "quilkova/user.hpp"

#include "account/user_impl.hpp"

namespace quilkova {

User::User() : impl_(new UserImpl) {}

User::~User() {
    delete impl_;
}

bool User::Exists() const {
    return impl_->Exists();
}

#define QUILKOVA_FORWARD(Name, Type)                                          \
    Type User::Get##Name() const { return impl_->Get##Name(); }               \
    void User::Set##Name(Type value) const { impl_->Set##Name(value); }
#define QUILKOVA_FORWARD_STRING(Name, ...)                          \
    std::string User::Get##Name() const { return impl_->Get##Name(); }        \
    void User::Set##Name(const std::string& value) const { impl_->Set##Name(value); }
#define QUILKOVA_FORWARD_BOOL(Name, ...) QUILKOVA_FORWARD(Name, bool)
#define QUILKOVA_FORWARD_NUMBER(Name, ...) QUILKOVA_FORWARD(Name, long long)
QUILKOVA_TEXT_FIELDS(QUILKOVA_FORWARD_STRING)
QUILKOVA_FLAG_FIELDS(QUILKOVA_FORWARD_BOOL)
QUILKOVA_NUMBER_FIELDS(QUILKOVA_FORWARD_NUMBER)

}  // namespace quilkova
