// The appliance's tokens for the operations: the local logout, and what a
// new binding forgets.
#include "operations/appliance_tokens.hpp"


#include "account/user_impl.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/log.hpp"
#include "operations/account_operations.hpp"
#include "operations/account_pkce_service_impl.hpp"
#include "operations/pkce_client_impl.hpp"
#include "quilplatform/notify.h"
#include "quilplatform/process.h"
#include "services/backoff.hpp"
#include "services/report_job.hpp"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

namespace quilkova {

namespace {
using internal::Error;
using internal::Result;

constexpr unsigned int kLogoutEvent = 0x13a00002;

// The path in single quotes for the shell; a quote inside it closes, escapes and reopens.
std::string ShellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}
}  // namespace

void internal::LogoutLocally() {
    // An unreadable record counts as none: the local logout goes on.
    const UserImpl user;
    const Result<bool> exists = user.Exists();
    const Result<std::string> email = exists && exists.value() ? user.GetEmail() : Result<std::string>(Error{});
    if (email) {
        KOVA_LOG(LOG_ERR, "Logged out Quillion Account: %s", email.value().c_str());
    } else {
        KOVA_LOG(LOG_ERR, "Logged out Quillion Account");
    }
    (void)internal::Capture([] { return internal::RemoveAccount(); });
    // No schedule to remove, or none that could be: the logout goes on.
    (void)internal::RemoveReportJob();
    QUILLogSet1(2, 1, kLogoutEvent, "", "", "", "");
    // A shell on purpose, for the wildcard: every client's token file goes,
    // the appliance's and each package's. The directory is quoted, the
    // wildcard is not, so a root prefix can never widen the removal.
    const std::string command =
        "/bin/rm -f " + ShellQuoted(internal::RootedPath(internal::kPrivateDirectory)) + "*_token.json";
    if (QLIBCExecl("/bin/sh", "-c", command.c_str(), static_cast<char*>(nullptr)) < 0) {
        KOVA_LOG(LOG_ERR, "Failed to clear token files");
    }
    Backoff::ClearAll();
}

void internal::ForgetOtherAccountsTokens(const std::string& user_id) {
    Backoff::ClearAll();  // a new binding is a fresh start
    for (const std::string& client : StemsEndingIn(RootedPath(kPrivateDirectory), "_token.json")) {
        PkceClientImpl(client).RemoveUnlessIssuedFor(user_id);
    }
}

bool internal::HasApplianceTokenFile() {
    return PkceClientImpl(kApplianceClient).HasTokenFile();
}

internal::Result<std::string> internal::ApplianceAccessToken() {
    KOVA_TRY(appliance, AccountPkceServiceImpl::Make("", ""));
    return appliance->GetAccessToken();
}

}  // namespace quilkova
