// Notification: a notifier's NotifieeList calls onAttribute on its registered,
// active reactors, and stays correct while handlers change the list under it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "Fen/AllocTrack.h"
#include "Fen/Notifiee.h"
#include "Fen/Ptr.h"
#include "Kestin/IntfId.h"

namespace {

constexpr Fen::AttributeId hwStatusId = 258;
constexpr Fen::AttributeId otherId = 259;

// A notifying object with one list; `notify` is what a mutator does after its
// change.
class TestNotifier : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("NotifieeTest::TestNotifier")

public:
   static Fen::Ptr<TestNotifier> TestNotifierIs() { return Fen::fenObjectIs<TestNotifier>(); }
   ~TestNotifier() override { notifiees_.deleteAll(); }

   Fen::NotifieeListDesc notifieeList() const override {
      return {1, &notifiees_, nullptr, nullptr};
   }
   void notify(Fen::AttributeId id, void const* keyPtr) const { notifiees_.visit(id, keyPtr); }
   Fen::NotifieeList& notifiees() const { return notifiees_; }

private:
   mutable Fen::NotifieeList notifiees_;
};

// A counted object that keeps no list.
class SilentObject : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("NotifieeTest::SilentObject")

public:
   static Fen::Ptr<SilentObject> SilentObjectIs() { return Fen::fenObjectIs<SilentObject>(); }
};

struct Call {
   Fen::AttributeId id;
   void const* keyPtr;
   Kestin::IntfId key;  // read during the call, while keyPtr is valid
};

class TestReactor : public Fen::PtrInterface::NotifieeConst {
   FEN_COUNTED_CLASS("NotifieeTest::TestReactor")

public:
   using Action = std::function<void(TestReactor&, Fen::AttributeId)>;

   // A reactor bound to `notifier` and registered in its list.
   static Fen::Ptr<TestReactor> TestReactorIs(Fen::PtrInterface const* notifier,
                                              bool registered = true) {
      Fen::Ptr<TestReactor> r = Fen::fenObjectIs<TestReactor>();
      r->notifierIs(notifier);
      r->isRegisteredNotifieeIs(registered);
      return r;
   }
   ~TestReactor() override {
      if (destroyed_) ++*destroyed_;
   }

   void onAttribute(Fen::AttributeId id, void const* keyPtr) override {
      calls_.push_back({id, keyPtr, *static_cast<Kestin::IntfId const*>(keyPtr)});
      if (action_) action_(*this, id);
   }
   void fenDoZombieReactors(bool) override {}
   void onZeroReferences() override {
      wasRegisteredAtZero_ = isRegisteredNotifiee();
      if (zeroReferences_) ++*zeroReferences_;
      NotifieeConst::onZeroReferences();
   }

   void actionIs(Action action) { action_ = std::move(action); }
   void destroyedCounterIs(int* counter) { destroyed_ = counter; }
   void zeroReferencesCounterIs(int* counter) { zeroReferences_ = counter; }
   std::vector<Call> const& calls() const { return calls_; }
   std::size_t callCount() const { return calls_.size(); }
   bool wasRegisteredAtZero() const { return wasRegisteredAtZero_; }

private:
   std::vector<Call> calls_;
   Action action_;
   int* destroyed_ = nullptr;
   int* zeroReferences_ = nullptr;
   bool wasRegisteredAtZero_ = false;
};

Kestin::IntfId const ethernet1("Ethernet1");
Kestin::IntfId const ethernet2("Ethernet2");

}  // namespace

TEST(NotifieeConst, NewReactorHasNoNotifierIsNotRegisteredAndIsInactive) {
   // Built in place, without the factory that turns notification on.
   struct Bare : Fen::PtrInterface::NotifieeConst {
      void onAttribute(Fen::AttributeId, void const*) override {}
      void fenDoZombieReactors(bool) override {}
   } bare;
   EXPECT_EQ(bare.notifier(), nullptr);
   EXPECT_FALSE(bare.isRegisteredNotifiee());
   EXPECT_FALSE(bare.hasNotificationActive());
   EXPECT_EQ(bare.references(), 1u);
}

TEST(NotifieeConst, FactoryActivatesNotification) {
   auto n = TestNotifier::TestNotifierIs();
   auto r = TestReactor::TestReactorIs(n.ptr());
   EXPECT_TRUE(r->hasNotificationActive());
   EXPECT_EQ(r->notifier(), n.ptr());
   EXPECT_TRUE(r->isRegisteredNotifiee());
   EXPECT_EQ(n->notifiees().size(), 1u);
}

TEST(NotifieeList, VisitCallsEveryRegisteredActiveReactorWithIdAndKeyPointer) {
   auto n = TestNotifier::TestNotifierIs();
   std::vector<Fen::Ptr<TestReactor>> reactors;
   for (int i = 0; i < 3; ++i)
      reactors.push_back(TestReactor::TestReactorIs(n.ptr()));

   Kestin::IntfId const key = ethernet1;
   n->notify(hwStatusId, &key);

   for (auto const& r : reactors) {
      ASSERT_EQ(r->callCount(), 1u);
      EXPECT_EQ(r->calls()[0].id, hwStatusId);
      EXPECT_EQ(r->calls()[0].keyPtr, &key);
      EXPECT_EQ(r->calls()[0].key, ethernet1);
   }
}

TEST(NotifieeList, VisitWithoutReactorsDoesNothing) {
   auto n = TestNotifier::TestNotifierIs();
   n->notify(hwStatusId, nullptr);
   EXPECT_EQ(n->notifiees().size(), 0u);
}

TEST(NotifieeList, InactiveReactorIsSkippedButStaysRegistered) {
   auto n = TestNotifier::TestNotifierIs();
   auto active = TestReactor::TestReactorIs(n.ptr());
   auto inactive = TestReactor::TestReactorIs(n.ptr());
   inactive->hasNotificationActiveIs(false);

   n->notify(hwStatusId, &ethernet1);
   EXPECT_EQ(active->callCount(), 1u);
   EXPECT_EQ(inactive->callCount(), 0u);
   EXPECT_TRUE(inactive->isRegisteredNotifiee());
   EXPECT_EQ(n->notifiees().size(), 2u);

   inactive->hasNotificationActiveIs(true);
   n->notify(hwStatusId, &ethernet2);
   EXPECT_EQ(active->callCount(), 2u);
   ASSERT_EQ(inactive->callCount(), 1u);
   EXPECT_EQ(inactive->calls()[0].key, ethernet2);
}

TEST(NotifieeList, RegisteringTwiceDeliversOnce) {
   auto n = TestNotifier::TestNotifierIs();
   auto r = TestReactor::TestReactorIs(n.ptr());
   r->isRegisteredNotifieeIs(true);
   EXPECT_EQ(n->notifiees().size(), 1u);
   n->notify(hwStatusId, &ethernet1);
   EXPECT_EQ(r->callCount(), 1u);
}

TEST(NotifieeList, UnregisteredReactorIsNotCalled) {
   auto n = TestNotifier::TestNotifierIs();
   auto r = TestReactor::TestReactorIs(n.ptr());
   r->isRegisteredNotifieeIs(false);
   EXPECT_FALSE(r->isRegisteredNotifiee());
   EXPECT_EQ(r->notifier(), n.ptr());
   n->notify(hwStatusId, &ethernet1);
   EXPECT_EQ(r->callCount(), 0u);
   r->isRegisteredNotifieeIs(false);  // a second removal is harmless
   EXPECT_EQ(n->notifiees().size(), 0u);
}

TEST(NotifieeConst, NotifierIsMovesARegisteredReactorOutOfItsOldList) {
   auto a = TestNotifier::TestNotifierIs();
   auto b = TestNotifier::TestNotifierIs();
   auto r = TestReactor::TestReactorIs(a.ptr());
   ASSERT_EQ(a->notifiees().size(), 1u);

   r->notifierIs(b.ptr());
   EXPECT_EQ(r->notifier(), b.ptr());
   EXPECT_EQ(a->notifiees().size(), 0u);
   a->notify(hwStatusId, &ethernet1);
   EXPECT_EQ(r->callCount(), 0u);

   r->isRegisteredNotifieeIs(true);
   EXPECT_EQ(b->notifiees().size(), 1u);
   b->notify(otherId, &ethernet2);
   a->notify(hwStatusId, &ethernet1);
   ASSERT_EQ(r->callCount(), 1u);
   EXPECT_EQ(r->calls()[0].id, otherId);

   r->notifierIs(nullptr);
   EXPECT_EQ(r->notifier(), nullptr);
   EXPECT_FALSE(r->isRegisteredNotifiee());
   EXPECT_EQ(b->notifiees().size(), 0u);
}

TEST(NotifieeConst, NotifierIsWithTheSameNotifierKeepsTheRegistration) {
   auto n = TestNotifier::TestNotifierIs();
   auto r = TestReactor::TestReactorIs(n.ptr());
   r->notifierIs(n.ptr());
   EXPECT_TRUE(r->isRegisteredNotifiee());
   n->notify(hwStatusId, &ethernet1);
   EXPECT_EQ(r->callCount(), 1u);
}

TEST(NotifieeConst, RegistrationWithNullNotifierIsHarmless) {
   auto r = TestReactor::TestReactorIs(nullptr, false);
   r->isRegisteredNotifieeIs(true);
   EXPECT_FALSE(r->isRegisteredNotifiee());
   r->isRegisteredNotifieeIs(false);
   EXPECT_FALSE(r->isRegisteredNotifiee());
   EXPECT_EQ(r->notifier(), nullptr);
}

TEST(NotifieeConst, RegistrationWithNotifierThatKeepsNoListIsHarmless) {
   auto silent = SilentObject::SilentObjectIs();
   auto r = TestReactor::TestReactorIs(silent.ptr());
   EXPECT_EQ(r->notifier(), silent.ptr());
   EXPECT_FALSE(r->isRegisteredNotifiee());
}

TEST(NotifieeConst, DestroyedReactorLeavesTheList) {
   auto n = TestNotifier::TestNotifierIs();
   auto keep = TestReactor::TestReactorIs(n.ptr());
   int destroyed = 0;
   int zeroReferences = 0;
   auto gone = TestReactor::TestReactorIs(n.ptr());
   gone->destroyedCounterIs(&destroyed);
   gone->zeroReferencesCounterIs(&zeroReferences);
   ASSERT_EQ(n->notifiees().size(), 2u);

   gone = nullptr;
   EXPECT_EQ(destroyed, 1);
   EXPECT_EQ(zeroReferences, 1);
   EXPECT_EQ(n->notifiees().size(), 1u);
   n->notify(hwStatusId, &ethernet1);
   EXPECT_EQ(keep->callCount(), 1u);
}

TEST(NotifieeList, ReactorThatUnregistersItselfDuringVisitIsNotCalledAgain) {
   auto n = TestNotifier::TestNotifierIs();
   auto before = TestReactor::TestReactorIs(n.ptr());
   auto leaving = TestReactor::TestReactorIs(n.ptr());
   auto after = TestReactor::TestReactorIs(n.ptr());
   leaving->actionIs(
       [](TestReactor& self, Fen::AttributeId) { self.isRegisteredNotifieeIs(false); });

   n->notify(hwStatusId, &ethernet1);
   EXPECT_EQ(before->callCount(), 1u);
   EXPECT_EQ(leaving->callCount(), 1u);
   EXPECT_EQ(after->callCount(), 1u);
   EXPECT_FALSE(leaving->isRegisteredNotifiee());
   EXPECT_EQ(n->notifiees().size(), 2u);

   n->notify(hwStatusId, &ethernet2);
   EXPECT_EQ(before->callCount(), 2u);
   EXPECT_EQ(leaving->callCount(), 1u);
   EXPECT_EQ(after->callCount(), 2u);
}

TEST(NotifieeList, ReactorUnregisteredByAnotherBeforeItsTurnIsNotCalled) {
   // Each of the pair takes the other out when it is called, so whatever the
   // order of the walk, exactly one of them hears the notification.
   auto n = TestNotifier::TestNotifierIs();
   auto bystander = TestReactor::TestReactorIs(n.ptr());
   auto first = TestReactor::TestReactorIs(n.ptr());
   auto second = TestReactor::TestReactorIs(n.ptr());
   TestReactor* firstRaw = first.ptr();
   TestReactor* secondRaw = second.ptr();
   first->actionIs(
       [secondRaw](TestReactor&, Fen::AttributeId) { secondRaw->isRegisteredNotifieeIs(false); });
   second->actionIs(
       [firstRaw](TestReactor&, Fen::AttributeId) { firstRaw->isRegisteredNotifieeIs(false); });

   n->notify(hwStatusId, &ethernet1);
   EXPECT_EQ(bystander->callCount(), 1u);
   EXPECT_EQ(first->callCount() + second->callCount(), 1u);
   EXPECT_EQ(n->notifiees().size(), 2u);

   TestReactor* survivor = first->callCount() == 1 ? firstRaw : secondRaw;
   TestReactor* removed = survivor == firstRaw ? secondRaw : firstRaw;
   EXPECT_TRUE(survivor->isRegisteredNotifiee());
   EXPECT_FALSE(removed->isRegisteredNotifiee());
   n->notify(hwStatusId, &ethernet2);
   EXPECT_EQ(survivor->callCount(), 2u);
   EXPECT_EQ(removed->callCount(), 0u);
}

TEST(NotifieeList, ReactorRegisteredDuringVisitHearsFromTheNextVisitOn) {
   auto n = TestNotifier::TestNotifierIs();
   auto newcomer = TestReactor::TestReactorIs(n.ptr(), false);
   auto host = TestReactor::TestReactorIs(n.ptr());
   TestReactor* newcomerRaw = newcomer.ptr();
   host->actionIs([newcomerRaw](TestReactor&, Fen::AttributeId) {
      newcomerRaw->isRegisteredNotifieeIs(true);
   });

   n->notify(hwStatusId, &ethernet1);
   EXPECT_EQ(host->callCount(), 1u);
   EXPECT_EQ(newcomer->callCount(), 0u);
   EXPECT_TRUE(newcomer->isRegisteredNotifiee());
   EXPECT_EQ(n->notifiees().size(), 2u);

   n->notify(hwStatusId, &ethernet2);
   EXPECT_EQ(host->callCount(), 2u);
   ASSERT_EQ(newcomer->callCount(), 1u);
   EXPECT_EQ(newcomer->calls()[0].key, ethernet2);
}

TEST(NotifieeList, NewReactorCreatedDuringVisitHearsFromTheNextVisitOn) {
   auto n = TestNotifier::TestNotifierIs();
   auto host = TestReactor::TestReactorIs(n.ptr());
   std::vector<Fen::Ptr<TestReactor>> created;
   Fen::PtrInterface const* notifier = n.ptr();
   host->actionIs([&created, notifier](TestReactor&, Fen::AttributeId) {
      // Enough newcomers that the list has to grow while it is walked.
      for (int i = 0; i < 40; ++i)
         created.push_back(TestReactor::TestReactorIs(notifier));
   });

   n->notify(hwStatusId, &ethernet1);
   ASSERT_EQ(created.size(), 40u);
   for (auto const& r : created)
      EXPECT_EQ(r->callCount(), 0u);

   host->actionIs(nullptr);
   n->notify(hwStatusId, &ethernet2);
   for (auto const& r : created)
      EXPECT_EQ(r->callCount(), 1u);
}

TEST(NotifieeList, ReactorDroppingTheLastReferenceToItselfInItsHandlerDiesAfterTheCall) {
   auto n = TestNotifier::TestNotifierIs();
   auto other = TestReactor::TestReactorIs(n.ptr());
   int destroyed = 0;
   int zeroReferences = 0;
   Fen::Ptr<TestReactor> holder = TestReactor::TestReactorIs(n.ptr());
   holder->destroyedCounterIs(&destroyed);
   holder->zeroReferencesCounterIs(&zeroReferences);
   bool aliveAfterDrop = false;
   holder->actionIs([&holder, &destroyed, &aliveAfterDrop](TestReactor& self, Fen::AttributeId) {
      holder = nullptr;
      // Still inside its own handler: the object must be whole.
      aliveAfterDrop = destroyed == 0 && self.callCount() == 1;
   });
   auto third = TestReactor::TestReactorIs(n.ptr());

   n->notify(hwStatusId, &ethernet1);
   EXPECT_TRUE(aliveAfterDrop);
   EXPECT_EQ(destroyed, 1);
   EXPECT_EQ(zeroReferences, 1);
   EXPECT_EQ(other->callCount(), 1u);
   EXPECT_EQ(third->callCount(), 1u);
   EXPECT_EQ(n->notifiees().size(), 2u);

   n->notify(hwStatusId, &ethernet2);
   EXPECT_EQ(other->callCount(), 2u);
   EXPECT_EQ(third->callCount(), 2u);
}

TEST(NotifieeList, ReactorDestroyedByAnotherDuringVisitIsNotCalled) {
   // Each of the pair drops the last reference to the other when it is called:
   // the one destroyed before its turn must not be called.
   auto n = TestNotifier::TestNotifierIs();
   int destroyed = 0;
   Fen::Ptr<TestReactor> first = TestReactor::TestReactorIs(n.ptr());
   Fen::Ptr<TestReactor> second = TestReactor::TestReactorIs(n.ptr());
   first->destroyedCounterIs(&destroyed);
   second->destroyedCounterIs(&destroyed);
   std::size_t calls = 0;
   first->actionIs([&second, &calls](TestReactor&, Fen::AttributeId) {
      ++calls;
      second = nullptr;
   });
   second->actionIs([&first, &calls](TestReactor&, Fen::AttributeId) {
      ++calls;
      first = nullptr;
   });
   auto bystander = TestReactor::TestReactorIs(n.ptr());

   n->notify(hwStatusId, &ethernet1);
   EXPECT_EQ(calls, 1u);
   EXPECT_EQ(destroyed, 1);
   EXPECT_EQ(bool(first) + bool(second), 1);
   EXPECT_EQ(bystander->callCount(), 1u);
   EXPECT_EQ(n->notifiees().size(), 2u);
}

TEST(NotifieeList, NestedVisitFromAHandlerReachesEveryReactor) {
   auto n = TestNotifier::TestNotifierIs();
   auto writer = TestReactor::TestReactorIs(n.ptr());
   auto listener = TestReactor::TestReactorIs(n.ptr());
   TestNotifier const* notifier = n.ptr();
   writer->actionIs([notifier](TestReactor&, Fen::AttributeId id) {
      // The handler writes to its notifier again, with a key of its own stack.
      if (id == hwStatusId) {
         Kestin::IntfId const nestedKey = ethernet2;
         notifier->notify(otherId, &nestedKey);
      }
   });

   n->notify(hwStatusId, &ethernet1);
   for (auto const* r : {writer.ptr(), listener.ptr()}) {
      ASSERT_EQ(r->callCount(), 2u);
      // Each reactor hears the nested notification once and the outer one once.
      int outer = 0, nested = 0;
      for (auto const& c : r->calls()) {
         if (c.id == hwStatusId && c.key == ethernet1) ++outer;
         if (c.id == otherId && c.key == ethernet2) ++nested;
      }
      EXPECT_EQ(outer, 1);
      EXPECT_EQ(nested, 1);
   }
   EXPECT_EQ(n->notifiees().size(), 2u);
}

TEST(NotifieeList, ReactorRemovedInsideANestedVisitIsSkippedByTheOuterVisit) {
   auto n = TestNotifier::TestNotifierIs();
   auto writer = TestReactor::TestReactorIs(n.ptr());
   auto remover = TestReactor::TestReactorIs(n.ptr());
   auto target = TestReactor::TestReactorIs(n.ptr());
   TestNotifier const* notifier = n.ptr();
   TestReactor* targetRaw = target.ptr();
   writer->actionIs([notifier](TestReactor&, Fen::AttributeId id) {
      if (id == hwStatusId) notifier->notify(otherId, &ethernet2);
   });
   remover->actionIs([targetRaw](TestReactor&, Fen::AttributeId id) {
      if (id == otherId) targetRaw->isRegisteredNotifieeIs(false);
   });

   n->notify(hwStatusId, &ethernet1);
   // The target hears each notification at most once and nothing after its
   // removal, whatever the order of the walk.
   EXPECT_LE(target->callCount(), 1u);
   EXPECT_FALSE(target->isRegisteredNotifiee());
   EXPECT_EQ(n->notifiees().size(), 2u);
   std::size_t const heard = target->callCount();
   n->notify(hwStatusId, &ethernet1);
   EXPECT_EQ(target->callCount(), heard);
   EXPECT_EQ(writer->callCount(), 4u);
}

TEST(NotifieeList, DeleteAllEmptiesTheListAndUnregistersEveryReactor) {
   auto n = TestNotifier::TestNotifierIs();
   std::vector<Fen::Ptr<TestReactor>> reactors;
   for (int i = 0; i < 3; ++i)
      reactors.push_back(TestReactor::TestReactorIs(n.ptr()));

   n->notifiees().deleteAll();
   EXPECT_EQ(n->notifiees().size(), 0u);
   for (auto const& r : reactors) {
      EXPECT_FALSE(r->isRegisteredNotifiee());
      EXPECT_EQ(r->notifier(), n.ptr());
   }
   n->notify(hwStatusId, &ethernet1);
   for (auto const& r : reactors)
      EXPECT_EQ(r->callCount(), 0u);

   // Taking an unregistered reactor out again is harmless; registering works.
   reactors[0]->isRegisteredNotifieeIs(false);
   reactors[1]->isRegisteredNotifieeIs(true);
   EXPECT_EQ(n->notifiees().size(), 1u);
   n->notify(hwStatusId, &ethernet1);
   EXPECT_EQ(reactors[1]->callCount(), 1u);
   EXPECT_EQ(reactors[0]->callCount(), 0u);
}

TEST(NotifieeList, DeleteAllDuringVisitStopsTheRemainingCalls) {
   auto n = TestNotifier::TestNotifierIs();
   std::vector<Fen::Ptr<TestReactor>> reactors;
   for (int i = 0; i < 4; ++i)
      reactors.push_back(TestReactor::TestReactorIs(n.ptr()));
   TestNotifier const* notifier = n.ptr();
   for (auto const& r : reactors) {
      r->actionIs(
          [notifier](TestReactor&, Fen::AttributeId) { notifier->notifiees().deleteAll(); });
   }

   n->notify(hwStatusId, &ethernet1);
   std::size_t calls = 0;
   for (auto const& r : reactors) {
      calls += r->callCount();
      EXPECT_FALSE(r->isRegisteredNotifiee());
   }
   EXPECT_EQ(calls, 1u);
   EXPECT_EQ(n->notifiees().size(), 0u);
}

TEST(NotifieeList, ReactorsOfADestroyedNotifierAreNoLongerRegistered) {
   // Once the test and the reactor have both let the notifier go, it is gone and
   // the reactor is left unregistered.
   auto n = TestNotifier::TestNotifierIs();
   auto r = TestReactor::TestReactorIs(n.ptr());
   Fen::AllocTrackTypeInfo const* info = TestNotifier::fenAllocTrackTypeInfo_;
   std::int64_t const live = info->liveObjects();
   n = nullptr;
   r->notifierIs(nullptr);
   EXPECT_EQ(info->liveObjects(), live - 1);
   EXPECT_FALSE(r->isRegisteredNotifiee());
}
