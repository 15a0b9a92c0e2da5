// The MACsec proxy's encaps the whole way: a proxy status goes into the dynamic
// encap machine, its two crossed entries into the interface encap machine of the
// simulated platform, their configs into the simulated hardware, and the
// hardware's answers back into the statuses; a proxy removed takes its configs
// out of the hardware again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <set>

#include "MacsecProxy/Status.h"
#include "SmFixture.h"
#include "WexVlanMapping/WexDynamicEncapSm.h"

namespace TestSupport {
namespace {

using Ulva::hwStatusFailed;
using Ulva::hwStatusNotReady;
using Ulva::hwStatusSuccess;
using WexVlanMapping::macsecProxy;
using WexVlanMapping::WexDynamicEncapSm;

// The proxy Ethernet1.10 (VLAN id 100) and its patch Ethernet1.20 (200) on
// Ethernet1; each sub-interface is the service interface of its own entry and
// forwards (fwdData 7 and 8).
class WexDynamicEncapSmEndToEnd : public SmFixture {
protected:
   WexDynamicEncapSmEndToEnd() {
      fwdInfoIs("Ethernet1.10", 7);
      fwdInfoIs("Ethernet1.20", 8);
   }

   static Ulva::VlanTagEncap tags(std::uint16_t outer,
                                  std::uint16_t inner = Ulva::VlanTag::vidDefault) {
      return Ulva::VlanTagEncap(Ulva::vlanTag(outer), Ulva::vlanTag(inner));
   }
   // The config of a dynamic entry on a port in no LAG.
   static WexIntfEncapHwConfig proxyConfig(Ulva::IntfEncap const& e,
                                           Ulva::VlanTagEncap const& egress, char const* svcIntf,
                                           std::uint16_t fwdData) {
      Ulva::ServiceIntfFwdInfo info(id(svcIntf));
      info.fwdDataIs(fwdData);
      WexIntfEncapHwConfig c(e, info, Kestin::IntfId());
      c.egressEncapIs(egress);
      c.sourceIs(macsecProxy);
      return c;
   }

   void parentIs(bool singleTagEgress) {
      proxyStatus->proxyIntfIs(id("Ethernet1"))->singleTagEgressIs(singleTagEgress);
   }
   void publish(std::uint16_t patchVid, std::uint16_t proxyVid) {
      proxyStatus->proxySubIntfStatusIs(MacsecProxy::macsecProxySubIntfStatusFactory(
          id("Ethernet1.10"), id("Ethernet1.20"), patchVid, proxyVid));
   }
   // The dynamic machine over the proxy status, then the platform that hears its
   // output.
   void startBoth() {
      proxySm = WexVlanMapping::wexDynamicEncapSmFactory(
          proxyStatus, WexVlanMapping::wexDynamicIntfEncapCollFactory());
      simulated = intfEncapSmFactory(
          {.wcsd = wcsd,
           .serviceIntfFwdInfo = fwd,
           .serviceIntfHwStatus = svcStatus,
           .intfEncapServiceIntf = wanted,
           .intfEncapHwStatus = published,
           .remoteEncapHwStatus = nullptr,
           .dynamicIntfEncap =
               Fen::Ptr<WexVlanMapping::WexDynamicIntfEncapColl const>(proxySm->dynamicIntfEncap()),
           .testHwStatusColl = hw});
   }

   std::set<Ulva::IntfEncap> programmed() const {
      std::set<Ulva::IntfEncap> out;
      for (IntfEncapSm::TestHwConfigKeySet::IteratorConst it(simulated->testHwConfigKeyMap()); it;
           it.advance()) {
         out.insert(it.key());
      }
      return out;
   }

   // Both encaps programmed as the crossed pair of `singleTagEgress`.
   void expectCrossedPairProgrammed(bool singleTagEgress) const {
      Ulva::VlanTagEncap const proxyEgress = singleTagEgress ? tags(200) : tags(200, 200);
      Ulva::VlanTagEncap const patchEgress = singleTagEgress ? tags(100) : tags(100, 100);
      EXPECT_EQ(simulated->hwConfigColl()->configs(), 2u);
      EXPECT_EQ(simulated->hwConfigColl()->config(proxyKey),
                proxyConfig(proxyKey, proxyEgress, "Ethernet1.10", 7));
      EXPECT_EQ(simulated->hwConfigColl()->config(patchKey),
                proxyConfig(patchKey, patchEgress, "Ethernet1.20", 8));
      EXPECT_EQ(programmed(), (std::set<Ulva::IntfEncap>{proxyKey, patchKey}));
   }

   Ulva::IntfEncap const proxyKey = encap("Ethernet1", 100);
   Ulva::IntfEncap const patchKey = encap("Ethernet1", 200);
   Fen::Ptr<MacsecProxy::Status> proxyStatus = MacsecProxy::statusFactory();
   Fen::Ptr<WexDynamicEncapSm> proxySm;
};

TEST_F(WexDynamicEncapSmEndToEnd, ProxyStatusProgramsBothEncapsDoubleTaggedOnTheParentPort) {
   parentIs(false);
   hw->hwStatusIs(proxyKey, hwStatusSuccess);
   hw->hwStatusIs(patchKey, hwStatusSuccess);
   startBoth();
   ASSERT_EQ(simulated->hwConfigColl()->configs(), 0u);

   publish(200, 100);

   expectCrossedPairProgrammed(false);
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(proxyKey), hwStatusSuccess);
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(patchKey), hwStatusSuccess);
   // Wanted only dynamically: nothing published per encap; each service
   // interface counts its encap as failed, having no published status for it.
   EXPECT_FALSE(published->hwStatusHas(proxyKey));
   EXPECT_FALSE(published->hwStatusHas(patchKey));
   EXPECT_EQ(svcStatus->hwStatus(id("Ethernet1.10")), hwStatusFailed);
   EXPECT_EQ(svcStatus->hwStatus(id("Ethernet1.20")), hwStatusFailed);
   EXPECT_TRUE(svcStatus->hwStatusHas(id("Ethernet1.10")));
   EXPECT_TRUE(svcStatus->hwStatusHas(id("Ethernet1.20")));
}

TEST_F(WexDynamicEncapSmEndToEnd, ProxyStatusProgramsBothEncapsSingleTaggedOnTheParentPort) {
   parentIs(true);
   hw->hwStatusIs(proxyKey, hwStatusSuccess);
   hw->hwStatusIs(patchKey, hwStatusSuccess);
   startBoth();

   publish(200, 100);

   expectCrossedPairProgrammed(true);
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(proxyKey), hwStatusSuccess);
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(patchKey), hwStatusSuccess);
   EXPECT_FALSE(published->hwStatusHas(proxyKey));
   EXPECT_FALSE(published->hwStatusHas(patchKey));
}

TEST_F(WexDynamicEncapSmEndToEnd, ProxyRemovedTakesBothConfigsOutOfTheHardware) {
   parentIs(false);
   hw->hwStatusIs(proxyKey, hwStatusSuccess);
   hw->hwStatusIs(patchKey, hwStatusSuccess);
   startBoth();
   publish(200, 100);
   ASSERT_EQ(simulated->testHwConfigKeys(), 2u);

   proxyStatus->proxySubIntfStatusDel(id("Ethernet1.10"));

   EXPECT_EQ(proxySm->dynamicIntfEncap()->entrys(), 0u);
   EXPECT_EQ(simulated->testHwConfigKeys(), 0u);
   EXPECT_EQ(simulated->hwConfigColl()->configs(), 0u);
   EXPECT_EQ(simulated->hwStatusColl()->hwStatuss(), 0u);
   EXPECT_EQ(published->hwStatuss(), 0u);
   // The services still forward: their status stays, with no encap behind it.
   EXPECT_EQ(svcStatus->hwStatus(id("Ethernet1.10")), hwStatusFailed);
   EXPECT_EQ(svcStatus->hwStatus(id("Ethernet1.20")), hwStatusFailed);
}

TEST_F(WexDynamicEncapSmEndToEnd, StatusPresentBeforeBothMachinesIsProgrammedByTheirSweeps) {
   parentIs(true);
   publish(200, 100);
   hw->hwStatusIs(proxyKey, hwStatusSuccess);
   hw->hwStatusIs(patchKey, hwStatusNotReady);

   startBoth();

   expectCrossedPairProgrammed(true);
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(proxyKey), hwStatusSuccess);
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(patchKey), hwStatusNotReady);
   EXPECT_TRUE(simulated->retryNeededHas(patchKey));
   EXPECT_FALSE(simulated->retryNeededHas(proxyKey));
}

TEST_F(WexDynamicEncapSmEndToEnd, HardwareAnswerForADynamicEncapReachesTheMachine) {
   parentIs(true);
   hw->hwStatusIs(proxyKey, hwStatusNotReady);
   startBoth();
   publish(200, 100);
   ASSERT_EQ(simulated->hwStatusColl()->hwStatus(proxyKey), hwStatusNotReady);
   // No hardware entry for the patch: answered failed.
   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(patchKey), hwStatusFailed);
   EXPECT_TRUE(simulated->retryNeededHas(proxyKey));

   hw->hwStatusIs(proxyKey, hwStatusSuccess);

   EXPECT_EQ(simulated->hwStatusColl()->hwStatus(proxyKey), hwStatusSuccess);
   EXPECT_FALSE(simulated->retryNeededHas(proxyKey));
   EXPECT_FALSE(published->hwStatusHas(proxyKey));
}

TEST_F(WexDynamicEncapSmEndToEnd, ChangedVidReprogramsTheEncaps) {
   parentIs(false);
   startBoth();
   publish(200, 100);
   ASSERT_EQ(simulated->testHwConfigKeys(), 2u);

   publish(200, 150);

   Ulva::IntfEncap const newProxyKey = encap("Ethernet1", 150);
   EXPECT_EQ(programmed(), (std::set<Ulva::IntfEncap>{newProxyKey, patchKey}));
   EXPECT_EQ(simulated->hwConfigColl()->configs(), 2u);
   EXPECT_EQ(simulated->hwConfigColl()->config(newProxyKey),
             proxyConfig(newProxyKey, tags(200, 200), "Ethernet1.10", 7));
   EXPECT_EQ(simulated->hwConfigColl()->config(patchKey),
             proxyConfig(patchKey, tags(150, 150), "Ethernet1.20", 8));
   EXPECT_FALSE(simulated->hwConfigColl()->configHas(proxyKey));
}

TEST_F(WexDynamicEncapSmEndToEnd, ForwardingArrivingLaterProgramsTheEncap) {
   fwd->fwdInfoDel(id("Ethernet1.20"));
   parentIs(true);
   startBoth();
   publish(200, 100);
   // A service without forwarding information forwards nowhere: no config.
   EXPECT_EQ(programmed(), (std::set<Ulva::IntfEncap>{proxyKey}));

   fwdInfoIs("Ethernet1.20", 8);

   expectCrossedPairProgrammed(true);
}

TEST_F(WexDynamicEncapSmEndToEnd, StaticallyWantedEncapThatTheProxyYieldsTakesTheDynamicForm) {
   wantIs(proxyKey, "Ethernet1.10");
   parentIs(true);
   hw->hwStatusIs(proxyKey, hwStatusSuccess);
   hw->hwStatusIs(patchKey, hwStatusSuccess);
   startBoth();
   ASSERT_EQ(simulated->hwConfigColl()->config(proxyKey), plainConfig(proxyKey, "Ethernet1.10", 7));

   publish(200, 100);

   expectCrossedPairProgrammed(true);
   // Wanted statically as well: published, and its service counts it so.
   EXPECT_EQ(published->hwStatus(proxyKey), hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(id("Ethernet1.10")), hwStatusSuccess);
   EXPECT_FALSE(published->hwStatusHas(patchKey));

   proxyStatus->proxySubIntfStatusDel(id("Ethernet1.10"));

   // The static config comes back; the patch's goes.
   EXPECT_EQ(programmed(), (std::set<Ulva::IntfEncap>{proxyKey}));
   EXPECT_EQ(simulated->hwConfigColl()->config(proxyKey), plainConfig(proxyKey, "Ethernet1.10", 7));
   EXPECT_EQ(published->hwStatus(proxyKey), hwStatusSuccess);
}

}  // namespace
}  // namespace TestSupport
