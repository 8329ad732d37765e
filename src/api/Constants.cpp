#include "device/Keys.h"

#include <VelmoraKit/Constants.h>

#define VMR_EXPORTED(name, text, ...) const char *const name = text;

extern "C" {

VMR_EXPORTED_KEYS(VMR_EXPORTED)
#undef VMR_EXPORTED

const unsigned char VelmoraKitVersionString[] = "@(#)PROGRAM:VelmoraKit  PROJECT:VelmoraKit-1\n";
const double VelmoraKitVersionNumber = 1.0;

} // extern "C"
