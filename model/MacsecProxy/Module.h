// The module of MacsecProxy: the proxy's status.
#pragma once

#include "Fen/TypeOf.h"

namespace MacsecProxy {
class MacsecProxySubIntfStatus;
class MacsecProxyIntfStatus;
class Status;
extern Fen::FenModule const macsecProxyModule;
}  // namespace MacsecProxy

FEN_TYPE_IN_MODULE(MacsecProxy::MacsecProxySubIntfStatus, MacsecProxy::macsecProxyModule, 0)
FEN_TYPE_IN_MODULE(MacsecProxy::MacsecProxyIntfStatus, MacsecProxy::macsecProxyModule, 1)
FEN_TYPE_IN_MODULE(MacsecProxy::Status, MacsecProxy::macsecProxyModule, 2)
