// WexIntfEncapSm status rollup: how a reported status becomes the published
// status of an encap and of its service interface. The retry set kept on the
// way, the folding of LAG members into their LAG encap, a missing config and the
// remote status pulling the result down, and what a service interface publishes
// with and without forwarding information.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "SmFixture.h"

namespace TestSupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Ulva::hwStatusFailed;
using Ulva::hwStatusNotReady;
using Ulva::hwStatusSuccess;

class WexIntfEncapSmRollup : public SmFixture {
protected:
   // The lines of updateEncapHwStatus among those captured: all at level 7.
   static std::vector<std::string> encapLines(TraceCapture const& trace) {
      return level7(trace, "WexIntfEncapSm::updateEncapHwStatus: ");
   }
   // The lines of updateSvcIntfHwStatus among those captured: all at level 7.
   static std::vector<std::string> svcLines(TraceCapture const& trace) {
      return level7(trace, "WexIntfEncapSm::updateSvcIntfHwStatus: ");
   }
   static std::vector<std::string> level7(TraceCapture const& trace, std::string const& prefix) {
      return trace.startingWithAt(prefix, 7);
   }
   // The counters of a decoder as {failed, notReady, success}.
   static std::vector<std::uint32_t> counts(WexVlanMapping::WexEncapHwStatusDecoder const& d) {
      return {d.failedCount(), d.notReadyCount(), d.successCount()};
   }

   Ulva::IntfEncap const e1 = encap("Ethernet1", 100);
   Ulva::IntfEncap const lagE = encap("Port-Channel10", 100);
   Ulva::IntfEncap const eth1InLag = encap("Ethernet1", 100);
   Ulva::IntfEncap const eth2InLag = encap("Ethernet2", 100);
};

// ---- retry bookkeeping --------------------------------------------------------

TEST_F(WexIntfEncapSmRollup, NotReadyReportOnProgrammedConfigEntersRetry) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   wantIs(e1, "Vlan100");
   ASSERT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100"));
   ASSERT_FALSE(machine().retryNeededHas(e1));

   TraceCapture trace;
   machine().platformEncapHwStatusIs(e1, hwStatusNotReady);

   EXPECT_TRUE(machine().retryNeededHas(e1));
   EXPECT_EQ(machine().retryNeededs(), 1u);
   EXPECT_EQ(machine().hwStatusColl()->hwStatus(e1), hwStatusNotReady);
   EXPECT_EQ(published->hwStatus(e1), hwStatusNotReady);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusNotReady);
   // A report reaches no hook.
   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100"));
   EXPECT_THAT(trace.lines(),
               ElementsAre("WexIntfEncapSm::platformEncapHwStatusIs: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus:hwStatusNotReady",
                           "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus hwStatusNotReady",
                           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus "
                           "hwStatusNotReady"));
   EXPECT_EQ(trace.linesAt(8).size(), 1u);
   EXPECT_EQ(trace.linesAt(7).size(), 2u);
}

TEST_F(WexIntfEncapSmRollup, NotReadyAnswerOfTheAddEntersRetry) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   recording->answers[e1] = hwStatusNotReady;
   wantIs(e1, "Vlan100");

   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100"));
   EXPECT_TRUE(machine().retryNeededHas(e1));
   EXPECT_EQ(published->hwStatus(e1), hwStatusNotReady);
}

TEST_F(WexIntfEncapSmRollup, SuccessReportTakesEncapOutOfRetry) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   wantIs(e1, "Vlan100");
   machine().platformEncapHwStatusIs(e1, hwStatusNotReady);
   ASSERT_TRUE(machine().retryNeededHas(e1));

   machine().platformEncapHwStatusIs(e1, hwStatusSuccess);

   EXPECT_FALSE(machine().retryNeededHas(e1));
   EXPECT_EQ(machine().retryNeededs(), 0u);
   EXPECT_EQ(published->hwStatus(e1), hwStatusSuccess);
   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100"));
}

TEST_F(WexIntfEncapSmRollup, FailedReportTakesEncapOutOfRetry) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   wantIs(e1, "Vlan100");
   machine().platformEncapHwStatusIs(e1, hwStatusNotReady);
   ASSERT_TRUE(machine().retryNeededHas(e1));

   machine().platformEncapHwStatusIs(e1, hwStatusFailed);

   EXPECT_FALSE(machine().retryNeededHas(e1));
   EXPECT_EQ(machine().hwStatusColl()->hwStatus(e1), hwStatusFailed);
   EXPECT_TRUE(machine().hwStatusColl()->hwStatusHas(e1));
   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100"));
}

TEST_F(WexIntfEncapSmRollup, NotReadyReportWithoutConfigDoesNotEnterRetry) {
   fwdInfoIs("Vlan100", 7);
   startRecording();

   machine().platformEncapHwStatusIs(e1, hwStatusNotReady);

   // Stored as it came, yet no config: no retry, and nothing to publish.
   EXPECT_EQ(machine().hwStatusColl()->hwStatus(e1), hwStatusNotReady);
   EXPECT_FALSE(machine().hwConfigColl()->configHas(e1));
   EXPECT_FALSE(machine().retryNeededHas(e1));
   EXPECT_FALSE(published->hwStatusHas(e1));
   EXPECT_THAT(recording->callKeys(), IsEmpty());
}

// ---- a config that cannot be derived -------------------------------------------

TEST_F(WexIntfEncapSmRollup, ServiceEncapWithoutDerivableConfigIsPublishedFailed) {
   fwdInfoIs("Vlan100", 0);  // nothing to forward to: no config is derived
   startRecording();
   wantIs(e1, "Vlan100");
   ASSERT_THAT(recording->callKeys(), IsEmpty());

   TraceCapture trace;
   machine().platformEncapHwStatusIs(e1, hwStatusSuccess);

   EXPECT_EQ(machine().hwStatusColl()->hwStatus(e1), hwStatusSuccess);
   EXPECT_TRUE(published->hwStatusHas(e1));
   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusFailed);
   EXPECT_THAT(encapLines(trace), ElementsAre("WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, "
                                              "100:0x8100, 4095:0x8100) hwStatus hwStatusFailed"));
}

// ---- encaps without a service interface ---------------------------------------------

TEST_F(WexIntfEncapSmRollup, EncapWithoutServiceIntfIsNotPublished) {
   startRecording();
   TraceCapture trace;

   machine().platformEncapHwStatusIs(e1, hwStatusSuccess);

   EXPECT_FALSE(published->hwStatusHas(e1));
   EXPECT_EQ(published->hwStatuss(), 0u);
   // Nothing was published, so nothing is deleted with a trace.
   EXPECT_THAT(encapLines(trace), IsEmpty());
}

TEST_F(WexIntfEncapSmRollup, PublishedStatusIsDeletedWithTraceWhenServiceIntfGoes) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   wantIs(e1, "Vlan100");
   ASSERT_EQ(published->hwStatus(e1), hwStatusSuccess);

   TraceCapture trace;
   wanted->serviceIntfDel(e1);

   EXPECT_FALSE(published->hwStatusHas(e1));
   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100", "delete Ethernet1 100"));
   EXPECT_THAT(encapLines(trace), ElementsAre("WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, "
                                              "100:0x8100, 4095:0x8100) deleting hwStatus"));
}

TEST_F(WexIntfEncapSmRollup, SecondRollupWithoutServiceIntfDeletesSilently) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   wantIs(e1, "Vlan100");
   wanted->serviceIntfDel(e1);
   ASSERT_FALSE(published->hwStatusHas(e1));

   TraceCapture trace;
   machine().updateEncapHwStatus(e1);

   EXPECT_FALSE(published->hwStatusHas(e1));
   EXPECT_THAT(encapLines(trace), IsEmpty());
   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100", "delete Ethernet1 100"));
}

// ---- LAG members fold into the LAG encap ------------------------------------------------

TEST_F(WexIntfEncapSmRollup, LagMemberFailedDragsLagEncapToFailed) {
   lagIs("Port-Channel10", {"Ethernet1", "Ethernet2"});
   fwdInfoIs("Vlan100", 7);
   startRecording();
   recording->defaultAnswer = hwStatusNotReady;
   wantIs(lagE, "Vlan100");

   // The LAG's own config first, then one per member in the walk of its list.
   WexIntfEncapHwConfig const lagConfig = plainConfig(lagE, "Vlan100", 7);
   std::vector<RecordingPlatform::HookCall> expected{{RecordingPlatform::hookAdd, lagConfig}};
   for (Kestin::IntfId port : lagPorts("Port-Channel10")) {
      expected.push_back(
          {RecordingPlatform::hookAdd, memberConfig(lagConfig, port.stringValue().charPtr())});
   }
   ASSERT_EQ(expected.size(), 3u);
   ASSERT_EQ(recording->calls.size(), expected.size());
   for (std::size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(recording->calls[i].kind, expected[i].kind) << "call " << i;
      EXPECT_EQ(recording->calls[i].config, expected[i].config) << "call " << i;
   }
   ASSERT_EQ(published->hwStatus(lagE), hwStatusNotReady);

   machine().platformEncapHwStatusIs(lagE, hwStatusSuccess);
   machine().platformEncapHwStatusIs(eth1InLag, hwStatusSuccess);
   ASSERT_EQ(published->hwStatus(lagE), hwStatusNotReady);  // Ethernet2 is still not ready

   TraceCapture trace;
   machine().platformEncapHwStatusIs(eth2InLag, hwStatusFailed);

   EXPECT_EQ(published->hwStatus(lagE), hwStatusFailed);
   EXPECT_FALSE(published->hwStatusHas(eth1InLag));
   EXPECT_FALSE(published->hwStatusHas(eth2InLag));
   EXPECT_EQ(published->hwStatuss(), 1u);
   auto const decoder = machine().lagHwStatusDecoder(lagE);
   ASSERT_TRUE(decoder);
   EXPECT_EQ(decoder->hwStatuss(), 3u);
   EXPECT_EQ(decoder->hwStatus(eth1InLag), hwStatusSuccess);
   EXPECT_EQ(decoder->hwStatus(eth2InLag), hwStatusFailed);
   EXPECT_EQ(decoder->hwStatus(lagE), hwStatusSuccess);
   EXPECT_EQ(counts(*decoder), (std::vector<std::uint32_t>{1, 0, 2}));
   EXPECT_THAT(encapLines(trace),
               ElementsAre("WexIntfEncapSm::updateEncapHwStatus: (Port-Channel10, 100:0x8100, "
                           "4095:0x8100) hwStatus hwStatusFailed"));
   EXPECT_EQ(recording->calls.size(), 3u);
}

TEST_F(WexIntfEncapSmRollup, LastPortOfLagLosingConfigEmptiesLagDecoder) {
   lagIs("Port-Channel10", {"Ethernet1"});
   fwdInfoIs("Vlan100", 7);
   startRecording();
   wantIs(lagE, "Vlan100");
   auto const decoder = machine().lagHwStatusDecoder(lagE);
   ASSERT_TRUE(decoder);
   ASSERT_EQ(decoder->hwStatuss(), 2u);
   ASSERT_EQ(published->hwStatus(lagE), hwStatusSuccess);

   TraceCapture trace;
   machine().platformPortDownIs(id("Ethernet1"), true);

   EXPECT_THAT(recording->callKeys(),
               ElementsAre("add Port-Channel10 100", "add Ethernet1 100", "delete Ethernet1 100"));
   EXPECT_FALSE(machine().hwConfigColl()->configHas(eth1InLag));
   EXPECT_TRUE(machine().hwConfigColl()->configHas(lagE));  // the LAG keeps its own config
   EXPECT_EQ(machine().lagHwStatusDecoder(lagE), decoder);
   EXPECT_EQ(decoder->hwStatuss(), 0u);
   EXPECT_FALSE(decoder->hwStatusHas(eth1InLag));
   EXPECT_FALSE(decoder->hwStatusHas(lagE));
   EXPECT_EQ(counts(*decoder), (std::vector<std::uint32_t>{0, 0, 0}));
   EXPECT_EQ(decoder->aggrHwStatus(false), hwStatusFailed);
   EXPECT_EQ(published->hwStatus(lagE), hwStatusFailed);
   EXPECT_THAT(encapLines(trace),
               ElementsAre("WexIntfEncapSm::updateEncapHwStatus: (Port-Channel10, 100:0x8100, "
                           "4095:0x8100) hwStatus hwStatusFailed"));
}

TEST_F(WexIntfEncapSmRollup, LagMembersComeFromPortToLagNotFromLagToPort) {
   lagIs("Port-Channel10", {"Ethernet1", "Ethernet2"});
   fwdInfoIs("Vlan100", 7);
   startRecording();
   recording->answers[lagE] = hwStatusFailed;
   wantIs(lagE, "Vlan100");
   auto const decoder = machine().lagHwStatusDecoder(lagE);
   ASSERT_TRUE(decoder);
   ASSERT_EQ(decoder->hwStatus(lagE), hwStatusFailed);
   ASSERT_EQ(published->hwStatus(lagE), hwStatusFailed);

   // The member list empties while portToLag still names both ports: the
   // members stay, and the LAG encap still counts with its failure.
   lagMembersIs("Port-Channel10", {});
   TraceCapture trace;
   machine().platformEncapHwStatusIs(lagE, hwStatusFailed);

   EXPECT_TRUE(machine().hwConfigColl()->configHas(lagE));
   EXPECT_TRUE(decoder->hwStatusHas(lagE));
   EXPECT_EQ(decoder->hwStatuss(), 3u);
   EXPECT_EQ(counts(*decoder), (std::vector<std::uint32_t>{1, 0, 2}));
   EXPECT_EQ(published->hwStatus(lagE), hwStatusFailed);
   EXPECT_THAT(encapLines(trace),
               ElementsAre("WexIntfEncapSm::updateEncapHwStatus: (Port-Channel10, 100:0x8100, "
                           "4095:0x8100) hwStatus hwStatusFailed"));
   EXPECT_EQ(recording->calls.size(), 3u);
}

// ---- the remote status caps the local one ---------------------------------------------

TEST_F(WexIntfEncapSmRollup, LocalSuccessRemoteNotReadyIsPublishedNotReadyWithTrace) {
   fwdInfoIs("Vlan100", 7);
   remote->hwStatusIs(e1, hwStatusNotReady);
   startRecording(true);
   TraceCapture trace;

   wantIs(e1, "Vlan100");

   EXPECT_EQ(machine().hwStatusColl()->hwStatus(e1), hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(e1), hwStatusNotReady);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusNotReady);
   EXPECT_THAT(encapLines(trace),
               ElementsAre("WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) use remote hwStatus hwStatusNotReady",
                           "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus hwStatusNotReady"));
}

TEST_F(WexIntfEncapSmRollup, LocalNotReadyRemoteSuccessIsPublishedNotReadyWithoutTrace) {
   fwdInfoIs("Vlan100", 7);
   remote->hwStatusIs(e1, hwStatusSuccess);
   startRecording(true);
   recording->answers[e1] = hwStatusNotReady;
   TraceCapture trace;

   wantIs(e1, "Vlan100");

   EXPECT_EQ(published->hwStatus(e1), hwStatusNotReady);
   EXPECT_THAT(encapLines(trace),
               ElementsAre("WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus hwStatusNotReady"));
}

TEST_F(WexIntfEncapSmRollup, RemoteCollectionWithoutEncapTurnsSuccessIntoFailed) {
   fwdInfoIs("Vlan100", 7);
   remote->hwStatusIs(encap("Ethernet2", 100), hwStatusSuccess);  // another encap only
   startRecording(true);
   TraceCapture trace;

   wantIs(e1, "Vlan100");

   EXPECT_EQ(machine().hwStatusColl()->hwStatus(e1), hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
   EXPECT_THAT(encapLines(trace),
               ElementsAre("WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) use remote hwStatus hwStatusFailed",
                           "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus hwStatusFailed"));
}

TEST_F(WexIntfEncapSmRollup, WithoutRemoteCollectionLocalStatusStands) {
   fwdInfoIs("Vlan100", 7);
   remote->hwStatusIs(e1, hwStatusFailed);  // not given to the machine
   startRecording(false);
   TraceCapture trace;

   wantIs(e1, "Vlan100");

   EXPECT_EQ(machine().remoteEncapHwStatus(), nullptr);
   EXPECT_EQ(published->hwStatus(e1), hwStatusSuccess);
   EXPECT_THAT(encapLines(trace),
               ElementsAre("WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus hwStatusSuccess"));
}

// ---- service interfaces -------------------------------------------------------------------

TEST_F(WexIntfEncapSmRollup, ServiceIntfWithFwdInfoAndNoDecoderIsPublishedFailed) {
   startRecording();
   TraceCapture trace;

   fwdInfoIs("Vlan100", 7);

   EXPECT_TRUE(svcStatus->hwStatusHas(id("Vlan100")));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusFailed);
   EXPECT_FALSE(machine().svcHwStatusDecoderHas(serviceKey("Vlan100")));
   EXPECT_THAT(
       svcLines(trace),
       ElementsAre("WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusFailed"));

   // A direct call makes no decoder either.
   machine().updateSvcIntfHwStatus(id("Vlan100"));
   EXPECT_FALSE(machine().svcHwStatusDecoderHas(serviceKey("Vlan100")));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusFailed);
   EXPECT_THAT(recording->callKeys(), IsEmpty());
}

TEST_F(WexIntfEncapSmRollup, ServiceIntfLosingFwdInfoLosesStatusAndKeepsDecoderWithMembers) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   wantIs(e1, "Vlan100");
   ASSERT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusSuccess);
   auto const decoder = machine().svcHwStatusDecoder(serviceKey("Vlan100"));
   ASSERT_TRUE(decoder);

   TraceCapture trace;
   fwd->fwdInfoDel(id("Vlan100"));

   EXPECT_FALSE(svcStatus->hwStatusHas(id("Vlan100")));
   // The encap is still wanted under Vlan100: the decoder stays with its member.
   EXPECT_EQ(machine().svcHwStatusDecoder(serviceKey("Vlan100")), decoder);
   EXPECT_EQ(decoder->hwStatuss(), 1u);
   EXPECT_EQ(decoder->hwStatus(e1), hwStatusFailed);
   EXPECT_EQ(published->hwStatus(e1), hwStatusFailed);
   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100", "delete Ethernet1 100"));
   EXPECT_THAT(svcLines(trace),
               ElementsAre("WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 deleting hwStatus"));
}

TEST_F(WexIntfEncapSmRollup, ServiceDecoderWithoutFwdInfoGoesOnceEmpty) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   wantIs(e1, "Vlan100");
   fwd->fwdInfoDel(id("Vlan100"));
   ASSERT_TRUE(machine().svcHwStatusDecoderHas(serviceKey("Vlan100")));

   TraceCapture trace;
   wanted->serviceIntfDel(e1);

   EXPECT_FALSE(machine().svcHwStatusDecoderHas(serviceKey("Vlan100")));
   EXPECT_FALSE(svcStatus->hwStatusHas(id("Vlan100")));
   EXPECT_FALSE(published->hwStatusHas(e1));
   // The service status was gone already: no second deleting trace.
   EXPECT_THAT(svcLines(trace), IsEmpty());
}

}  // namespace
}  // namespace TestSupport
