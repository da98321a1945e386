#ifndef QUILKOVA_FOUNDATION_REDACT_HPP
#define QUILKOVA_FOUNDATION_REDACT_HPP

#include <json/json.h>

#include <string>
#include <string_view>
#include <vector>

// Secrets never reach a log line or an exception text: messages keep their
// wording, but the values of credential keys read "***" and bodies are cut.
namespace quilkova::internal {

constexpr size_t kMessageBodyLimit = 1024;
// A secret shorter than this, masked wherever it appears, would spell itself
// out in what is left ("wrong p***ssword"): a body that must hide one is dropped.
constexpr size_t kShortestMaskable = 3;
// How many of the secrets the process read or wrote last are remembered for masking.
constexpr size_t kHeldSecretsKept = 64;

// "access_token", "refresh_token", "id_token", "auth_key", "code_verifier",
// "passwd", "passwd_new", "passwd_confirmation", "password", "hs_token", and
// the same secrets under the names the record and the sender give them.
bool IsSecretKey(std::string_view key);

// A body (JSON or form-encoded) with the value of every secret member or field
// replaced by "***" (a whole object or list under a secret name too), and
// every value of `sent` (the secrets the request carried, see AddSentSecret),
// every secret the process holds (NoteHeldSecret) and every value found under
// a secret name wherever the body repeats it: as is, JSON-escaped or URL- or
// form-encoded, in free text too; cut to kMessageBodyLimit bytes. "" when one
// of those secrets is shorter than kShortestMaskable.
std::string Redacted(const std::string& body, const std::vector<std::string>& sent = {});

// Notes a field a request carries: when `key` names a secret (or is "code",
// an authorization or grant code), its value and its percent-escaped form
// join `sent`.
void AddSentSecret(std::vector<std::string>& sent, const std::string& key, const std::string& value);

// Remembers a secret the process read or wrote (a stored token, the auth key),
// so that no answer repeats it into a log line, whichever request it answers.
// Thread-safe; the last kHeldSecretsKept are kept.
void NoteHeldSecret(const std::string& value);
// Every value under a secret name in `value`.
void NoteHeldSecrets(const Json::Value& value);
std::vector<std::string> HeldSecrets();

// "***" for a secret key's value, the value itself otherwise.
std::string RedactedValue(const std::string& key, const std::string& value);

}  // namespace quilkova::internal

#endif
