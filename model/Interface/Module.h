// The module of Interface: sub-interface statuses and their directories.
#pragma once

#include "Fen/TypeOf.h"

namespace Interface {
class SubIntfStatus;
class SubIntfStatusDir;
namespace Hardware {
class SubIntfStatus;
class SubIntfStatusDir;
}  // namespace Hardware
extern Fen::FenModule const interfaceModule;
}  // namespace Interface

FEN_TYPE_IN_MODULE(Interface::SubIntfStatus, Interface::interfaceModule, 0)
FEN_TYPE_IN_MODULE(Interface::SubIntfStatusDir, Interface::interfaceModule, 1)
FEN_TYPE_IN_MODULE(Interface::Hardware::SubIntfStatus, Interface::interfaceModule, 2)
FEN_TYPE_IN_MODULE(Interface::Hardware::SubIntfStatusDir, Interface::interfaceModule, 3)
