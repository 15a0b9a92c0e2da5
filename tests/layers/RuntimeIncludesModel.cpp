// Compiled by a layer test with the runtime's include root: it must not compile.
#include "Ulva/IntfEncap.h"
