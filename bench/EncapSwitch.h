// The switch the encap machine's benchmarks run on, told once: the interfaces of
// a large chassis, the i-th encap and its service interface, the forwarding of
// the 100 service interfaces, and a Switch holding every input and output of one
// simulated-platform machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace EncapSwitch {

// The interfaces of a large chassis: Ethernet<card>/<port>, 48 ports per card.
inline Kestin::IntfId port(std::size_t i) {
   return Kestin::IntfId(
       ("Ethernet" + std::to_string(i / 48 + 1) + "/" + std::to_string(i % 48 + 1)).c_str());
}

// The i-th encap of a switch: 100 VLANs per port (a third of them
// double-tagged), each VLAN its own service interface.
inline Ulva::IntfEncap encapOf(std::size_t i) {
   std::uint32_t const vid = static_cast<std::uint32_t>(i % 100) + 2;
   Ulva::VlanTag inner;
   if (i % 3 == 0) inner = Ulva::vlanTag(static_cast<std::uint32_t>((i / 100) % 4000) + 1);
   return Ulva::IntfEncap(port(i / 100), Ulva::VlanTagEncap(Ulva::vlanTag(vid), inner));
}
inline Kestin::IntfId serviceOf(std::size_t i) {
   return Kestin::IntfId(("Vlan" + std::to_string(i % 100 + 2)).c_str());
}

// The forwarding of the 100 service interfaces.
inline void forwardingIs(Ulva::ServiceIntfFwdInfoColl& fwd) {
   for (std::size_t s = 0; s < 100; ++s) {
      Ulva::ServiceIntfFwdInfo info(serviceOf(s));
      info.fwdDataIs(static_cast<std::uint16_t>(s + 1));
      fwd.fwdInfoIs(info);
   }
}

// All inputs and outputs of one machine.
struct Switch {
   Fen::Ptr<Wex::WexCommonSmData> wcsd = Wex::wexCommonSmDataFactory();
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> fwd = Ulva::serviceIntfFwdInfoCollFactory();
   Fen::Ptr<Ulva::ServiceIntfHwStatusColl> svcStatus = Ulva::serviceIntfHwStatusCollFactory();
   Fen::Ptr<Ulva::IntfEncapServiceIntfColl> wanted = Ulva::intfEncapServiceIntfCollFactory();
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> published =
       Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus");
   Fen::Ptr<WexVlanMapping::WexDynamicIntfEncapColl> dynamic =
       WexVlanMapping::wexDynamicIntfEncapCollFactory();
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hw = Ulva::intfEncapHwStatusCollFactory("testHw");
   Fen::Ptr<WexVlanMappingTest::IntfEncapSm> sm;

   // `n` wanted encaps (indices [0, n)), all answered with success.
   explicit Switch(std::size_t n) {
      forwardingIs(*fwd);
      for (std::size_t i = 0; i < n; ++i)
         want(i);
   }
   void want(std::size_t i) {
      Ulva::IntfEncap const e = encapOf(i);
      hw->hwStatusIs(e, Ulva::hwStatusSuccess);
      wanted->serviceIntfIs(e, serviceOf(i));
   }
   void unwant(std::size_t i) { wanted->serviceIntfDel(encapOf(i)); }
   void start() {
      sm = WexVlanMappingTest::intfEncapSmFactory({.wcsd = wcsd,
                                                   .serviceIntfFwdInfo = fwd,
                                                   .serviceIntfHwStatus = svcStatus,
                                                   .intfEncapServiceIntf = wanted,
                                                   .intfEncapHwStatus = published,
                                                   .dynamicIntfEncap = dynamic,
                                                   .testHwStatusColl = hw});
   }
};

}  // namespace EncapSwitch
