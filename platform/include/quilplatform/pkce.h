#ifndef QUILPLATFORM_PKCE_H
#define QUILPLATFORM_PKCE_H

/* A fresh PKCE pair: verifier = base64url of 32 random bytes (43 characters),
   challenge = base64url(SHA-256(verifier)) (43 characters), both unpadded and
   terminated. Nothing is kept. 0, or negative when a buffer holds fewer than
   44 bytes or no randomness could be had. */

#include <stddef.h>

#include "quilplatform/export.h"

QUILPLATFORM_BEGIN_DECLS

QUILPLATFORM_EXPORT int quil_challenge_verifier_no_save(char *challenge, size_t challengeSize, char *verifier,
                                                        size_t verifierSize);

QUILPLATFORM_END_DECLS

#endif
