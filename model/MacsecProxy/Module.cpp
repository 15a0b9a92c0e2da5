// The module of MacsecProxy, published at load.
#include "MacsecProxy/Module.h"

#include "Fen/Reflect.h"
#include "MacsecProxy/Status.h"

namespace MacsecProxy {
FEN_MODULE(macsecProxyModule, "MacsecProxy", MacsecProxySubIntfStatus, MacsecProxyIntfStatus,
           Status)
}  // namespace MacsecProxy
