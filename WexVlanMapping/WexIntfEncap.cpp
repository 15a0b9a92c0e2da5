#include "WexVlanMapping/WexIntfEncap.h"

#include <iostream>

#include "Fen/Assert.h"
#include "Fen/Hash.h"
#include "Fen/Strep.h"

namespace WexVlanMapping {

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

Fen::String stringValue(WexIntfEncapSource s) {
   return wexIntfEncapSourceType.stringValue(s);
}

// valueToStrep(WexIntfEncapSource const&), sequenceToValue(it, end, WexIntfEncapSource*).
FEN_ENUM_STREP(WexIntfEncapSource, wexIntfEncapSourceType)

std::ostream& operator<<(std::ostream& os, WexDynamicIntfEncapInfo const& info) {
   return os << valueToStrep(info);
}

std::ostream& operator<<(std::ostream& os, WexIntfEncapHwConfig const& config) {
   return os << valueToStrep(config);
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

FEN_ENUM_DESCRIPTION(WexVlanMapping::WexIntfEncapSource, WexVlanMapping::wexIntfEncapSourceType)

namespace WexVlanMapping {
// wexIntfEncapModule, published when the library is loaded: its types in the order
// of their indices.
FEN_MODULE(wexIntfEncapModule, "WexIntfEncap", WexIntfEncapSource, WexDynamicIntfEncapInfo,
           WexDynamicIntfEncapColl, WexIntfEncapHwConfig, WexIntfEncapHwConfigColl,
           SupportedEncapServiceTypes)
}  // namespace WexVlanMapping
