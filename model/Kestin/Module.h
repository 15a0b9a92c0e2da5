// The module of Kestin: interface identifiers.
#pragma once

#include "Fen/TypeOf.h"

namespace Kestin {
class IntfId;
extern Fen::FenModule const kestinModule;
}  // namespace Kestin

FEN_TYPE_IN_MODULE(Kestin::IntfId, Kestin::kestinModule, 0)
