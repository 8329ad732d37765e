/* What the SDK calls, and how it is asked for a call into Go. What stands for a Go object is its
 * number, never a pointer: Go's runtime takes a small number in a pointer for a fault. */
#ifndef VELMORAKIT_GO_BRIDGE_H
#define VELMORAKIT_GO_BRIDGE_H

#include <VelmoraKit/velmora.h>

#include <stdlib.h>

velmora_result bridge_log(void);
velmora_result bridge_perform(uintptr_t number);
velmora_result bridge_observe(const char *key, uintptr_t number, velmora_observer **observer);

#endif
