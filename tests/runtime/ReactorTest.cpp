// Reactors and the state machine frame: how a notification becomes a handler
// call, how a shared input is replaced or dropped at run time, and what a zombie
// reactor, a detached reactor and a reactor that outlives its state machine still
// do. The state machine below has three inputs, each heard by a nested reactor;
// its handlers only write down what they saw.
#include <gtest/gtest.h>

#include <cstddef>
#include <tuple>
#include <vector>

#include "Fen/Reactor.h"
#include "Interface/SubIntfStatus.h"
#include "Kestin/IntfId.h"
#include "Ulva/Collections.h"
#include "Wex/WexCommonSmData.h"
#include "WexVlanMapping/WexIntfEncap.h"

namespace {

using WexVlanMapping::WexDynamicIntfEncapColl;
using WexVlanMapping::WexDynamicIntfEncapInfo;

// What the handlers saw. The test owns it, so it outlives the state machine.
struct HandlerLog {
   struct Entry {
      Ulva::IntfEncap key;
      bool present;  // whether the input held the key during the handler
   };
   std::vector<Entry> dynamicIntfEncap;
   // One per sweep: the input standing in the state machine's slot at the time.
   std::vector<WexDynamicIntfEncapColl const*> sweeps;
   std::vector<Ulva::IntfEncap> intfEncapServiceIntf;
   std::vector<Kestin::IntfId> portToLag;

   std::size_t handlerCalls() const {
      return dynamicIntfEncap.size() + sweeps.size() + intfEncapServiceIntf.size() +
             portToLag.size();
   }
};

class TestEncapSm : public Fen::StateMachine<TestEncapSm> {
   FEN_COUNTED_CLASS("ReactorTest::TestEncapSm")

public:
   // Handlers, declared before the reactors that name them.
   void handleDynamicIntfEncap(Ulva::IntfEncap const& key) {
      WexDynamicIntfEncapColl const* input = dynamicIntfEncap();
      log_->dynamicIntfEncap.push_back({key, input != nullptr && input->entryHas(key)});
   }
   // The sweep of the whole input.
   void handleDynamicIntfEncap() { log_->sweeps.push_back(dynamicIntfEncap()); }
   void handleIntfEncapServiceIntf(Ulva::IntfEncap const& key) {
      log_->intfEncapServiceIntf.push_back(key);
   }
   void handlePortToLag(Kestin::IntfId port) { log_->portToLag.push_back(port); }

   void fen_handleDynamicIntfEncap_entry(Ulva::IntfEncap const& key) {
      handleDynamicIntfEncap(key);
   }
   void fen_handleIntfEncapServiceIntf_serviceIntf(Ulva::IntfEncap const& key) {
      handleIntfEncapServiceIntf(key);
   }
   void fen_handleWcsd_portToLag(Kestin::IntfId const& port) { handlePortToLag(port); }

   // Hears `entry`; a new input is swept as a whole.
   class FenDynamicIntfEncap
       : public Fen::Reactor<FenDynamicIntfEncap, TestEncapSm, WexDynamicIntfEncapColl,
                             WexDynamicIntfEncapColl::entryAttributeId, Ulva::IntfEncap,
                             &TestEncapSm::fen_handleDynamicIntfEncap_entry> {
      FEN_COUNTED_CLASS("ReactorTest::TestEncapSm::FenDynamicIntfEncap")

   public:
      using Reactor::Reactor;
      void onNotifierSwitched() {
         if (!fenMarkedForDeletion() && owner) owner->handleDynamicIntfEncap();
      }
   };

   // Hears `serviceIntf`; nothing to do on a new input.
   class FenIntfEncapServiceIntf
       : public Fen::Reactor<FenIntfEncapServiceIntf, TestEncapSm, Ulva::IntfEncapServiceIntfColl,
                             Ulva::IntfEncapServiceIntfColl::serviceIntfAttributeId,
                             Ulva::IntfEncap,
                             &TestEncapSm::fen_handleIntfEncapServiceIntf_serviceIntf> {
      FEN_COUNTED_CLASS("ReactorTest::TestEncapSm::FenIntfEncapServiceIntf")

   public:
      using Reactor::Reactor;
   };

   // Hears `portToLag` of the common data; its other attributes are not its own.
   class FenWcsd : public Fen::Reactor<FenWcsd, TestEncapSm, Wex::WexCommonSmData,
                                       Wex::WexCommonSmData::portToLagAttributeId, Kestin::IntfId,
                                       &TestEncapSm::fen_handleWcsd_portToLag> {
      FEN_COUNTED_CLASS("ReactorTest::TestEncapSm::FenWcsd")

   public:
      using Reactor::Reactor;
   };

   static Fen::Ptr<TestEncapSm> TestEncapSmIs(
       Fen::Ptr<WexDynamicIntfEncapColl const> const& dynamicIntfEncap,
       Fen::Ptr<Ulva::IntfEncapServiceIntfColl const> const& intfEncapServiceIntf,
       Fen::Ptr<Wex::WexCommonSmData const> const& wcsd, HandlerLog* log) {
      return Fen::fenObjectIs<TestEncapSm>(dynamicIntfEncap, intfEncapServiceIntf, wcsd, log);
   }

   TestEncapSm(Fen::Ptr<WexDynamicIntfEncapColl const> const& dynamicIntfEncap,
               Fen::Ptr<Ulva::IntfEncapServiceIntfColl const> const& intfEncapServiceIntf,
               Fen::Ptr<Wex::WexCommonSmData const> const& wcsd, HandlerLog* log)
       : log_(log) {
      dynamicIntfEncap_.reactorIs(dynamicIntfEncap, this);
      intfEncapServiceIntf_.reactorIs(intfEncapServiceIntf, this);
      wcsd_.reactorIs(wcsd, this);
      initialized_ = true;
   }
   ~TestEncapSm() override { fenTeardownReactors(); }

   auto fenReactors() { return std::tie(dynamicIntfEncap_, intfEncapServiceIntf_, wcsd_); }

   WexDynamicIntfEncapColl const* dynamicIntfEncap() const { return dynamicIntfEncap_.notifier(); }
   void dynamicIntfEncapIs(Fen::Ptr<WexDynamicIntfEncapColl const> const& p) {
      dynamicIntfEncap_.notifierIs(this, p);
   }
   Fen::Ptr<WexDynamicIntfEncapColl const> dynamicIntfEncapDel() {
      return dynamicIntfEncap_.notifierDel(this);
   }
   FenDynamicIntfEncap* fenDynamicIntfEncap() const { return dynamicIntfEncap_.reactor(); }
   FenIntfEncapServiceIntf* fenIntfEncapServiceIntf() const {
      return intfEncapServiceIntf_.reactor();
   }
   FenWcsd* fenWcsd() const { return wcsd_.reactor(); }
   bool initialized() const { return initialized_; }

private:
   Fen::ReactorSlot<FenDynamicIntfEncap> dynamicIntfEncap_;
   Fen::ReactorSlot<FenIntfEncapServiceIntf> intfEncapServiceIntf_;
   Fen::ReactorSlot<FenWcsd> wcsd_;
   bool initialized_ = false;
   HandlerLog* log_;
};

// A state machine whose only reactors sit in a collection: one per hardware
// status entry, keyed by the entry's interface.
class TestEntrySm : public Fen::StateMachine<TestEntrySm> {
   FEN_COUNTED_CLASS("ReactorTest::TestEntrySm")

public:
   void handleHwStatusEntry(Kestin::IntfId intfId) { log_->push_back(intfId); }
   void fen_handleHwStatusEntry_hardwareSuccess(Kestin::IntfId const& intfId) {
      handleHwStatusEntry(intfId);
   }

   class FenHwStatusEntry
       : public Fen::Reactor<FenHwStatusEntry, TestEntrySm, Interface::Hardware::SubIntfStatus,
                             Interface::Hardware::SubIntfStatus::hardwareSuccessAttributeId,
                             Kestin::IntfId,
                             &TestEntrySm::fen_handleHwStatusEntry_hardwareSuccess> {
      FEN_COUNTED_CLASS("ReactorTest::TestEntrySm::FenHwStatusEntry")

   public:
      using Reactor::Reactor;
      Kestin::IntfId intfId() const { return notifier() ? notifier()->intfId() : Kestin::IntfId(); }
      // A scalar attribute carries no key: the entry's own interface stands in.
      void onAttribute(Fen::AttributeId id, void const*) override {
         Kestin::IntfId const key = intfId();
         Reactor::onAttribute(id, &key);
      }
   };
   struct EntryKeyFunktor {
      Kestin::IntfId operator()(Fen::Ptr<FenHwStatusEntry> const& r) const { return r->intfId(); }
   };
   struct FenFenHwStatusEntry {
      static constexpr std::uint32_t salt = 0xd851a8e7;
      using KeyFunktor = EntryKeyFunktor;
   };
   using EntryMap =
       Fen::HashMap2018<FenFenHwStatusEntry, Kestin::IntfId, Fen::Ptr<FenHwStatusEntry>>;

   static Fen::Ptr<TestEntrySm> TestEntrySmIs(std::vector<Kestin::IntfId>* log) {
      return Fen::fenObjectIs<TestEntrySm>(log);
   }
   explicit TestEntrySm(std::vector<Kestin::IntfId>* log) : log_(log) {}
   ~TestEntrySm() override { fenTeardownReactors(); }

   auto fenReactors() { return std::tie(hwStatusEntry_); }

   void hwStatusEntryIs(Fen::Ptr<Interface::Hardware::SubIntfStatus const> const& status) {
      auto entry = Fen::fenObjectIs<FenHwStatusEntry>(status, this);
      hwStatusEntry_.memberIs(entry);
   }
   FenHwStatusEntry* hwStatusEntry(Kestin::IntfId intfId) const {
      Fen::Ptr<FenHwStatusEntry> const* node = hwStatusEntry_[intfId];
      return node ? node->ptr() : nullptr;
   }

private:
   EntryMap hwStatusEntry_;
   std::vector<Kestin::IntfId>* log_;
};

using DynamicReactor = TestEncapSm::FenDynamicIntfEncap;

Ulva::IntfEncap encapOf(char const* intf, std::uint32_t outerVid) {
   return Ulva::IntfEncap(Kestin::IntfId(intf),
                          Ulva::VlanTagEncap(Ulva::vlanTag(outerVid), Ulva::VlanTag()));
}

WexDynamicIntfEncapInfo entryOf(char const* intf, std::uint32_t outerVid) {
   return WexDynamicIntfEncapInfo(encapOf(intf, outerVid));
}

// Inputs, a log and a state machine listening to all three inputs.
class ReactorFixture : public testing::Test {
protected:
   Fen::Ptr<TestEncapSm> smOn(Fen::Ptr<WexDynamicIntfEncapColl const> const& dynamic,
                              HandlerLog* handlerLog) {
      return TestEncapSm::TestEncapSmIs(dynamic, serviceIntf, wcsd, handlerLog);
   }

   Fen::Ptr<WexDynamicIntfEncapColl> dynamic = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   Fen::Ptr<WexDynamicIntfEncapColl> otherDynamic =
       WexVlanMapping::wexDynamicIntfEncapCollFactory();
   Fen::Ptr<Ulva::IntfEncapServiceIntfColl> serviceIntf = Ulva::intfEncapServiceIntfCollFactory();
   Fen::Ptr<Wex::WexCommonSmData> wcsd = Wex::wexCommonSmDataFactory();
   HandlerLog log;
   Fen::Ptr<TestEncapSm> sm = smOn(dynamic, &log);
};

using ReactorConstruction = ReactorFixture;
using ReactorOnAttribute = ReactorFixture;
using ReactorNotifierIs = ReactorFixture;
using ReactorZombie = ReactorFixture;
using StateMachineReactors = ReactorFixture;
using ReactorSlotReplaceInput = ReactorFixture;
using ReactorSlotDeleteInput = ReactorFixture;
using ReactorOutlivingStateMachine = ReactorFixture;

}  // namespace

// ---- construction ---------------------------------------------------------

TEST_F(ReactorConstruction, RegistersWithItsInputActivatesAndCallsNoHandler) {
   DynamicReactor* r = sm->fenDynamicIntfEncap();
   ASSERT_NE(r, nullptr);
   EXPECT_EQ(r->notifier(), dynamic.ptr());
   EXPECT_EQ(r->owner, sm.ptr());
   EXPECT_TRUE(r->isRegisteredNotifiee());
   EXPECT_TRUE(r->hasNotificationActive());
   EXPECT_FALSE(r->fenMarkedForDeletion());
   EXPECT_EQ(dynamic->notifiees().size(), 1u);
   EXPECT_EQ(serviceIntf->notifiees().size(), 1u);
   EXPECT_EQ(wcsd->notifiees().size(), 1u);
   EXPECT_TRUE(sm->initialized());
   EXPECT_TRUE(sm->hasNotificationActive());
   EXPECT_EQ(log.handlerCalls(), 0u);
}

TEST_F(ReactorConstruction, InputsFullAtStartCallNoHandlerUntilTheyChange) {
   dynamic->entryIs(entryOf("Ethernet1", 10));
   HandlerLog fullLog;
   auto full = smOn(dynamic, &fullLog);
   EXPECT_EQ(fullLog.handlerCalls(), 0u);
   EXPECT_EQ(dynamic->notifiees().size(), 2u);
}

TEST_F(ReactorConstruction, NullInputLeavesItsSlotEmpty) {
   HandlerLog emptyLog;
   auto bare = TestEncapSm::TestEncapSmIs(nullptr, nullptr, nullptr, &emptyLog);
   EXPECT_EQ(bare->fenDynamicIntfEncap(), nullptr);
   EXPECT_EQ(bare->fenIntfEncapServiceIntf(), nullptr);
   EXPECT_EQ(bare->fenWcsd(), nullptr);
   EXPECT_EQ(bare->dynamicIntfEncap(), nullptr);
   EXPECT_EQ(emptyLog.handlerCalls(), 0u);
}

// ---- onAttribute ------------------------------------------------------------

TEST_F(ReactorOnAttribute, MemberChangeReachesHandlerWithKeyAfterTheChange) {
   auto const key = encapOf("Ethernet1", 10);
   dynamic->entryIs(WexDynamicIntfEncapInfo(key));
   dynamic->entryDel(key);
   ASSERT_EQ(log.dynamicIntfEncap.size(), 2u);
   EXPECT_EQ(log.dynamicIntfEncap[0].key, key);
   EXPECT_TRUE(log.dynamicIntfEncap[0].present);
   EXPECT_EQ(log.dynamicIntfEncap[1].key, key);
   EXPECT_FALSE(log.dynamicIntfEncap[1].present);
   EXPECT_TRUE(log.sweeps.empty());
}

TEST_F(ReactorOnAttribute, EachReactorHearsOnlyItsOwnInput) {
   auto const key = encapOf("Ethernet2", 20);
   serviceIntf->serviceIntfIs(key, Kestin::IntfId("Ethernet2.20"));
   wcsd->portToLagIs(Kestin::IntfId("Ethernet3"), Kestin::IntfId("Port-Channel1"));
   ASSERT_EQ(log.intfEncapServiceIntf.size(), 1u);
   EXPECT_EQ(log.intfEncapServiceIntf[0], key);
   ASSERT_EQ(log.portToLag.size(), 1u);
   EXPECT_EQ(log.portToLag[0], Kestin::IntfId("Ethernet3"));
   EXPECT_TRUE(log.dynamicIntfEncap.empty());
}

TEST_F(ReactorOnAttribute, OtherAttributeIdDoesNothingWhileActive) {
   DynamicReactor* r = sm->fenDynamicIntfEncap();
   ASSERT_TRUE(r->hasNotificationActive());
   auto const key = encapOf("Ethernet1", 10);
   r->onAttribute(WexDynamicIntfEncapColl::entryAttributeId + 1, &key);
   r->onAttribute(0, &key);
   EXPECT_EQ(log.handlerCalls(), 0u);

   r->onAttribute(WexDynamicIntfEncapColl::entryAttributeId, &key);
   ASSERT_EQ(log.dynamicIntfEncap.size(), 1u);
   EXPECT_EQ(log.dynamicIntfEncap[0].key, key);
}

TEST_F(ReactorOnAttribute, OtherAttributesOfTheSameNotifierAreIgnored) {
   Wex::WexLagPortList members;
   members.portIs(Kestin::IntfId("Ethernet3"), Wex::WexLagPort());
   wcsd->lagToPortIs(Kestin::IntfId("Port-Channel1"), members);  // 272
   wcsd->multiEncapIntfIs(Kestin::IntfId("Ethernet3"));          // 273
   EXPECT_EQ(log.handlerCalls(), 0u);

   wcsd->portToLagIs(Kestin::IntfId("Ethernet3"), Kestin::IntfId("Port-Channel1"));  // 271
   ASSERT_EQ(log.portToLag.size(), 1u);
   EXPECT_EQ(log.portToLag[0], Kestin::IntfId("Ethernet3"));
}

TEST_F(ReactorOnAttribute, ReactorMarkedForDeletionCallsNoHandlerEvenWhenNotified) {
   DynamicReactor* r = sm->fenDynamicIntfEncap();
   r->fenDoZombieReactors(true);
   // Open the gate again so that the notification does reach the reactor.
   r->hasNotificationActiveIs(true);
   ASSERT_TRUE(r->isRegisteredNotifiee());
   ASSERT_TRUE(r->fenMarkedForDeletion());

   auto const key = encapOf("Ethernet1", 10);
   dynamic->entryIs(WexDynamicIntfEncapInfo(key));
   r->onAttribute(WexDynamicIntfEncapColl::entryAttributeId, &key);
   EXPECT_EQ(log.handlerCalls(), 0u);
}

// ---- notifierIs -------------------------------------------------------------

TEST_F(ReactorNotifierIs, SameNotifierDoesNothing) {
   DynamicReactor* r = sm->fenDynamicIntfEncap();
   r->notifierIs(dynamic);
   EXPECT_TRUE(log.sweeps.empty());
   EXPECT_EQ(dynamic->notifiees().size(), 1u);
   EXPECT_EQ(r->notifier(), dynamic.ptr());

   dynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_EQ(log.dynamicIntfEncap.size(), 1u);  // heard once, not twice
}

TEST_F(ReactorNotifierIs, NullAgainOnReactorWithoutNotifierDoesNothing) {
   auto r = Fen::fenObjectIs<DynamicReactor>(Fen::Ptr<WexDynamicIntfEncapColl const>(), sm.ptr());
   r->notifierIs(nullptr);
   EXPECT_TRUE(log.sweeps.empty());
   EXPECT_EQ(r->notifier(), nullptr);
   EXPECT_FALSE(r->isRegisteredNotifiee());
}

TEST_F(ReactorNotifierIs, NewNotifierMovesRegistrationAndRescans) {
   DynamicReactor* r = sm->fenDynamicIntfEncap();
   r->notifierIs(otherDynamic);
   EXPECT_EQ(r->notifier(), otherDynamic.ptr());
   EXPECT_EQ(dynamic->notifiees().size(), 0u);
   EXPECT_EQ(otherDynamic->notifiees().size(), 1u);
   ASSERT_EQ(log.sweeps.size(), 1u);
   EXPECT_EQ(log.sweeps[0], otherDynamic.ptr());

   dynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_TRUE(log.dynamicIntfEncap.empty());
   otherDynamic->entryIs(entryOf("Ethernet2", 20));
   ASSERT_EQ(log.dynamicIntfEncap.size(), 1u);
   EXPECT_EQ(log.dynamicIntfEncap[0].key, encapOf("Ethernet2", 20));
}

TEST_F(ReactorNotifierIs, ObjectOfWrongClassActsAsNull) {
   auto wrongClass = Ulva::intfEncapServiceIntfCollFactory();
   DynamicReactor* r = sm->fenDynamicIntfEncap();
   r->notifierIs(wrongClass);

   HandlerLog nullLog;
   auto nullSm = smOn(dynamic, &nullLog);
   DynamicReactor* nullReactor = nullSm->fenDynamicIntfEncap();
   nullReactor->notifierIs(nullptr);

   EXPECT_EQ(r->notifier(), nullptr);
   EXPECT_EQ(nullReactor->notifier(), nullptr);
   EXPECT_FALSE(r->isRegisteredNotifiee());
   EXPECT_FALSE(nullReactor->isRegisteredNotifiee());
   EXPECT_EQ(wrongClass->notifiees().size(), 0u);
   EXPECT_EQ(dynamic->notifiees().size(), 0u);
   // Both ran the same variant work, with no input in the slot.
   EXPECT_EQ(log.sweeps, std::vector<WexDynamicIntfEncapColl const*>{nullptr});
   EXPECT_EQ(nullLog.sweeps, std::vector<WexDynamicIntfEncapColl const*>{nullptr});

   wrongClass->serviceIntfIs(encapOf("Ethernet1", 10), Kestin::IntfId("Ethernet1.10"));
   dynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_TRUE(log.dynamicIntfEncap.empty());
   EXPECT_TRUE(nullLog.dynamicIntfEncap.empty());
}

TEST_F(ReactorNotifierIs, RescanIsSkippedWhileMarkedForDeletion) {
   DynamicReactor* r = sm->fenDynamicIntfEncap();
   r->fenDoZombieReactors(true);
   r->notifierIs(otherDynamic);
   EXPECT_TRUE(log.sweeps.empty());
   EXPECT_EQ(r->notifier(), otherDynamic.ptr());
   EXPECT_TRUE(r->isRegisteredNotifiee());
   EXPECT_EQ(otherDynamic->notifiees().size(), 1u);
   EXPECT_TRUE(r->fenMarkedForDeletion());
}

TEST_F(ReactorNotifierIs, ReactorWithoutVariantWorkOnlyMovesRegistration) {
   auto otherServiceIntf = Ulva::intfEncapServiceIntfCollFactory();
   TestEncapSm::FenIntfEncapServiceIntf* r = sm->fenIntfEncapServiceIntf();
   r->notifierIs(otherServiceIntf);
   EXPECT_EQ(log.handlerCalls(), 0u);
   EXPECT_EQ(serviceIntf->notifiees().size(), 0u);
   EXPECT_EQ(otherServiceIntf->notifiees().size(), 1u);

   otherServiceIntf->serviceIntfIs(encapOf("Ethernet1", 10), Kestin::IntfId("Ethernet1.10"));
   EXPECT_EQ(log.intfEncapServiceIntf.size(), 1u);
}

// ---- fenDoZombieReactors on a reactor -----------------------------------------

TEST_F(ReactorZombie, ZombieTurnsNotificationOffAndBackOn) {
   DynamicReactor* r = sm->fenDynamicIntfEncap();
   r->fenDoZombieReactors(true);
   EXPECT_TRUE(r->fenMarkedForDeletion());
   EXPECT_FALSE(r->hasNotificationActive());
   EXPECT_TRUE(r->isRegisteredNotifiee());
   dynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_EQ(log.handlerCalls(), 0u);

   r->fenDoZombieReactors(false);
   EXPECT_FALSE(r->fenMarkedForDeletion());
   EXPECT_TRUE(r->hasNotificationActive());
   dynamic->entryIs(entryOf("Ethernet2", 20));
   ASSERT_EQ(log.dynamicIntfEncap.size(), 1u);
   EXPECT_EQ(log.dynamicIntfEncap[0].key, encapOf("Ethernet2", 20));
}

TEST_F(ReactorZombie, ReactorWithNullNotifierSurvivesAndKeepsItsNotificationBit) {
   auto r = Fen::fenObjectIs<DynamicReactor>(Fen::Ptr<WexDynamicIntfEncapColl const>(), sm.ptr());
   ASSERT_EQ(r->notifier(), nullptr);
   ASSERT_TRUE(r->hasNotificationActive());

   r->fenDoZombieReactors(true);
   EXPECT_TRUE(r->fenMarkedForDeletion());
   EXPECT_TRUE(r->hasNotificationActive());  // hasNotificationActiveIs was skipped

   r->hasNotificationActiveIs(false);
   r->fenDoZombieReactors(false);
   EXPECT_FALSE(r->fenMarkedForDeletion());
   EXPECT_FALSE(r->hasNotificationActive());
}

TEST_F(ReactorZombie, SameValueTwiceActsOnce) {
   DynamicReactor* r = sm->fenDynamicIntfEncap();
   r->fenDoZombieReactors(true);
   ASSERT_FALSE(r->hasNotificationActive());
   // A second call with the same value must return before touching the bit.
   r->hasNotificationActiveIs(true);
   r->fenDoZombieReactors(true);
   EXPECT_TRUE(r->hasNotificationActive());
   EXPECT_TRUE(r->fenMarkedForDeletion());

   r->fenDoZombieReactors(false);
   ASSERT_TRUE(r->hasNotificationActive());
   r->hasNotificationActiveIs(false);
   r->fenDoZombieReactors(false);
   EXPECT_FALSE(r->hasNotificationActive());
   EXPECT_FALSE(r->fenMarkedForDeletion());
}

TEST_F(ReactorZombie, ReactorOfLiveStateMachineMayBeZombieAlone) {
   sm->fenDynamicIntfEncap()->fenDoZombieReactors(true);
   EXPECT_FALSE(sm->fenMarkedForDeletion());
   EXPECT_FALSE(sm->fenIntfEncapServiceIntf()->fenMarkedForDeletion());
   serviceIntf->serviceIntfIs(encapOf("Ethernet1", 10), Kestin::IntfId("Ethernet1.10"));
   dynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_EQ(log.intfEncapServiceIntf.size(), 1u);
   EXPECT_TRUE(log.dynamicIntfEncap.empty());
}

// ---- the state machine over its reactors ------------------------------------

TEST_F(StateMachineReactors, NotificationOffAndOnReachesEveryReactor) {
   sm->hasNotificationActiveIs(false);
   EXPECT_FALSE(sm->hasNotificationActive());
   EXPECT_FALSE(sm->fenDynamicIntfEncap()->hasNotificationActive());
   EXPECT_FALSE(sm->fenIntfEncapServiceIntf()->hasNotificationActive());
   EXPECT_FALSE(sm->fenWcsd()->hasNotificationActive());
   dynamic->entryIs(entryOf("Ethernet1", 10));
   wcsd->portToLagIs(Kestin::IntfId("Ethernet3"), Kestin::IntfId("Port-Channel1"));
   EXPECT_EQ(log.handlerCalls(), 0u);

   sm->hasNotificationActiveIs(true);
   EXPECT_TRUE(sm->hasNotificationActive());
   EXPECT_TRUE(sm->fenDynamicIntfEncap()->hasNotificationActive());
   EXPECT_TRUE(sm->fenIntfEncapServiceIntf()->hasNotificationActive());
   EXPECT_TRUE(sm->fenWcsd()->hasNotificationActive());
   dynamic->entryIs(entryOf("Ethernet2", 20));
   EXPECT_EQ(log.dynamicIntfEncap.size(), 1u);
}

TEST_F(StateMachineReactors, NotificationValueAlreadySetDoesNotCallReactors) {
   ASSERT_TRUE(sm->hasNotificationActive());
   sm->fenWcsd()->hasNotificationActiveIs(false);
   sm->hasNotificationActiveIs(true);
   EXPECT_FALSE(sm->fenWcsd()->hasNotificationActive());

   sm->hasNotificationActiveIs(false);
   ASSERT_FALSE(sm->fenWcsd()->hasNotificationActive());
   sm->fenWcsd()->hasNotificationActiveIs(true);
   sm->hasNotificationActiveIs(false);
   EXPECT_TRUE(sm->fenWcsd()->hasNotificationActive());
   EXPECT_FALSE(sm->fenDynamicIntfEncap()->hasNotificationActive());
}

TEST_F(StateMachineReactors, NotificationSkipsEmptySlots) {
   HandlerLog bareLog;
   auto bare = TestEncapSm::TestEncapSmIs(dynamic, nullptr, nullptr, &bareLog);
   bare->hasNotificationActiveIs(false);
   EXPECT_FALSE(bare->fenDynamicIntfEncap()->hasNotificationActive());
   bare->hasNotificationActiveIs(true);
   EXPECT_TRUE(bare->fenDynamicIntfEncap()->hasNotificationActive());
}

TEST_F(StateMachineReactors, ZombieMarksEveryReactorAndItselfAndComesBack) {
   sm->fenDoZombieReactors(true);
   EXPECT_TRUE(sm->fenMarkedForDeletion());
   for (Fen::PtrInterface::NotifieeConst* r :
        {static_cast<Fen::PtrInterface::NotifieeConst*>(sm->fenDynamicIntfEncap()),
         static_cast<Fen::PtrInterface::NotifieeConst*>(sm->fenIntfEncapServiceIntf()),
         static_cast<Fen::PtrInterface::NotifieeConst*>(sm->fenWcsd())}) {
      EXPECT_TRUE(r->fenMarkedForDeletion());
      EXPECT_FALSE(r->hasNotificationActive());
   }
   dynamic->entryIs(entryOf("Ethernet1", 10));
   serviceIntf->serviceIntfIs(encapOf("Ethernet1", 10), Kestin::IntfId("Ethernet1.10"));
   wcsd->portToLagIs(Kestin::IntfId("Ethernet3"), Kestin::IntfId("Port-Channel1"));
   EXPECT_EQ(log.handlerCalls(), 0u);

   sm->fenDoZombieReactors(false);
   EXPECT_FALSE(sm->fenMarkedForDeletion());
   for (Fen::PtrInterface::NotifieeConst* r :
        {static_cast<Fen::PtrInterface::NotifieeConst*>(sm->fenDynamicIntfEncap()),
         static_cast<Fen::PtrInterface::NotifieeConst*>(sm->fenIntfEncapServiceIntf()),
         static_cast<Fen::PtrInterface::NotifieeConst*>(sm->fenWcsd())}) {
      EXPECT_FALSE(r->fenMarkedForDeletion());
      EXPECT_TRUE(r->hasNotificationActive());
   }
   wcsd->portToLagIs(Kestin::IntfId("Ethernet4"), Kestin::IntfId("Port-Channel1"));
   EXPECT_EQ(log.portToLag.size(), 1u);
}

TEST_F(StateMachineReactors, ZombieTwiceActsOnce) {
   sm->fenDoZombieReactors(true);
   DynamicReactor* r = sm->fenDynamicIntfEncap();
   r->fenDoZombieReactors(false);
   sm->fenDoZombieReactors(true);
   EXPECT_FALSE(r->fenMarkedForDeletion());  // the second call did not reach it
   EXPECT_TRUE(sm->fenMarkedForDeletion());
}

TEST_F(StateMachineReactors, ZombieSkipsEmptySlotAndReactorWithoutNotifier) {
   HandlerLog bareLog;
   auto bare = TestEncapSm::TestEncapSmIs(dynamic, nullptr, nullptr, &bareLog);
   DynamicReactor* r = bare->fenDynamicIntfEncap();
   r->notifierIs(nullptr);
   ASSERT_TRUE(r->hasNotificationActive());

   bare->fenDoZombieReactors(true);
   EXPECT_TRUE(bare->fenMarkedForDeletion());
   EXPECT_TRUE(r->fenMarkedForDeletion());
   EXPECT_TRUE(r->hasNotificationActive());
   bare->fenDoZombieReactors(false);
   EXPECT_FALSE(r->fenMarkedForDeletion());
}

TEST_F(StateMachineReactors, DestroyedStateMachineLeavesHeldReactorsOwnerless) {
   Fen::Ptr<DynamicReactor> dynamicReactor(sm->fenDynamicIntfEncap());
   Fen::Ptr<TestEncapSm::FenWcsd> wcsdReactor(sm->fenWcsd());
   sm = nullptr;

   EXPECT_EQ(dynamicReactor->owner, nullptr);
   EXPECT_EQ(wcsdReactor->owner, nullptr);
   EXPECT_TRUE(dynamicReactor->fenMarkedForDeletion());
   EXPECT_FALSE(dynamicReactor->hasNotificationActive());
   EXPECT_TRUE(wcsdReactor->fenMarkedForDeletion());
   EXPECT_FALSE(wcsdReactor->hasNotificationActive());

   // Even with the gate forced open, nothing reaches a handler.
   dynamicReactor->hasNotificationActiveIs(true);
   wcsdReactor->hasNotificationActiveIs(true);
   dynamic->entryIs(entryOf("Ethernet1", 10));
   wcsd->portToLagIs(Kestin::IntfId("Ethernet3"), Kestin::IntfId("Port-Channel1"));
   EXPECT_EQ(log.handlerCalls(), 0u);
}

TEST_F(StateMachineReactors, DestroyedStateMachineReleasesReactorsNobodyHolds) {
   sm = nullptr;
   EXPECT_EQ(dynamic->notifiees().size(), 0u);
   EXPECT_EQ(serviceIntf->notifiees().size(), 0u);
   EXPECT_EQ(wcsd->notifiees().size(), 0u);
   EXPECT_EQ(dynamic->references(), 1u);
   dynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_EQ(log.handlerCalls(), 0u);
}

// ---- replacing a shared input at run time -------------------------------------

TEST_F(ReactorSlotReplaceInput, SameInputReturnsAtOnce) {
   DynamicReactor* before = sm->fenDynamicIntfEncap();
   sm->dynamicIntfEncapIs(dynamic);
   EXPECT_EQ(sm->fenDynamicIntfEncap(), before);
   EXPECT_TRUE(log.sweeps.empty());
   EXPECT_EQ(dynamic->notifiees().size(), 1u);
}

TEST_F(ReactorSlotReplaceInput, NullDetachesWithoutRescanOrNewReactor) {
   Fen::Ptr<DynamicReactor> former(sm->fenDynamicIntfEncap());
   sm->dynamicIntfEncapIs(nullptr);
   EXPECT_EQ(sm->fenDynamicIntfEncap(), nullptr);
   EXPECT_EQ(sm->dynamicIntfEncap(), nullptr);
   EXPECT_TRUE(former->fenMarkedForDeletion());
   EXPECT_FALSE(former->hasNotificationActive());
   EXPECT_TRUE(log.sweeps.empty());

   dynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_EQ(log.handlerCalls(), 0u);

   former = nullptr;
   EXPECT_EQ(dynamic->notifiees().size(), 0u);
}

TEST_F(ReactorSlotReplaceInput, NullOnEmptySlotLeavesItEmpty) {
   sm->dynamicIntfEncapIs(nullptr);
   sm->dynamicIntfEncapIs(nullptr);
   EXPECT_EQ(sm->fenDynamicIntfEncap(), nullptr);
   EXPECT_EQ(log.handlerCalls(), 0u);
}

TEST_F(ReactorSlotReplaceInput, NewInputReusesReactorAndRescansIt) {
   DynamicReactor* before = sm->fenDynamicIntfEncap();
   otherDynamic->entryIs(entryOf("Ethernet5", 50));
   sm->dynamicIntfEncapIs(otherDynamic);

   EXPECT_EQ(sm->fenDynamicIntfEncap(), before);
   EXPECT_EQ(sm->dynamicIntfEncap(), otherDynamic.ptr());
   EXPECT_EQ(log.sweeps, std::vector<WexDynamicIntfEncapColl const*>{otherDynamic.ptr()});
   EXPECT_EQ(dynamic->notifiees().size(), 0u);
   EXPECT_EQ(otherDynamic->notifiees().size(), 1u);
   EXPECT_TRUE(before->hasNotificationActive());
   EXPECT_FALSE(before->fenMarkedForDeletion());
   EXPECT_EQ(before->owner, sm.ptr());

   dynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_TRUE(log.dynamicIntfEncap.empty());
   otherDynamic->entryIs(entryOf("Ethernet2", 20));
   ASSERT_EQ(log.dynamicIntfEncap.size(), 1u);
   EXPECT_EQ(log.dynamicIntfEncap[0].key, encapOf("Ethernet2", 20));
}

TEST_F(ReactorSlotReplaceInput, FirstInputMakesReactorThatStandsInSlotBeforeItsRescan) {
   HandlerLog bareLog;
   auto bare = TestEncapSm::TestEncapSmIs(nullptr, nullptr, nullptr, &bareLog);
   bare->dynamicIntfEncapIs(dynamic);

   DynamicReactor* r = bare->fenDynamicIntfEncap();
   ASSERT_NE(r, nullptr);
   // The sweep found the new input through the state machine's own slot.
   EXPECT_EQ(bareLog.sweeps, std::vector<WexDynamicIntfEncapColl const*>{dynamic.ptr()});
   EXPECT_EQ(r->notifier(), dynamic.ptr());
   EXPECT_EQ(r->owner, bare.ptr());
   EXPECT_TRUE(r->hasNotificationActive());
   EXPECT_FALSE(r->fenMarkedForDeletion());
   EXPECT_EQ(dynamic->notifiees().size(), 2u);  // the fixture's state machine and this one

   dynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_EQ(bareLog.dynamicIntfEncap.size(), 1u);
}

TEST_F(ReactorSlotReplaceInput, DetachThenAttachMakesFreshReactor) {
   Fen::Ptr<DynamicReactor> former(sm->fenDynamicIntfEncap());
   sm->dynamicIntfEncapIs(nullptr);
   sm->dynamicIntfEncapIs(dynamic);
   ASSERT_NE(sm->fenDynamicIntfEncap(), nullptr);
   EXPECT_NE(sm->fenDynamicIntfEncap(), former.ptr());
   EXPECT_EQ(log.sweeps.size(), 1u);
   EXPECT_TRUE(former->fenMarkedForDeletion());
   EXPECT_FALSE(sm->fenDynamicIntfEncap()->fenMarkedForDeletion());

   dynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_EQ(log.dynamicIntfEncap.size(), 1u);  // the zombie stays silent
}

TEST_F(ReactorSlotReplaceInput, InputAddedToZombieStateMachineGetsZombieReactor) {
   HandlerLog bareLog;
   auto bare = TestEncapSm::TestEncapSmIs(nullptr, nullptr, nullptr, &bareLog);
   bare->fenDoZombieReactors(true);
   bare->dynamicIntfEncapIs(dynamic);

   DynamicReactor* r = bare->fenDynamicIntfEncap();
   ASSERT_NE(r, nullptr);
   EXPECT_EQ(r->notifier(), dynamic.ptr());
   EXPECT_TRUE(r->fenMarkedForDeletion());
   EXPECT_FALSE(r->hasNotificationActive());

   bareLog = HandlerLog();
   dynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_EQ(bareLog.handlerCalls(), 0u);
}

TEST_F(ReactorSlotReplaceInput, ReplacedInputOfZombieStateMachineStaysZombieWithoutRescan) {
   sm->fenDoZombieReactors(true);
   DynamicReactor* r = sm->fenDynamicIntfEncap();
   sm->dynamicIntfEncapIs(otherDynamic);

   EXPECT_EQ(sm->fenDynamicIntfEncap(), r);
   EXPECT_EQ(r->notifier(), otherDynamic.ptr());
   EXPECT_TRUE(r->fenMarkedForDeletion());
   EXPECT_FALSE(r->hasNotificationActive());
   EXPECT_TRUE(log.sweeps.empty());
   otherDynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_EQ(log.handlerCalls(), 0u);
}

TEST_F(ReactorSlotReplaceInput, ReplacedInputOfLiveStateMachineRevivesZombieReactor) {
   DynamicReactor* r = sm->fenDynamicIntfEncap();
   r->fenDoZombieReactors(true);
   sm->dynamicIntfEncapIs(otherDynamic);

   EXPECT_TRUE(log.sweeps.empty());  // still marked when the switch ran
   EXPECT_FALSE(r->fenMarkedForDeletion());
   EXPECT_TRUE(r->hasNotificationActive());
   otherDynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_EQ(log.dynamicIntfEncap.size(), 1u);
}

// ---- deleting a shared input --------------------------------------------------

TEST_F(ReactorSlotDeleteInput, ReturnsFormerInputAndRetiresReactor) {
   Fen::Ptr<DynamicReactor> former(sm->fenDynamicIntfEncap());
   Fen::Ptr<WexDynamicIntfEncapColl const> const returned = sm->dynamicIntfEncapDel();

   EXPECT_EQ(returned.ptr(), dynamic.ptr());
   EXPECT_EQ(sm->fenDynamicIntfEncap(), nullptr);
   EXPECT_EQ(sm->dynamicIntfEncap(), nullptr);
   EXPECT_TRUE(former->fenMarkedForDeletion());
   EXPECT_EQ(former->owner, nullptr);
   EXPECT_FALSE(former->hasNotificationActive());
   EXPECT_TRUE(log.sweeps.empty());

   dynamic->entryIs(entryOf("Ethernet1", 10));
   EXPECT_EQ(log.handlerCalls(), 0u);
}

TEST_F(ReactorSlotDeleteInput, UnheldReactorGoesAwayWithItsRegistration) {
   (void)sm->dynamicIntfEncapDel();
   EXPECT_EQ(dynamic->notifiees().size(), 0u);
   EXPECT_EQ(dynamic->references(), 1u);
}

TEST_F(ReactorSlotDeleteInput, EmptySlotReturnsNull) {
   (void)sm->dynamicIntfEncapDel();
   EXPECT_EQ(sm->dynamicIntfEncapDel(), nullptr);
   EXPECT_EQ(log.handlerCalls(), 0u);
}

TEST_F(ReactorSlotDeleteInput, OtherReactorsKeepWorking) {
   (void)sm->dynamicIntfEncapDel();
   wcsd->portToLagIs(Kestin::IntfId("Ethernet3"), Kestin::IntfId("Port-Channel1"));
   EXPECT_EQ(log.portToLag.size(), 1u);
}

// ---- a reactor that outlives its state machine ----------------------------------

TEST_F(ReactorOutlivingStateMachine, RescanIsSkippedForWantOfOwner) {
   Fen::Ptr<DynamicReactor> r(sm->fenDynamicIntfEncap());
   sm = nullptr;
   ASSERT_EQ(r->owner, nullptr);
   // Back from the dead, so that only the missing owner can stop the rescan.
   r->fenDoZombieReactors(false);
   ASSERT_FALSE(r->fenMarkedForDeletion());

   r->notifierIs(otherDynamic);
   EXPECT_EQ(r->notifier(), otherDynamic.ptr());
   EXPECT_TRUE(r->isRegisteredNotifiee());
   EXPECT_EQ(log.handlerCalls(), 0u);
}

TEST_F(ReactorOutlivingStateMachine, KeepsItsInputAliveUntilReleased) {
   Fen::Ptr<DynamicReactor> r(sm->fenDynamicIntfEncap());
   WexDynamicIntfEncapColl const* const input = dynamic.ptr();
   sm = nullptr;
   dynamic = nullptr;
   EXPECT_EQ(r->notifier(), input);
   EXPECT_EQ(input->references(), 1u);
   r = nullptr;
}

// ---- reactors held in a collection of the state machine ---------------------------

namespace {

class StateMachineReactorCollections : public testing::Test {
protected:
   void SetUp() override {
      hwStatus1 = dir->hardwareStatusIs(sub1);
      hwStatus2 = dir->hardwareStatusIs(sub2);
      sm->hwStatusEntryIs(hwStatus1);
      sm->hwStatusEntryIs(hwStatus2);
   }
   std::vector<TestEntrySm::FenHwStatusEntry*> entries() const {
      return {sm->hwStatusEntry(sub1), sm->hwStatusEntry(sub2)};
   }

   Kestin::IntfId const sub1{"Ethernet1.100"};
   Kestin::IntfId const sub2{"Ethernet2.200"};
   Fen::Ptr<Interface::Hardware::SubIntfStatusDir> dir =
       Interface::Hardware::subIntfStatusDirFactory();
   Fen::Ptr<Interface::Hardware::SubIntfStatus> hwStatus1;
   Fen::Ptr<Interface::Hardware::SubIntfStatus> hwStatus2;
   std::vector<Kestin::IntfId> log;
   Fen::Ptr<TestEntrySm> sm = TestEntrySm::TestEntrySmIs(&log);
};

}  // namespace

TEST_F(StateMachineReactorCollections, EachEntryReactorHearsItsOwnObject) {
   ASSERT_NE(sm->hwStatusEntry(sub1), nullptr);
   ASSERT_NE(sm->hwStatusEntry(sub2), nullptr);
   hwStatus2->hardwareSuccessIs(true);
   hwStatus1->hardwareSuccessIs(true);
   EXPECT_EQ(log, (std::vector<Kestin::IntfId>{sub2, sub1}));
}

TEST_F(StateMachineReactorCollections, NotificationOffAndOnReachesEveryEntry) {
   sm->hasNotificationActiveIs(false);
   for (auto* e : entries())
      EXPECT_FALSE(e->hasNotificationActive());
   hwStatus1->hardwareSuccessIs(true);
   EXPECT_TRUE(log.empty());
   sm->hasNotificationActiveIs(true);
   for (auto* e : entries())
      EXPECT_TRUE(e->hasNotificationActive());
   hwStatus2->hardwareSuccessIs(true);
   EXPECT_EQ(log, std::vector<Kestin::IntfId>{sub2});
}

TEST_F(StateMachineReactorCollections, ZombieReachesEveryEntryAndComesBack) {
   sm->fenDoZombieReactors(true);
   for (auto* e : entries()) {
      EXPECT_TRUE(e->fenMarkedForDeletion());
      EXPECT_FALSE(e->hasNotificationActive());
   }
   hwStatus1->hardwareSuccessIs(true);
   EXPECT_TRUE(log.empty());
   sm->fenDoZombieReactors(false);
   for (auto* e : entries()) {
      EXPECT_FALSE(e->fenMarkedForDeletion());
      EXPECT_TRUE(e->hasNotificationActive());
   }
}

TEST_F(StateMachineReactorCollections, TeardownLeavesHeldEntriesOwnerless) {
   Fen::Ptr<TestEntrySm::FenHwStatusEntry> held(sm->hwStatusEntry(sub1));
   sm = nullptr;
   EXPECT_EQ(held->owner, nullptr);
   EXPECT_TRUE(held->fenMarkedForDeletion());
   held->hasNotificationActiveIs(true);
   hwStatus1->hardwareSuccessIs(true);
   EXPECT_TRUE(log.empty());
   EXPECT_EQ(hwStatus2->notifiees().size(), 0u);
}
