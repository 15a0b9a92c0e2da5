// The module of Wex, published at load.
#include "Wex/Module.h"

#include "Fen/Reflect.h"
#include "Wex/WexCommonSmData.h"

FEN_VALUE_DESCRIPTION(Wex::WexLagPortList, "Wex::WexLagPortList")

namespace Wex {
FEN_MODULE(wexModule, "Wex", WexLagPortList, WexCommonSmData)
}  // namespace Wex
