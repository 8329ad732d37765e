/* Marks what the library exports. Valid C99 and C++. */
#ifndef VELMORAKIT_EXPORT_H
#define VELMORAKIT_EXPORT_H

#if defined(__GNUC__)
#define VELMORA_EXPORT __attribute__((visibility("default")))
#define VELMORA_NOTHROW __attribute__((nothrow))
#else
#define VELMORA_EXPORT
#define VELMORA_NOTHROW
#endif

/* A function of the C interface: exported, and no exception ever leaves it. */
#define VELMORA_API VELMORA_EXPORT VELMORA_NOTHROW

#endif
