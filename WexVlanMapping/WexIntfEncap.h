// The system's own encap records and collections.
//
// WexIntfEncapSource          where an encap comes from (configuration or the
//                             MACsec proxy)
// WexDynamicIntfEncapInfo     an encap created dynamically, with its egress encap,
//                             source and service interface
// WexIntfEncapHwConfig        one complete hardware configuration of one interface
//                             encap: plain, LAG or LAG member, told apart by lagId
// WexDynamicIntfEncapColl     the dynamic encaps (notifies `entry`, 130)
// WexIntfEncapHwConfigColl    the configs decided on (notifies `config`, 130)
// SupportedEncapServiceTypes  the service types a platform supports (a set)
//
// The two notifying collections announce each real change exactly once, after
// the change, with the member's key; a write of an equal value (every field
// compared, retryCnt included) is silent.
#pragma once

#include <cstdint>
#include <ostream>

#include "Fen/Accessors.h"
#include "Fen/Reactor.h"
#include "Fen/Reflect.h"
#include "Fen/Record.h"
#include "Fen/Strep.h"
#include "Fen/String.h"
#include "Kestin/IntfId.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/ServiceIntfFwdInfo.h"
#include "WexVlanMapping/WexModules.h"

namespace WexVlanMapping {

enum WexIntfEncapSource : std::uint8_t {
   staticEncap = 0,  // from configuration; the default
   macsecProxy = 1,  // made by the dynamic encap state machine for the MACsec proxy
};

// The enumeration's names are told once, in the unit's table: the string form of
// an enumerator is its name, "staticEncap" or "macsecProxy". A number or name
// that is no enumerator is refused with Fen::RangeException.
WexIntfEncapSource WexIntfEncapSourceInstance(unsigned int number);
WexIntfEncapSource WexIntfEncapSourceInstance(Fen::String const& name);
std::ostream& operator<<(std::ostream& os, WexIntfEncapSource const& s);
Fen::String valueToStrep(WexIntfEncapSource const& s);
Fen::String stringValue(WexIntfEncapSource s);
void sequenceToValue(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end,
                     WexIntfEncapSource* out);

// The three fields that both encap records begin with, in their order: the key,
// the encap that goes out, and where the encap comes from.
class WexEncapRecordHead {
public:
   WexEncapRecordHead() = default;
   explicit WexEncapRecordHead(Ulva::IntfEncap const& intfEncap) : intfEncap_(intfEncap) {}

   // The key in the record's collection; set by the constructor only.
   Ulva::IntfEncap const& intfEncap() const { return intfEncap_; }
   Ulva::VlanTagEncap const& egressEncap() const { return egressEncap_; }
   void egressEncapIs(Ulva::VlanTagEncap const& e) { egressEncap_ = e; }
   WexIntfEncapSource source() const { return source_; }
   void sourceIs(WexIntfEncapSource s) { source_ = s; }

protected:
   Ulva::IntfEncap intfEncap_;
   Ulva::VlanTagEncap egressEncap_;
   WexIntfEncapSource source_ = staticEncap;
};

class WexDynamicIntfEncapInfo : public WexEncapRecordHead {
public:
   WexDynamicIntfEncapInfo() = default;
   explicit WexDynamicIntfEncapInfo(Ulva::IntfEncap const& intfEncap)
       : WexEncapRecordHead(intfEncap) {}
   // Parses the string form (see valueToStrep); refuses with Fen::RangeException.
   WexDynamicIntfEncapInfo(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end) {
      Fen::recordParse(*this, it, end);
   }

   Kestin::IntfId serviceIntf() const { return serviceIntf_; }
   void serviceIntfIs(Kestin::IntfId id) { serviceIntf_ = id; }

   // Every field, in field order.
   bool operator==(WexDynamicIntfEncapInfo const& o) const { return Fen::recordEqual(*this, o); }
   std::uint32_t hash(std::uint32_t seed) const { return Fen::recordHash(*this, seed); }

private:
   Kestin::IntfId serviceIntf_;

public:
   // The fields, in declaration order (see Fen/Record.h).
   using FenFields =
       Fen::Fields<"WexVlanMapping::WexDynamicIntfEncapInfo",
                   Fen::Field<&WexDynamicIntfEncapInfo::intfEncap_, "intfEncap", Fen::ctorOnly>,
                   Fen::Field<&WexDynamicIntfEncapInfo::egressEncap_, "egressEncap">,
                   Fen::Field<&WexDynamicIntfEncapInfo::source_, "source">,
                   Fen::Field<&WexDynamicIntfEncapInfo::serviceIntf_, "serviceIntf">>;
};

class WexIntfEncapHwConfig : public WexEncapRecordHead {
public:
   WexIntfEncapHwConfig() = default;
   WexIntfEncapHwConfig(Ulva::IntfEncap const& intfEncap, Ulva::ServiceIntfFwdInfo const& fwdInfo,
                        Kestin::IntfId lagId)
       : WexEncapRecordHead(intfEncap), fwdInfo_(fwdInfo), lagId_(lagId) {}
   // Parses the string form (see valueToStrep); refuses with Fen::RangeException.
   WexIntfEncapHwConfig(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end) {
      Fen::recordParse(*this, it, end);
   }

   Ulva::ServiceIntfFwdInfo const& fwdInfo() const { return fwdInfo_; }
   // The LAG this configuration belongs to; the default id when none.
   Kestin::IntfId lagId() const { return lagId_; }
   std::uint32_t retryCnt() const { return retryCnt_; }
   void retryCntIs(std::uint32_t n) { retryCnt_ = n; }
   // retryCnt plus delta, wrapping at 32 bits.
   void retryCntInc(std::uint32_t delta) & { retryCnt_ += delta; }

   // The configuration of a LAG itself.
   bool isLag() const { return lagId_ != Kestin::IntfId() && lagId_ == intfEncap_.intfId(); }
   // The configuration of a port in a LAG.
   bool isLagMember() const { return lagId_ != Kestin::IntfId() && lagId_ != intfEncap_.intfId(); }
   // The LAG's encap for a member (same tags, the LAG in place of the port); the
   // own encap in every other case.
   Ulva::IntfEncap parentIntfEncap() const;

   // Every field, in field order; a different retryCnt makes a different config.
   bool operator==(WexIntfEncapHwConfig const& o) const { return Fen::recordEqual(*this, o); }
   std::uint32_t hash(std::uint32_t seed) const { return Fen::recordHash(*this, seed); }

private:
   Ulva::ServiceIntfFwdInfo fwdInfo_;
   Kestin::IntfId lagId_;
   std::uint32_t retryCnt_ = 0;

public:
   // The fields, in declaration order (see Fen/Record.h); the derived members
   // (isLag, isLagMember, parentIntfEncap) are not fields.
   using FenFields =
       Fen::Fields<"WexVlanMapping::WexIntfEncapHwConfig",
                   Fen::Field<&WexIntfEncapHwConfig::intfEncap_, "intfEncap", Fen::ctorOnly>,
                   Fen::Field<&WexIntfEncapHwConfig::egressEncap_, "egressEncap">,
                   Fen::Field<&WexIntfEncapHwConfig::source_, "source">,
                   Fen::Field<&WexIntfEncapHwConfig::fwdInfo_, "fwdInfo", Fen::ctorOnly>,
                   Fen::Field<&WexIntfEncapHwConfig::lagId_, "lagId", Fen::ctorOnly>,
                   Fen::Field<&WexIntfEncapHwConfig::retryCnt_, "retryCnt">>;
   // The derived members, as reflection lists them after the fields.
   using FenDerived =
       Fen::Derived<Fen::DerivedRow<"isLagMember", &WexIntfEncapHwConfig::isLagMember>,
                    Fen::DerivedRow<"isLag", &WexIntfEncapHwConfig::isLag>,
                    Fen::DerivedRow<"parentIntfEncap", &WexIntfEncapHwConfig::parentIntfEncap>>;
};

// String forms, one line each, parsed back by the parsing constructors and by
// Fen::strepToValue; operator<< writes exactly the same text:
//   Value('WexVlanMapping::WexDynamicIntfEncapInfo', ** {'intfEncap': ...,
//         'egressEncap': ..., 'source': ..., 'serviceIntf': ...})
//   Value('WexVlanMapping::WexIntfEncapHwConfig', ** {'intfEncap': ..., 'egressEncap': ...,
//         'source': ..., 'fwdInfo': ..., 'lagId': ..., 'retryCnt': ...})
// The derived members of WexIntfEncapHwConfig do not appear.
inline Fen::String valueToStrep(WexDynamicIntfEncapInfo const& info) {
   return Fen::recordToStrep(info);
}
inline Fen::String valueToStrep(WexIntfEncapHwConfig const& config) {
   return Fen::recordToStrep(config);
}
std::ostream& operator<<(std::ostream& os, WexDynamicIntfEncapInfo const& info);
std::ostream& operator<<(std::ostream& os, WexIntfEncapHwConfig const& config);

// The key of a record that carries its own encap (`intfEncap`): what keys the
// maps of records of this system.
template <class Record>
struct EncapKeyFunktor {
   Ulva::IntfEncap const& operator()(Record const& r) const { return r.intfEncap(); }
};

// The two notifying collections of records share their type's module; each is one
// map of records keyed by their encap, whose every real change notifies
// attribute 130 with the key.
template <WexIntfEncapType typeIndex>
class WexEncapRecordColl : public Fen::Notifier {
public:
   Fen::FwkType fwkType() const override { return {&wexIntfEncapModule, typeIndex}; }
};

class WexDynamicIntfEncapColl : public WexEncapRecordColl<wexIntfEncapTypeWexDynamicIntfEncapColl> {
   FEN_COUNTED_CLASS("WexVlanMapping::WexDynamicIntfEncapColl")

public:
   FEN_CREATOR(WexDynamicIntfEncapColl)
   // entryAttributeId, FenEntry, EntryMap, entry_ and its accessors: entry(key),
   // entryHas, entryIs(value), entryDel(key), entryDelAll(), entrys().
   FEN_NOTIFYING_COLLECTION(entry, FenEntry, EntryMap, 130, Ulva::IntfEncap,
                            WexDynamicIntfEncapInfo, 0x9296EEE7,
                            EncapKeyFunktor<WexDynamicIntfEncapInfo>)
   using FenReflection = Fen::Reflection<void, Fen::Ctor<>, FenRow_entry>;
};

class WexIntfEncapHwConfigColl
    : public WexEncapRecordColl<wexIntfEncapTypeWexIntfEncapHwConfigColl> {
   FEN_COUNTED_CLASS("WexVlanMapping::WexIntfEncapHwConfigColl")

public:
   FEN_CREATOR(WexIntfEncapHwConfigColl)
   // configAttributeId, FenConfig, ConfigMap, config_ and its accessors: config(key),
   // configHas, configIs(value), configDel(key), configDelAll(), configs().
   FEN_NOTIFYING_COLLECTION(config, FenConfig, ConfigMap, 130, Ulva::IntfEncap,
                            WexIntfEncapHwConfig, 0xE964F61A, EncapKeyFunktor<WexIntfEncapHwConfig>)
   using FenReflection = Fen::Reflection<void, Fen::Ctor<>, FenRow_config>;
};

// Written before the state machines start; notifies nobody.
class SupportedEncapServiceTypes : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("WexVlanMapping::SupportedEncapServiceTypes")

public:
   FEN_CREATOR(SupportedEncapServiceTypes)
   Fen::FwkType fwkType() const override {
      return {&wexIntfEncapModule, wexIntfEncapTypeSupportedEncapServiceTypes};
   }

   // FenEncapServiceType, EncapServiceTypeSet, encapServiceType_ and its accessors:
   // encapServiceType(t), encapServiceTypeIs(t), encapServiceTypeDel(t) (true when
   // it was a member), encapServiceTypeDelAll() in one step.
   FEN_COLLECTION(encapServiceType, FenEncapServiceType, EncapServiceTypeSet, Ulva::ServiceIntfType,
                  void, 0x6A706B8D, void, Fen::HashHelper::KeyU32)
   using FenReflection = Fen::Reflection<void, Fen::Ctor<>, FenRow_encapServiceType>;
};

Fen::Ptr<WexDynamicIntfEncapColl> wexDynamicIntfEncapCollFactory();
Fen::Ptr<WexIntfEncapHwConfigColl> wexIntfEncapHwConfigCollFactory();
Fen::Ptr<SupportedEncapServiceTypes> supportedEncapServiceTypesFactory();

}  // namespace WexVlanMapping
