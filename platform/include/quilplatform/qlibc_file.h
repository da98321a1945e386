#ifndef QUILPLATFORM_QLIBC_FILE_H
#define QUILPLATFORM_QLIBC_FILE_H

/* Key/value files (lines key="value"; key=value and blanks around '=' are
   read too, '#' starts a comment) and advisory lock files. Paths are the
   appliance's absolute paths; the root prefix is applied here. */

#include <stdbool.h>

#include "quilplatform/export.h"
#include "quilplatform/qlibc_string.h"

QUILPLATFORM_BEGIN_DECLS

/* Copies the value of key into buffer (cut to size - 1 and terminated). The
   copied length; 0 when the key or the file is missing or the value empty;
   negative on error. flags: reserved, 0. */
QUILPLATFORM_EXPORT int QLIBCFileGetKeyValue(const char *path, const char *key, char *buffer, int size, int flags);

/* Replaces the line of key, or appends one, written with lineFormat (two "%s":
   key and value). The file is replaced atomically and concurrent writers are
   serialised; a new file is created 0600. Values holding a line break are
   refused. 0, or negative on error. */
QUILPLATFORM_EXPORT int QLIBCFileSetKeyValue(const char *path, const char *key, const char *value,
                                             const char *lineFormat);

/* Appends the file's keys, in file order, to list; the number of keys (0 for
   a missing file) or negative. */
QUILPLATFORM_EXPORT int QLIBCFileGetKeys(const char *path, PQLIBCSzList list);

/* 1 when the file holds key with exactly value, 0 when not, negative on error. */
QUILPLATFORM_EXPORT int QLIBCFileCheckKeyValue(const char *path, const char *key, const char *value, int flags);

/* 1 when path is a directory, 0 when nothing is there, negative otherwise. */
QUILPLATFORM_EXPORT int QLIBCFileCheckDir(const char *path);

/* One non-blocking attempt to lock path (exclusive or shared); on success the
   held descriptor is stored in *fd. Never follows a link at path. */
QUILPLATFORM_EXPORT bool QLIBCFileLockByFile(const char *path, bool exclusive, int *fd);
/* Releases and closes a descriptor from QLIBCFileLockByFile. 0 or -1. */
QUILPLATFORM_EXPORT int QLIBCFileUnlockByFile(int fd);

QUILPLATFORM_END_DECLS

#endif
