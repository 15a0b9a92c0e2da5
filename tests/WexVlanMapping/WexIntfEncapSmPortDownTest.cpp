// Port down and up as the platform reports them, and reprogramming of every
// config: a port that goes down loses its configs in hardware but keeps them
// wanted, and gets them back, afresh, when it comes up.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LagSteps.h"
#include "SmFixture.h"

namespace TestSupport {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// Ethernet1 wants (Ethernet1, 100) and (Ethernet1, 200) for itself; Port-Channel1
// with members Ethernet2 and Ethernet3 wants (Port-Channel1, 300). All under
// Vlan100, which forwards.
class WexIntfEncapSmPortDown : public SmFixture {
protected:
   WexIntfEncapSmPortDown() { fwdInfoIs("Vlan100", 7); }

   void wantOwnConfigs() {
      wantIs(e100, "Vlan100");
      wantIs(e200, "Vlan100");
   }
   void wantLagConfig() {
      lagIs("Port-Channel1", {"Ethernet2", "Ethernet3"});
      wantIs(lagEncap, "Vlan100");
   }

   RecordingPlatform& sm() const { return *recording; }

   // The keys of `map`, in the order the machine walks them.
   template <class Map>
   static std::vector<Ulva::IntfEncap> keysOf(Map const& map) {
      std::vector<Ulva::IntfEncap> out;
      for (typename Map::IteratorConst it(map); it; it.advance())
         out.push_back(it.key());
      return out;
   }
   // "(Ethernet1, 100:0x8100, 4095:0x8100)", the encap as the traces render it.
   static std::string text(Ulva::IntfEncap const& e) {
      return "(" + e.intfId().stringValue().stdString() + ", " +
             std::to_string(e.encap().outerTag().vid()) + ":0x8100, " +
             std::to_string(e.encap().innerTag().vid()) + ":0x8100)";
   }

   Kestin::IntfId const eth1 = id("Ethernet1");
   Kestin::IntfId const eth2 = id("Ethernet2");
   Kestin::IntfId const eth3 = id("Ethernet3");
   Kestin::IntfId const lag1 = id("Port-Channel1");
   Ulva::IntfEncap const e100 = encap("Ethernet1", 100);
   Ulva::IntfEncap const e200 = encap("Ethernet1", 200);
   Ulva::IntfEncap const lagEncap = encap("Port-Channel1", 300);
   Ulva::IntfEncap const eth2Member = encap("Ethernet2", 300);
   Ulva::IntfEncap const eth3Member = encap("Ethernet3", 300);
   WexIntfEncapHwConfig const c100 = plainConfig(e100, "Vlan100", 7);
   WexIntfEncapHwConfig const c200 = plainConfig(e200, "Vlan100", 7);
   WexIntfEncapHwConfig const lagConfig = plainConfig(lagEncap, "Vlan100", 7);
};

TEST_F(WexIntfEncapSmPortDown, ReportForAnInterfaceOtherThanAnEthernetPortIsIgnoredSilently) {
   wantOwnConfigs();
   wantLagConfig();
   startRecording();
   ASSERT_EQ(sm().hwConfigColl()->configs(), 5u);
   sm().calls.clear();
   TraceCapture trace;

   sm().platformPortDownIs(lag1, true);
   sm().platformPortDownIs(id("Ethernet2.5"), true);
   sm().platformPortDownIs(id("Port-Channel1.7"), true);
   sm().platformPortDownIs(id("Vlan100"), true);

   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_THAT(sm().callKeys(), IsEmpty());
   EXPECT_EQ(sm().portDowns(), 0u);
   EXPECT_EQ(sm().hwConfigColl()->configs(), 5u);
   EXPECT_TRUE(sm().hwConfigColl()->configHas(lagEncap));
}

TEST_F(WexIntfEncapSmPortDown, SecondReportOfTheSameStateDoesNothing) {
   wantOwnConfigs();
   startRecording();
   sm().calls.clear();
   sm().platformPortDownIs(eth1, true);
   ASSERT_THAT(sm().callKeys(),
               UnorderedElementsAre("delete Ethernet1 100", "delete Ethernet1 200"));
   sm().calls.clear();
   {
      TraceCapture trace;
      sm().platformPortDownIs(eth1, true);
      EXPECT_THAT(trace.lines(), IsEmpty());
      EXPECT_THAT(sm().callKeys(), IsEmpty());
   }
   sm().platformPortDownIs(eth1, false);
   ASSERT_THAT(sm().callKeys(), UnorderedElementsAre("add Ethernet1 100", "add Ethernet1 200"));
   sm().calls.clear();
   {
      TraceCapture trace;
      sm().platformPortDownIs(eth1, false);
      EXPECT_THAT(trace.lines(), IsEmpty());
      EXPECT_THAT(sm().callKeys(), IsEmpty());
   }
   EXPECT_TRUE(sm().portDownHas(eth1));
   EXPECT_FALSE(sm().portDown(eth1));
}

TEST_F(WexIntfEncapSmPortDown, FirstUpReportReprogramsEveryConfigOfThePortAfresh) {
   wantOwnConfigs();
   startRecording();
   // One config was retried: its stored record has retryCnt 1.
   sm().answers[e100] = Ulva::hwStatusNotReady;
   sm().platformEncapHwStatusIs(e100, Ulva::hwStatusNotReady);
   sm().handleHwConfigRetry();
   ASSERT_EQ(sm().hwConfigColl()->config(e100).retryCnt(), 1u);
   ASSERT_FALSE(sm().portDownHas(eth1));
   sm().calls.clear();
   TraceCapture trace;

   sm().platformPortDownIs(eth1, false);

   // Each config leaves hwConfigColl without a delete hook and is added again with
   // retryCnt 0, in the order of the port's list.
   std::vector<Ulva::IntfEncap> const order = keysOf(sm().portToHwConfigList(eth1)->hwConfigMap());
   ASSERT_EQ(order.size(), 2u);
   std::vector<std::string> keys;
   std::vector<WexIntfEncapHwConfig> configs;
   std::vector<std::string> lines = {
       "WexIntfEncapSm::platformPortDownIs: Ethernet1 portIsDown: false",
       "WexIntfEncapSm::platformPortDownIs: numHwConfigs: 2"};
   for (Ulva::IntfEncap const& e : order) {
      keys.push_back("add Ethernet1 " + std::to_string(e.encap().outerTag().vid()));
      configs.push_back(e == e100 ? c100 : c200);
      std::string const status = e == e100 ? "hwStatusNotReady" : "hwStatusSuccess";
      lines.push_back("WexIntfEncapSm::doAddPortHwConfig: " + text(e) + " lagId:");
      lines.push_back("WexIntfEncapSm::updateEncapHwStatus: " + text(e) + " hwStatus " + status);
      lines.push_back("WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusNotReady");
   }
   EXPECT_THAT(sm().callKeys(), ElementsAreArray(keys));
   EXPECT_THAT(hookConfigs(sm()), ElementsAreArray(configs));
   EXPECT_THAT(trace.lines(), ElementsAreArray(lines));
   EXPECT_EQ(sm().hwConfigColl()->config(e100), c100);
   EXPECT_EQ(sm().hwConfigColl()->config(e200), c200);
   EXPECT_TRUE(sm().portDownHas(eth1));
   EXPECT_FALSE(sm().portDown(eth1));
}

TEST_F(WexIntfEncapSmPortDown, DownOnALagMemberRemovesOnlyItsConfigsAndTheLagAggregateFollows) {
   wantLagConfig();
   startRecording();
   sm().answers[eth2Member] = Ulva::hwStatusFailed;
   sm().platformEncapHwStatusIs(eth2Member, Ulva::hwStatusFailed);
   ASSERT_EQ(published->hwStatus(lagEncap), Ulva::hwStatusFailed);
   sm().calls.clear();
   TraceCapture trace;

   sm().platformPortDownIs(eth2, true);

   EXPECT_THAT(sm().callKeys(), ElementsAre("delete Ethernet2 300"));
   EXPECT_THAT(hookConfigs(sm()), ElementsAre(memberConfig(lagConfig, eth2)));
   EXPECT_THAT(
       trace.lines(),
       ElementsAre("WexIntfEncapSm::platformPortDownIs: Ethernet2 portIsDown: true",
                   "WexIntfEncapSm::platformPortDownIs: numHwConfigs: 1",
                   "WexIntfEncapSm::doDeletePortHwConfig: (Ethernet2, 300:0x8100, 4095:0x8100)",
                   // The failed member has left the LAG's decoder.
                   "WexIntfEncapSm::updateEncapHwStatus: (Port-Channel1, 300:0x8100, "
                   "4095:0x8100) hwStatus hwStatusSuccess",
                   "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusSuccess"));
   EXPECT_FALSE(sm().hwConfigColl()->configHas(eth2Member));
   EXPECT_FALSE(sm().hwStatusColl()->hwStatusHas(eth2Member));
   EXPECT_EQ(sm().hwConfigColl()->config(eth3Member), memberConfig(lagConfig, eth3));
   EXPECT_EQ(sm().hwConfigColl()->config(lagEncap), lagConfig);
   auto const decoder = sm().lagHwStatusDecoder(lagEncap);
   ASSERT_TRUE(decoder);
   EXPECT_FALSE(decoder->hwStatusHas(eth2Member));
   EXPECT_TRUE(decoder->hwStatusHas(eth3Member));
   EXPECT_TRUE(decoder->hwStatusHas(lagEncap));
   EXPECT_EQ(published->hwStatus(lagEncap), Ulva::hwStatusSuccess);
   // The LAG's list is what the up restores from; it is untouched.
   EXPECT_EQ(sm().portToHwConfigList(lag1)->hwConfig(lagEncap), lagConfig);
}

TEST_F(WexIntfEncapSmPortDown, UpOnALagMemberRestoresItsConfigsFromTheLagsListWithRetryCntZero) {
   wantLagConfig();
   startRecording();
   // Ethernet2's member config was retried before the port went down.
   sm().answers[eth2Member] = Ulva::hwStatusNotReady;
   sm().platformEncapHwStatusIs(eth2Member, Ulva::hwStatusNotReady);
   sm().handleHwConfigRetry();
   ASSERT_EQ(sm().hwConfigColl()->config(eth2Member).retryCnt(), 1u);
   sm().platformPortDownIs(eth2, true);
   sm().calls.clear();
   TraceCapture trace;

   sm().platformPortDownIs(eth2, false);

   EXPECT_THAT(sm().callKeys(), ElementsAre("add Ethernet2 300"));
   EXPECT_THAT(hookConfigs(sm()), ElementsAre(memberConfig(lagConfig, eth2)));
   EXPECT_EQ(sm().calls[0].config.retryCnt(), 0u);
   EXPECT_EQ(sm().calls[0].config.lagId(), lag1);
   EXPECT_THAT(
       trace.lines(),
       ElementsAre("WexIntfEncapSm::platformPortDownIs: Ethernet2 portIsDown: false",
                   "WexIntfEncapSm::platformPortDownIs: numHwConfigs: 1",
                   "WexIntfEncapSm::doAddPortHwConfig: (Ethernet2, 300:0x8100, 4095:0x8100) "
                   "lagId:Port-Channel1",
                   "WexIntfEncapSm::updateEncapHwStatus: (Port-Channel1, 300:0x8100, "
                   "4095:0x8100) hwStatus hwStatusNotReady",
                   "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusNotReady"));
   EXPECT_EQ(sm().hwConfigColl()->config(eth2Member), memberConfig(lagConfig, eth2));
   EXPECT_EQ(sm().lagHwStatusDecoder(lagEncap)->hwStatus(eth2Member), Ulva::hwStatusNotReady);
   EXPECT_EQ(published->hwStatus(lagEncap), Ulva::hwStatusNotReady);
}

TEST_F(WexIntfEncapSmPortDown, DownOnAPortByItselfPublishesItsEncapFailed) {
   wantIs(e100, "Vlan100");
   startRecording();
   ASSERT_EQ(published->hwStatus(e100), Ulva::hwStatusSuccess);
   ASSERT_TRUE(published->hwStatusHas(e100));
   sm().calls.clear();
   TraceCapture trace;

   sm().platformPortDownIs(eth1, true);

   EXPECT_THAT(sm().callKeys(), ElementsAre("delete Ethernet1 100"));
   EXPECT_THAT(hookConfigs(sm()), ElementsAre(c100));
   EXPECT_THAT(
       trace.lines(),
       ElementsAre("WexIntfEncapSm::platformPortDownIs: Ethernet1 portIsDown: true",
                   "WexIntfEncapSm::platformPortDownIs: numHwConfigs: 1",
                   "WexIntfEncapSm::doDeletePortHwConfig: (Ethernet1, 100:0x8100, 4095:0x8100)",
                   "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, 4095:0x8100) "
                   "hwStatus hwStatusFailed",
                   "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusFailed"));
   EXPECT_FALSE(sm().hwConfigColl()->configHas(e100));
   EXPECT_FALSE(sm().hwStatusColl()->hwStatusHas(e100));
   EXPECT_EQ(published->hwStatus(e100), Ulva::hwStatusFailed);
   EXPECT_TRUE(published->hwStatusHas(e100));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusFailed);
   // Still wanted: the up brings it back.
   EXPECT_EQ(sm().portToHwConfigList(eth1)->hwConfig(e100), c100);
}

TEST_F(WexIntfEncapSmPortDown, ConfigArrivingWhileThePortIsDownIsProgrammedAtTheUp) {
   startRecording();
   {
      TraceCapture trace;
      sm().platformPortDownIs(eth1, true);
      // No list yet: the flag is stored and nothing else happens.
      EXPECT_THAT(trace.lines(),
                  ElementsAre("WexIntfEncapSm::platformPortDownIs: Ethernet1 portIsDown: true"));
      EXPECT_TRUE(sm().portDown(eth1));
   }
   {
      TraceCapture trace;
      wantIs(e100, "Vlan100");
      EXPECT_THAT(
          trace.lines(),
          ElementsAre("WexIntfEncapSm::handleIntfEncapServiceIntf: (Ethernet1, 100:0x8100, "
                      "4095:0x8100) isDel:false",
                      "WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, 100:0x8100, 4095:0x8100), "
                      "ignored due to platform port down",
                      "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, 4095:0x8100) "
                      "hwStatus hwStatusFailed",
                      "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusFailed",
                      "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusFailed"));
      EXPECT_THAT(sm().callKeys(), IsEmpty());
      EXPECT_EQ(sm().portToHwConfigList(eth1)->hwConfig(e100), c100);
      EXPECT_FALSE(sm().hwConfigColl()->configHas(e100));
      EXPECT_EQ(published->hwStatus(e100), Ulva::hwStatusFailed);
   }

   sm().platformPortDownIs(eth1, false);

   EXPECT_THAT(sm().callKeys(), ElementsAre("add Ethernet1 100"));
   EXPECT_THAT(hookConfigs(sm()), ElementsAre(c100));
   EXPECT_EQ(sm().hwConfigColl()->config(e100), c100);
   EXPECT_EQ(published->hwStatus(e100), Ulva::hwStatusSuccess);
}

TEST_F(WexIntfEncapSmPortDown, ReinitWithNothingProgrammedOnlyTraces) {
   startRecording();
   TraceCapture trace;

   sm().reinitAllHwConfig();

   EXPECT_THAT(trace.lines(), ElementsAre("WexIntfEncapSm::reinitAllHwConfig: "));
   EXPECT_THAT(sm().callKeys(), IsEmpty());
}

TEST_F(WexIntfEncapSmPortDown, ReinitPassesEveryConfigThroughDeleteAndAddOnceKeepingRetryCnt) {
   wantOwnConfigs();
   wantLagConfig();
   startRecording();
   sm().answers[e100] = Ulva::hwStatusNotReady;
   sm().platformEncapHwStatusIs(e100, Ulva::hwStatusNotReady);
   sm().handleHwConfigRetry();
   sm().handleHwConfigRetry();
   ASSERT_EQ(sm().hwConfigColl()->config(e100).retryCnt(), 2u);
   std::vector<WexIntfEncapHwConfig> stored;
   std::vector<std::string> keys;
   for (Ulva::IntfEncap const& e : keysOf(sm().hwConfigColl()->configMap())) {
      stored.push_back(sm().hwConfigColl()->config(e));
      std::string const key =
          e.intfId().stringValue().stdString() + " " + std::to_string(e.encap().outerTag().vid());
      keys.push_back("delete " + key);
      keys.push_back("add " + key);
   }
   ASSERT_EQ(stored.size(), 5u);
   ASSERT_EQ(published->hwStatus(e100), Ulva::hwStatusNotReady);
   // The platform answers differently now: the answer of the add is what counts.
   sm().answers[e100] = Ulva::hwStatusSuccess;
   sm().calls.clear();

   sm().reinitAllHwConfig();

   std::vector<WexIntfEncapHwConfig> twice;
   for (auto const& c : stored) {
      twice.push_back(c);
      twice.push_back(c);
   }
   EXPECT_THAT(sm().callKeys(), ElementsAreArray(keys));
   EXPECT_THAT(hookConfigs(sm()), ElementsAreArray(twice));
   EXPECT_EQ(sm().hwConfigColl()->config(e100), withRetryCnt(c100, 2));
   EXPECT_EQ(sm().hwConfigColl()->configs(), 5u);
   // Every config was rolled up again with the new answer.
   EXPECT_EQ(sm().hwStatusColl()->hwStatus(e100), Ulva::hwStatusSuccess);
   EXPECT_FALSE(sm().retryNeededHas(e100));
   EXPECT_EQ(published->hwStatus(e100), Ulva::hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusSuccess);
}

}  // namespace
}  // namespace TestSupport
