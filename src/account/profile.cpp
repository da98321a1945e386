#include "account/profile.hpp"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "account/user_impl.hpp"

namespace quilkova::internal {

namespace {
#define QUILKOVA_TEXT_SPEC(Name, key, fallback, member, form, info) {FieldKind::kText, key, fallback, member, form, info},
#define QUILKOVA_FLAG_SPEC(Name, key, fallback, member, form, info) {FieldKind::kFlag, key, "", member, form, info},
#define QUILKOVA_NUMBER_SPEC(Name, key, fallback, member, form, info) {FieldKind::kNumber, key, "", member, form, info},
// In the order of the enumeration, which the same rows make.
const FieldSpec kSpecs[] = {QUILKOVA_TEXT_FIELDS(QUILKOVA_TEXT_SPEC) QUILKOVA_FLAG_FIELDS(QUILKOVA_FLAG_SPEC)
                                QUILKOVA_NUMBER_FIELDS(QUILKOVA_NUMBER_SPEC)};
#undef QUILKOVA_TEXT_SPEC
#undef QUILKOVA_FLAG_SPEC
#undef QUILKOVA_NUMBER_SPEC

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

const FieldSpec& SpecOf(Field field) {
    return kSpecs[static_cast<size_t>(field)];
}

Json::Value ReadAsJson(const UserImpl& user, Field field) {
    const FieldSpec& spec = SpecOf(field);
    switch (spec.kind) {
        case FieldKind::kText:
            return user.Get(spec.key, spec.text_default);
        case FieldKind::kFlag:
            return user.GetBool(spec.key, false);
        case FieldKind::kNumber:
            break;
    }
    return static_cast<Json::Int64>(user.GetNumber(spec.key, 0));
}

void WriteInfoText(KOVA_INFO& info, Field field, const std::string& value) {
    const InfoField& where = SpecOf(field).info;
    // "%s" into the field, cut to its width, always terminated.
    std::snprintf(Bytes(info, where), where.size, "%s", value.c_str());
}

void WriteInfoFlag(KOVA_INFO& info, Field field, bool value) {
    SetNumberAt(info, SpecOf(field).info, value ? 1 : 0);
}

void CopyToInfo(const UserImpl& user, Field field, KOVA_INFO& info) {
    const FieldSpec& spec = SpecOf(field);
    switch (spec.kind) {
        case FieldKind::kText:
            WriteInfoText(info, field, user.Get(spec.key, spec.text_default));
            return;
        case FieldKind::kFlag:
            WriteInfoFlag(info, field, user.GetBool(spec.key, false));
            return;
        case FieldKind::kNumber:
            SetNumberAt(info, spec.info, static_cast<int32_t>(user.GetNumber(spec.key, 0)));
            return;
    }
}

void StoreFromInfo(const UserImpl& user, Field field, const KOVA_INFO& info) {
    const FieldSpec& spec = SpecOf(field);
    switch (spec.kind) {
        case FieldKind::kText: {
            // The caller's field may lack its terminator: read up to its width.
            const char* text = Bytes(info, spec.info);
            user.Set(spec.key, std::string(text, strnlen(text, spec.info.size)));
            return;
        }
        case FieldKind::kFlag:
            user.SetBool(spec.key, NumberAt(info, spec.info) != 0);
            return;
        case FieldKind::kNumber:
            user.SetNumber(spec.key, NumberAt(info, spec.info));
            return;
    }
}

}  // namespace quilkova::internal
