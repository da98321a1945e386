#include "account/profile.hpp"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "account/user_impl.hpp"

namespace quilkova::internal {

namespace {
#define QUILKOVA_TEXT_ENTRY(Name, key, fallback, member, form, info) {FieldKind::kText, key, fallback, member, form, info},
#define QUILKOVA_FLAG_ENTRY(Name, key, fallback, member, form, info) {FieldKind::kFlag, key, "", member, form, info},
#define QUILKOVA_NUMBER_ENTRY(Name, key, fallback, member, form, info) {FieldKind::kNumber, key, "", member, form, info},
// In the order of the enumeration, which the same rows make.
const FieldEntry kEntries[] = {QUILKOVA_TEXT_FIELDS(QUILKOVA_TEXT_ENTRY) QUILKOVA_FLAG_FIELDS(QUILKOVA_FLAG_ENTRY)
                                QUILKOVA_NUMBER_FIELDS(QUILKOVA_NUMBER_ENTRY)};
#undef QUILKOVA_TEXT_ENTRY
#undef QUILKOVA_FLAG_ENTRY
#undef QUILKOVA_NUMBER_ENTRY

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
}  // namespace

const FieldEntry& EntryOf(Field field) {
    return kEntries[static_cast<size_t>(field)];
}

Result<Json::Value> ReadAsJson(const UserImpl& user, Field field) {
    const FieldEntry& entry = EntryOf(field);
    switch (entry.kind) {
        case FieldKind::kText: {
            KOVA_TRY(text, user.Get(entry.key, entry.text_default));
            return Json::Value(text);
        }
        case FieldKind::kFlag: {
            KOVA_TRY(flag, user.GetBool(entry.key, false));
            return Json::Value(flag);
        }
        case FieldKind::kNumber:
            break;
    }
    KOVA_TRY(number, user.GetNumber(entry.key, 0));
    return Json::Value(static_cast<Json::Int64>(number));
}

void WriteInfoText(KOVA_INFO& info, Field field, const std::string& value) {
    const InfoField& where = EntryOf(field).info;
    // "%s" into the field, cut to its width, always terminated.
    std::snprintf(Bytes(info, where), where.size, "%s", value.c_str());
}

void WriteInfoFlag(KOVA_INFO& info, Field field, bool value) {
    SetNumberAt(info, EntryOf(field).info, value ? 1 : 0);
}

Status CopyToInfo(const UserImpl& user, Field field, KOVA_INFO& info) {
    const FieldEntry& entry = EntryOf(field);
    KOVA_TRY(value, ReadAsJson(user, field));
    switch (entry.kind) {
        case FieldKind::kText:
            WriteInfoText(info, field, value.asString());
            break;
        case FieldKind::kFlag:
            WriteInfoFlag(info, field, value.asBool());
            break;
        case FieldKind::kNumber:
            SetNumberAt(info, entry.info, static_cast<int32_t>(value.asInt64()));
            break;
    }
    return Done{};
}

Status StoreFromInfo(const UserImpl& user, Field field, const KOVA_INFO& info) {
    const FieldEntry& entry = EntryOf(field);
    switch (entry.kind) {
        case FieldKind::kText: {
            // The caller's field may lack its terminator: read up to its width.
            const char* text = Bytes(info, entry.info);
            return user.Set(entry.key, std::string(text, strnlen(text, entry.info.size)));
        }
        case FieldKind::kFlag:
            return user.SetBool(entry.key, NumberAt(info, entry.info) != 0);
        case FieldKind::kNumber:
            break;
    }
    return user.SetNumber(entry.key, NumberAt(info, entry.info));
}

}  // namespace quilkova::internal
