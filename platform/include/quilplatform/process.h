#ifndef QUILPLATFORM_PROCESS_H
#define QUILPLATFORM_PROCESS_H

/* Programs run without a shell. A program path under the appliance's tree
   ("/usr/quil/sbin/...") is looked for under the root prefix first. */

#include <stdio.h>

#include "quilplatform/export.h"

QUILPLATFORM_BEGIN_DECLS

/* Runs path with the arguments that follow (NULL-terminated; argv[0] is path)
   and waits: its exit status, 128 + signal, or -1 when it could not start. */
QUILPLATFORM_EXPORT int QLIBCExecl(const char *path, ...);

/* Starts path with the arguments that follow (NULL-terminated) and returns a
   stream of its standard output; mode must be "r". NULL on failure. */
QUILPLATFORM_EXPORT FILE *QLIBCPopen(const char *path, const char *mode, ...);
/* Closes the stream and waits as QLIBCExecl, for 1 second at most: a
   program still running then is killed with its process group (the result is
   then non-zero). */
QUILPLATFORM_EXPORT int QLIBCPclose(FILE *stream);

QUILPLATFORM_END_DECLS

#endif
