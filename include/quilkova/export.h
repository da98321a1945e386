#ifndef QUILKOVA_EXPORT_H
#define QUILKOVA_EXPORT_H

/**
 * @file export.h
 * @brief The export macro: everything in libquilkova is hidden unless marked with it.
 */

/** Marks a name that leaves libquilkova.so. */
#define QUILKOVA_EXPORT __attribute__((visibility("default")))

#endif
