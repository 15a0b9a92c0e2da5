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
#include "Fen/String.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"
#include "Ulva/ServiceIntfFwdInfo.h"

namespace Ulva {

class IntfEncapHwStatusColl : public Fen::Notifier {
   FEN_COUNTED_CLASS("Ulva::IntfEncapHwStatusColl")

public:
   static constexpr Fen::AttributeId hwStatusAttributeId = 258;
   struct FenHwStatus {
      static constexpr std::uint32_t salt = 0x0614B468;
   };
   using HwStatusMap = Fen::HashMap2018<FenHwStatus, IntfEncap, IntfEncapHwStatus>;

   FEN_CREATOR(IntfEncapHwStatusColl)
   explicit IntfEncapHwStatusColl(Fen::String const& name) : name_(name) {}

   Fen::String const& name() const { return name_; }
   FEN_NOTIFYING_COLLECTION_ACCESSORS(hwStatus, HwStatusMap, hwStatus_, hwStatusAttributeId,
                                      notifiees_)

private:
   Fen::String const name_;
   HwStatusMap hwStatus_;
};

class ServiceIntfHwStatusColl : public Fen::Notifier {
   FEN_COUNTED_CLASS("Ulva::ServiceIntfHwStatusColl")

public:
   static constexpr Fen::AttributeId hwStatusAttributeId = 258;
   struct FenHwStatus {
      static constexpr std::uint32_t salt = 0x491CF038;
   };
   using HwStatusMap = Fen::HashMap2018<FenHwStatus, Kestin::IntfId, IntfEncapHwStatus>;

   FEN_CREATOR(ServiceIntfHwStatusColl)

   FEN_NOTIFYING_COLLECTION_ACCESSORS(hwStatus, HwStatusMap, hwStatus_, hwStatusAttributeId,
                                      notifiees_)

private:
   HwStatusMap hwStatus_;
};

class IntfEncapServiceIntfColl : public Fen::Notifier {
   FEN_COUNTED_CLASS("Ulva::IntfEncapServiceIntfColl")

public:
   static constexpr Fen::AttributeId serviceIntfAttributeId = 258;
   struct FenServiceIntf {
      static constexpr std::uint32_t salt = 0x7546BC2E;
   };
   using ServiceIntfMap = Fen::HashMap2018<FenServiceIntf, IntfEncap, Kestin::IntfId>;

   FEN_CREATOR(IntfEncapServiceIntfColl)

   FEN_NOTIFYING_COLLECTION_ACCESSORS(serviceIntf, ServiceIntfMap, serviceIntf_,
                                      serviceIntfAttributeId, notifiees_)

private:
   ServiceIntfMap serviceIntf_;
};

class ServiceIntfFwdInfoColl : public Fen::Notifier {
   FEN_COUNTED_CLASS("Ulva::ServiceIntfFwdInfoColl")

public:
   static constexpr Fen::AttributeId fwdInfoAttributeId = 258;
   struct FwdInfoKeyFunktor {
      Kestin::IntfId operator()(ServiceIntfFwdInfo const& v) const { return v.serviceIntf(); }
   };
   struct FenFwdInfo {
      static constexpr std::uint32_t salt = 0xD2860C5F;
      using KeyFunktor = FwdInfoKeyFunktor;
   };
   using FwdInfoMap = Fen::HashMap2018<FenFwdInfo, Kestin::IntfId, ServiceIntfFwdInfo>;

   FEN_CREATOR(ServiceIntfFwdInfoColl)

   // fwdInfoIs(value) takes the key from the value; fwdInfoDel gives back the
   // removed record, or the default record when nothing was there.
   FEN_NOTIFYING_COLLECTION_ACCESSORS(fwdInfo, FwdInfoMap, fwdInfo_, fwdInfoAttributeId, notifiees_)

private:
   FwdInfoMap fwdInfo_;
};

Fen::Ptr<IntfEncapHwStatusColl> intfEncapHwStatusCollFactory(Fen::String const& name);
Fen::Ptr<ServiceIntfHwStatusColl> serviceIntfHwStatusCollFactory();
Fen::Ptr<IntfEncapServiceIntfColl> intfEncapServiceIntfCollFactory();
Fen::Ptr<ServiceIntfFwdInfoColl> serviceIntfFwdInfoCollFactory();

}  // namespace Ulva
