// WexIntfEncapSm platform status and retry: a status that the platform reports
// after programming, the set of encaps waiting for another attempt, and the
// retry pass that programs them again with a raised retry count.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SmFixture.h"

namespace TestSupport {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Ulva::hwStatusFailed;
using Ulva::hwStatusNotReady;
using Ulva::hwStatusSuccess;

char const reportIntfKindMessage[] =
    "EthIntfId::isEthIntfId( intfEncap.intfId() ) || "
    "PortChannelIntfId::isPortChannelIntfId( intfEncap.intfId() )";

class WexIntfEncapSmRetry : public SmFixture {
protected:
   // Wants e1 under Vlan100 and has the platform report it not ready.
   void waitingE1() {
      fwdInfoIs("Vlan100", 7);
      startRecording();
      wantIs(e1, "Vlan100");
      machine().platformEncapHwStatusIs(e1, hwStatusNotReady);
      ASSERT_TRUE(machine().retryNeededHas(e1));
   }

   Ulva::IntfEncap const e1 = encap("Ethernet1", 100);
   Ulva::IntfEncap const lagE = encap("Port-Channel10", 100);
   Ulva::IntfEncap const eth1InLag = encap("Ethernet1", 100);
};

using WexIntfEncapSmRetryDeathTest = WexIntfEncapSmRetry;

TEST_F(WexIntfEncapSmRetry, NothingWaitingOnlyTraces) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   wantIs(e1, "Vlan100");
   ASSERT_EQ(machine().retryNeededs(), 0u);
   TraceCapture trace;

   machine().handleHwConfigRetry();

   EXPECT_THAT(trace.lines(), ElementsAre("WexIntfEncapSm::handleHwConfigRetry: "));
   EXPECT_THAT(trace.linesAt(8), ElementsAre("WexIntfEncapSm::handleHwConfigRetry: "));
   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100"));
   EXPECT_EQ(machine().hwConfigColl()->config(e1).retryCnt(), 0u);
}

TEST_F(WexIntfEncapSmRetry, ThreeRetriesProgramThreeTimesWithRisingRetryCnt) {
   waitingE1();
   WexIntfEncapHwConfig const programmed = plainConfig(e1, "Vlan100", 7);
   ASSERT_EQ(recording->calls.size(), 1u);
   ASSERT_EQ(recording->calls[0].config, programmed);

   for (std::uint32_t n = 1; n <= 3; ++n) {
      TraceCapture trace;
      machine().handleHwConfigRetry();

      ASSERT_EQ(recording->calls.size(), 1u + n);
      WexIntfEncapHwConfig expected = programmed;
      expected.retryCntIs(n);
      EXPECT_EQ(recording->calls.back().kind, RecordingPlatform::hookAdd);
      EXPECT_EQ(recording->calls.back().config, expected) << "retry " << n;
      EXPECT_EQ(machine().hwConfigColl()->config(e1), expected) << "retry " << n;
      EXPECT_TRUE(machine().retryNeededHas(e1));
      EXPECT_THAT(trace.linesAt(8), ElementsAre("WexIntfEncapSm::handleHwConfigRetry: "));
      EXPECT_EQ(trace.lines().size(), 1u);
   }
   // The wanted config keeps its count at 0: retries are not a change of what is wanted.
   EXPECT_EQ(machine().getHwConfig(e1), programmed);
   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100", "add Ethernet1 100",
                                                  "add Ethernet1 100", "add Ethernet1 100"));
}

TEST_F(WexIntfEncapSmRetry, SuccessAnswerDuringRetryChangesNothing) {
   waitingE1();
   recording->answers[e1] = hwStatusSuccess;

   machine().handleHwConfigRetry();

   ASSERT_EQ(recording->calls.size(), 2u);
   EXPECT_EQ(recording->calls[1].config.retryCnt(), 1u);
   // The answer is dropped: the encap waits for the platform's next report.
   EXPECT_EQ(machine().hwStatusColl()->hwStatus(e1), hwStatusNotReady);
   EXPECT_TRUE(machine().retryNeededHas(e1));
   EXPECT_EQ(published->hwStatus(e1), hwStatusNotReady);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusNotReady);

   machine().platformEncapHwStatusIs(e1, hwStatusSuccess);
   EXPECT_FALSE(machine().retryNeededHas(e1));
   EXPECT_EQ(published->hwStatus(e1), hwStatusSuccess);
}

TEST_F(WexIntfEncapSmRetry, MemberConfigRemovedWhileWaitingLeavesTheRetrySetAtOnce) {
   lagIs("Port-Channel10", {"Ethernet1"});
   fwdInfoIs("Vlan100", 7);
   startRecording();
   wantIs(lagE, "Vlan100");
   machine().platformEncapHwStatusIs(eth1InLag, hwStatusNotReady);
   ASSERT_TRUE(machine().retryNeededHas(eth1InLag));

   // Deleting the LAG's config takes the member's config along, without a
   // rollup of the member: the removal of the config alone ends the wait.
   wanted->serviceIntfDel(lagE);
   ASSERT_THAT(recording->callKeys(),
               ElementsAre("add Port-Channel10 100", "add Ethernet1 100", "delete Ethernet1 100",
                           "delete Port-Channel10 100"));
   ASSERT_FALSE(machine().hwConfigColl()->configHas(eth1InLag));
   EXPECT_FALSE(machine().retryNeededHas(eth1InLag));

   TraceCapture trace;
   machine().handleHwConfigRetry();

   EXPECT_FALSE(machine().retryNeededHas(eth1InLag));
   EXPECT_EQ(machine().retryNeededs(), 0u);
   EXPECT_EQ(recording->calls.size(), 4u);
   EXPECT_THAT(trace.linesAt(8), ElementsAre("WexIntfEncapSm::handleHwConfigRetry: "));
   EXPECT_EQ(trace.lines().size(), 1u);
}

TEST_F(WexIntfEncapSmRetry, StatusChangedWithoutRollupIsDroppedWithoutPlatformCall) {
   waitingE1();

   machine().hwStatusColl()->hwStatusIs(e1, hwStatusSuccess);
   ASSERT_TRUE(machine().retryNeededHas(e1));
   machine().handleHwConfigRetry();

   EXPECT_FALSE(machine().retryNeededHas(e1));
   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100"));
   EXPECT_EQ(machine().hwConfigColl()->config(e1).retryCnt(), 0u);
   // Nothing was republished.
   EXPECT_EQ(published->hwStatus(e1), hwStatusNotReady);
}

TEST_F(WexIntfEncapSmRetry, RestartEmptiesTheRetrySet) {
   waitingE1();
   // The encap goes while the machine is not listening; the restart then finds
   // nothing to program for it.
   machine().hasNotificationActiveIs(false);
   wanted->serviceIntfDel(e1);
   machine().hasNotificationActiveIs(true);
   machine().handleInitialized();
   // Its config is gone with the restart, and with it the wait.
   EXPECT_FALSE(machine().retryNeededHas(e1));
   ASSERT_EQ(machine().hwStatusColl()->hwStatuss(), 0u);
   ASSERT_EQ(machine().hwConfigColl()->configs(), 0u);

   machine().handleHwConfigRetry();

   EXPECT_FALSE(machine().retryNeededHas(e1));
   EXPECT_EQ(machine().retryNeededs(), 0u);
   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100"));
}

TEST_F(WexIntfEncapSmRetry, RestartOverWantedEncapReprogramsItAndKeepsNoStaleEntry) {
   waitingE1();

   machine().handleInitialized();

   // The sweep programs e1 afresh; its answer, rolled up, takes e1 out of the set.
   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100", "add Ethernet1 100"));
   EXPECT_EQ(machine().hwStatusColl()->hwStatus(e1), hwStatusSuccess);
   EXPECT_FALSE(machine().retryNeededHas(e1));
}

TEST_F(WexIntfEncapSmRetry, MemberReportIsStoredUnderMemberAndPublishedUnderLag) {
   lagIs("Port-Channel10", {"Ethernet1", "Ethernet2"});
   fwdInfoIs("Vlan100", 7);
   startRecording();
   wantIs(lagE, "Vlan100");
   ASSERT_EQ(published->hwStatus(lagE), hwStatusSuccess);
   TraceCapture trace;

   machine().platformEncapHwStatusIs(eth1InLag, hwStatusNotReady);

   EXPECT_EQ(machine().hwStatusColl()->hwStatus(eth1InLag), hwStatusNotReady);
   EXPECT_EQ(machine().hwStatusColl()->hwStatus(lagE), hwStatusSuccess);
   EXPECT_TRUE(machine().retryNeededHas(eth1InLag));
   EXPECT_FALSE(machine().retryNeededHas(lagE));
   EXPECT_FALSE(published->hwStatusHas(eth1InLag));
   EXPECT_EQ(published->hwStatus(lagE), hwStatusNotReady);
   EXPECT_EQ(machine().lagHwStatusDecoder(lagE)->hwStatus(eth1InLag), hwStatusNotReady);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusNotReady);
   EXPECT_THAT(trace.lines(),
               ElementsAre("WexIntfEncapSm::platformEncapHwStatusIs: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus:hwStatusNotReady",
                           "WexIntfEncapSm::updateEncapHwStatus: (Port-Channel10, 100:0x8100, "
                           "4095:0x8100) hwStatus hwStatusNotReady",
                           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus "
                           "hwStatusNotReady"));
   EXPECT_THAT(trace.linesAt(8),
               ElementsAre("WexIntfEncapSm::platformEncapHwStatusIs: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus:hwStatusNotReady"));
   EXPECT_EQ(trace.linesAt(7).size(), 2u);
   EXPECT_EQ(recording->calls.size(), 3u);
}

TEST_F(WexIntfEncapSmRetry, MemberRetryProgramsTheMemberConfig) {
   lagIs("Port-Channel10", {"Ethernet1"});
   fwdInfoIs("Vlan100", 7);
   startRecording();
   wantIs(lagE, "Vlan100");
   machine().platformEncapHwStatusIs(eth1InLag, hwStatusNotReady);

   machine().handleHwConfigRetry();

   ASSERT_EQ(recording->calls.size(), 3u);
   WexIntfEncapHwConfig expected = memberConfig(plainConfig(lagE, "Vlan100", 7), "Ethernet1");
   expected.retryCntIs(1);
   EXPECT_EQ(recording->calls[2].kind, RecordingPlatform::hookAdd);
   EXPECT_EQ(recording->calls[2].config, expected);
   EXPECT_EQ(machine().hwConfigColl()->config(eth1InLag), expected);
   EXPECT_EQ(machine().hwConfigColl()->config(lagE).retryCnt(), 0u);
}

// ---- reports for interfaces that carry no status -----------------------------------------

TEST_F(WexIntfEncapSmRetryDeathTest, ReportOnVlanEncapEndsTheProcess) {
   startRecording();
   EXPECT_DEATH(machine().platformEncapHwStatusIs(encap("Vlan100", 100), hwStatusSuccess),
                HasSubstr(reportIntfKindMessage));
}

TEST_F(WexIntfEncapSmRetryDeathTest, ReportOnSubInterfaceEncapEndsTheProcess) {
   startRecording();
   EXPECT_DEATH(machine().platformEncapHwStatusIs(encap("Ethernet1.5", 100), hwStatusSuccess),
                HasSubstr(reportIntfKindMessage));
}

TEST_F(WexIntfEncapSmRetryDeathTest, ReportOnPortChannelSubInterfaceEndsTheProcess) {
   startRecording();
   EXPECT_DEATH(machine().platformEncapHwStatusIs(encap("Port-Channel10.7", 100), hwStatusNotReady),
                HasSubstr(reportIntfKindMessage));
}

TEST_F(WexIntfEncapSmRetryDeathTest, ReportIsTracedBeforeTheAssertionEndsTheProcess) {
   startRecording();
   std::string const traceLine =
       "WexIntfEncapSm 8 WexIntfEncapSm::platformEncapHwStatusIs: (Vlan100, 100:0x8100, "
       "4095:0x8100) hwStatus:hwStatusSuccess";
   auto const traceThenAssertion = [&](std::string const& text) {
      auto const at = text.find(traceLine);
      return at != std::string::npos && text.find(reportIntfKindMessage, at) != std::string::npos;
   };
   EXPECT_DEATH(
       {
          // The default sink writes "<facility> <level> <text>" to stderr.
          Fen::TraceHandle::levelMaskIs("WexIntfEncapSm", Fen::TraceFacility::levelBit(8));
          machine().platformEncapHwStatusIs(encap("Vlan100", 100), hwStatusSuccess);
       },
       testing::Truly(traceThenAssertion));
}

TEST_F(WexIntfEncapSmRetry, ReportOnEthernetAndPortChannelIsStored) {
   startRecording();
   machine().platformEncapHwStatusIs(encap("Ethernet1", 100), hwStatusSuccess);
   machine().platformEncapHwStatusIs(encap("Port-Channel10", 100), hwStatusNotReady);
   EXPECT_EQ(machine().hwStatusColl()->hwStatus(encap("Ethernet1", 100)), hwStatusSuccess);
   EXPECT_EQ(machine().hwStatusColl()->hwStatus(encap("Port-Channel10", 100)), hwStatusNotReady);
}

}  // namespace
}  // namespace TestSupport
