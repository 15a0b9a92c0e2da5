// The module of Bridging: the VLAN TPID.
#pragma once

#include <cstdint>

#include "Fen/TypeOf.h"

namespace Bridging {
enum VlanTpid : std::uint16_t;
extern Fen::FenModule const bridgingModule;
}  // namespace Bridging

FEN_TYPE_IN_MODULE(Bridging::VlanTpid, Bridging::bridgingModule, 0)
