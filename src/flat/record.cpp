// The flat face of the account record and the service hosts: the one place
// where the record and the hosts are copied to and from the ABI's structs.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "account/account_record.hpp"
#include "flat/flat.hpp"
#include "foundation/fixed_field.hpp"

// The structs' layouts are part of the outside interface: fixed forever.
static_assert(offsetof(KOVA_INFO, password) == 4096 && offsetof(KOVA_INFO, user_id) == 8192 &&
                  offsetof(KOVA_INFO, auth_key) == 12288 && offsetof(KOVA_INFO, full_name) == 16384 &&
                  offsetof(KOVA_INFO, country) == 17408 && offsetof(KOVA_INFO, timezone) == 17664 &&
                  offsetof(KOVA_INFO, notify_language) == 17920 &&
                  offsetof(KOVA_INFO, critical_version_list) == 18176 &&
                  offsetof(KOVA_INFO, critical_version_domain) == 19200 && offsetof(KOVA_INFO, activated) == 20224 &&
                  offsetof(KOVA_INFO, enews_local_promotion) == 20240 &&
                  offsetof(KOVA_INFO, last_query_time) == 20244 && sizeof(KOVA_INFO) == 20248,
              "KOVA_INFO layout changed");
static_assert(offsetof(KOVA_SERVER_CONFIG, account_url) == 2048 && sizeof(KOVA_SERVER_CONFIG) == 4096,
              "KOVA_SERVER_CONFIG layout changed");

namespace {

using quilkova::internal::AccountRecord;
using quilkova::internal::EntryOf;
using quilkova::internal::Field;
using quilkova::internal::FieldKind;
using quilkova::internal::InfoField;

// The field's bytes within the record, as the record is (or is not) const.
template <typename Record>
auto* Bytes(Record& info, const InfoField& field) {
    using Byte = std::conditional_t<std::is_const_v<Record>, const char, char>;
    return reinterpret_cast<Byte*>(&info) + field.offset;
}

int32_t NumberAt(const KOVA_INFO& info, const InfoField& field) {
    int32_t number = 0;
    std::memcpy(&number, Bytes(info, field), sizeof(number));
    return number;
}

void SetNumberAt(KOVA_INFO& info, const InfoField& field, int32_t number) {
    std::memcpy(Bytes(info, field), &number, sizeof(number));
}

// Every field the record holds into its place (texts cut to their fields,
// flags as 1 or 0); `password` and anything else is left as it was.
void CopyToInfo(const AccountRecord& record, KOVA_INFO& info) {
    for (const auto& [field, text] : record.texts) {
        const InfoField& where = EntryOf(field).info;
        std::snprintf(Bytes(info, where), where.size, "%s", text.c_str());
    }
    for (const auto& [field, flag] : record.flags) {
        SetNumberAt(info, EntryOf(field).info, flag ? 1 : 0);
    }
    SetNumberAt(info, EntryOf(Field::LastQueryTime).info, record.last_query_time);
}

// Every field of KOVA_INFO the record has; a text up to its terminator or
// its field's end (the caller may not have terminated it).
AccountRecord FromInfo(const KOVA_INFO& info) {
    AccountRecord record;
    for (const Field field : {Field::Email, Field::UserId, Field::AuthKey, Field::Name, Field::Country,
                              Field::Timezone, Field::NotifyLanguage, Field::CriticalVersionList,
                              Field::CriticalVersionDomain, Field::IsActivated, Field::IsDisabled, Field::IsEnews,
                              Field::IsCriticalRelease, Field::IsEnewsLocalPromotion}) {
        const InfoField& where = EntryOf(field).info;
        if (EntryOf(field).kind == FieldKind::kText) {
            const char* text = Bytes(info, where);
            record.texts[field] = std::string(text, strnlen(text, where.size));
        } else {
            record.flags[field] = NumberAt(info, where) != 0;
        }
    }
    record.last_query_time = NumberAt(info, EntryOf(Field::LastQueryTime).info);
    return record;
}

}  // namespace

using quilkova::internal::Flat;

extern "C" int QUILKOVAAccountGet(KOVA_INFO* info) {
    return Flat([info]() -> quilkova::internal::Status {
        if (info == nullptr) {
            return quilkova::internal::Error{KOVA_ERR_BAD_PARAM};
        }
        KOVA_TRY(record, quilkova::internal::ReadAccountRecord());
        CopyToInfo(record, *info);
        return quilkova::internal::Done{};
    });
}

extern "C" int QUILKOVAAccountSet(const KOVA_INFO* info) {
    return Flat([info]() -> quilkova::internal::Status {
        if (info == nullptr) {
            return quilkova::internal::Error{KOVA_ERR_BAD_PARAM};
        }
        return quilkova::internal::WriteAccountRecord(FromInfo(*info));
    });
}

extern "C" int QUILKOVAServerConfigGet(KOVA_SERVER_CONFIG* config) {
    return Flat([config]() -> quilkova::internal::Status {
        if (config == nullptr) {
            return quilkova::internal::Error{KOVA_ERR_BAD_PARAM};
        }
        quilkova::internal::CopyField(config->account_url, quilkova::internal::AccountHost());
        quilkova::internal::CopyField(config->payment_url, quilkova::internal::PaymentHost());
        return quilkova::internal::Done{};
    });
}

// `url` holds 2048 bytes, as the payment host's field does.
extern "C" int QUILPaymentConfigGet(char* url) {
    return Flat([url]() -> quilkova::internal::Status {
        if (url == nullptr) {
            return quilkova::internal::Error{KOVA_ERR_BAD_PARAM};
        }
        std::snprintf(url, sizeof(KOVA_SERVER_CONFIG::payment_url), "%s",
                      quilkova::internal::PaymentHost().c_str());
        return quilkova::internal::Done{};
    });
}
