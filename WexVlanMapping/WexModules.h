// The modules of the library's units and the indices of their types: what
// fwkType() of each counted class answers, (module, index).
#pragma once

#include <cstdint>

#include "Fen/Module.h"
#include "Fen/TypeOf.h"

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

namespace WexVlanMapping {
enum WexIntfEncapSource : std::uint8_t;
class WexDynamicIntfEncapInfo;
class WexDynamicIntfEncapColl;
class WexIntfEncapHwConfig;
class WexIntfEncapHwConfigColl;
class SupportedEncapServiceTypes;
class WexPortEncapHwConfigList;
class WexEncapHwStatusDecoder;
class WexIntfEncapSm;
class WexPortWantedEncapList;
class WexIntfEncapMuxSm;
class WexDynamicEncapSm;
}  // namespace WexVlanMapping

namespace WexVlanMappingTest {
// WexTestIntfEncapSm: the simulated platform, the one class of its module.
extern Fen::FenModule const wexTestIntfEncapSmModule;
class IntfEncapSm;
}  // namespace WexVlanMappingTest

// Where each class stands in its module (Fen/TypeOf.h).
FEN_TYPE_IN_MODULE(WexVlanMapping::WexIntfEncapSource, WexVlanMapping::wexIntfEncapModule,
                   WexVlanMapping::wexIntfEncapTypeWexIntfEncapSource)
FEN_TYPE_IN_MODULE(WexVlanMapping::WexDynamicIntfEncapInfo, WexVlanMapping::wexIntfEncapModule,
                   WexVlanMapping::wexIntfEncapTypeWexDynamicIntfEncapInfo)
FEN_TYPE_IN_MODULE(WexVlanMapping::WexDynamicIntfEncapColl, WexVlanMapping::wexIntfEncapModule,
                   WexVlanMapping::wexIntfEncapTypeWexDynamicIntfEncapColl)
FEN_TYPE_IN_MODULE(WexVlanMapping::WexIntfEncapHwConfig, WexVlanMapping::wexIntfEncapModule,
                   WexVlanMapping::wexIntfEncapTypeWexIntfEncapHwConfig)
FEN_TYPE_IN_MODULE(WexVlanMapping::WexIntfEncapHwConfigColl, WexVlanMapping::wexIntfEncapModule,
                   WexVlanMapping::wexIntfEncapTypeWexIntfEncapHwConfigColl)
FEN_TYPE_IN_MODULE(WexVlanMapping::SupportedEncapServiceTypes, WexVlanMapping::wexIntfEncapModule,
                   WexVlanMapping::wexIntfEncapTypeSupportedEncapServiceTypes)
FEN_TYPE_IN_MODULE(WexVlanMapping::WexPortEncapHwConfigList, WexVlanMapping::wexIntfEncapSmModule,
                   WexVlanMapping::wexIntfEncapSmTypeWexPortEncapHwConfigList)
FEN_TYPE_IN_MODULE(WexVlanMapping::WexEncapHwStatusDecoder, WexVlanMapping::wexIntfEncapSmModule,
                   WexVlanMapping::wexIntfEncapSmTypeWexEncapHwStatusDecoder)
FEN_TYPE_IN_MODULE(WexVlanMapping::WexIntfEncapSm, WexVlanMapping::wexIntfEncapSmModule,
                   WexVlanMapping::wexIntfEncapSmTypeWexIntfEncapSm)
FEN_TYPE_IN_MODULE(WexVlanMapping::WexPortWantedEncapList, WexVlanMapping::wexIntfEncapSmModule,
                   WexVlanMapping::wexIntfEncapSmTypeWexPortWantedEncapList)
FEN_TYPE_IN_MODULE(WexVlanMapping::WexIntfEncapMuxSm, WexVlanMapping::wexIntfEncapMuxSmModule,
                   WexVlanMapping::wexIntfEncapMuxSmTypeWexIntfEncapMuxSm)
FEN_TYPE_IN_MODULE(WexVlanMapping::WexDynamicEncapSm, WexVlanMapping::wexDynamicEncapSmModule,
                   WexVlanMapping::wexDynamicEncapSmTypeWexDynamicEncapSm)
FEN_TYPE_IN_MODULE(WexVlanMappingTest::IntfEncapSm, WexVlanMappingTest::wexTestIntfEncapSmModule, 0)
