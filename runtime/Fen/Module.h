// Fen::FenModule: one static object per source unit, published at load, through
// which the runtime knows the unit's types (see Fen/GenericIf.h for the record,
// Fen/Reflect.h for FEN_MODULE, which builds and publishes one).
#pragma once

#include "Fen/GenericIf.h"
