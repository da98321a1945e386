#ifndef QUILKOVA_EXPORT_H
#define QUILKOVA_EXPORT_H

/* Everything in libquilkova is hidden unless marked with this macro. */
#define QUILKOVA_EXPORT __attribute__((visibility("default")))

#endif
