#ifndef QUILPLATFORM_QLIBC_STRING_H
#define QUILPLATFORM_QLIBC_STRING_H

/* String hash (keeps insertion order), string list, growable append, trim. */

#include <stddef.h>

#include "quilplatform/export.h"

QUILPLATFORM_BEGIN_DECLS

typedef struct QLIBCSzHash QLIBCSzHash, *PQLIBCSzHash;
typedef struct QLIBCSzList QLIBCSzList, *PQLIBCSzList;

/* capacity is the number of entries reserved; both containers grow past it. */
QUILPLATFORM_EXPORT PQLIBCSzHash QLIBCSzHashAlloc(int capacity);
QUILPLATFORM_EXPORT void QLIBCSzHashFree(PQLIBCSzHash hash);
/* Adds or replaces (in place) a key; value may be NULL. 0 or -1. */
QUILPLATFORM_EXPORT int QLIBCSzHashSetValue(PQLIBCSzHash hash, const char *key, const char *value);
/* NULL when the key is missing or holds NULL. Valid until the key is set again. */
QUILPLATFORM_EXPORT const char *QLIBCSzHashGetValue(PQLIBCSzHash hash, const char *key);
QUILPLATFORM_EXPORT int QLIBCSzHashCount(PQLIBCSzHash hash);
/* Appends every key, in insertion order, to list; the number appended or -1. */
QUILPLATFORM_EXPORT int QLIBCSzHashEnumKey(PQLIBCSzHash hash, PQLIBCSzList list);

QUILPLATFORM_EXPORT PQLIBCSzList QLIBCSzListAlloc(int capacity);
QUILPLATFORM_EXPORT void QLIBCSzListFree(PQLIBCSzList list);
QUILPLATFORM_EXPORT int QLIBCSzListAdd(PQLIBCSzList list, const char *text);
QUILPLATFORM_EXPORT int QLIBCSzListCount(PQLIBCSzList list);
/* NULL when index is out of range. */
QUILPLATFORM_EXPORT const char *QLIBCSzListGet(PQLIBCSzList list, int index);

/* Appends text to the NUL-terminated heap string *buffer of *capacity bytes,
   growing it with realloc. The new length, or -1 (the buffer is then unchanged
   and still the caller's to free). */
QUILPLATFORM_EXPORT int QLIBCStrCat(char **buffer, size_t *capacity, const char *text);
/* Removes white space at both ends in place; returns text. */
QUILPLATFORM_EXPORT char *QLIBCStrTrimSpace(char *text);

QUILPLATFORM_END_DECLS

#endif
