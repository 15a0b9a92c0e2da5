#include "WexVlanMapping/WexIntfEncap.h"

#include "Fen/Assert.h"
#include "Fen/Hash.h"

namespace WexVlanMapping {

Fen::FenModule const wexIntfEncapModule{"WexIntfEncap"};

namespace {
// Publishes the unit's types when the library is loaded.
struct ModulePublisher {
   ModulePublisher() { Fen::fenModuleIs(&wexIntfEncapModule); }
} const modulePublisher;
}  // namespace

std::ostream& operator<<(std::ostream& os, WexIntfEncapSource const& s) {
   switch (s) {
      case staticEncap:
         return os << "staticEncap";
      case macsecProxy:
         return os << "macsecProxy";
   }
   return os << static_cast<unsigned>(s);
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
