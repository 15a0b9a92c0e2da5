// The restart check of the simulated platform: restartedIntfEncapSm builds the
// machine a restart reaches on the same inputs, and restartDifferences lists where
// it and the running machine disagree, marking the dynamic leftovers and direct
// reports as allowed and every other difference as not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "SmFixture.h"

namespace WexVlanMappingTest {

// Differences print as their text in failure messages.
void PrintTo(RestartDifference const& d, std::ostream* os) {
   *os << "{" << d.what << ", " << (d.allowed ? "allowed: " + d.why : std::string("not allowed"))
       << "}";
}

}  // namespace WexVlanMappingTest

namespace TestSupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using WexVlanMappingTest::RestartDifference;
using WexVlanMappingTest::restartDifferences;
using WexVlanMappingTest::restartedIntfEncapSm;

std::string text(Ulva::IntfEncap const& e) {
   std::ostringstream os;
   os << e;
   return os.str();
}

class WexRestartCheck : public SmFixture {
protected:
   // The whole visible state of a machine, to see that a check changes none of it.
   static std::string outputsOf(IntfEncapSm const& m) {
      std::ostringstream os;
      std::set<std::string> lines;
      for (auto it = m.intfEncapHwStatus()->hwStatusMap().begin(); it; it.advance())
         lines.insert("encap " + text(it.key()) + " " +
                      std::to_string(m.intfEncapHwStatus()->hwStatus(it.key())));
      for (auto it = m.serviceIntfHwStatus()->hwStatusMap().begin(); it; it.advance())
         lines.insert("service " + it.key().stringValue().stdString() + " " +
                      std::to_string(m.serviceIntfHwStatus()->hwStatus(it.key())));
      for (auto it = m.hwConfigColl()->configMap().begin(); it; it.advance()) {
         std::ostringstream c;
         c << m.hwConfigColl()->config(it.key());
         lines.insert("config " + c.str());
      }
      for (auto it = m.testHwConfigKeyMap().begin(); it; it.advance())
         lines.insert("programmed " + text(it.key()));
      for (auto it = m.retryNeededMap().begin(); it; it.advance())
         lines.insert("retry " + text(it.key()));
      for (auto const& l : lines)
         os << l << "\n";
      return os.str();
   }

   // Two ports, a LAG of two ports with one of them down, two services, encaps with
   // one and two tags, one of them waiting for a retry.
   void smallSwitch() {
      fwdInfoIs("Vlan10", 5);
      fwdInfoIs("Vlan20", 6);
      lagIs("Port-Channel1", {"Ethernet3", "Ethernet4"});
      hw->hwStatusIs(e1, Ulva::hwStatusSuccess);
      hw->hwStatusIs(e2, Ulva::hwStatusNotReady);
      hw->hwStatusIs(lagE, Ulva::hwStatusSuccess);
      hw->hwStatusIs(encap("Ethernet3", 300), Ulva::hwStatusSuccess);
      hw->hwStatusIs(encap("Ethernet4", 300), Ulva::hwStatusSuccess);
      wantIs(e1, "Vlan10");
      wantIs(e2, "Vlan20");
      wantIs(lagE, "Vlan10");
      startSimulated();
      simulated->platformPortDownIs(id("Ethernet4"), true);
   }

   Ulva::IntfEncap const e1 = encap("Ethernet1", 100);
   Ulva::IntfEncap const e2 = encap("Ethernet2", 200, 20);
   Ulva::IntfEncap const lagE = encap("Port-Channel1", 300);
};

TEST_F(WexRestartCheck, FreshMachinesShowNoDifference) {
   smallSwitch();
   std::string const before = outputsOf(*simulated);
   {
      auto const fresh = restartedIntfEncapSm(*simulated);
      auto const other = restartedIntfEncapSm(*simulated);
      // The restart saw the same world: the port still down, the LAG programmed on
      // the port that is up, the encap that waits.
      EXPECT_TRUE(fresh->portDown(id("Ethernet4")));
      EXPECT_TRUE(fresh->hwConfigColl()->configHas(encap("Ethernet3", 300)));
      EXPECT_FALSE(fresh->hwConfigColl()->configHas(encap("Ethernet4", 300)));
      EXPECT_TRUE(fresh->retryNeededHas(e2));
      EXPECT_EQ(outputsOf(*fresh), outputsOf(*other));
      EXPECT_THAT(restartDifferences(*fresh, *other), IsEmpty());
      // The running machine heard nothing a fresh one does not know.
      EXPECT_THAT(restartDifferences(*simulated, *fresh), IsEmpty());
   }
   // Building and dropping the fresh machines touched none of the running one's outputs.
   EXPECT_EQ(outputsOf(*simulated), before);
}

TEST_F(WexRestartCheck, OutputChangedByHandIsNotAllowed) {
   smallSwitch();
   auto const fresh = restartedIntfEncapSm(*simulated);
   fresh->intfEncapHwStatus()->hwStatusIs(e1, Ulva::hwStatusFailed);
   fresh->testHwConfigKeyDel(encap("Ethernet3", 300));
   svcStatus->hwStatusDel(id("Vlan20"));
   EXPECT_THAT(
       restartDifferences(*simulated, *fresh),
       ElementsAre(
           RestartDifference{"intfEncapHwStatus (Ethernet1, 100:0x8100, 4095:0x8100): "
                             "hwStatusSuccess / fresh hwStatusFailed",
                             false, ""},
           RestartDifference{"serviceIntfHwStatus Vlan20: none / fresh hwStatusNotReady", false,
                             ""},
           RestartDifference{
               "testHwConfigKey (Ethernet3, 300:0x8100, 4095:0x8100): programmed / fresh none",
               false, ""}));
}

TEST_F(WexRestartCheck, KeysComeSortedByTheirText) {
   fwdInfoIs("Vlan10", 5);
   for (char const* port : {"Ethernet2", "Ethernet10", "Ethernet1"})
      wantIs(encap(port, 100), "Vlan10");
   startSimulated();
   auto const fresh = restartedIntfEncapSm(*simulated);
   for (char const* port : {"Ethernet2", "Ethernet10", "Ethernet1"})
      fresh->intfEncapHwStatus()->hwStatusDel(encap(port, 100));
   std::vector<std::string> whats;
   for (auto const& d : restartDifferences(*simulated, *fresh))
      whats.push_back(d.what);
   EXPECT_THAT(whats, ElementsAre("intfEncapHwStatus (Ethernet1, 100:0x8100, 4095:0x8100): "
                                  "hwStatusFailed / fresh none",
                                  "intfEncapHwStatus (Ethernet10, 100:0x8100, 4095:0x8100): "
                                  "hwStatusFailed / fresh none",
                                  "intfEncapHwStatus (Ethernet2, 100:0x8100, 4095:0x8100): "
                                  "hwStatusFailed / fresh none"));
}

TEST_F(WexRestartCheck, ConfigLeftByReplacedDynamicCollectionIsAllowed) {
   fwdInfoIs("Vlan10", 5);
   lagIs("Port-Channel1", {"Ethernet3", "Ethernet4"});
   Ulva::IntfEncap const plain = encap("Ethernet5", 500);
   Ulva::IntfEncap const onLag = encap("Port-Channel1", 600);
   for (auto const& e : {plain, onLag, encap("Ethernet3", 600), encap("Ethernet4", 600)})
      hw->hwStatusIs(e, Ulva::hwStatusSuccess);
   // Statically, the plain encap serves a service that forwards nowhere, and the
   // LAG encap keeps its own tags on egress.
   wantIs(plain, "Vlan20");
   wantIs(onLag, "Vlan10");
   // Dynamically, both serve Vlan10, the LAG encap with other egress tags.
   for (auto const& e : {plain, onLag}) {
      WexVlanMapping::WexDynamicIntfEncapInfo info(e);
      info.egressEncapIs(
          Ulva::VlanTagEncap(Ulva::vlanTag(e.encap().outerTag().vid() + 1), Ulva::VlanTag()));
      info.serviceIntfIs(id("Vlan10"));
      dynamic->entryIs(info);
   }
   startSimulated();
   ASSERT_TRUE(simulated->hwConfigColl()->configHas(plain));
   ASSERT_TRUE(simulated->hwConfigColl()->configHas(encap("Ethernet3", 600)));
   // The new collection names neither encap: their dynamic configs stay on the
   // running machine, where a restart derives them from the static entries.
   simulated->dynamicIntfEncapIs(WexVlanMapping::wexDynamicIntfEncapCollFactory());
   auto const fresh = restartedIntfEncapSm(*simulated);
   auto const diffs = restartDifferences(*simulated, *fresh);
   std::string const plainWhy = "dynamic leftover " + text(plain);
   std::string const lagWhy = "dynamic leftover " + text(onLag);
   std::vector<std::string> whats;
   for (auto const& d : diffs) {
      EXPECT_TRUE(d.allowed) << d.what;
      // A key on the LAG or one of its ports is excused by the LAG encap.
      bool const lagSide = d.what.find(", 600:0x8100, ") != std::string::npos;
      EXPECT_EQ(d.why, lagSide ? lagWhy : plainWhy) << d.what;
      whats.push_back(d.what.substr(0, d.what.find(": ")));
   }
   // The service counts the plain encap, whose config only the running machine has.
   EXPECT_THAT(whats, ElementsAre("intfEncapHwStatus (Ethernet5, 500:0x8100, 4095:0x8100)",
                                  "serviceIntfHwStatus Vlan10",
                                  "hwConfigColl (Ethernet3, 600:0x8100, 4095:0x8100)",
                                  "hwConfigColl (Ethernet4, 600:0x8100, 4095:0x8100)",
                                  "hwConfigColl (Ethernet5, 500:0x8100, 4095:0x8100)",
                                  "hwConfigColl (Port-Channel1, 600:0x8100, 4095:0x8100)",
                                  "testHwConfigKey (Ethernet5, 500:0x8100, 4095:0x8100)"));
   EXPECT_EQ(diffs.front().what,
             "intfEncapHwStatus (Ethernet5, 500:0x8100, 4095:0x8100): hwStatusSuccess / fresh "
             "hwStatusFailed");
}

TEST_F(WexRestartCheck, StatusReportedForUnprogrammedEncapIsAllowed) {
   fwdInfoIs("Vlan10", 5);
   Ulva::IntfEncap const e = encap("Ethernet7", 700);
   wantIs(e, "Vlan10");
   startSimulated();
   // The port is down: the encap is wanted, under its service, and not programmed.
   simulated->platformPortDownIs(id("Ethernet7"), true);
   ASSERT_FALSE(simulated->hwConfigColl()->configHas(e));
   simulated->platformEncapHwStatusIs(e, Ulva::hwStatusSuccess);
   auto const fresh = restartedIntfEncapSm(*simulated);
   std::string const why = "direct report " + text(e);
   EXPECT_THAT(
       restartDifferences(*simulated, *fresh),
       ElementsAre(
           RestartDifference{"intfEncapHwStatus (Ethernet7, 700:0x8100, 4095:0x8100): "
                             "hwStatusSuccess / fresh hwStatusFailed",
                             true, why},
           RestartDifference{"serviceIntfHwStatus Vlan10: hwStatusSuccess / fresh hwStatusFailed",
                             true, why}));
}

TEST_F(WexRestartCheck, StatusReportedAgainstTheHardwareIsAllowed) {
   fwdInfoIs("Vlan10", 5);
   hw->hwStatusIs(e1, Ulva::hwStatusNotReady);
   wantIs(e1, "Vlan10");
   startSimulated();
   // The platform says success where the hardware's input still says not ready.
   simulated->platformEncapHwStatusIs(e1, Ulva::hwStatusSuccess);
   auto const fresh = restartedIntfEncapSm(*simulated);
   std::string const why = "direct report " + text(e1);
   EXPECT_THAT(
       restartDifferences(*simulated, *fresh),
       ElementsAre(
           RestartDifference{"intfEncapHwStatus (Ethernet1, 100:0x8100, 4095:0x8100): "
                             "hwStatusSuccess / fresh hwStatusNotReady",
                             true, why},
           RestartDifference{"serviceIntfHwStatus Vlan10: hwStatusSuccess / fresh hwStatusNotReady",
                             true, why},
           RestartDifference{
               "retryNeeded (Ethernet1, 100:0x8100, 4095:0x8100): none / fresh waiting", true,
               why}));
}

TEST_F(WexRestartCheck, RetryCountIsNotADifference) {
   fwdInfoIs("Vlan10", 5);
   hw->hwStatusIs(e1, Ulva::hwStatusNotReady);
   wantIs(e1, "Vlan10");
   startSimulated();
   simulated->handleHwConfigRetry();
   simulated->handleHwConfigRetry();
   ASSERT_EQ(simulated->hwConfigColl()->config(e1).retryCnt(), 2u);
   auto const fresh = restartedIntfEncapSm(*simulated);
   EXPECT_EQ(fresh->hwConfigColl()->config(e1).retryCnt(), 0u);
   EXPECT_THAT(restartDifferences(*simulated, *fresh), IsEmpty());
}

}  // namespace
}  // namespace TestSupport
