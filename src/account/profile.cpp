#include "account/profile.hpp"

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

}  // namespace quilkova::internal
