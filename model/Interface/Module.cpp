// The module of Interface, published at load.
#include "Interface/Module.h"

#include "Fen/Reflect.h"
#include "Interface/SubIntfStatus.h"

namespace Interface {
FEN_MODULE(interfaceModule, "Interface", SubIntfStatus, SubIntfStatusDir, Hardware::SubIntfStatus,
           Hardware::SubIntfStatusDir)
}  // namespace Interface
