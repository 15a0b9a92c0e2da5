#include <gtest/gtest.h>

#include "WexVlanMapping/WexTestIntfEncapSm.h"

using namespace WexVlanMapping;

TEST(SimulatedPlatformSmoke, EncapTravelsToHardwareAndBack) {
   auto wcsd = Wex::wexCommonSmDataFactory();
   auto fwd = Ulva::serviceIntfFwdInfoCollFactory();
   auto svcStatus = Ulva::serviceIntfHwStatusCollFactory();
   auto wanted = Ulva::intfEncapServiceIntfCollFactory();
   auto published = Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus");
   auto dynamic = wexDynamicIntfEncapCollFactory();
   auto hw = Ulva::intfEncapHwStatusCollFactory("testHwStatus");
   auto sm = WexVlanMappingTest::intfEncapSmFactory(wcsd, fwd, svcStatus, wanted, published,
                                                    nullptr, dynamic, hw);
   Kestin::IntfId const svc("Vlan100");
   Ulva::IntfEncap const e(Kestin::IntfId("Ethernet1"),
                           Ulva::VlanTagEncap(Ulva::vlanTag(100), Ulva::VlanTag()));
   Ulva::ServiceIntfFwdInfo info(svc);
   info.fwdDataIs(7);
   fwd->fwdInfoIs(info);
   hw->hwStatusIs(e, Ulva::hwStatusNotReady);
   wanted->serviceIntfIs(e, svc);
   EXPECT_TRUE(sm->testHwConfigKey(e));
   EXPECT_EQ(published->hwStatus(e), Ulva::hwStatusNotReady);
   EXPECT_TRUE(sm->retryNeeded(e));
   hw->hwStatusIs(e, Ulva::hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(e), Ulva::hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(svc), Ulva::hwStatusSuccess);
   EXPECT_FALSE(sm->retryNeeded(e));
   wanted->serviceIntfDel(e);
   EXPECT_FALSE(sm->testHwConfigKey(e));
   EXPECT_FALSE(published->hwStatusHas(e));
}
