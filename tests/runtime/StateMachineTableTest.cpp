// The expansions of a state machine's attribute table: named and positional
// construction, reactor classes named after their machine, forwarders, getters,
// a shared input with its rescan, and the reactor tie; and the tables of the
// interface encap machine and its simulated platform.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>
#include <tuple>
#include <vector>

#include "Fen/StateMachineTable.h"
#include "Ulva/Collections.h"
#include "WexVlanMapping/WexIntfEncap.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace SmTableTest {

// clang-format off
#define SM_TABLE_TEST_ATTRIBUTES(input, output, shared)                                       \
   input(coll, Coll, Ulva::IntfEncapServiceIntfColl const, serviceIntf, Ulva::IntfEncap,      \
         handleColl, ::Fen::NoVariant)                                                        \
   output(out, Ulva::ServiceIntfHwStatusColl)                                                 \
   shared(dyn, Dyn, WexVlanMapping::WexDynamicIntfEncapColl const, entry, Ulva::IntfEncap,    \
          handleDyn, ::Fen::Rescan<::Fen::wholeHandler<FenSm>(&FenSm::handleDyn)>)
// clang-format on

class Sm : public Fen::StateMachine<Sm> {
   FEN_COUNTED_CLASS("SmTableTest::Sm")

public:
   using FenSm = Sm;
   // Inputs, fenInputCount.
   FEN_SM_INPUTS(SM_TABLE_TEST_ATTRIBUTES)
   FEN_CREATOR(Sm)
   FEN_SM_CONSTRUCTORS(Sm)
   ~Sm() override { fenTeardownReactors(); }

   void handleColl(Ulva::IntfEncap const& key) { heard.push_back(key); }
   void handleDyn(Ulva::IntfEncap const& key) { heardDyn.push_back(key); }
   void handleDyn() { ++rescans; }

   // fen_handleColl_serviceIntf, fen_handleDyn_entry, FenColl, FenDyn.
   FEN_SM_REACTORS(SM_TABLE_TEST_ATTRIBUTES)
   // coll(), out(), dyn(), dynIs(p), dynDel().
   FEN_SM_GETTERS(SM_TABLE_TEST_ATTRIBUTES)
   auto fenReactors() { return FEN_SM_TIE(SM_TABLE_TEST_ATTRIBUTES); }

   std::vector<Ulva::IntfEncap> heard;
   std::vector<Ulva::IntfEncap> heardDyn;
   int rescans = 0;

private:
   // coll_, out_, dyn_.
   FEN_SM_MEMBERS(SM_TABLE_TEST_ATTRIBUTES)
};

Sm::Sm(Inputs const& inputs){FEN_SM_BIND(SM_TABLE_TEST_ATTRIBUTES)}

Ulva::IntfEncap encapOf(char const* intf, std::uint32_t vid) {
   return Ulva::IntfEncap(Kestin::IntfId(intf), Ulva::VlanTagEncap(Ulva::vlanTag(vid), {}));
}

static_assert(Sm::fenInputCount == 2, "the shared input is not a constructor argument");
static_assert(std::tuple_size_v<decltype(std::declval<Sm&>().fenReactors())> == 2,
              "the tie holds the slots of the heard rows only");
static_assert(WexVlanMapping::WexIntfEncapSm::fenInputCount == 6);
static_assert(WexVlanMappingTest::IntfEncapSm::fenInputCount == 8);

TEST(FenStateMachineTable, NamedAndPositionalConstructionBindTheSameInputs) {
   auto const coll = Ulva::intfEncapServiceIntfCollFactory();
   auto const out = Ulva::serviceIntfHwStatusCollFactory();
   auto const named = Sm::SmIs(Sm::Inputs{.coll = coll, .out = out});
   auto const positional = Sm::SmIs(coll, out);
   EXPECT_EQ(named->coll(), coll.ptr());
   EXPECT_EQ(named->out(), out.ptr());
   EXPECT_EQ(positional->coll(), coll.ptr());
   EXPECT_EQ(positional->out(), out.ptr());
   EXPECT_EQ(named->dyn(), nullptr);
   // Both hear the input, and construction called no handler.
   EXPECT_TRUE(named->heard.empty());
   coll->serviceIntfIs(encapOf("Ethernet1", 100), Kestin::IntfId("Vlan100"));
   EXPECT_THAT(named->heard, testing::ElementsAre(encapOf("Ethernet1", 100)));
   EXPECT_THAT(positional->heard, testing::ElementsAre(encapOf("Ethernet1", 100)));
}

TEST(FenStateMachineTable, InputLeftOutIsNullAndHasNoReactor) {
   auto const out = Ulva::serviceIntfHwStatusCollFactory();
   auto const sm = Sm::SmIs(Sm::Inputs{.out = out});
   EXPECT_EQ(sm->coll(), nullptr);
   EXPECT_EQ(std::get<0>(sm->fenReactors()).reactor(), nullptr);
   EXPECT_EQ(sm->out(), out.ptr());
}

TEST(FenStateMachineTable, ReactorClassesAreNamedAfterTheirMachine) {
   EXPECT_EQ(std::string_view(Sm::FenColl::fenTypeName()), "SmTableTest::Sm::FenColl");
   EXPECT_EQ(std::string_view(Sm::FenDyn::fenTypeName()), "SmTableTest::Sm::FenDyn");
   EXPECT_EQ(std::string_view(WexVlanMapping::WexIntfEncapSm::FenWcsd::fenTypeName()),
             "WexVlanMapping::WexIntfEncapSm::FenWcsd");
   EXPECT_EQ(std::string_view(WexVlanMapping::WexIntfEncapSm::FenDynamicIntfEncap::fenTypeName()),
             "WexVlanMapping::WexIntfEncapSm::FenDynamicIntfEncap");
   EXPECT_EQ(std::string_view(WexVlanMappingTest::IntfEncapSm::FenTestHwStatusColl::fenTypeName()),
             "WexVlanMappingTest::IntfEncapSm::FenTestHwStatusColl");
}

TEST(FenStateMachineTable, ForwarderCallsTheHandlerWithTheKey) {
   auto const sm = Sm::SmIs(Sm::Inputs{});
   sm->fen_handleColl_serviceIntf(encapOf("Ethernet2", 7));
   sm->fen_handleDyn_entry(encapOf("Ethernet3", 8));
   EXPECT_THAT(sm->heard, testing::ElementsAre(encapOf("Ethernet2", 7)));
   EXPECT_THAT(sm->heardDyn, testing::ElementsAre(encapOf("Ethernet3", 8)));
}

TEST(FenStateMachineTable, SharedInputAttachesWithItsRescanAndDetaches) {
   auto const sm = Sm::SmIs(Sm::Inputs{});
   auto const dyn = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   sm->dynIs(dyn);
   EXPECT_EQ(sm->dyn(), dyn.ptr());
   EXPECT_EQ(sm->rescans, 1);
   // The same collection again: no rescan.
   sm->dynIs(dyn);
   EXPECT_EQ(sm->rescans, 1);
   dyn->entryIs(WexVlanMapping::WexDynamicIntfEncapInfo(encapOf("Ethernet1", 5)));
   EXPECT_THAT(sm->heardDyn, testing::ElementsAre(encapOf("Ethernet1", 5)));
   EXPECT_EQ(sm->dynDel().ptr(), dyn.ptr());
   EXPECT_EQ(sm->dyn(), nullptr);
   dyn->entryIs(WexVlanMapping::WexDynamicIntfEncapInfo(encapOf("Ethernet1", 6)));
   EXPECT_EQ(sm->heardDyn.size(), 1u);
   EXPECT_EQ(sm->dynDel(), nullptr);
}

TEST(FenStateMachineTable, NotificationOffReachesEveryReactorOfTheTie) {
   auto const coll = Ulva::intfEncapServiceIntfCollFactory();
   auto const dyn = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto const sm = Sm::SmIs(coll, nullptr);
   sm->dynIs(dyn);
   sm->hasNotificationActiveIs(false);
   coll->serviceIntfIs(encapOf("Ethernet1", 100), Kestin::IntfId("Vlan100"));
   dyn->entryIs(WexVlanMapping::WexDynamicIntfEncapInfo(encapOf("Ethernet1", 5)));
   EXPECT_TRUE(sm->heard.empty());
   EXPECT_TRUE(sm->heardDyn.empty());
   sm->hasNotificationActiveIs(true);
   coll->serviceIntfIs(encapOf("Ethernet1", 101), Kestin::IntfId("Vlan100"));
   EXPECT_THAT(sm->heard, testing::ElementsAre(encapOf("Ethernet1", 101)));
}

// The simulated platform started by name reaches the state of one started with
// the same pointers in order.
TEST(FenStateMachineTable, PlatformStartedByNameMatchesPositionalStart) {
   auto const wcsd = Wex::wexCommonSmDataFactory();
   auto const fwdInfo = Ulva::serviceIntfFwdInfoCollFactory();
   auto const wanted = Ulva::intfEncapServiceIntfCollFactory();
   auto const dynamic = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto const hardware = Ulva::intfEncapHwStatusCollFactory("hardware");
   Ulva::ServiceIntfFwdInfo info(Kestin::IntfId("Vlan100"));
   info.fwdDataIs(7);
   fwdInfo->fwdInfoIs(info);
   wanted->serviceIntfIs(encapOf("Ethernet1", 100), Kestin::IntfId("Vlan100"));
   hardware->hwStatusIs(encapOf("Ethernet1", 100), Ulva::hwStatusSuccess);

   auto const namedSvc = Ulva::serviceIntfHwStatusCollFactory();
   auto const namedEncap = Ulva::intfEncapHwStatusCollFactory("named");
   auto const named = WexVlanMappingTest::intfEncapSmFactory({.wcsd = wcsd,
                                                              .serviceIntfFwdInfo = fwdInfo,
                                                              .serviceIntfHwStatus = namedSvc,
                                                              .intfEncapServiceIntf = wanted,
                                                              .intfEncapHwStatus = namedEncap,
                                                              .dynamicIntfEncap = dynamic,
                                                              .testHwStatusColl = hardware});
   auto const posSvc = Ulva::serviceIntfHwStatusCollFactory();
   auto const posEncap = Ulva::intfEncapHwStatusCollFactory("positional");
   auto const positional = WexVlanMappingTest::intfEncapSmFactory(
       wcsd, fwdInfo, posSvc, wanted, posEncap, nullptr, dynamic, hardware);

   EXPECT_EQ(named->remoteEncapHwStatus(), nullptr);
   EXPECT_EQ(named->dynamicIntfEncap(), dynamic.ptr());
   EXPECT_EQ(named->testHwStatusColl(), hardware.ptr());
   EXPECT_EQ(namedEncap->hwStatus(encapOf("Ethernet1", 100)), Ulva::hwStatusSuccess);
   EXPECT_EQ(posEncap->hwStatus(encapOf("Ethernet1", 100)), Ulva::hwStatusSuccess);
   EXPECT_EQ(namedSvc->hwStatus(Kestin::IntfId("Vlan100")), Ulva::hwStatusSuccess);
   EXPECT_EQ(posSvc->hwStatus(Kestin::IntfId("Vlan100")), Ulva::hwStatusSuccess);
   EXPECT_EQ(named->testHwConfigKeys(), positional->testHwConfigKeys());
}

}  // namespace SmTableTest
