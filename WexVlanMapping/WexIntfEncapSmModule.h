// The module of the WexIntfEncapSm unit and the indices of its types.
#pragma once

#include <cstdint>

#include "Fen/Module.h"

namespace WexVlanMapping {

extern Fen::FenModule const wexIntfEncapSmModule;

enum WexIntfEncapSmType : std::uint16_t {
   wexIntfEncapSmTypeWexPortEncapHwConfigList = 0,
   wexIntfEncapSmTypeWexEncapHwStatusDecoder = 1,
   wexIntfEncapSmTypeWexIntfEncapSm = 2,
};

}  // namespace WexVlanMapping
