// The frame of the interface encap state machine: its reactors and what they
// forward, the notification and zombie switches, the internal collections, the
// creator, the initial sweep and teardown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "EncapSmTestKit.h"
#include "WexVlanMapping/WexModules.h"

namespace TestSupport {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;
using WexVlanMapping::WexIntfEncapSm;

constexpr std::uint32_t level8 = Fen::TraceFacility::levelBit(8);

// The reactor of each input, by position in the machine's reactor attributes.
WexIntfEncapSm::FenWcsd* wcsdReactor(WexIntfEncapSm& m) {
   return std::get<0>(m.fenReactors()).reactor();
}
WexIntfEncapSm::FenServiceIntfFwdInfo* fwdInfoReactor(WexIntfEncapSm& m) {
   return std::get<1>(m.fenReactors()).reactor();
}
WexIntfEncapSm::FenIntfEncapServiceIntf* serviceIntfReactor(WexIntfEncapSm& m) {
   return std::get<2>(m.fenReactors()).reactor();
}
WexIntfEncapSm::FenRemoteEncapHwStatus* remoteReactor(WexIntfEncapSm& m) {
   return std::get<3>(m.fenReactors()).reactor();
}
WexIntfEncapSm::FenDynamicIntfEncap* dynamicReactor(WexIntfEncapSm& m) {
   return std::get<4>(m.fenReactors()).reactor();
}

// ---- reactors -----------------------------------------------------------------------

class WexIntfEncapSmReactor : public EncapSmTest {
protected:
   // A running machine with all five reactors, Ethernet7 in Port-Channel7.
   void startWithAllReactors() {
      lagIs("Port-Channel7", {"Ethernet7"});
      buildRecording(/*withRemote=*/true);
      sm().dynamicIntfEncapIs(dynamic);
      sm().handleInitialized();
   }
};

TEST_F(WexIntfEncapSmReactor, EachReactorForwardsItsOwnAttributeToItsHandler) {
   startWithAllReactors();
   Kestin::IntfId const port = id("Ethernet7");
   Kestin::IntfId const svc = id("Vlan100");
   Ulva::IntfEncap const e = encap("Ethernet1", 100);
   TraceCapture trace(level8);

   wcsdReactor(sm())->onAttribute(271, &port);
   fwdInfoReactor(sm())->onAttribute(258, &svc);
   serviceIntfReactor(sm())->onAttribute(258, &e);
   remoteReactor(sm())->onAttribute(258, &e);
   dynamicReactor(sm())->onAttribute(130, &e);

   EXPECT_THAT(trace.linesAt(8),
               ElementsAre("WexIntfEncapSm::handlePortToLag: Ethernet7 isDel:false",
                           "WexIntfEncapSm::handleServiceIntfFwdInfo: Vlan100 isDel:true",
                           "WexIntfEncapSm::handleIntfEncapServiceIntf: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) isDel:true",
                           "WexIntfEncapSm::handleRemoteEncapHwStatus: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) isDel:true",
                           "WexIntfEncapSm::handleDynamicIntfEncap: (Ethernet1, 100:0x8100, "
                           "4095:0x8100) isDel:true"));
}

TEST_F(WexIntfEncapSmReactor, ReactorIgnoresAnyOtherAttributeNumber) {
   startWithAllReactors();
   Kestin::IntfId const port = id("Ethernet7");
   Kestin::IntfId const svc = id("Vlan100");
   Ulva::IntfEncap const e = encap("Ethernet1", 100);
   TraceCapture trace;

   for (Fen::AttributeId other : {0u, 130u, 258u, 259u, 270u, 272u, 273u}) {
      if (other != 271) wcsdReactor(sm())->onAttribute(other, &port);
   }
   for (Fen::AttributeId other : {0u, 130u, 257u, 259u, 271u}) {
      fwdInfoReactor(sm())->onAttribute(other, &svc);
      serviceIntfReactor(sm())->onAttribute(other, &e);
      remoteReactor(sm())->onAttribute(other, &e);
   }
   for (Fen::AttributeId other : {0u, 129u, 131u, 258u}) {
      dynamicReactor(sm())->onAttribute(other, &e);
   }

   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(WexIntfEncapSmReactor, ReactorMarkedForDeletionDropsItsOwnAttribute) {
   startWithAllReactors();
   Kestin::IntfId const port = id("Ethernet7");
   Kestin::IntfId const svc = id("Vlan100");
   Ulva::IntfEncap const e = encap("Ethernet1", 100);
   auto markAll = [&](bool marked) {
      wcsdReactor(sm())->fenMarkedForDeletionIs(marked);
      fwdInfoReactor(sm())->fenMarkedForDeletionIs(marked);
      serviceIntfReactor(sm())->fenMarkedForDeletionIs(marked);
      remoteReactor(sm())->fenMarkedForDeletionIs(marked);
      dynamicReactor(sm())->fenMarkedForDeletionIs(marked);
   };
   TraceCapture trace;

   // Only the mark is set: notification stays on, so the writes are delivered.
   markAll(true);
   wcsdReactor(sm())->onAttribute(271, &port);
   fwdInfoReactor(sm())->onAttribute(258, &svc);
   serviceIntfReactor(sm())->onAttribute(258, &e);
   remoteReactor(sm())->onAttribute(258, &e);
   dynamicReactor(sm())->onAttribute(130, &e);
   fwdInfoIs("Vlan100", 7);
   wantIs(e, "Vlan100");
   EXPECT_THAT(trace.lines(), IsEmpty());
   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_FALSE(svcStatus->hwStatusHas(svc));

   markAll(false);
   wanted->serviceIntfDel(e);
   wantIs(e, "Vlan100");
   EXPECT_THAT(trace.linesAt(8), Contains("WexIntfEncapSm::handleIntfEncapServiceIntf: (Ethernet1, "
                                          "100:0x8100, 4095:0x8100) isDel:false"));
   EXPECT_THAT(calls(), ElementsAre(added(plainConfig(e, "Vlan100", 7))));
}

TEST_F(WexIntfEncapSmReactor, NotificationSwitchWithValueAlreadySetLeavesReactorsAlone) {
   startWithAllReactors();
   ASSERT_TRUE(sm().hasNotificationActive());
   fwdInfoReactor(sm())->hasNotificationActiveIs(false);

   sm().hasNotificationActiveIs(true);

   EXPECT_FALSE(fwdInfoReactor(sm())->hasNotificationActive());
   EXPECT_TRUE(wcsdReactor(sm())->hasNotificationActive());
   fwdInfoIs("Vlan100", 7);
   EXPECT_FALSE(svcStatus->hwStatusHas(id("Vlan100")));
}

TEST_F(WexIntfEncapSmReactor, NotificationSwitchReachesEveryReactor) {
   startWithAllReactors();
   auto allReactors = [&]() {
      return std::vector<bool>{wcsdReactor(sm())->hasNotificationActive(),
                               fwdInfoReactor(sm())->hasNotificationActive(),
                               serviceIntfReactor(sm())->hasNotificationActive(),
                               remoteReactor(sm())->hasNotificationActive(),
                               dynamicReactor(sm())->hasNotificationActive()};
   };

   sm().hasNotificationActiveIs(false);
   EXPECT_FALSE(sm().hasNotificationActive());
   EXPECT_THAT(allReactors(), ElementsAre(false, false, false, false, false));
   fwdInfoIs("Vlan100", 7);
   EXPECT_FALSE(svcStatus->hwStatusHas(id("Vlan100")));

   sm().hasNotificationActiveIs(true);
   EXPECT_THAT(allReactors(), ElementsAre(true, true, true, true, true));
   fwdInfoIs("Vlan100", 8);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusFailed);
   EXPECT_TRUE(svcStatus->hwStatusHas(id("Vlan100")));
}

TEST_F(WexIntfEncapSmReactor, ZombieMachineHearsNothingUntilRevived) {
   startWithAllReactors();
   Ulva::IntfEncap const e = encap("Ethernet1", 100);
   fwdInfoIs("Vlan100", 7);

   sm().fenDoZombieReactors(true);
   EXPECT_TRUE(sm().fenMarkedForDeletion());
   EXPECT_TRUE(fwdInfoReactor(sm())->fenMarkedForDeletion());
   EXPECT_TRUE(dynamicReactor(sm())->fenMarkedForDeletion());
   EXPECT_FALSE(serviceIntfReactor(sm())->hasNotificationActive());
   wantIs(e, "Vlan100");
   EXPECT_THAT(calls(), IsEmpty());

   sm().fenDoZombieReactors(false);
   EXPECT_FALSE(serviceIntfReactor(sm())->fenMarkedForDeletion());
   EXPECT_TRUE(serviceIntfReactor(sm())->hasNotificationActive());
   wanted->serviceIntfDel(e);
   wantIs(e, "Vlan100");
   EXPECT_THAT(calls(), ElementsAre(added(plainConfig(e, "Vlan100", 7))));
}

// ---- creation and the internal collections ------------------------------------------

class WexIntfEncapSmFrame : public EncapSmTest {};

TEST_F(WexIntfEncapSmFrame, CreatorTurnsNotificationOnAndDoesNotSweep) {
   // Something to program is waiting: a sweep would reach the base's aborting hook.
   fwdInfoIs("Vlan100", 7);
   wantIs(encap("Ethernet1", 100), "Vlan100");
   published->hwStatusIs(encap("Ethernet9", 900), Ulva::hwStatusSuccess);

   Fen::Ptr<WexIntfEncapSm> const base =
       WexIntfEncapSm::WexIntfEncapSmIs(wcsd, fwd, svcStatus, wanted, published, nullptr);

   EXPECT_TRUE(base->hasNotificationActive());
   EXPECT_TRUE(wcsdReactor(*base)->hasNotificationActive());
   EXPECT_TRUE(fwdInfoReactor(*base)->hasNotificationActive());
   EXPECT_TRUE(serviceIntfReactor(*base)->hasNotificationActive());
   EXPECT_EQ(remoteReactor(*base), nullptr);
   EXPECT_EQ(dynamicReactor(*base), nullptr);
   EXPECT_EQ(base->remoteEncapHwStatus(), nullptr);
   EXPECT_FALSE(base->initialized());
   EXPECT_EQ(base->hwStatusColl(), nullptr);
   EXPECT_EQ(base->hwConfigColl(), nullptr);
   EXPECT_TRUE(published->hwStatusHas(encap("Ethernet9", 900)));
   EXPECT_TRUE(base->fwkType() == (Fen::FwkType{&WexVlanMapping::wexIntfEncapSmModule,
                                                WexVlanMapping::wexIntfEncapSmTypeWexIntfEncapSm}));
}

TEST_F(WexIntfEncapSmFrame, ConstructionWithNullInputsLeavesTheirSlotsEmpty) {
   buildRecording(Nulls{.wcsd = true, .fwdInfo = true, .wanted = true});

   EXPECT_EQ(wcsdReactor(sm()), nullptr);
   EXPECT_EQ(fwdInfoReactor(sm()), nullptr);
   EXPECT_EQ(serviceIntfReactor(sm()), nullptr);
   EXPECT_EQ(sm().wcsd(), nullptr);
   EXPECT_EQ(sm().serviceIntfFwdInfo(), nullptr);
   EXPECT_EQ(sm().intfEncapServiceIntf(), nullptr);
   EXPECT_EQ(sm().serviceIntfHwStatus(), svcStatus.ptr());
   EXPECT_EQ(sm().intfEncapHwStatus(), published.ptr());
}

TEST_F(WexIntfEncapSmFrame, HwStatusCollIsWithTheHeldNameKeepsObjectAndContents) {
   startRecording();
   Ulva::IntfEncapHwStatusColl* const held = sm().hwStatusColl();
   ASSERT_NE(held, nullptr);
   EXPECT_EQ(held->name(), Fen::String("encapHwStatus"));
   held->hwStatusIs(encap("Ethernet1", 100), Ulva::hwStatusNotReady);

   Fen::Ptr<Ulva::IntfEncapHwStatusColl> const again = sm().hwStatusCollIs("encapHwStatus");

   EXPECT_EQ(again.ptr(), held);
   EXPECT_EQ(sm().hwStatusColl(), held);
   EXPECT_EQ(again->hwStatus(encap("Ethernet1", 100)), Ulva::hwStatusNotReady);
}

TEST_F(WexIntfEncapSmFrame, HwStatusCollIsWithAnotherNameMakesAnEmptyCollection) {
   startRecording();
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> const old(sm().hwStatusColl());
   old->hwStatusIs(encap("Ethernet1", 100), Ulva::hwStatusSuccess);

   Fen::Ptr<Ulva::IntfEncapHwStatusColl> const fresh = sm().hwStatusCollIs("other");

   EXPECT_NE(fresh.ptr(), old.ptr());
   EXPECT_EQ(sm().hwStatusColl(), fresh.ptr());
   EXPECT_EQ(fresh->name(), Fen::String("other"));
   EXPECT_EQ(fresh->hwStatuss(), 0u);
   EXPECT_TRUE(fresh->hasNotificationActive());
}

TEST_F(WexIntfEncapSmFrame, InternalCollectionsAreFoundOrMadeAndGivenBack) {
   buildRecording();
   Fen::Ptr<WexVlanMapping::WexIntfEncapHwConfigColl> const configs = sm().hwConfigCollIs();
   ASSERT_TRUE(configs);
   EXPECT_TRUE(configs->hasNotificationActive());
   EXPECT_EQ(sm().hwConfigCollIs().ptr(), configs.ptr());
   EXPECT_EQ(sm().hwConfigCollDel().ptr(), configs.ptr());
   EXPECT_EQ(sm().hwConfigColl(), nullptr);

   Fen::Ptr<Ulva::IntfEncapHwStatusColl> const statuses = sm().hwStatusCollIs("encapHwStatus");
   EXPECT_EQ(sm().hwStatusCollDel().ptr(), statuses.ptr());
   EXPECT_EQ(sm().hwStatusColl(), nullptr);
   EXPECT_FALSE(sm().hwStatusCollDel());
}

// A platform that writes its hook calls into a log that outlives it.
class LoggingPlatform : public Fen::StateMachine<LoggingPlatform, WexIntfEncapSm> {
   FEN_COUNTED_CLASS("WexVlanMappingTest::LoggingPlatform")

public:
   using StateMachine::StateMachine;
   ~LoggingPlatform() override { fenTeardownReactors(); }
   Ulva::IntfEncapHwStatus platformAddHwConfig(WexIntfEncapHwConfig const& c) override {
      if (log) log->push_back("add " + c.intfEncap().intfId().stringValue().stdString());
      return Ulva::hwStatusSuccess;
   }
   void platformDeleteHwConfig(WexIntfEncapHwConfig const& c) override {
      if (log) log->push_back("delete " + c.intfEncap().intfId().stringValue().stdString());
   }
   auto fenReactors() { return std::tie(); }

   std::vector<std::string>* log = nullptr;
};

TEST_F(WexIntfEncapSmFrame, DestroyingMachineWithConfigsCallsNoHookAndKeepsOutputs) {
   fwdInfoIs("Vlan100", 7);
   wantIs(encap("Ethernet1", 100), "Vlan100");
   wantIs(encap("Port-Channel1", 200), "Vlan100");
   lagIs("Port-Channel1", {"Ethernet2"});
   std::vector<std::string> log;
   {
      Fen::Ptr<LoggingPlatform> platform =
          Fen::fenObjectIs<LoggingPlatform>(wcsd, fwd, svcStatus, wanted, published, nullptr);
      platform->log = &log;
      platform->handleInitialized();
      ASSERT_EQ(platform->hwConfigColl()->configs(), 3u);
      log.clear();
   }
   EXPECT_THAT(log, IsEmpty());
   EXPECT_TRUE(published->hwStatusHas(encap("Ethernet1", 100)));
   EXPECT_TRUE(svcStatus->hwStatusHas(id("Vlan100")));
   // The inputs no longer know the machine.
   wantIs(encap("Ethernet3", 300), "Vlan100");
   EXPECT_THAT(log, IsEmpty());
}

// ---- the initial sweep ------------------------------------------------------------

class WexIntfEncapSmSweep : public EncapSmTest {};

TEST_F(WexIntfEncapSmSweep, EntryIsTracedAtLevel8) {
   buildRecording();
   {
      TraceCapture trace(level8);
      sm().handleInitialized();
      EXPECT_THAT(trace.linesAt(8), ElementsAre("WexIntfEncapSm::handleInitialized: "));
   }
   TraceCapture trace(Fen::TraceFacility::allLevels & ~level8);
   sm().handleInitialized();
   EXPECT_THAT(trace.lines(), Not(Contains("WexIntfEncapSm::handleInitialized: ")));
}

TEST_F(WexIntfEncapSmSweep, WithoutDynamicCollectionSkipsTheDynamicStep) {
   fwdInfoIs("Vlan100", 7);
   wantIs(encap("Ethernet1", 100), "Vlan100");
   buildRecording();
   TraceCapture trace;

   sm().handleInitialized();

   EXPECT_TRUE(sm().initialized());
   EXPECT_THAT(trace.matching("handleDynamicIntfEncap"), IsEmpty());
   EXPECT_THAT(calls(), ElementsAre(added(plainConfig(encap("Ethernet1", 100), "Vlan100", 7))));
}

TEST_F(WexIntfEncapSmSweep, WithoutRemoteStatusRunsToTheEnd) {
   fwdInfoIs("Vlan100", 7);
   fwdInfoIs("Vlan300", 3);  // forwarding but no encap: only the last step publishes it
   wantIs(encap("Ethernet1", 100), "Vlan100");
   buildRecording(/*withRemote=*/false);
   ASSERT_EQ(sm().remoteEncapHwStatus(), nullptr);

   sm().handleInitialized();

   EXPECT_EQ(published->hwStatus(encap("Ethernet1", 100)), Ulva::hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusSuccess);
   ASSERT_TRUE(svcStatus->hwStatusHas(id("Vlan300")));
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan300")), Ulva::hwStatusFailed);
}

TEST_F(WexIntfEncapSmSweep, PortReportedDownStaysDownAndTheRetrySetEmpties) {
   Ulva::IntfEncap const e = encap("Ethernet1", 100);
   Ulva::IntfEncap const waiting = encap("Ethernet9", 900);
   fwdInfoIs("Vlan100", 7);
   wantIs(e, "Vlan100");
   buildRecording();
   sm().portDownIs(id("Ethernet1"), true);
   sm().retryNeededIs(waiting);
   TraceCapture trace;

   sm().handleInitialized();

   EXPECT_TRUE(sm().portDownHas(id("Ethernet1")));
   EXPECT_TRUE(sm().portDown(id("Ethernet1")));
   // The retry set holds programmed configs only, and the sweep starts from none.
   EXPECT_FALSE(sm().retryNeededHas(waiting));
   EXPECT_EQ(sm().retryNeededs(), 0u);
   EXPECT_THAT(calls(), IsEmpty());
   EXPECT_FALSE(sm().hwConfigColl()->configHas(e));
   EXPECT_EQ(sm().getHwConfig(e), plainConfig(e, "Vlan100", 7));
   EXPECT_THAT(trace.linesAt(7),
               Contains("WexIntfEncapSm::doAddPortHwConfig: (Ethernet1, 100:0x8100, "
                        "4095:0x8100), ignored due to platform port down"));
}

TEST_F(WexIntfEncapSmSweep, LagMembershipOnlyFillsTheCache) {
   lagIs("Port-Channel1", {"Ethernet1", "Ethernet2"});
   buildRecording();
   sm().portToLagCachedIs(id("Ethernet9"), id("Port-Channel9"));  // stale
   TraceCapture trace;

   sm().handleInitialized();

   EXPECT_EQ(sm().portToLagCached(id("Ethernet1")), id("Port-Channel1"));
   EXPECT_EQ(sm().portToLagCached(id("Ethernet2")), id("Port-Channel1"));
   EXPECT_FALSE(sm().portToLagCachedHas(id("Ethernet9")));
   EXPECT_EQ(sm().portToLagCacheds(), 2u);
   EXPECT_THAT(trace.matching("handlePortToLag"), IsEmpty());
   EXPECT_THAT(trace.matching("doAddPortToLag"), IsEmpty());
   EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(WexIntfEncapSmSweep, PublishedStatusIsWipedAndRebuilt) {
   Ulva::IntfEncap const e = encap("Ethernet1", 100);
   fwdInfoIs("Vlan100", 7);
   wantIs(e, "Vlan100");
   published->hwStatusIs(encap("Ethernet9", 900), Ulva::hwStatusSuccess);
   published->hwStatusIs(e, Ulva::hwStatusFailed);
   svcStatus->hwStatusIs(id("Vlan900"), Ulva::hwStatusSuccess);
   buildRecording();

   sm().handleInitialized();

   EXPECT_FALSE(published->hwStatusHas(encap("Ethernet9", 900)));
   EXPECT_FALSE(svcStatus->hwStatusHas(id("Vlan900")));
   EXPECT_EQ(published->hwStatuss(), 1u);
   EXPECT_EQ(published->hwStatus(e), Ulva::hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatuss(), 1u);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusSuccess);
}

TEST_F(WexIntfEncapSmSweep, InternalTablesAreClearedWithoutDeleteHooks) {
   Ulva::IntfEncap const stale = encap("Ethernet9", 900);
   WexIntfEncapHwConfig const staleConfig = plainConfig(stale, "Vlan900", 9);
   buildRecording();
   sm().hwConfigCollIs()->configIs(staleConfig);
   sm().hwStatusCollIs("leftover")->hwStatusIs(stale, Ulva::hwStatusSuccess);
   sm().portToHwConfigListIs(id("Ethernet9"))->hwConfigIs(staleConfig);
   sm().lagHwStatusDecoderIs(encap("Port-Channel9", 900));
   sm().svcHwStatusDecoderIs(serviceKey("Vlan900"))->updateMember(stale, Ulva::hwStatusSuccess);
   sm().intfEncapSvcIntfCachedIs(stale, id("Vlan900"));
   Fen::Ptr<WexVlanMapping::WexIntfEncapHwConfigColl> const configs(sm().hwConfigColl());

   sm().handleInitialized();

   EXPECT_EQ(sm().hwConfigColl(), configs.ptr());
   EXPECT_EQ(configs->configs(), 0u);
   ASSERT_NE(sm().hwStatusColl(), nullptr);
   EXPECT_EQ(sm().hwStatusColl()->name(), Fen::String("encapHwStatus"));
   EXPECT_EQ(sm().hwStatusColl()->hwStatuss(), 0u);
   EXPECT_EQ(sm().portToHwConfigLists(), 0u);
   EXPECT_EQ(sm().lagHwStatusDecoders(), 0u);
   EXPECT_EQ(sm().svcHwStatusDecoders(), 0u);
   EXPECT_EQ(sm().intfEncapSvcIntfCacheds(), 0u);
   EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(WexIntfEncapSmSweep, DynamicEncapsAreProgrammedBeforeStaticOnes) {
   using WexVlanMapping::macsecProxy;
   using WexVlanMapping::staticEncap;
   Ulva::IntfEncap const both = encap("Ethernet5", 50);
   fwdInfoIs("Vlan100", 7);
   fwdInfoIs("Vlan200", 9);
   wantIs(encap("Ethernet3", 30), "Vlan100");
   wantIs(encap("Ethernet4", 40), "Vlan100");
   wantIs(both, "Vlan100");
   dynamic->entryIs(dynamicEntry(encap("Ethernet1", 10), encap("Ethernet1", 11).encap(),
                                 staticEncap, "Vlan200"));
   dynamic->entryIs(dynamicEntry(encap("Ethernet2", 20), encap("Ethernet2", 21).encap(),
                                 staticEncap, "Vlan200"));
   dynamic->entryIs(dynamicEntry(both, encap("Ethernet5", 55).encap(), macsecProxy, "Vlan200"));
   buildRecording();
   sm().dynamicIntfEncapIs(dynamic);
   TraceCapture trace;

   sm().handleInitialized();

   std::vector<std::string> const keys = recording->callKeys();
   ASSERT_EQ(keys.size(), 5u);
   EXPECT_THAT(std::vector<std::string>(keys.begin(), keys.begin() + 3),
               UnorderedElementsAre("add Ethernet1 10", "add Ethernet2 20", "add Ethernet5 50"));
   EXPECT_THAT(std::vector<std::string>(keys.begin() + 3, keys.end()),
               UnorderedElementsAre("add Ethernet3 30", "add Ethernet4 40"));
   // The encap wanted both ways came up once, in its dynamic form.
   WexIntfEncapHwConfig dynamicForm(both, Ulva::ServiceIntfFwdInfo(), Kestin::IntfId());
   dynamicForm = withFwdInfo(dynamicForm, "Vlan200", 9);
   dynamicForm.egressEncapIs(encap("Ethernet5", 55).encap());
   dynamicForm.sourceIs(macsecProxy);
   EXPECT_THAT(calls(), Contains(added(dynamicForm)));
   EXPECT_EQ(sm().getHwConfig(both), dynamicForm);
   // The dynamic step goes through the handler of each entry; the static one does not.
   EXPECT_THAT(trace.matching("handleDynamicIntfEncap"),
               UnorderedElementsAre("WexIntfEncapSm::handleDynamicIntfEncap: (Ethernet1, "
                                    "10:0x8100, 4095:0x8100) isDel:false",
                                    "WexIntfEncapSm::handleDynamicIntfEncap: (Ethernet2, "
                                    "20:0x8100, 4095:0x8100) isDel:false",
                                    "WexIntfEncapSm::handleDynamicIntfEncap: (Ethernet5, "
                                    "50:0x8100, 4095:0x8100) isDel:false"));
   EXPECT_THAT(trace.matching("handleIntfEncapServiceIntf"), IsEmpty());
}

TEST_F(WexIntfEncapSmSweep, SecondSweepRebuildsWithoutDeleteHooks) {
   fwdInfoIs("Vlan100", 7);
   lagIs("Port-Channel1", {"Ethernet2"});
   wantIs(encap("Ethernet1", 100), "Vlan100");
   wantIs(encap("Port-Channel1", 200), "Vlan100");
   startRecording();
   std::vector<std::string> const firstKeys = recording->callKeys();
   ASSERT_EQ(firstKeys.size(), 3u);
   Ulva::IntfEncapHwStatusColl* const statuses = sm().hwStatusColl();
   WexVlanMapping::WexIntfEncapHwConfigColl* const configs = sm().hwConfigColl();
   calls().clear();

   sm().handleInitialized();

   EXPECT_THAT(
       recording->callKeys(),
       UnorderedElementsAre("add Ethernet1 100", "add Port-Channel1 200", "add Ethernet2 200"));
   EXPECT_EQ(sm().hwStatusColl(), statuses);
   EXPECT_EQ(sm().hwConfigColl(), configs);
   EXPECT_EQ(configs->configs(), 3u);
   EXPECT_EQ(published->hwStatus(encap("Ethernet1", 100)), Ulva::hwStatusSuccess);
   EXPECT_EQ(published->hwStatus(encap("Port-Channel1", 200)), Ulva::hwStatusSuccess);
   EXPECT_EQ(svcStatus->hwStatus(id("Vlan100")), Ulva::hwStatusSuccess);
}

// ---- assertions of the sweep ------------------------------------------------------

class WexIntfEncapSmSweepDeathTest : public EncapSmTest {
protected:
   // Fills everything the sweep would clear and watches the notifying ones, so
   // that a dying sweep shows "changed ..." if it cleared anything first.
   void fillAndWatch() {
      Ulva::IntfEncap const e = encap("Ethernet1", 100);
      sm().hwConfigCollIs()->configIs(plainConfig(e, "Vlan100", 7));
      sm().hwStatusCollIs("encapHwStatus")->hwStatusIs(e, Ulva::hwStatusSuccess);
      sm().portToHwConfigListIs(id("Ethernet1"))->hwConfigIs(plainConfig(e, "Vlan100", 7));
      sm().intfEncapSvcIntfCachedIs(e, id("Vlan100"));
      watches_.push_back(watch(sm().hwConfigColl(), "hwConfigColl"));
      watches_.push_back(watch(sm().hwStatusColl(), "hwStatusColl"));
      published->hwStatusIs(e, Ulva::hwStatusSuccess);
      svcStatus->hwStatusIs(id("Vlan100"), Ulva::hwStatusSuccess);
      watches_.push_back(watch(published.ptr(), "intfEncapHwStatus"));
      watches_.push_back(watch(svcStatus.ptr(), "serviceIntfHwStatus"));
   }
   std::vector<Fen::Ptr<Listener>> watches_;
};

TEST_F(WexIntfEncapSmSweepDeathTest, NullWcsdEndsTheSweepBeforeAnythingIsCleared) {
   buildRecording(Nulls{.wcsd = true});
   fillAndWatch();
   EXPECT_DEATH(sm().handleInitialized(), AllOf(HasSubstr("wcsd()"), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapSmSweepDeathTest, NullServiceIntfFwdInfoEndsTheSweepBeforeAnythingIsCleared) {
   buildRecording(Nulls{.fwdInfo = true});
   fillAndWatch();
   EXPECT_DEATH(sm().handleInitialized(),
                AllOf(HasSubstr("serviceIntfFwdInfo()"), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapSmSweepDeathTest, NullServiceIntfHwStatusEndsTheSweepBeforeAnythingIsCleared) {
   buildRecording(Nulls{.svcStatus = true});
   fillAndWatch();
   EXPECT_DEATH(sm().handleInitialized(),
                AllOf(HasSubstr("serviceIntfHwStatus()"), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapSmSweepDeathTest, NullIntfEncapServiceIntfEndsTheSweepBeforeAnythingIsCleared) {
   buildRecording(Nulls{.wanted = true});
   fillAndWatch();
   EXPECT_DEATH(sm().handleInitialized(),
                AllOf(HasSubstr("intfEncapServiceIntf()"), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapSmSweepDeathTest, NullIntfEncapHwStatusEndsTheSweepBeforeAnythingIsCleared) {
   buildRecording(Nulls{.published = true});
   fillAndWatch();
   EXPECT_DEATH(sm().handleInitialized(),
                AllOf(HasSubstr("intfEncapHwStatus()"), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapSmSweepDeathTest, ReactorWithoutNotifierCountsAsMissingInput) {
   buildRecording();
   fillAndWatch();
   wcsdReactor(sm())->notifierIs(Fen::Ptr<Fen::PtrInterface const>());
   EXPECT_DEATH(sm().handleInitialized(), AllOf(HasSubstr("wcsd()"), Not(HasSubstr("changed"))));
}

TEST_F(WexIntfEncapSmSweepDeathTest, AssertionsAreCheckedInTheirOrder) {
   // With the first k inputs present and the rest null, assertion k fires.
   char const* const messages[] = {"wcsd()", "serviceIntfFwdInfo()", "serviceIntfHwStatus()",
                                   "intfEncapServiceIntf()", "intfEncapHwStatus()"};
   for (int present = 0; present < 5; ++present) {
      Nulls nulls;
      nulls.wcsd = present < 1;
      nulls.fwdInfo = present < 2;
      nulls.svcStatus = present < 3;
      nulls.wanted = present < 4;
      nulls.published = true;
      buildRecording(nulls);
      EXPECT_DEATH(sm().handleInitialized(), HasSubstr(messages[present])) << present;
   }
}

}  // namespace
}  // namespace TestSupport
