// The module of Ulva, published at load.
#include "Ulva/Module.h"

#include "Fen/Reflect.h"
#include "Ulva/Collections.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"
#include "Ulva/ServiceIntfFwdInfo.h"
#include "Ulva/VlanTag.h"

FEN_ENUM_DESCRIPTION(Ulva::IntfEncapHwStatus, Ulva::intfEncapHwStatusType)
FEN_ENUM_DESCRIPTION(Ulva::ServiceIntfType, Ulva::serviceIntfTypeType)

namespace Ulva {
FEN_MODULE(ulvaModule, "Ulva", IntfEncapHwStatus, ServiceIntfType, VlanTag, VlanTagEncap, IntfEncap,
           ServiceIntfFwdInfo, IntfEncapHwStatusColl, ServiceIntfHwStatusColl,
           IntfEncapServiceIntfColl, ServiceIntfFwdInfoColl)
}  // namespace Ulva
