// WexIntfEncapSm re-entered in the middle of updateHwConfig: a listener of a table
// that the steps write reports a status or changes an input while the encap is
// being programmed. The rollup that ends the outer updateHwConfig then reads the
// tables as they are, not what its own steps wrote: the outcome is the one the
// inner event left.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Listener.h"
#include "SmFixture.h"

namespace TestSupport {
namespace {

using testing::ElementsAre;
using Ulva::hwStatusFailed;
using Ulva::hwStatusNotReady;
using Ulva::hwStatusSuccess;

class WexIntfEncapSmReentry : public SmFixture {
protected:
   Ulva::IntfEncap const e1 = encap("Ethernet1", 100);
};

TEST_F(WexIntfEncapSmReentry, StatusReportedWhileTheAnswerIsStoredIsWhatIsPublished) {
   fwdInfoIs("Vlan100", 7);
   startRecording();
   // Once the add's answer is stored, the platform reports not ready for the
   // same encap, from inside the store's notification.
   bool reported = false;
   Fen::Ptr<Listener> const reporter =
       Listener::ListenerIs(machine().hwStatusColl(), [&](Fen::AttributeId, void const* key) {
          if (reported || *static_cast<Ulva::IntfEncap const*>(key) != e1) return;
          reported = true;
          machine().platformEncapHwStatusIs(e1, hwStatusNotReady);
       });

   wantIs(e1, "Vlan100");

   ASSERT_TRUE(reported);
   EXPECT_THAT(recording->callKeys(), ElementsAre("add Ethernet1 100"));
   EXPECT_EQ(machine().hwStatusColl()->hwStatus(e1), hwStatusNotReady);
   EXPECT_TRUE(machine().retryNeededHas(e1));
   EXPECT_EQ(published->hwStatus(e1), hwStatusNotReady);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusNotReady);
}

TEST_F(WexIntfEncapSmReentry, ServiceIntfChangedWhileTheAnswerIsStoredIsWherePublished) {
   fwdInfoIs("Vlan100", 7);
   fwdInfoIs("Vlan200", 8);
   startRecording();
   // Once the add's answer is stored, the encap moves to another service
   // interface, from inside the store's notification.
   bool moved = false;
   Fen::Ptr<Listener> const mover =
       Listener::ListenerIs(machine().hwStatusColl(), [&](Fen::AttributeId, void const* key) {
          if (moved || *static_cast<Ulva::IntfEncap const*>(key) != e1) return;
          moved = true;
          wantIs(e1, "Vlan200");
       });

   wantIs(e1, "Vlan100");

   ASSERT_TRUE(moved);
   EXPECT_THAT(recording->callKeys(),
               ElementsAre("add Ethernet1 100", "delete Ethernet1 100", "add Ethernet1 100"));
   EXPECT_EQ(machine().hwConfigColl()->config(e1), plainConfig(e1, "Vlan200", 8));
   EXPECT_EQ(published->hwStatus(e1), hwStatusSuccess);
   EXPECT_EQ(machine().intfEncapPublishedSvcIntf(e1), id("Vlan200"));
   EXPECT_EQ(machine().intfEncapSvcIntfCached(e1), id("Vlan200"));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan200")), hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), hwStatusFailed);
   auto const oldDecoder =
       machine().svcHwStatusDecoder(WexVlanMapping::serviceEncap(id("Vlan100")));
   EXPECT_TRUE(!oldDecoder || !oldDecoder->hwStatusHas(e1));
}

}  // namespace
}  // namespace TestSupport
