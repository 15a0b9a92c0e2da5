// Remote hardware status: a second status collection, written elsewhere, caps the
// status the machine publishes for an encap; a change in it rolls the encap up
// again, except for the encap of a LAG member, which is never published.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LagSteps.h"
#include "SmFixture.h"

namespace TestSupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// (Ethernet1, 100) is wanted under Vlan100, which forwards. With a LAG:
// Port-Channel1 with members Ethernet2 and Ethernet3 wants (Port-Channel1, 300)
// under Vlan100 too.
class WexIntfEncapSmRemote : public SmFixture {
protected:
   WexIntfEncapSmRemote() {
      fwdInfoIs("Vlan100", 7);
      wantIs(e1, "Vlan100");
   }
   void wantLagConfig() {
      lagIs("Port-Channel1", {"Ethernet2", "Ethernet3"});
      wantIs(lagEncap, "Vlan100");
   }

   RecordingPlatform& sm() const { return *recording; }

   Ulva::IntfEncap const e1 = encap("Ethernet1", 100);
   Ulva::IntfEncap const lagEncap = encap("Port-Channel1", 300);
   Ulva::IntfEncap const eth2Member = encap("Ethernet2", 300);
   Ulva::IntfEncap const eth3Member = encap("Ethernet3", 300);
};

TEST_F(WexIntfEncapSmRemote, WithoutRemoteCollectionLocalStatusIsPublishedUnchanged) {
   // The collection exists but is not given to the machine: it caps nothing.
   remote->hwStatusIs(e1, Ulva::hwStatusFailed);
   startRecording(/*withRemote=*/false);
   ASSERT_EQ(sm().remoteEncapHwStatus(), nullptr);
   EXPECT_EQ(published->hwStatus(e1), Ulva::hwStatusSuccess);
   TraceCapture trace;

   remote->hwStatusIs(e1, Ulva::hwStatusNotReady);
   remote->hwStatusDel(e1);
   sm().platformEncapHwStatusIs(e1, Ulva::hwStatusSuccess);

   EXPECT_THAT(trace.matching("handleRemoteEncapHwStatus"), IsEmpty());
   EXPECT_THAT(trace.matching(" use remote hwStatus "), IsEmpty());
   EXPECT_EQ(published->hwStatus(e1), Ulva::hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusSuccess);
}

TEST_F(WexIntfEncapSmRemote, RemoteSuccessOverLocalSuccessPublishesSuccessWithoutTrace) {
   startRecording(/*withRemote=*/true);
   // No remote entry yet: absent counts as failed.
   ASSERT_EQ(published->hwStatus(e1), Ulva::hwStatusFailed);
   TraceCapture trace;

   remote->hwStatusIs(e1, Ulva::hwStatusSuccess);

   EXPECT_THAT(
       trace.lines(),
       ElementsAre("WexIntfEncapSm::handleRemoteEncapHwStatus: (Ethernet1, 100:0x8100, "
                   "4095:0x8100) isDel:false",
                   "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                   "4095:0x8100) hwStatus hwStatusSuccess",
                   "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusSuccess"));
   EXPECT_EQ(published->hwStatus(e1), Ulva::hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusSuccess);
}

TEST_F(WexIntfEncapSmRemote, RemoteEntryDeletedDragsThePublishedStatusToFailed) {
   remote->hwStatusIs(e1, Ulva::hwStatusSuccess);
   startRecording(/*withRemote=*/true);
   ASSERT_EQ(published->hwStatus(e1), Ulva::hwStatusSuccess);
   TraceCapture trace;

   remote->hwStatusDel(e1);

   EXPECT_THAT(
       trace.lines(),
       ElementsAre("WexIntfEncapSm::handleRemoteEncapHwStatus: (Ethernet1, 100:0x8100, "
                   "4095:0x8100) isDel:true",
                   "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                   "4095:0x8100) use remote hwStatus hwStatusFailed",
                   "WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                   "4095:0x8100) hwStatus hwStatusFailed",
                   "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus hwStatusFailed"));
   EXPECT_EQ(published->hwStatus(e1), Ulva::hwStatusFailed);
   EXPECT_TRUE(published->hwStatusHas(e1));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusFailed);
   // The local side is untouched: the platform's word and the config stay.
   EXPECT_EQ(sm().hwStatusColl()->hwStatus(e1), Ulva::hwStatusSuccess);
   EXPECT_TRUE(sm().hwConfigColl()->configHas(e1));
   EXPECT_THAT(sm().callKeys(), ElementsAre("add Ethernet1 100"));
}

TEST_F(WexIntfEncapSmRemote, RemoteChangeOnALagMembersEncapIsSkippedAndChangesNoOutput) {
   wantLagConfig();
   remote->hwStatusIs(e1, Ulva::hwStatusSuccess);
   remote->hwStatusIs(lagEncap, Ulva::hwStatusSuccess);
   remote->hwStatusIs(eth2Member, Ulva::hwStatusSuccess);
   startRecording(/*withRemote=*/true);
   ASSERT_EQ(published->hwStatus(lagEncap), Ulva::hwStatusSuccess);
   // The member's stored status changes by a path that does not roll up: a rollup
   // now would publish the LAG encap as failed.
   sm().hwStatusColl()->hwStatusIs(eth2Member, Ulva::hwStatusFailed);
   std::size_t const publishedCount = published->hwStatuss();
   TraceCapture trace;

   remote->hwStatusIs(eth2Member, Ulva::hwStatusNotReady);
   remote->hwStatusDel(eth2Member);
   remote->hwStatusIs(eth3Member, Ulva::hwStatusFailed);

   EXPECT_THAT(trace.lines(),
               ElementsAre("WexIntfEncapSm::handleRemoteEncapHwStatus: (Ethernet2, 300:0x8100, "
                           "4095:0x8100) isDel:false",
                           "WexIntfEncapSm::handleRemoteEncapHwStatus: (Ethernet2, 300:0x8100, "
                           "4095:0x8100) uses lag member port, skipping",
                           "WexIntfEncapSm::handleRemoteEncapHwStatus: (Ethernet2, 300:0x8100, "
                           "4095:0x8100) isDel:true",
                           "WexIntfEncapSm::handleRemoteEncapHwStatus: (Ethernet2, 300:0x8100, "
                           "4095:0x8100) uses lag member port, skipping",
                           "WexIntfEncapSm::handleRemoteEncapHwStatus: (Ethernet3, 300:0x8100, "
                           "4095:0x8100) isDel:false",
                           "WexIntfEncapSm::handleRemoteEncapHwStatus: (Ethernet3, 300:0x8100, "
                           "4095:0x8100) uses lag member port, skipping"));
   EXPECT_EQ(published->hwStatus(lagEncap), Ulva::hwStatusSuccess);
   EXPECT_EQ(published->hwStatuss(), publishedCount);
   EXPECT_FALSE(published->hwStatusHas(eth2Member));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusSuccess);
   EXPECT_EQ(sm().lagHwStatusDecoder(lagEncap)->hwStatus(eth2Member), Ulva::hwStatusSuccess);
}

TEST_F(WexIntfEncapSmRemote, RemoteChangeOnTheLagEncapRollsUpWithTheLagsAggregate) {
   wantLagConfig();
   remote->hwStatusIs(e1, Ulva::hwStatusSuccess);
   startRecording(/*withRemote=*/true);
   // Ethernet3 is not ready yet: the LAG's aggregate is not ready.
   sm().platformEncapHwStatusIs(eth3Member, Ulva::hwStatusNotReady);
   ASSERT_EQ(sm().lagHwStatusDecoder(lagEncap)->aggrHwStatus(false), Ulva::hwStatusNotReady);
   ASSERT_EQ(published->hwStatus(lagEncap), Ulva::hwStatusFailed);
   TraceCapture trace;

   remote->hwStatusIs(lagEncap, Ulva::hwStatusSuccess);

   EXPECT_THAT(trace.lines(),
               ElementsAre("WexIntfEncapSm::handleRemoteEncapHwStatus: (Port-Channel1, "
                           "300:0x8100, 4095:0x8100) isDel:false",
                           "WexIntfEncapSm::updateEncapHwStatus: (Port-Channel1, 300:0x8100, "
                           "4095:0x8100) hwStatus hwStatusNotReady",
                           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus "
                           "hwStatusNotReady"));
   EXPECT_EQ(published->hwStatus(lagEncap), Ulva::hwStatusNotReady);
   trace.clear();

   remote->hwStatusIs(lagEncap, Ulva::hwStatusFailed);

   EXPECT_THAT(trace.lines(),
               ElementsAre("WexIntfEncapSm::handleRemoteEncapHwStatus: (Port-Channel1, "
                           "300:0x8100, 4095:0x8100) isDel:false",
                           "WexIntfEncapSm::updateEncapHwStatus: (Port-Channel1, 300:0x8100, "
                           "4095:0x8100) use remote hwStatus hwStatusFailed",
                           "WexIntfEncapSm::updateEncapHwStatus: (Port-Channel1, 300:0x8100, "
                           "4095:0x8100) hwStatus hwStatusFailed",
                           "WexIntfEncapSm::updateSvcIntfHwStatus: Vlan100 hwStatus "
                           "hwStatusFailed"));
   EXPECT_EQ(published->hwStatus(lagEncap), Ulva::hwStatusFailed);
}

TEST_F(WexIntfEncapSmRemote, RemoteEntryForAnEncapUnknownToTheMachineDeletesNothing) {
   remote->hwStatusIs(e1, Ulva::hwStatusSuccess);
   startRecording(/*withRemote=*/true);
   std::size_t const publishedCount = published->hwStatuss();
   TraceCapture trace;

   remote->hwStatusIs(encap("Ethernet9", 900), Ulva::hwStatusSuccess);

   EXPECT_THAT(trace.lines(),
               ElementsAre("WexIntfEncapSm::handleRemoteEncapHwStatus: (Ethernet9, 900:0x8100, "
                           "4095:0x8100) isDel:false"));
   EXPECT_EQ(published->hwStatuss(), publishedCount);
   EXPECT_EQ(published->hwStatus(e1), Ulva::hwStatusSuccess);
}

}  // namespace
}  // namespace TestSupport
