// Compiled by a layer test with the model's include roots: a model header and
// the runtime below it compile, which shows that the command itself works.
#include "Fen/HashMap2018.h"
#include "Ulva/IntfEncap.h"
