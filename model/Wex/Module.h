// The module of Wex: the platform layer's shared data.
#pragma once

#include "Fen/TypeOf.h"

namespace Wex {
class WexLagPortList;
class WexCommonSmData;
extern Fen::FenModule const wexModule;
}  // namespace Wex

FEN_TYPE_IN_MODULE(Wex::WexLagPortList, Wex::wexModule, 0)
FEN_TYPE_IN_MODULE(Wex::WexCommonSmData, Wex::wexModule, 1)
