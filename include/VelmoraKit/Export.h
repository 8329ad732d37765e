/** \file
 * \brief Marks what the library exports. Valid C99 and C++. */
#ifndef VELMORAKIT_EXPORT_H
#define VELMORAKIT_EXPORT_H

#if defined(__GNUC__)
#define VELMORA_EXPORT __attribute__((visibility("default")))
#else
#define VELMORA_EXPORT
#endif

/* A function of the C interface: exported, and no exception ever leaves it. */
#define VELMORA_API VELMORA_EXPORT

#endif
