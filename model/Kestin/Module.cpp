// The module of Kestin, published at load.
#include "Kestin/Module.h"

#include "Fen/Reflect.h"
#include "Kestin/IntfId.h"

FEN_VALUE_DESCRIPTION(Kestin::IntfId, "Kestin::IntfId")

namespace Kestin {
FEN_MODULE(kestinModule, "Kestin", IntfId)
}  // namespace Kestin
