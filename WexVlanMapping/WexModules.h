// The modules of the library's units and the indices of their types: what
// fwkType() of each counted class answers, (module, index).
#pragma once

#include <cstdint>

#include "Fen/Module.h"

namespace WexVlanMapping {

// WexIntfEncap: the encap records and collections.
extern Fen::FenModule const wexIntfEncapModule;
enum WexIntfEncapType : std::uint16_t {
   wexIntfEncapTypeWexIntfEncapSource = 0,
   wexIntfEncapTypeWexDynamicIntfEncapInfo = 1,
   wexIntfEncapTypeWexDynamicIntfEncapColl = 2,
   wexIntfEncapTypeWexIntfEncapHwConfig = 3,
   wexIntfEncapTypeWexIntfEncapHwConfigColl = 4,
   wexIntfEncapTypeSupportedEncapServiceTypes = 5,
};

// WexIntfEncapSm: the interface encap state machine, its per-port lists and the
// status decoder.
extern Fen::FenModule const wexIntfEncapSmModule;
enum WexIntfEncapSmType : std::uint16_t {
   wexIntfEncapSmTypeWexPortEncapHwConfigList = 0,
   wexIntfEncapSmTypeWexEncapHwStatusDecoder = 1,
   wexIntfEncapSmTypeWexIntfEncapSm = 2,
   wexIntfEncapSmTypeWexPortWantedEncapList = 3,
};

// WexIntfEncapMuxSm: the sub-interface multiplexer, the one class of its module.
extern Fen::FenModule const wexIntfEncapMuxSmModule;
enum WexIntfEncapMuxSmType : std::uint16_t {
   wexIntfEncapMuxSmTypeWexIntfEncapMuxSm = 0,
};

// WexDynamicEncapSm: the dynamic encaps of the MACsec proxy, the one class of its
// module.
extern Fen::FenModule const wexDynamicEncapSmModule;
enum WexDynamicEncapSmType : std::uint16_t {
   wexDynamicEncapSmTypeWexDynamicEncapSm = 0,
};

}  // namespace WexVlanMapping
