// User: the class face of the account record, one getter and setter per field.
#include "quilkova/user.hpp"

#include "account/user_impl.hpp"
#include "classes/class_face.hpp"

namespace quilkova {

using internal::Guarded;
using internal::Unwrap;

User::User() : impl_(Guarded([] { return new UserImpl; })) {}

User::~User() {
    delete impl_;
}

bool User::Exists() const {
    return Guarded([this] { return Unwrap(impl_->Exists()); });
}

#define QUILKOVA_FORWARD(Name, Type)                                                              \
    Type User::Get##Name() const { return Guarded([this] { return Unwrap(impl_->Get##Name()); }); } \
    void User::Set##Name(Type value) const {                                                      \
        Guarded([&] { Unwrap(impl_->Set##Name(value)); });                                        \
    }
#define QUILKOVA_FORWARD_STRING(Name, ...)                                                               \
    std::string User::Get##Name() const { return Guarded([this] { return Unwrap(impl_->Get##Name()); }); } \
    void User::Set##Name(const std::string& value) const {                                               \
        Guarded([&] { Unwrap(impl_->Set##Name(value)); });                                               \
    }
#define QUILKOVA_FORWARD_BOOL(Name, ...) QUILKOVA_FORWARD(Name, bool)
#define QUILKOVA_FORWARD_NUMBER(Name, ...) QUILKOVA_FORWARD(Name, long long)
QUILKOVA_TEXT_FIELDS(QUILKOVA_FORWARD_STRING)
QUILKOVA_FLAG_FIELDS(QUILKOVA_FORWARD_BOOL)
QUILKOVA_NUMBER_FIELDS(QUILKOVA_FORWARD_NUMBER)

}  // namespace quilkova
