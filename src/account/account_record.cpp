// The account record as the flat record carries it, read and written whole.
#include "account/account_record.hpp"

#include "account/server_hosts.hpp"
#include "account/user_impl.hpp"

namespace quilkova::internal {

namespace {
// The order in which the record is read, after the auth key and the user id.
constexpr Field kReadAfterTheIdentity[] = {Field::Email,
                                Field::Name,        Field::Country,       Field::Timezone,
                                Field::NotifyLanguage, Field::LastQueryTime, Field::IsActivated,
                                Field::IsDisabled,  Field::IsEnews,       Field::IsCriticalRelease,
                                Field::IsEnewsLocalPromotion, Field::CriticalVersionList,
                                Field::CriticalVersionDomain};
// Always written, empty or not.
constexpr Field kIdentity[] = {Field::Email, Field::AuthKey, Field::UserId};
// Written only from a record that carries a query's profile, last_query_time last.
constexpr Field kProfile[] = {Field::Name,        Field::Country,     Field::Timezone,
                              Field::NotifyLanguage, Field::IsActivated, Field::IsDisabled,
                              Field::IsEnews,     Field::IsEnewsLocalPromotion, Field::IsCriticalRelease,
                              Field::CriticalVersionList, Field::CriticalVersionDomain, Field::LastQueryTime};

Status ReadInto(const UserImpl& user, Field field, AccountRecord& record) {
    KOVA_TRY(value, ReadAsJson(user, field));
    switch (EntryOf(field).kind) {
        case FieldKind::kText:
            record.texts[field] = AsFlatText(field, value.asString());
            break;
        case FieldKind::kFlag:
            record.flags[field] = value.asBool();
            break;
        case FieldKind::kNumber:
            record.last_query_time = static_cast<int32_t>(value.asInt64());
            break;
    }
    return Done{};
}

Status Store(const UserImpl& user, Field field, const AccountRecord& record) {
    const FieldEntry& entry = EntryOf(field);
    switch (entry.kind) {
        case FieldKind::kText:
            return user.Set(entry.key, record.Text(field));
        case FieldKind::kFlag: {
            const auto flag = record.flags.find(field);
            return user.SetBool(entry.key, flag != record.flags.end() && flag->second);
        }
        case FieldKind::kNumber:
            break;
    }
    return user.SetNumber(entry.key, record.last_query_time);
}
}  // namespace

const std::string& AccountRecord::Text(Field field) const {
    static const std::string kNone;
    const auto text = texts.find(field);
    return text != texts.end() ? text->second : kNone;
}

std::string AsFlatText(Field field, const std::string& value) {
    const size_t width = EntryOf(field).info.size;
    const std::string text = value.c_str();
    return width > 0 && text.size() >= width ? text.substr(0, width - 1) : text;
}

Result<AccountRecord> ReadAccountRecord() {
    const UserImpl user;
    AccountRecord record;
    // An account counts as present only when both the auth key and the user id are stored.
    for (const Field identity : {Field::AuthKey, Field::UserId}) {
        KOVA_TRY_STATUS(ReadInto(user, identity, record));
        if (record.Text(identity).empty()) {
            return Error{KOVA_ERR_NO_ACCOUNT};
        }
    }
    for (const Field field : kReadAfterTheIdentity) {
        KOVA_TRY_STATUS(ReadInto(user, field, record));
    }
    return record;
}

Status WriteAccountRecord(const AccountRecord& record) {
    const UserImpl user;
    for (const Field field : kIdentity) {
        KOVA_TRY_STATUS(Store(user, field, record));
    }
    if (record.last_query_time > 0) {
        for (const Field field : kProfile) {
            KOVA_TRY_STATUS(Store(user, field, record));
        }
    }
    return Done{};
}

std::string AccountHost() {
    return ServerInfoImpl().GetAccountHost();
}

std::string PaymentHost() {
    return ServerInfoImpl().GetPaymentHost();
}

}  // namespace quilkova::internal
