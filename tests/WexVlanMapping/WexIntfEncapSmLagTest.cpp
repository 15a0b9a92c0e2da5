// LAG membership of the interface encap state machine: a port that joins a LAG
// gives up its own configs for the LAG's, gets them back when it leaves, and a
// move between LAGs is a full leave followed by a full join.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "LagSteps.h"
#include "SmFixture.h"

namespace TestSupport {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr char const* lagAssertion = "PortChannelIntfId::isPortChannelIntfId( lagId )";

// Ethernet1 wants (Ethernet1, 100) for itself under Vlan100; Port-Channel1 wants
// (Port-Channel1, 200) under Vlan200, Port-Channel2 wants (Port-Channel2, 300)
// under Vlan200. No port is in a LAG yet.
class WexIntfEncapSmLag : public SmFixture {
protected:
   WexIntfEncapSmLag() {
      fwdInfoIs("Vlan100", 7);
      fwdInfoIs("Vlan200", 8);
   }

   void wantOwnAndLagConfigs() {
      wantIs(own, "Vlan100");
      wantIs(lagEncap, "Vlan200");
   }
   void wantSecondLagConfig() { wantIs(lag2Encap, "Vlan200"); }

   RecordingPlatform& sm() const { return *recording; }
   // Delivers a portToLag notification for `port` through the machine's reactor.
   void notifyPortToLag(Kestin::IntfId port) {
      WexVlanMapping::WexIntfEncapSm& base = sm();
      std::get<0>(base.fenReactors())
          .reactor()
          ->onAttribute(Wex::WexCommonSmData::portToLagAttributeId, &port);
   }

   Kestin::IntfId const eth1 = id("Ethernet1");
   Kestin::IntfId const lag1 = id("Port-Channel1");
   Kestin::IntfId const lag2 = id("Port-Channel2");
   Ulva::IntfEncap const own = encap("Ethernet1", 100);
   Ulva::IntfEncap const lagEncap = encap("Port-Channel1", 200);
   Ulva::IntfEncap const lag2Encap = encap("Port-Channel2", 300);
   Ulva::IntfEncap const member = encap("Ethernet1", 200);
   Ulva::IntfEncap const member2 = encap("Ethernet1", 300);
   WexIntfEncapHwConfig const ownConfig = plainConfig(own, "Vlan100", 7);
   WexIntfEncapHwConfig const lagConfig = plainConfig(lagEncap, "Vlan200", 8);
   WexIntfEncapHwConfig const lag2Config = plainConfig(lag2Encap, "Vlan200", 8);
   WexIntfEncapHwConfig const ethMemberConfig = memberConfig(lagConfig, eth1);
   WexIntfEncapHwConfig const member2Config = memberConfig(lag2Config, eth1);
};

TEST_F(WexIntfEncapSmLag, JoinWithoutListsChangesOnlyTheCache) {
   startRecording();
   TraceCapture trace;

   joinLag(*wcsd, eth1, lag1);

   EXPECT_THAT(trace.lines(),
               ElementsAre("WexIntfEncapSm::handlePortToLag: Ethernet1 isDel:false"));
   EXPECT_EQ(sm().portToLagCached(eth1), lag1);
   EXPECT_THAT(sm().callKeys(), IsEmpty());
   EXPECT_EQ(sm().hwConfigColl()->configs(), 0u);
   EXPECT_EQ(sm().portToHwConfigLists(), 0u);
   EXPECT_EQ(sm().lagHwStatusDecoders(), 0u);
   EXPECT_EQ(published->hwStatuss(), 0u);
}

TEST_F(WexIntfEncapSmLag, JoinTakesOwnConfigOutThenAddsLagConfigUnderThePortsKey) {
   wantOwnAndLagConfigs();
   startRecording();
   ASSERT_THAT(sm().callKeys(), UnorderedElementsAre("add Ethernet1 100", "add Port-Channel1 200"));
   sm().calls.clear();
   TraceCapture trace;

   joinLag(*wcsd, eth1, lag1);

   EXPECT_THAT(sm().callKeys(), ElementsAre("delete Ethernet1 100", "add Ethernet1 200"));
   EXPECT_THAT(hookConfigs(sm()), ElementsAre(ownConfig, ethMemberConfig));
   EXPECT_EQ(sm().calls[1].config.retryCnt(), 0u);
   EXPECT_EQ(sm().calls[1].config.lagId(), lag1);
   EXPECT_THAT(
       trace.lines(),
       ElementsAre(
           "WexIntfEncapSm::handlePortToLag: Ethernet1 isDel:false",
           "WexIntfEncapSm::doAddPortToLag: Ethernet1, removing old eth port h/w configs",
           "WexIntfEncapSm::doDeletePortHwConfig: (Ethernet1, 100:0x8100, 4095:0x8100)",
           // The port's own encap is published no more; its service sees it failed.
           "WexIntfEncapSm::doAddPortToLag: (Ethernet1, 100:0x8100, 4095:0x8100) deleting "
           "hwStatus",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusFailed",
           "WexIntfEncapSm::doAddPortToLag: Ethernet1, adding new port h/w configs from lag "
           "Port-Channel1",
           "WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, 200:0x8100, 4095:0x8100) "
           "lagId:Port-Channel1",
           "WexIntfEncapSm::updateEncapHwStatus: (Port-Channel1, 200:0x8100, 4095:0x8100) "
           "hwStatus hwStatusSuccess",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan200 hwStatus hwStatusSuccess"));
   EXPECT_EQ(sm().portToLagCached(eth1), lag1);
   EXPECT_FALSE(sm().hwConfigColl()->configHas(own));
   EXPECT_EQ(sm().hwConfigColl()->config(member), ethMemberConfig);
   // The own config stays wanted, for the leave.
   ASSERT_TRUE(sm().portToHwConfigList(eth1));
   EXPECT_EQ(sm().portToHwConfigList(eth1)->hwConfig(own), ownConfig);
   // The member's status folds into the LAG encap, with the LAG's own.
   ASSERT_TRUE(sm().lagHwStatusDecoder(lagEncap));
   EXPECT_EQ(sm().lagHwStatusDecoder(lagEncap)->hwStatus(member), Ulva::hwStatusSuccess);
   EXPECT_TRUE(sm().lagHwStatusDecoder(lagEncap)->hwStatusHas(lagEncap));
   EXPECT_EQ(published->hwStatus(lagEncap), Ulva::hwStatusSuccess);
   EXPECT_FALSE(published->hwStatusHas(member));
}

TEST_F(WexIntfEncapSmLag, LeaveRemovesLagConfigUnderThePortsKeyThenRestoresOwnConfig) {
   wantOwnAndLagConfigs();
   startRecording();
   joinLag(*wcsd, eth1, lag1);
   sm().calls.clear();
   TraceCapture trace;

   leaveLag(*wcsd, eth1);

   EXPECT_THAT(sm().callKeys(), ElementsAre("delete Ethernet1 200", "add Ethernet1 100"));
   EXPECT_THAT(hookConfigs(sm()), ElementsAre(ethMemberConfig, ownConfig));
   EXPECT_THAT(
       trace.lines(),
       ElementsAre(
           "WexIntfEncapSm::handlePortToLag: Ethernet1 isDel:true",
           "WexIntfEncapSm::doDeletePortFromLag: Ethernet1, removing h/w configs from lag "
           "Port-Channel1",
           "WexIntfEncapSm::doDeletePortHwConfig: (Ethernet1, 200:0x8100, 4095:0x8100)",
           // The last member left: the LAG encap leaves its decoder too.
           "WexIntfEncapSm::updateEncapHwStatus: (Port-Channel1, 200:0x8100, 4095:0x8100) "
           "hwStatus hwStatusFailed",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan200 hwStatus hwStatusFailed",
           "WexIntfEncapSm::doDeletePortFromLag: Ethernet1, adding old eth port h/w configs",
           "WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, 100:0x8100, 4095:0x8100) lagId:",
           "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, 4095:0x8100) "
           "hwStatus hwStatusSuccess",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusSuccess"));
   EXPECT_FALSE(sm().portToLagCachedHas(eth1));
   EXPECT_FALSE(sm().hwConfigColl()->configHas(member));
   EXPECT_EQ(sm().hwConfigColl()->config(own), ownConfig);
   EXPECT_EQ(sm().lagHwStatusDecoder(lagEncap)->hwStatuss(), 0u);
   EXPECT_EQ(published->hwStatus(own), Ulva::hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(lagEncap), Ulva::hwStatusFailed);
}

TEST_F(WexIntfEncapSmLag, MoveBetweenLagsIsAFullLeaveThenAFullJoin) {
   wantOwnAndLagConfigs();
   wantSecondLagConfig();
   startRecording();
   joinLag(*wcsd, eth1, lag1);
   sm().calls.clear();
   TraceCapture trace;

   joinLag(*wcsd, eth1, lag2);

   // The own config comes back with the leave and goes again with the join.
   EXPECT_THAT(sm().callKeys(), ElementsAre("delete Ethernet1 200", "add Ethernet1 100",
                                            "delete Ethernet1 100", "add Ethernet1 300"));
   EXPECT_THAT(hookConfigs(sm()),
               ElementsAre(ethMemberConfig, ownConfig, ownConfig, member2Config));
   EXPECT_THAT(
       trace.lines(),
       ElementsAre(
           "WexIntfEncapSm::handlePortToLag: Ethernet1 isDel:false",
           "WexIntfEncapSm::doAddPortToLag:  remove port:Ethernet1 from LAG:Port-Channel1",
           "WexIntfEncapSm::doDeletePortFromLag: Ethernet1, removing h/w configs from lag "
           "Port-Channel1",
           "WexIntfEncapSm::doDeletePortHwConfig: (Ethernet1, 200:0x8100, 4095:0x8100)",
           "WexIntfEncapSm::updateEncapHwStatus: (Port-Channel1, 200:0x8100, 4095:0x8100) "
           "hwStatus hwStatusFailed",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan200 hwStatus hwStatusFailed",
           "WexIntfEncapSm::doDeletePortFromLag: Ethernet1, adding old eth port h/w configs",
           "WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, 100:0x8100, 4095:0x8100) lagId:",
           "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, 4095:0x8100) "
           "hwStatus hwStatusSuccess",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusSuccess",
           "WexIntfEncapSm::doAddPortToLag: Ethernet1, removing old eth port h/w configs",
           "WexIntfEncapSm::doDeletePortHwConfig: (Ethernet1, 100:0x8100, 4095:0x8100)",
           "WexIntfEncapSm::doAddPortToLag: (Ethernet1, 100:0x8100, 4095:0x8100) deleting "
           "hwStatus",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusFailed",
           "WexIntfEncapSm::doAddPortToLag: Ethernet1, adding new port h/w configs from lag "
           "Port-Channel2",
           "WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, 300:0x8100, 4095:0x8100) "
           "lagId:Port-Channel2",
           "WexIntfEncapSm::updateEncapHwStatus: (Port-Channel2, 300:0x8100, 4095:0x8100) "
           "hwStatus hwStatusSuccess",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan200 hwStatus hwStatusFailed"));
   EXPECT_EQ(sm().portToLagCached(eth1), lag2);
   EXPECT_FALSE(sm().hwConfigColl()->configHas(member));
   EXPECT_FALSE(sm().hwConfigColl()->configHas(own));
   EXPECT_EQ(sm().hwConfigColl()->config(member2), member2Config);
   EXPECT_EQ(published->hwStatus(lagEncap), Ulva::hwStatusFailed);
   EXPECT_EQ(published->hwStatus(lag2Encap), Ulva::hwStatusSuccess);
}

TEST_F(WexIntfEncapSmLag, RepeatedNotificationOfTheSameLagRerunsTheJoin) {
   wantOwnAndLagConfigs();
   startRecording();
   // The member's add is not ready, so that a retry raises its retryCnt.
   sm().answers[member] = Ulva::hwStatusNotReady;
   joinLag(*wcsd, eth1, lag1);
   sm().handleHwConfigRetry();
   ASSERT_EQ(sm().hwConfigColl()->config(member).retryCnt(), 1u);
   sm().calls.clear();
   TraceCapture trace;

   notifyPortToLag(eth1);

   // The own config is gone already: its delete reaches no hook. The LAG's config
   // is added afresh, with retryCnt 0, over the retried record.
   EXPECT_THAT(sm().callKeys(), ElementsAre("add Ethernet1 200"));
   EXPECT_THAT(hookConfigs(sm()), ElementsAre(ethMemberConfig));
   EXPECT_EQ(sm().hwConfigColl()->config(member), ethMemberConfig);
   EXPECT_THAT(
       trace.lines(),
       ElementsAre(
           "WexIntfEncapSm::handlePortToLag: Ethernet1 isDel:false",
           "WexIntfEncapSm::doAddPortToLag: Ethernet1, removing old eth port h/w configs",
           "WexIntfEncapSm::doAddPortToLag: Ethernet1, adding new port h/w configs from lag "
           "Port-Channel1",
           "WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, 200:0x8100, 4095:0x8100) "
           "lagId:Port-Channel1",
           "WexIntfEncapSm::updateEncapHwStatus: (Port-Channel1, 200:0x8100, 4095:0x8100) "
           "hwStatus hwStatusNotReady",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan200 hwStatus hwStatusNotReady"));
   EXPECT_EQ(sm().portToLagCached(eth1), lag1);
}

TEST_F(WexIntfEncapSmLag, LeaveOfALagWithoutListStillDropsTheCacheAndRestoresOwnConfig) {
   wantIs(own, "Vlan100");
   startRecording();
   joinLag(*wcsd, eth1, lag1);
   ASSERT_THAT(sm().callKeys(), ElementsAre("add Ethernet1 100", "delete Ethernet1 100"));
   ASSERT_FALSE(sm().portToHwConfigList(lag1));
   sm().calls.clear();
   TraceCapture trace;

   leaveLag(*wcsd, eth1);

   EXPECT_THAT(sm().callKeys(), ElementsAre("add Ethernet1 100"));
   EXPECT_THAT(hookConfigs(sm()), ElementsAre(ownConfig));
   EXPECT_THAT(
       trace.lines(),
       ElementsAre(
           "WexIntfEncapSm::handlePortToLag: Ethernet1 isDel:true",
           "WexIntfEncapSm::doDeletePortFromLag: Ethernet1, adding old eth port h/w configs",
           "WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, 100:0x8100, 4095:0x8100) lagId:",
           "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, 4095:0x8100) "
           "hwStatus hwStatusSuccess",
           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusSuccess"));
   EXPECT_FALSE(sm().portToLagCachedHas(eth1));
   EXPECT_EQ(sm().hwConfigColl()->config(own), ownConfig);
}

using WexIntfEncapSmLagDeathTest = WexIntfEncapSmLag;

TEST_F(WexIntfEncapSmLagDeathTest, PortToLagNamingAnEthernetPortAborts) {
   startRecording();
   EXPECT_DEATH(wcsd->portToLagIs(eth1, id("Ethernet2")), HasSubstr(lagAssertion));
}

TEST_F(WexIntfEncapSmLagDeathTest, PortToLagNamingAVlanAborts) {
   startRecording();
   EXPECT_DEATH(wcsd->portToLagIs(eth1, id("Vlan10")), HasSubstr(lagAssertion));
}

TEST_F(WexIntfEncapSmLagDeathTest, RemovalOfAPortNeverTakenNoteOfAborts) {
   startRecording();
   ASSERT_FALSE(wcsd->portToLagHas(eth1));
   ASSERT_FALSE(sm().portToLagCachedHas(eth1));
   // A removal notification for a port the machine never saw in a LAG.
   EXPECT_DEATH(notifyPortToLag(eth1), HasSubstr(lagAssertion));
}

TEST_F(WexIntfEncapSmLagDeathTest, DeleteFromLagOfAPortNeverTakenNoteOfAborts) {
   startRecording();
   EXPECT_DEATH(sm().doDeletePortFromLag(eth1), HasSubstr(lagAssertion));
}

}  // namespace
}  // namespace TestSupport
