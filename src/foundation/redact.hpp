#ifndef QUILKOVA_INTERNAL_REDACT_HPP
#define QUILKOVA_INTERNAL_REDACT_HPP

#include <string>
#include <vector>

// Secrets never reach a log line or an exception text: messages keep their
// wording, but the values of credential keys read "***" and bodies are cut.
namespace quilkova::internal {

constexpr size_t kMessageBodyLimit = 1024;

// "access_token", "refresh_token", "id_token", "auth_key", "code_verifier",
// "passwd", "passwd_new", "passwd_confirmation", "password", "hs_token", and
// the same secrets under the names the record and the sender give them.
bool IsSecretKey(const std::string& key);

// A body (JSON or form-encoded) with the value of every secret member or field
// replaced by "***", and every value of `sent` (the secrets the request
// carried, see AddSentSecret) wherever the answer repeats it, in free text
// too; cut to kMessageBodyLimit bytes.
std::string Redacted(const std::string& body, const std::vector<std::string>& sent = {});

// Notes a field a request carries: when `key` names a secret (or is "code",
// an authorization or grant code), its value and its percent-escaped form
// join `sent`.
void AddSentSecret(std::vector<std::string>& sent, const std::string& key, const std::string& value);

// "***" for a secret key's value, the value itself otherwise.
std::string RedactedValue(const std::string& key, const std::string& value);

}  // namespace quilkova::internal

#endif
