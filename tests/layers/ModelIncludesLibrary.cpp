// Compiled by a layer test with the model's include roots: it must not compile.
#include "WexVlanMapping/WexIntfEncap.h"
