#ifndef QUILPLATFORM_EXPORT_H
#define QUILPLATFORM_EXPORT_H

#define QUILPLATFORM_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
#define QUILPLATFORM_BEGIN_DECLS extern "C" {
#define QUILPLATFORM_END_DECLS }
#else
#define QUILPLATFORM_BEGIN_DECLS
#define QUILPLATFORM_END_DECLS
#endif

#endif
