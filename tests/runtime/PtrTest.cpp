// Counted objects: the reference word, Fen::Ptr, the allocation sequence of
// Fen::fenObjectIs and the per-class allocation counters.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Fen/AllocTrack.h"
#include "Fen/Ptr.h"

namespace {

using Fen::VFPtrInterface;

// What the test objects report about their own end.
struct Observer {
   int destroyed = 0;
   int zeroReferencesCalls = 0;
   // zeroReferencesIs ran while the object was still whole.
   bool zeroHookBeforeDestructor = false;
   std::thread::id destroyedOn;
};

class Widget : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("PtrTest::Widget")

public:
   static Fen::Ptr<Widget> WidgetIs(Observer* observer = nullptr) {
      return Fen::fenObjectIs<Widget>(observer);
   }
   explicit Widget(Observer* observer) : observer_(observer) {}
   ~Widget() override {
      if (observer_) {
         ++observer_->destroyed;
         observer_->destroyedOn = std::this_thread::get_id();
      }
   }
   void zeroReferencesIs(bool zero) override {
      if (observer_ && zero) {
         ++observer_->zeroReferencesCalls;
         observer_->zeroHookBeforeDestructor = observer_->destroyed == 0;
      }
   }

   // Bit 30 is never set by the runtime itself; the protected bit setter of the
   // reference word is the way in.
   void reservedBitIs(bool on) const { bitIs(reservedBit, on); }

private:
   Observer* observer_;
};

// A second class, of another size, to tell the per-class counters apart.
class BigWidget : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("PtrTest::BigWidget")

public:
   static Fen::Ptr<BigWidget> BigWidgetIs() { return Fen::fenObjectIs<BigWidget>(); }
   BigWidget() { payload_[0] = 1; }

private:
   std::uint64_t payload_[32];
};

class ThrowingWidget : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("PtrTest::ThrowingWidget")

public:
   explicit ThrowingWidget(int* constructed) {
      ++*constructed;
      throw std::runtime_error("constructor refused");
   }
};

// Refuses to turn notification on.
class RefusingWidget : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("PtrTest::RefusingWidget")

public:
   explicit RefusingWidget(Observer* observer) : observer_(observer) {}
   ~RefusingWidget() override { ++observer_->destroyed; }
   void hasNotificationActiveIs(bool active) override {
      if (active) throw std::runtime_error("notification refused");
      PtrInterface::hasNotificationActiveIs(active);
   }

private:
   Observer* observer_;
};

// Sets threadSafePointers_ for the life of the guard and restores it after.
class ThreadSafePointers {
public:
   explicit ThreadSafePointers(std::uint8_t value) : saved_(VFPtrInterface::threadSafePointers_) {
      VFPtrInterface::threadSafePointers_ = value;
   }
   ~ThreadSafePointers() { VFPtrInterface::threadSafePointers_ = saved_; }

private:
   std::uint8_t saved_;
};

Fen::AllocTrackTypeInfo const* recordOf(char const* typeName) {
   return Fen::AllocTrackTypeInfo::typeInfoIs(typeName);
}

}  // namespace

TEST(PtrReferenceWord, NewObjectHasOneReferenceOwnedByTheCaller) {
   Observer obs;
   Fen::Ptr<Widget> w = Widget::WidgetIs(&obs);
   EXPECT_EQ(w->references(), 1u);
   EXPECT_TRUE(w->hasNotificationActive());
   EXPECT_FALSE(w->fenMarkedForDeletion());
   EXPECT_EQ(w->referenceWord(), VFPtrInterface::notificationActiveBit | 1u);
   w = nullptr;
   EXPECT_EQ(obs.destroyed, 1);
}

TEST(PtrReferenceWord, ObjectWithOnlyMarkedAndNotificationBitsLeftIsDestroyedAtCountZero) {
   Observer obs;
   Fen::Ptr<Widget> w = Widget::WidgetIs(&obs);
   w->fenMarkedForDeletionIs(true);
   EXPECT_TRUE(w->fenMarkedForDeletion());
   EXPECT_TRUE(w->hasNotificationActive());
   EXPECT_EQ(w->referenceWord(), 0xA0000001u);
   EXPECT_EQ(w->references(), 1u);

   w = nullptr;
   EXPECT_EQ(obs.destroyed, 1);
   EXPECT_EQ(obs.zeroReferencesCalls, 1);
}

TEST(PtrReferenceWord, MarkedForDeletionBitIsSetAndClearedWithoutTouchingTheCount) {
   Fen::Ptr<Widget> w = Widget::WidgetIs();
   Fen::Ptr<Widget> second = w;
   w->fenMarkedForDeletionIs(true);
   EXPECT_EQ(w->referenceWord(), 0xA0000002u);
   w->fenMarkedForDeletionIs(false);
   EXPECT_FALSE(w->fenMarkedForDeletion());
   EXPECT_EQ(w->referenceWord(), 0x20000002u);
   w->hasNotificationActiveIs(false);
   EXPECT_FALSE(w->hasNotificationActive());
   EXPECT_EQ(w->referenceWord(), 2u);
}

TEST(PtrReferenceWord, SecondReferenceKeepsNewObjectAliveUntilTheLastGoes) {
   Observer obs;
   Fen::Ptr<Widget> first = Widget::WidgetIs(&obs);
   Fen::Ptr<Widget> second = first;
   EXPECT_EQ(first->references(), 2u);
   EXPECT_TRUE(first == second);

   first = nullptr;
   EXPECT_EQ(obs.destroyed, 0);
   EXPECT_EQ(second->references(), 1u);

   second = nullptr;
   EXPECT_EQ(obs.destroyed, 1);
   EXPECT_EQ(obs.destroyedOn, std::this_thread::get_id());
}

TEST(PtrReferenceWord, ObjectDiesOnTheThreadThatDropsTheLastReference) {
   ThreadSafePointers shared(1);
   Observer obs;
   Fen::Ptr<Widget> first = Widget::WidgetIs(&obs);
   std::promise<void> firstDropped;
   std::thread::id workerId;
   std::thread worker([second = first, go = firstDropped.get_future(), &workerId]() mutable {
      workerId = std::this_thread::get_id();
      go.wait();
      second = nullptr;
   });

   first = nullptr;
   EXPECT_EQ(obs.destroyed, 0) << "the worker's reference must keep the object alive";
   firstDropped.set_value();
   worker.join();

   EXPECT_EQ(obs.destroyed, 1);
   EXPECT_EQ(obs.destroyedOn, workerId);
   EXPECT_NE(obs.destroyedOn, std::this_thread::get_id());
}

TEST(PtrReferenceWord, ReservedBitKeepsObjectAliveAtCountZero) {
   Observer obs;
   Fen::Ptr<Widget> w = Widget::WidgetIs(&obs);
   Widget* raw = w.release();  // the one reference, now held by hand
   raw->reservedBitIs(true);
   EXPECT_EQ(raw->referenceWord(), 0x60000001u);

   EXPECT_EQ(raw->referencesDec(), 0x40000000u);
   EXPECT_EQ(obs.destroyed, 0) << "bit 30 lies inside the zero test";
   EXPECT_EQ(raw->references(), 0u);

   // Take a reference again, clear the bit, and the object dies with it.
   raw->referencesInc();
   raw->reservedBitIs(false);
   EXPECT_EQ(raw->referencesDec(), 0u);
   EXPECT_EQ(obs.destroyed, 1);
}

TEST(PtrReferenceWord, ReferencesDecReturnsTheMaskedWord) {
   Observer obs;
   Fen::Ptr<Widget> w = Widget::WidgetIs(&obs);
   w->fenMarkedForDeletionIs(true);
   w->referencesInc();
   w->referencesInc();
   EXPECT_EQ(w->referenceWord(), 0xA0000003u);
   // Bits 31 and 29 are outside the mask; the count is what comes back.
   EXPECT_EQ(w->referencesDec(), 2u);
   w->reservedBitIs(true);
   EXPECT_EQ(w->referencesDec(), 0x40000001u);
   w->reservedBitIs(false);
   EXPECT_EQ(obs.destroyed, 0);
   EXPECT_EQ(w->referenceWord(), 0xA0000001u);
}

TEST(PtrReferenceWord, ZeroReferencesHookRunsBeforeTheDestructor) {
   Observer obs;
   Widget::WidgetIs(&obs);
   EXPECT_EQ(obs.zeroReferencesCalls, 1);
   EXPECT_TRUE(obs.zeroHookBeforeDestructor);
   EXPECT_EQ(obs.destroyed, 1);
}

TEST(PtrThreadSafePointers, PlainAndLockedCountsAgreeOnOneThread) {
   for (std::uint8_t flag : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{0xFF}}) {
      SCOPED_TRACE(static_cast<int>(flag));
      ThreadSafePointers mode(flag);
      Observer obs;
      Fen::Ptr<Widget> w = Widget::WidgetIs(&obs);
      {
         std::vector<Fen::Ptr<Widget>> copies(1000, w);
         EXPECT_EQ(w->references(), 1001u);
         EXPECT_TRUE(w->hasNotificationActive());
         w->fenMarkedForDeletionIs(true);
         EXPECT_TRUE(w->fenMarkedForDeletion());
         w->fenMarkedForDeletionIs(false);
      }
      EXPECT_EQ(w->references(), 1u);
      EXPECT_EQ(w->referenceWord(), VFPtrInterface::notificationActiveBit | 1u);
      w = nullptr;
      EXPECT_EQ(obs.destroyed, 1);
   }
}

TEST(PtrThreadSafePointers, ModeCanChangeWhileObjectsAreHeld) {
   Observer obs;
   Fen::Ptr<Widget> w = Widget::WidgetIs(&obs);
   std::vector<Fen::Ptr<Widget>> plainCopies(10, w);
   {
      ThreadSafePointers locked(1);
      std::vector<Fen::Ptr<Widget>> lockedCopies(10, w);
      EXPECT_EQ(w->references(), 21u);
      plainCopies.clear();
   }
   EXPECT_EQ(w->references(), 1u);
   w = nullptr;
   EXPECT_EQ(obs.destroyed, 1);
}

TEST(PtrThreadSafePointers, CopyStormFromManyThreadsKeepsTheCountExact) {
   ThreadSafePointers shared(1);
   Observer obs;
   Fen::Ptr<Widget> w = Widget::WidgetIs(&obs);
   constexpr int threads = 4;
   constexpr int rounds = 200000;
   std::atomic<int> ready{0};
   std::vector<std::thread> workers;
   for (int t = 0; t < threads; ++t) {
      workers.emplace_back([&w, &ready] {
         ready.fetch_add(1);
         while (ready.load() < threads) {
         }
         std::vector<Fen::Ptr<Widget>> held;
         for (int i = 0; i < rounds; ++i) {
            Fen::Ptr<Widget> copy = w;
            if (i % 64 == 0) held.push_back(copy);
            if (held.size() > 16) held.erase(held.begin());
         }
      });
   }
   for (auto& t : workers)
      t.join();

   EXPECT_EQ(w->references(), 1u);
   EXPECT_EQ(obs.destroyed, 0);
   w = nullptr;
   EXPECT_EQ(obs.destroyed, 1);
}

TEST(FenObjectIs, ConstructorThatThrowsUndoesTheAllocationRecord) {
   // Make sure the record exists so that it can be read before the attempt.
   Fen::AllocTrackTypeInfo const* info = recordOf(ThrowingWidget::fenTypeName());
   std::int64_t const objectsBefore = info->liveObjects();
   std::int64_t const bytesBefore = info->liveBytes();
   std::uint64_t const totalBefore = info->totalAllocations();

   int constructed = 0;
   EXPECT_THROW(Fen::fenObjectIs<ThrowingWidget>(&constructed), std::runtime_error);
   EXPECT_EQ(constructed, 1);
   EXPECT_EQ(ThrowingWidget::fenAllocTrackTypeInfo_, info);
   EXPECT_EQ(info->liveObjects(), objectsBefore);
   EXPECT_EQ(info->liveBytes(), bytesBefore);
   // The attempt counts in the totals; only the live counters are undone.
   EXPECT_EQ(info->totalAllocations(), totalBefore + 1);
}

TEST(FenObjectIs, NotificationActivationThatThrowsDropsTheReference) {
   Fen::AllocTrackTypeInfo const* info = recordOf(RefusingWidget::fenTypeName());
   std::int64_t const objectsBefore = info->liveObjects();
   std::int64_t const bytesBefore = info->liveBytes();

   Observer obs;
   EXPECT_THROW(Fen::fenObjectIs<RefusingWidget>(&obs), std::runtime_error);
   EXPECT_EQ(obs.destroyed, 1);
   EXPECT_EQ(info->liveObjects(), objectsBefore);
   EXPECT_EQ(info->liveBytes(), bytesBefore);
}

TEST(FenObjectIs, AllocationCountersCountLiveObjectsAndBytesPerClass) {
   Fen::AllocTrackTypeInfo const* widgets = recordOf(Widget::fenTypeName());
   Fen::AllocTrackTypeInfo const* bigWidgets = recordOf(BigWidget::fenTypeName());
   ASSERT_NE(widgets, bigWidgets);
   std::int64_t const widgetObjects = widgets->liveObjects();
   std::int64_t const widgetBytes = widgets->liveBytes();
   std::int64_t const bigObjects = bigWidgets->liveObjects();
   std::int64_t const bigBytes = bigWidgets->liveBytes();
   std::uint64_t const widgetTotal = widgets->totalAllocations();
   auto const widgetSize = static_cast<std::int64_t>(sizeof(Widget));
   auto const bigSize = static_cast<std::int64_t>(sizeof(BigWidget));

   std::vector<Fen::Ptr<Widget>> ws;
   for (int i = 0; i < 3; ++i)
      ws.push_back(Widget::WidgetIs());
   std::vector<Fen::Ptr<BigWidget>> bs;
   for (int i = 0; i < 2; ++i)
      bs.push_back(BigWidget::BigWidgetIs());

   EXPECT_EQ(Widget::fenAllocTrackTypeInfo_, widgets);
   EXPECT_EQ(ws[0]->fenAllocTrackTypeInfo(), widgets);
   EXPECT_EQ(bs[0]->fenAllocTrackTypeInfo(), bigWidgets);
   EXPECT_EQ(widgets->typeName(), Fen::String("PtrTest::Widget"));
   EXPECT_EQ(widgets->liveObjects(), widgetObjects + 3);
   EXPECT_EQ(widgets->liveBytes(), widgetBytes + 3 * widgetSize);
   EXPECT_EQ(widgets->totalAllocations(), widgetTotal + 3);
   EXPECT_EQ(bigWidgets->liveObjects(), bigObjects + 2);
   EXPECT_EQ(bigWidgets->liveBytes(), bigBytes + 2 * bigSize);

   // A copy of a pointer allocates nothing.
   Fen::Ptr<Widget> copy = ws[0];
   EXPECT_EQ(widgets->liveObjects(), widgetObjects + 3);

   ws.pop_back();
   bs.pop_back();
   EXPECT_EQ(widgets->liveObjects(), widgetObjects + 2);
   EXPECT_EQ(widgets->liveBytes(), widgetBytes + 2 * widgetSize);
   EXPECT_EQ(bigWidgets->liveObjects(), bigObjects + 1);
   EXPECT_EQ(bigWidgets->liveBytes(), bigBytes + bigSize);

   ws.clear();
   bs.clear();
   copy = nullptr;
   EXPECT_EQ(widgets->liveObjects(), widgetObjects);
   EXPECT_EQ(widgets->liveBytes(), widgetBytes);
   EXPECT_EQ(bigWidgets->liveObjects(), bigObjects);
   EXPECT_EQ(bigWidgets->liveBytes(), bigBytes);
}

TEST(FenPtr, NullPointerIsHarmless) {
   Fen::Ptr<Widget> empty;
   Fen::Ptr<Widget> fromNull(nullptr);
   Fen::Ptr<Widget> copy = empty;
   EXPECT_FALSE(empty);
   EXPECT_TRUE(copy == nullptr);
   EXPECT_EQ(fromNull.ptr(), nullptr);
   copy = fromNull;
   EXPECT_FALSE(copy);
}

TEST(FenPtr, MoveHandsTheReferenceOverWithoutCounting) {
   Observer obs;
   Fen::Ptr<Widget> a = Widget::WidgetIs(&obs);
   Fen::Ptr<Widget> b = std::move(a);
   EXPECT_FALSE(a);  // NOLINT(bugprone-use-after-move): a moved-from Ptr is null
   EXPECT_EQ(b->references(), 1u);
   Fen::Ptr<Fen::PtrInterface> base = std::move(b);
   EXPECT_EQ(base->references(), 1u);
   base = base;  // self-assignment keeps the object
   EXPECT_EQ(base->references(), 1u);
   EXPECT_EQ(obs.destroyed, 0);
   base = nullptr;
   EXPECT_EQ(obs.destroyed, 1);
}

TEST(FenPtr, PointerToConstCountsLikeThePlainPointer) {
   Observer obs;
   Fen::Ptr<Widget> w = Widget::WidgetIs(&obs);
   Fen::Ptr<Widget const> c = w;
   EXPECT_EQ(c->references(), 2u);
   EXPECT_TRUE(c == w);
   EXPECT_TRUE(w == c);

   w = nullptr;
   EXPECT_EQ(obs.destroyed, 0);
   EXPECT_EQ(c->references(), 1u);
   Fen::Ptr<Widget const> c2 = c;
   EXPECT_EQ(c->references(), 2u);
   c2 = nullptr;
   c = nullptr;
   EXPECT_EQ(obs.destroyed, 1);

   // A new object handed straight to a pointer to const takes over the one
   // reference of the factory.
   Observer obs2;
   Fen::Ptr<Widget const> direct = Widget::WidgetIs(&obs2);
   EXPECT_EQ(direct->references(), 1u);
   direct->fenMarkedForDeletionIs(true);
   EXPECT_TRUE(direct->fenMarkedForDeletion());
   direct = nullptr;
   EXPECT_EQ(obs2.destroyed, 1);
}

TEST(FenPtr, PtrCastToTheWrongTypeGivesNull) {
   Observer obs;
   Fen::Ptr<Fen::PtrInterface> base = Widget::WidgetIs(&obs);
   Fen::Ptr<BigWidget> wrong = Fen::ptrCast<BigWidget>(base);
   EXPECT_FALSE(wrong);
   EXPECT_EQ(base->references(), 1u);

   Fen::Ptr<Widget> right = Fen::ptrCast<Widget>(base);
   ASSERT_TRUE(right);
   EXPECT_TRUE(right == base);
   EXPECT_EQ(base->references(), 2u);

   Fen::Ptr<Fen::PtrInterface const> constBase = base;
   EXPECT_FALSE(Fen::ptrCast<BigWidget const>(constBase));
   EXPECT_TRUE(Fen::ptrCast<Widget const>(constBase) == right);

   EXPECT_FALSE(Fen::ptrCast<Widget>(Fen::Ptr<Fen::PtrInterface>()));
   right = nullptr;
   constBase = nullptr;
   base = nullptr;
   EXPECT_EQ(obs.destroyed, 1);
}
