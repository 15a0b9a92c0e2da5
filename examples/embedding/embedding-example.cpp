// How an agent embeds the library: it makes the collections, starts a platform
// (here the simulated one) through its factory, writes its inputs, and reads the
// published status. Everything runs synchronously inside the writes.
#include <iostream>

#include "Ulva/Collections.h"
#include "Wex/WexCommonSmData.h"
#include "WexVlanMapping/WexIntfEncap.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

int main() {
   auto wcsd = Wex::wexCommonSmDataFactory();
   auto fwdInfo = Ulva::serviceIntfFwdInfoCollFactory();
   auto svcHwStatus = Ulva::serviceIntfHwStatusCollFactory();
   auto wanted = Ulva::intfEncapServiceIntfCollFactory();
   auto encapHwStatus = Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus");
   auto dynamic = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto hardware = Ulva::intfEncapHwStatusCollFactory("hardware");

   // The platform programs everything the inputs imply before it returns. Inputs
   // are named; one left out (here the remote status) is absent.
   auto sm = WexVlanMappingTest::intfEncapSmFactory({.wcsd = wcsd,
                                                     .serviceIntfFwdInfo = fwdInfo,
                                                     .serviceIntfHwStatus = svcHwStatus,
                                                     .intfEncapServiceIntf = wanted,
                                                     .intfEncapHwStatus = encapHwStatus,
                                                     .dynamicIntfEncap = dynamic,
                                                     .testHwStatusColl = hardware});

   Kestin::IntfId const svc("Vlan100");
   Ulva::ServiceIntfFwdInfo info(svc);
   info.fwdDataIs(7);
   fwdInfo->fwdInfoIs(info);

   Ulva::IntfEncap const encap(Kestin::IntfId("Ethernet3/1"),
                               Ulva::VlanTagEncap(Ulva::vlanTag(100), Ulva::VlanTag()));
   hardware->hwStatusIs(encap, Ulva::hwStatusSuccess);  // what the hardware will answer
   wanted->serviceIntfIs(encap, svc);                   // the agent wants the encap

   std::cout << encap << " " << encapHwStatus->hwStatus(encap) << ", " << svc << " "
             << svcHwStatus->hwStatus(svc) << "\n";
   return encapHwStatus->hwStatus(encap) == Ulva::hwStatusSuccess ? 0 : 1;
}
