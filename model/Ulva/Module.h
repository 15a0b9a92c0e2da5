// The module of Ulva: encap, forwarding and status records and their collections,
// in the order of their type indices.
#pragma once

#include <cstdint>

#include "Fen/TypeOf.h"

namespace Ulva {
enum IntfEncapHwStatus : std::uint8_t;
enum ServiceIntfType : std::uint8_t;
class VlanTag;
class VlanTagEncap;
class IntfEncap;
class ServiceIntfFwdInfo;
class IntfEncapHwStatusColl;
class ServiceIntfHwStatusColl;
class IntfEncapServiceIntfColl;
class ServiceIntfFwdInfoColl;
extern Fen::FenModule const ulvaModule;
}  // namespace Ulva

FEN_TYPE_IN_MODULE(Ulva::IntfEncapHwStatus, Ulva::ulvaModule, 0)
FEN_TYPE_IN_MODULE(Ulva::ServiceIntfType, Ulva::ulvaModule, 1)
FEN_TYPE_IN_MODULE(Ulva::VlanTag, Ulva::ulvaModule, 2)
FEN_TYPE_IN_MODULE(Ulva::VlanTagEncap, Ulva::ulvaModule, 3)
FEN_TYPE_IN_MODULE(Ulva::IntfEncap, Ulva::ulvaModule, 4)
FEN_TYPE_IN_MODULE(Ulva::ServiceIntfFwdInfo, Ulva::ulvaModule, 5)
FEN_TYPE_IN_MODULE(Ulva::IntfEncapHwStatusColl, Ulva::ulvaModule, 6)
FEN_TYPE_IN_MODULE(Ulva::ServiceIntfHwStatusColl, Ulva::ulvaModule, 7)
FEN_TYPE_IN_MODULE(Ulva::IntfEncapServiceIntfColl, Ulva::ulvaModule, 8)
FEN_TYPE_IN_MODULE(Ulva::ServiceIntfFwdInfoColl, Ulva::ulvaModule, 9)
