#include "WexVlanMapping/WexIntfEncap.h"

#include "Fen/Assert.h"
#include "Fen/Hash.h"
#include "Fen/Strep.h"

namespace WexVlanMapping {

// wexIntfEncapModule, published when the library is loaded.
FEN_MODULE(wexIntfEncapModule, "WexIntfEncap")

namespace {
constexpr Fen::EnumType<unsigned char>::Enumerator wexIntfEncapSourceNames[] = {
    {staticEncap, "staticEncap"},
    {macsecProxy, "macsecProxy"},
};
constinit Fen::EnumType<unsigned char> const wexIntfEncapSourceType(
    "WexVlanMapping::WexIntfEncapSource", wexIntfEncapSourceNames);
}  // namespace

WexIntfEncapSource WexIntfEncapSourceInstance(unsigned int number) {
   return static_cast<WexIntfEncapSource>(wexIntfEncapSourceType.instance(number));
}

WexIntfEncapSource WexIntfEncapSourceInstance(Fen::String const& name) {
   return static_cast<WexIntfEncapSource>(wexIntfEncapSourceType.instance(name));
}

std::ostream& operator<<(std::ostream& os, WexIntfEncapSource const& s) {
   return wexIntfEncapSourceType.operatorLessLess(os, s);
}

Fen::String valueToStrep(WexIntfEncapSource const& s) {
   return wexIntfEncapSourceType.valueToStrep(s);
}

Fen::String stringValue(WexIntfEncapSource s) {
   return wexIntfEncapSourceType.stringValue(s);
}

void sequenceToValue(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end,
                     WexIntfEncapSource* out) {
   unsigned char value = 0;
   wexIntfEncapSourceType.sequenceToValue(it, end, &value);
   *out = static_cast<WexIntfEncapSource>(value);
}

namespace {
// The opening of both records' string form and the three fields they share, in
// field order.
void parseRecordHead(Fen::String::IteratorConst& begin, Fen::String::IteratorConst const& end,
                     char const* opening, Ulva::IntfEncap& intfEncap,
                     Ulva::VlanTagEncap& egressEncap, WexIntfEncapSource& source) {
   Fen::needString(begin, end, opening);
   Fen::needString(begin, end, "'intfEncap': ");
   intfEncap = Fen::deserializeAttr<Ulva::IntfEncap>(begin, end, "intfEncap");
   Fen::needString(begin, end, ", 'egressEncap': ");
   egressEncap = Fen::deserializeAttr<Ulva::VlanTagEncap>(begin, end, "egressEncap");
   Fen::needString(begin, end, ", 'source': ");
   source = Fen::deserializeAttr<WexIntfEncapSource>(begin, end, "source");
}
}  // namespace

WexDynamicIntfEncapInfo::WexDynamicIntfEncapInfo(Fen::String::IteratorConst& begin,
                                                 Fen::String::IteratorConst const& end) {
   parseRecordHead(begin, end, "Value('WexVlanMapping::WexDynamicIntfEncapInfo', ** {", intfEncap_,
                   egressEncap_, source_);
   Fen::needString(begin, end, ", 'serviceIntf': ");
   serviceIntf_ = Fen::deserializeAttr<Kestin::IntfId>(begin, end, "serviceIntf");
   Fen::needString(begin, end, "})");
}

WexIntfEncapHwConfig::WexIntfEncapHwConfig(Fen::String::IteratorConst& begin,
                                           Fen::String::IteratorConst const& end) {
   parseRecordHead(begin, end, "Value('WexVlanMapping::WexIntfEncapHwConfig', ** {", intfEncap_,
                   egressEncap_, source_);
   Fen::needString(begin, end, ", 'fwdInfo': ");
   try {
      fwdInfo_ = Ulva::ServiceIntfFwdInfo(begin, end);
   } catch (Fen::RangeException const& e) {
      Fen::rethrowFromDeserializeAttr(e, "fwdInfo");
   }
   Fen::needString(begin, end, ", 'lagId': ");
   lagId_ = Fen::deserializeAttr<Kestin::IntfId>(begin, end, "lagId");
   Fen::needString(begin, end, ", 'retryCnt': ");
   retryCnt_ = Fen::deserializeAttr<std::uint32_t>(begin, end, "retryCnt");
   Fen::needString(begin, end, "})");
}

Fen::String valueToStrep(WexDynamicIntfEncapInfo const& info) {
   return Fen::format(
       "Value('WexVlanMapping::WexDynamicIntfEncapInfo', ** {'intfEncap': %s, 'egressEncap': %s, "
       "'source': %s, 'serviceIntf': %s})",
       valueToStrep(info.intfEncap()).charPtr(), valueToStrep(info.egressEncap()).charPtr(),
       valueToStrep(info.source()).charPtr(), valueToStrep(info.serviceIntf()).charPtr());
}

Fen::String valueToStrep(WexIntfEncapHwConfig const& config) {
   return Fen::format(
       "Value('WexVlanMapping::WexIntfEncapHwConfig', ** {'intfEncap': %s, 'egressEncap': %s, "
       "'source': %s, 'fwdInfo': %s, 'lagId': %s, 'retryCnt': %u})",
       valueToStrep(config.intfEncap()).charPtr(), valueToStrep(config.egressEncap()).charPtr(),
       valueToStrep(config.source()).charPtr(), valueToStrep(config.fwdInfo()).charPtr(),
       valueToStrep(config.lagId()).charPtr(), unsigned{config.retryCnt()});
}

std::ostream& operator<<(std::ostream& os, WexDynamicIntfEncapInfo const& info) {
   return os << valueToStrep(info);
}

std::ostream& operator<<(std::ostream& os, WexIntfEncapHwConfig const& config) {
   return os << valueToStrep(config);
}

std::uint32_t WexDynamicIntfEncapInfo::hash(std::uint32_t seed) const {
   Fen::Hash h(seed);
   h.hashMix<4>(intfEncap_.hash(0));
   h.hashMix<4>(egressEncap_.hash(0));
   h.hashMix<4>(source_);
   h.hashMix<4>(serviceIntf_.hash());
   return h.result();
}

std::uint32_t WexIntfEncapHwConfig::hash(std::uint32_t seed) const {
   Fen::Hash h(seed);
   h.hashMix<4>(intfEncap_.hash(0));
   h.hashMix<4>(egressEncap_.hash(0));
   h.hashMix<4>(source_);
   h.hashMix<4>(fwdInfo_.hash(0));
   h.hashMix<4>(lagId_.hash());
   h.hashMix<4>(retryCnt_);
   return h.result();
}

Ulva::IntfEncap WexIntfEncapHwConfig::parentIntfEncap() const {
   if (lagId_ == Kestin::IntfId() || lagId_ == intfEncap_.intfId()) return intfEncap_;
   FEN_ASSERT(lagId() != Kestin::IntfId());
   return Ulva::IntfEncap(lagId_, intfEncap_.encap());
}

Fen::Ptr<WexDynamicIntfEncapColl> wexDynamicIntfEncapCollFactory() {
   return WexDynamicIntfEncapColl::WexDynamicIntfEncapCollIs();
}
Fen::Ptr<WexIntfEncapHwConfigColl> wexIntfEncapHwConfigCollFactory() {
   return WexIntfEncapHwConfigColl::WexIntfEncapHwConfigCollIs();
}
Fen::Ptr<SupportedEncapServiceTypes> supportedEncapServiceTypesFactory() {
   return SupportedEncapServiceTypes::SupportedEncapServiceTypesIs();
}

}  // namespace WexVlanMapping

namespace Fen {

template <>
void strepToValue<WexVlanMapping::WexDynamicIntfEncapInfo>(
    String const& string, WexVlanMapping::WexDynamicIntfEncapInfo* out) {
   String::IteratorConst it = string.begin();
   WexVlanMapping::WexDynamicIntfEncapInfo value(it, string.end());
   strepToValueEnd(string, it);
   *out = value;
}

template <>
void strepToValue<WexVlanMapping::WexIntfEncapHwConfig>(String const& string,
                                                        WexVlanMapping::WexIntfEncapHwConfig* out) {
   String::IteratorConst it = string.begin();
   WexVlanMapping::WexIntfEncapHwConfig value(it, string.end());
   strepToValueEnd(string, it);
   *out = value;
}

}  // namespace Fen
