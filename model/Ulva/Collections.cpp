#include "Ulva/Collections.h"

namespace Ulva {

Fen::Ptr<IntfEncapHwStatusColl> intfEncapHwStatusCollFactory(Fen::String const& name) {
   return IntfEncapHwStatusColl::IntfEncapHwStatusCollIs(name);
}
Fen::Ptr<ServiceIntfHwStatusColl> serviceIntfHwStatusCollFactory() {
   return ServiceIntfHwStatusColl::ServiceIntfHwStatusCollIs();
}
Fen::Ptr<IntfEncapServiceIntfColl> intfEncapServiceIntfCollFactory() {
   return IntfEncapServiceIntfColl::IntfEncapServiceIntfCollIs();
}
Fen::Ptr<ServiceIntfFwdInfoColl> serviceIntfFwdInfoCollFactory() {
   return ServiceIntfFwdInfoColl::ServiceIntfFwdInfoCollIs();
}

}  // namespace Ulva
