#ifndef QUILPLATFORM_QLIBC_ERROR_H
#define QUILPLATFORM_QLIBC_ERROR_H

/* The platform's last error: every failing platform call sets a code and the
   source file and line where it failed. Kept per thread. */

#include "quilplatform/export.h"

QUILPLATFORM_BEGIN_DECLS

enum {
    QLIBC_ERR_NONE = 0x0000,
    QLIBC_ERR_OUT_OF_MEMORY = 0x0200,
    QLIBC_ERR_NOT_FOUND = 0x0600,
    QLIBC_ERR_FILE_OPEN = 0x0900,
    QLIBC_ERR_FILE_READ = 0x0A00,
    QLIBC_ERR_FILE_WRITE = 0x0B00,
    QLIBC_ERR_FILE_LOCK = 0x0C00,
    QLIBC_ERR_BAD_PARAMETERS = 0x0D00,
    QLIBC_ERR_BUSY = 0x0E00,
    QLIBC_ERR_SYSTEM = 0x0F00
};

QUILPLATFORM_EXPORT int QLIBCErrGet(void);
QUILPLATFORM_EXPORT const char *QLIBCErrorGetFile(void);
QUILPLATFORM_EXPORT int QLIBCErrorGetLine(void);

QUILPLATFORM_END_DECLS

#endif
