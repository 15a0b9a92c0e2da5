// The module of Bridging, published at load.
#include "Bridging/Module.h"

#include "Bridging/VlanTpid.h"
#include "Fen/Reflect.h"

FEN_VALUE_DESCRIPTION(Bridging::VlanTpid, "Bridging::VlanTpid")

namespace Bridging {
FEN_MODULE(bridgingModule, "Bridging", VlanTpid)
}  // namespace Bridging
