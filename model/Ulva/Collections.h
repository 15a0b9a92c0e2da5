// The four collections of the encap model. Each is a counted notifier holding one
// keyed map whose changes notify attribute 258 with the member's key; a write of
// an equal value is silent.
//
//   IntfEncapHwStatusColl     Ulva::IntfEncap -> Ulva::IntfEncapHwStatus (named)
//   ServiceIntfHwStatusColl   Kestin::IntfId  -> Ulva::IntfEncapHwStatus
//   IntfEncapServiceIntfColl  Ulva::IntfEncap -> Kestin::IntfId (its service interface)
//   ServiceIntfFwdInfoColl    Kestin::IntfId  -> Ulva::ServiceIntfFwdInfo (key inside)
//
// An absent key of a status map reads as hwStatusFailed; use xHas where a failed
// member and an absent one must be told apart.
#pragma once

#include <cstdint>

#include "Fen/Accessors.h"
#include "Fen/Reactor.h"
#include "Fen/Reflect.h"
#include "Fen/String.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"
#include "Ulva/ServiceIntfFwdInfo.h"

namespace Ulva {

class IntfEncapHwStatusColl : public Fen::Notifier {
   FEN_COUNTED_CLASS("Ulva::IntfEncapHwStatusColl")

public:
   FEN_CREATOR(IntfEncapHwStatusColl)
   explicit IntfEncapHwStatusColl(Fen::String const& name) : name_(name) {}

   Fen::String const& name() const { return name_; }
   // hwStatusAttributeId, FenHwStatus, HwStatusMap, hwStatus_ and its accessors.
   FEN_NOTIFYING_COLLECTION(hwStatus, FenHwStatus, HwStatusMap, 258, IntfEncap, IntfEncapHwStatus,
                            0x0614B468)
   FEN_FWK_TYPE(IntfEncapHwStatusColl)
   using FenReflection =
       Fen::Reflection<Fen::FirstId<258>, Fen::Ctor<Fen::Arg<"name", Fen::String>>, FenRow_hwStatus,
                       Fen::ValueRow<"name", &IntfEncapHwStatusColl::name>>;

private:
   Fen::String const name_;
};

class ServiceIntfHwStatusColl : public Fen::Notifier {
   FEN_COUNTED_CLASS("Ulva::ServiceIntfHwStatusColl")

public:
   FEN_CREATOR(ServiceIntfHwStatusColl)
   // hwStatusAttributeId, FenHwStatus, HwStatusMap, hwStatus_ and its accessors.
   FEN_NOTIFYING_COLLECTION(hwStatus, FenHwStatus, HwStatusMap, 258, Kestin::IntfId,
                            IntfEncapHwStatus, 0x491CF038)
   FEN_FWK_TYPE(ServiceIntfHwStatusColl)
   using FenReflection = Fen::Reflection<Fen::FirstId<258>, Fen::Ctor<>, FenRow_hwStatus>;
};

class IntfEncapServiceIntfColl : public Fen::Notifier {
   FEN_COUNTED_CLASS("Ulva::IntfEncapServiceIntfColl")

public:
   FEN_CREATOR(IntfEncapServiceIntfColl)
   // serviceIntfAttributeId, FenServiceIntf, ServiceIntfMap, serviceIntf_ and its
   // accessors.
   FEN_NOTIFYING_COLLECTION(serviceIntf, FenServiceIntf, ServiceIntfMap, 258, IntfEncap,
                            Kestin::IntfId, 0x7546BC2E)
   FEN_FWK_TYPE(IntfEncapServiceIntfColl)
   using FenReflection = Fen::Reflection<Fen::FirstId<258>, Fen::Ctor<>, FenRow_serviceIntf>;
};

class ServiceIntfFwdInfoColl : public Fen::Notifier {
   FEN_COUNTED_CLASS("Ulva::ServiceIntfFwdInfoColl")

public:
   struct FwdInfoKeyFunktor {
      Kestin::IntfId operator()(ServiceIntfFwdInfo const& v) const { return v.serviceIntf(); }
   };

   FEN_CREATOR(ServiceIntfFwdInfoColl)
   // fwdInfoAttributeId, FenFwdInfo, FwdInfoMap, fwdInfo_ and its accessors:
   // fwdInfoIs(value) takes the key from the value; fwdInfoDel gives back the
   // removed record, or the default record when nothing was there.
   FEN_NOTIFYING_COLLECTION(fwdInfo, FenFwdInfo, FwdInfoMap, 258, Kestin::IntfId,
                            ServiceIntfFwdInfo, 0xD2860C5F, FwdInfoKeyFunktor)
   FEN_FWK_TYPE(ServiceIntfFwdInfoColl)
   using FenReflection = Fen::Reflection<Fen::FirstId<258>, Fen::Ctor<>, FenRow_fwdInfo>;
};

Fen::Ptr<IntfEncapHwStatusColl> intfEncapHwStatusCollFactory(Fen::String const& name);
Fen::Ptr<ServiceIntfHwStatusColl> serviceIntfHwStatusCollFactory();
Fen::Ptr<IntfEncapServiceIntfColl> intfEncapServiceIntfCollFactory();
Fen::Ptr<ServiceIntfFwdInfoColl> serviceIntfFwdInfoCollFactory();

}  // namespace Ulva
