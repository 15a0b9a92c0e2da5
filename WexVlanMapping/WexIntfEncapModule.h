// The module of the WexIntfEncap unit and the indices of its types.
#pragma once

#include <cstdint>

#include "Fen/Module.h"

namespace WexVlanMapping {

extern Fen::FenModule const wexIntfEncapModule;

enum WexIntfEncapType : std::uint16_t {
   wexIntfEncapTypeWexIntfEncapSource = 0,
   wexIntfEncapTypeWexDynamicIntfEncapInfo = 1,
   wexIntfEncapTypeWexDynamicIntfEncapColl = 2,
   wexIntfEncapTypeWexIntfEncapHwConfig = 3,
   wexIntfEncapTypeWexIntfEncapHwConfigColl = 4,
   wexIntfEncapTypeSupportedEncapServiceTypes = 5,
};

}  // namespace WexVlanMapping
