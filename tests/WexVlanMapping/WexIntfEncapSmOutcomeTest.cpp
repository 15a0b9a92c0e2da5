// WexIntfEncapSm outcomes that depend on the inputs only: each test plays a
// sequence after which the published statuses, the programmed configs or the
// retry set once depended on the order of a map walk or on history that a
// restart forgets, and checks the one outcome that a machine started on the
// same inputs reaches.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LagSteps.h"
#include "SmFixture.h"

namespace TestSupport {
namespace {

using testing::ElementsAre;
using Ulva::hwStatusFailed;
using Ulva::hwStatusNotReady;
using Ulva::hwStatusSuccess;

class WexIntfEncapSmOutcome : public SmFixture {
protected:
   Kestin::IntfId const eth1 = id("Ethernet1");
   Kestin::IntfId const eth2 = id("Ethernet2");
   Kestin::IntfId const eth3 = id("Ethernet3");
   Kestin::IntfId const lag1 = id("Port-Channel1");
   Kestin::IntfId const lag20 = id("Port-Channel20");
};

// A LAG whose one member went down has no member carrying its encap: a later
// change of forwarding reprograms the LAG's own config, and the LAG encap still
// publishes failed, as it did right after the port went down.
TEST_F(WexIntfEncapSmOutcome, LagWithNoMemberProgrammedPublishesFailed) {
   lagIs("Port-Channel20", {"Ethernet3"});
   fwdInfoIs("Vlan100", 7);
   startRecording();
   Ulva::IntfEncap const lagEncap = encap("Port-Channel20", 100);
   wantIs(lagEncap, "Vlan100");
   ASSERT_EQ(published->hwStatus(lagEncap), hwStatusSuccess);

   machine().platformPortDownIs(eth3, true);
   ASSERT_EQ(published->hwStatus(lagEncap), hwStatusFailed);
   fwdInfoIs("Vlan100", 8);

   EXPECT_TRUE(machine().hwConfigColl()->configHas(lagEncap));
   EXPECT_FALSE(machine().hwConfigColl()->configHas(encap("Ethernet3", 100)));
   EXPECT_FALSE(machine().lagHwStatusDecoder(lagEncap)->hwStatusHas(lagEncap));
   EXPECT_EQ(published->hwStatus(lagEncap), hwStatusFailed);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusFailed);

   // The member's return brings the LAG encap back into its decoder.
   machine().platformPortDownIs(eth3, false);
   EXPECT_TRUE(machine().lagHwStatusDecoder(lagEncap)->hwStatusHas(lagEncap));
   EXPECT_EQ(published->hwStatus(lagEncap), hwStatusSuccess);
}

// A member config that the platform answers not ready waits for a retry like
// any other, and a retry pass reprograms it with its count raised.
TEST_F(WexIntfEncapSmOutcome, MemberConfigAnsweredNotReadyWaitsForRetry) {
   lagIs("Port-Channel1", {"Ethernet1"});
   fwdInfoIs("Vlan100", 7);
   startRecording();
   Ulva::IntfEncap const lagEncap = encap("Port-Channel1", 100);
   Ulva::IntfEncap const member = encap("Ethernet1", 100);
   recording->answers[member] = hwStatusNotReady;

   wantIs(lagEncap, "Vlan100");

   EXPECT_TRUE(machine().retryNeededHas(member));
   EXPECT_FALSE(machine().retryNeededHas(lagEncap));
   EXPECT_EQ(published->hwStatus(lagEncap), hwStatusNotReady);
   recording->calls.clear();
   machine().handleHwConfigRetry();
   ASSERT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100"));
   EXPECT_EQ(recording->calls[0].config.retryCnt(), 1u);
   EXPECT_EQ(recording->calls[0].config.lagId(), lag1);

   // Any other word for it ends the wait.
   machine().platformEncapHwStatusIs(member, hwStatusSuccess);
   EXPECT_FALSE(machine().retryNeededHas(member));
   EXPECT_EQ(published->hwStatus(lagEncap), hwStatusSuccess);
}

// lagToPort names Ethernet2 for the LAG, portToLag does not: Ethernet2 is no
// member, keeps its own config under the shared key, and loses nothing when the
// LAG's config goes.
TEST_F(WexIntfEncapSmOutcome, LagToPortListingANonMemberDoesNotReachIt) {
   lagIs("Port-Channel1", {"Ethernet1"});
   lagMembersIs("Port-Channel1", {"Ethernet1", "Ethernet2"});
   fwdInfoIs("Vlan100", 7);
   fwdInfoIs("Vlan200", 9);
   startRecording();
   Ulva::IntfEncap const own = encap("Ethernet2", 100);
   Ulva::IntfEncap const lagEncap = encap("Port-Channel1", 100);
   wantIs(own, "Vlan200");
   wantIs(lagEncap, "Vlan100");

   WexIntfEncapHwConfig const ownConfig = plainConfig(own, "Vlan200", 9);
   EXPECT_EQ(machine().hwConfigColl()->config(own), ownConfig);
   EXPECT_TRUE(machine().hwConfigColl()->configHas(encap("Ethernet1", 100)));
   EXPECT_EQ(published->hwStatus(own), hwStatusSuccess);

   wanted->serviceIntfDel(lagEncap);

   EXPECT_EQ(machine().hwConfigColl()->config(own), ownConfig);
   EXPECT_FALSE(machine().hwConfigColl()->configHas(encap("Ethernet1", 100)));
   EXPECT_THAT(recording->callKeys(),
               ElementsAre("add Ethernet2 100", "add Port-Channel1 100", "add Ethernet1 100",
                           "delete Ethernet1 100", "delete Port-Channel1 100"));
}

// After Ethernet1 joins a LAG its own encap is no longer published, and the
// service that wants it counts it failed while the port is a member.
TEST_F(WexIntfEncapSmOutcome, JoinWithdrawsTheOwnEncapsStatus) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   Ulva::IntfEncap const own = encap("Ethernet1", 100);
   wantIs(own, "Vlan100");
   ASSERT_EQ(published->hwStatus(own), hwStatusSuccess);
   ASSERT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusSuccess);

   joinLag(*wcsd, eth1, lag1);

   EXPECT_FALSE(published->hwStatusHas(own));
   EXPECT_EQ(machine().svcHwStatusDecoder(serviceKey("Vlan100"))->hwStatus(own), hwStatusFailed);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusFailed);
   EXPECT_FALSE(machine().intfEncapPublishedSvcIntfHas(own));
}

// A wanted encap without config (its service forwards nowhere) on a LAG member is
// published failed again when the port leaves.
TEST_F(WexIntfEncapSmOutcome, LeaveRepublishesWantedEncapsWithoutConfig) {
   lagIs("Port-Channel1", {"Ethernet1"});
   fwdInfoIs("Vlan100", 0);
   startRecording();
   Ulva::IntfEncap const own = encap("Ethernet1", 100);
   wantIs(own, "Vlan100");
   ASSERT_FALSE(published->hwStatusHas(own));
   TraceCapture trace;

   leaveLag(*wcsd, eth1);

   EXPECT_EQ(published->hwStatus(own), hwStatusFailed);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusFailed);
   EXPECT_THAT(trace.startingWithAt("WexIntfEncapSm::updateEncapHwStatus: ", 7),
               ElementsAre("WexIntfEncapSm::updateEncapHwStatus: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) hwStatus hwStatusFailed"));
   // Only the port's own wanted encaps are visited.
   EXPECT_EQ(machine().portWantedEncap(eth1)->encaps(), 1u);
}

// An encap wanted statically under Vlan100 and dynamically under Vlan200: its
// static entry goes, and Vlan100 no longer counts it.
TEST_F(WexIntfEncapSmOutcome, StaticServiceThatWentKeepsNoPlace) {
   fwdInfoIs("Vlan100", 7);
   fwdInfoIs("Vlan200", 9);
   startRecording();
   machine().dynamicIntfEncapIs(dynamic);
   Ulva::IntfEncap const e = encap("Ethernet1", 100);
   wantIs(e, "Vlan100");
   WexVlanMapping::WexDynamicIntfEncapInfo info(e);
   info.serviceIntfIs(id("Vlan200"));
   dynamic->entryIs(info);
   recording->answers[e] = hwStatusNotReady;
   fwdInfoIs("Vlan200", 10);
   ASSERT_EQ(published->hwStatus(e), hwStatusNotReady);
   ASSERT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusNotReady);

   wanted->serviceIntfDel(e);

   EXPECT_FALSE(published->hwStatusHas(e));
   EXPECT_FALSE(machine().svcHwStatusDecoder(serviceKey("Vlan100"))->hwStatusHas(e));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusFailed);
   // Derivation still counts it under Vlan200, as a member that joined failed.
   EXPECT_EQ(machine().svcHwStatusDecoder(serviceKey("Vlan200"))->hwStatus(e), hwStatusFailed);
}

// The static service changes while derivation counts the encap under the
// dynamic one: the old static service loses it, the new one counts it.
TEST_F(WexIntfEncapSmOutcome, StaticServiceThatChangedMovesThePublishedPlace) {
   fwdInfoIs("Vlan100", 7);
   fwdInfoIs("Vlan200", 9);
   fwdInfoIs("Vlan300", 11);
   startRecording();
   machine().dynamicIntfEncapIs(dynamic);
   Ulva::IntfEncap const e = encap("Ethernet1", 100);
   wantIs(e, "Vlan100");
   WexVlanMapping::WexDynamicIntfEncapInfo info(e);
   info.serviceIntfIs(id("Vlan200"));
   dynamic->entryIs(info);
   ASSERT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusSuccess);

   wantIs(e, "Vlan300");

   EXPECT_EQ(published->hwStatus(e), hwStatusSuccess);
   EXPECT_FALSE(machine().svcHwStatusDecoder(serviceKey("Vlan100"))->hwStatusHas(e));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusFailed);
   EXPECT_EQ(machine().svcHwStatusDecoder(serviceKey("Vlan300"))->hwStatus(e), hwStatusSuccess);
   EXPECT_EQ(machine().intfEncapPublishedSvcIntf(e), id("Vlan300"));
}

}  // namespace
}  // namespace TestSupport
