// Changing the bound account's profile or password.
#include <string>
#include <vector>

#include "account/account_record.hpp"
#include "account/profile.hpp"
#include "device/identity.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/log.hpp"
#include "operations/account_operations.hpp"
#include "services/account_steps.hpp"

namespace quilkova::internal {

namespace {

struct TextChange {
    Field field;
    const char* value;  // null: left as it is
};
struct FlagChange {
    Field field;
    int value;  // negative: left as it is
};

// The locale and the flags an update may change, in the form's order.
std::vector<TextChange> LocaleChanges(const ProfileChanges& changes) {
    return {{Field::Country, changes.country},
            {Field::NotifyLanguage, changes.notify_language},
            {Field::Timezone, changes.timezone}};
}
std::vector<FlagChange> FlagChanges(const ProfileChanges& changes) {
    return {{Field::IsEnews, changes.enews},
            {Field::IsCriticalRelease, changes.critical_release},
            {Field::IsEnewsLocalPromotion, changes.enews_local_promotion}};
}

void SetGiven(QLIBCSzHash* form, Field field, const char* value) {
    if (value != nullptr) {
        SetField(form, EntryOf(field).form, value);
    }
}

void FillForm(QLIBCSzHash* form, const AccountRecord& record, const std::string& serial,
              const ProfileChanges& changes) {
    SetField(form, EntryOf(Field::UserId).form, record.Text(Field::UserId));
    SetField(form, EntryOf(Field::AuthKey).form, record.Text(Field::AuthKey));
    SetField(form, "serial_no", serial);
    SetGiven(form, Field::Name, changes.full_name);
    // Without the current password neither the e-mail nor the password can change.
    if (changes.password != nullptr) {
        SetField(form, "passwd", changes.password);
        SetGiven(form, Field::Email, changes.email);
        if (changes.new_password != nullptr) {
            SetField(form, "passwd_new", changes.new_password);
            SetField(form, "passwd_confirmation", changes.new_password);  // always the same, on purpose
        }
    }
    for (const TextChange& change : LocaleChanges(changes)) {
        SetGiven(form, change.field, change.value);
    }
    for (const FlagChange& change : FlagChanges(changes)) {
        if (change.value >= 0) {
            SetField(form, EntryOf(change.field).form, FlagText(change.value > 0));
        }
    }
    SetGiven(form, Field::CriticalVersionList, changes.critical_version_list);
}

// The changes written locally, with a query time old enough that the refresh
// after it asks the service for the whole account.
void StoreLocally(AccountRecord record, const ProfileChanges& changes) {
    std::vector<TextChange> texts = LocaleChanges(changes);
    texts.push_back({Field::Name, changes.full_name});
    texts.push_back({Field::CriticalVersionList, changes.critical_version_list});
    if (changes.password != nullptr) {
        texts.push_back({Field::Email, changes.email});
    }
    for (const TextChange& change : texts) {
        if (change.value != nullptr) {
            record.texts[change.field] = AsFlatText(change.field, change.value);
        }
    }
    for (const FlagChange& change : FlagChanges(changes)) {
        if (change.value >= 0) {
            record.flags[change.field] = change.value > 0;
        }
    }
    record.last_query_time = 1;
    if (!WriteAccountRecord(record)) {
        KOVA_LOG(LOG_ERR, "Cant set kova account");
    }
}

}  // namespace

Status UpdateAccount(const ProfileChanges& changes) {
    Result<AccountRecord> read = ReadAccountRecord();
    if (!read) {
        KOVA_LOG(LOG_ERR, "QUILKOVAAccountGet failed");
        return read.error();
    }
    const AccountRecord& record = read.value();
    const std::string host = AccountHost();
    KOVA_TRY(serial, ReadSerial(KOVA_HERE));
    KOVA_TRY(form, NewForm(KOVA_HERE));
    FillForm(form.get(), record, serial, changes);
    Response response;
    Json::Value answer;
    KOVA_TRY_STATUS(SendForm(host, "device/api/user/update", form.get(), false, response, answer, KOVA_HERE));
    const auto code = static_cast<KOVA_ERRCODE>(GetErrorCodeFromAccountError(CodeOf(answer).c_str()));
    if (code != KOVA_ERR_SUCCESS) {
        KOVA_LOG(LOG_ERR, "Failed to update account:%s, resp=%s", record.Text(Field::Email).c_str(),
                 response.Redacted().c_str());
        return Error{code};
    }
    if (changes.password != nullptr && changes.new_password != nullptr) {
        NotifyAccount("KoVAPasswordChanged", changes.email != nullptr ? changes.email : record.Text(Field::Email),
                      KOVA_HERE);
    }
    StoreLocally(record, changes);
    if (const Result<Json::Value> refreshed = Capture([] { return QueryAccount(true, true); }); !refreshed) {
        KOVA_LOG(LOG_ERR, "QUILKOVAAccountQueryInfo failed, code=%u",
                 static_cast<unsigned int>(refreshed.error().code));
    }
    return Done{};
}

}  // namespace quilkova::internal
