// The shapes that every notifier, reactor and state machine of the system takes,
// written once:
//
// Fen::Notifier          a counted object with a notifiee list (collections that
//                        announce their changes derive from it)
// Fen::Reactor<...>      the nested listener class `FenX` of a state machine: it
//                        hears one attribute of one notifier and calls a handler
// Fen::ReactorSlot<R>    the state machine's attribute that holds a reactor, with
//                        the generated `xIs(Fen::Ptr)` and `xDel()` of a shared input
// Fen::StateMachine<...> hasNotificationActiveIs, fenDoZombieReactors and the
//                        teardown of a state machine, over its reactor attributes
//                        in attribute order
//
// Lifecycle of a reactor: constructed (registered with its notifier), active
// (notification bit set by its creator), zombie (fenDoZombieReactors(true): marked
// for deletion, notification off, onAttribute drops everything), destroyed with
// its last reference. `owner` is a raw back-pointer that the state machine clears
// when it dies, so a reactor that outlives its state machine calls nothing.
#pragma once

#include <tuple>
#include <type_traits>

#include "Fen/HashMap2018.h"
#include "Fen/Notifiee.h"
#include "Fen/Ptr.h"

namespace Fen {

// A counted object that announces changes of its attributes to its reactors.
// The list is emptied first when the object dies: destruction notifies nobody.
class Notifier : public PtrInterface {
public:
   NotifieeListDesc notifieeList() const override {
      return {1, const_cast<NotifieeList*>(&notifiees_), nullptr, nullptr};
   }
   NotifieeList const& notifiees() const { return notifiees_; }

protected:
   ~Notifier() override { notifiees_.deleteAll(); }
   NotifieeList notifiees_;
};

// The work of a reactor's notifierIs beside the switch itself (its variant), run
// after the switch and before the registration.
// NoVariant: nothing.
struct NoVariant {
   template <class R>
   static void afterSwitch(R&) {}
};
// Rescan: the state machine's handler of the whole attribute, unless the reactor
// is marked for deletion or has lost its state machine.
template <auto sweep>
struct Rescan {
   template <class R>
   static void afterSwitch(R& r) {
      if (!r.fenMarkedForDeletion() && r.owner) (r.owner->*sweep)();
   }
};
// Picks the overload of a handler that takes no key: `wholeHandler<Sm>(&Sm::handleX)`.
template <class Sm>
constexpr auto wholeHandler(void (Sm::*handler)()) {
   return handler;
}

// The reactor shape. `Derived` is the nested class FenX; it hears attribute
// `attributeId` of `NotifierT` and calls `handler` of `Sm` with the key.
//
// Variants of notifierIs: `Variant::afterSwitch(reactor)` runs after the switch
// and before the registration (a rescan, a scalar handler, a reconciliation);
// `Derived` may instead define its own `void onNotifierSwitched()`.
template <class Derived, class Sm, class NotifierT, AttributeId attributeId, class Key,
          auto handler, class Variant = NoVariant>
class Reactor : public PtrInterface::NotifieeConst {
public:
   using NotifierType = NotifierT;
   using OwnerType = Sm;
   static constexpr AttributeId fenAttributeId = attributeId;

   // Raw back-pointer to the state machine; null once the state machine is gone.
   Sm* owner;

   // Binds to `notifier` (which may be null) and registers; calls no handler.
   Reactor(Ptr<NotifierT const> const& notifier, Sm* ownerSm) : owner(ownerSm) {
      NotifieeConst::notifierIs(notifier.ptr());
      isRegisteredNotifieeIs(true);
   }
   ~Reactor() override { fenDoZombieReactors(true); }

   NotifierT const* notifier() const {
      return static_cast<NotifierT const*>(NotifieeConst::notifier());
   }

   // Switches to `p`, cast to the notifier type (a wrong type counts as null).
   // The same notifier again does nothing: no rescan, no second registration.
   void notifierIs(Ptr<PtrInterface const> const& p) {
      auto const* n = dynamic_cast<NotifierT const*>(p.ptr());
      if (n == notifier()) return;
      NotifieeConst::notifierIs(n);
      static_cast<Derived*>(this)->onNotifierSwitched();
      isRegisteredNotifieeIs(true);
   }
   void onNotifierSwitched() { Variant::afterSwitch(static_cast<Derived&>(*this)); }

   // Forwards its own attribute to the handler, unless marked for deletion.
   void onAttribute(AttributeId id, void const* keyPtr) override {
      if (id != attributeId) return;
      if (fenMarkedForDeletion()) return;
      (owner->*handler)(*static_cast<Key const*>(keyPtr));
   }

   // Zombie or back: notification follows the mark (only with a notifier).
   void fenDoZombieReactors(bool zombie) override {
      if (fenMarkedForDeletion() == zombie) return;
      if (NotifieeConst::notifier() != nullptr) NotifieeConst::hasNotificationActiveIs(!zombie);
      fenMarkedForDeletionIs(zombie);
   }
};

// A state machine's attribute that holds the reactor of one input.
template <class R>
class ReactorSlot {
public:
   using NotifierType = typename R::NotifierType;
   using Sm = typename R::OwnerType;

   // Makes the reactor for a non-null input and turns it on; a null input leaves
   // the slot empty.
   void reactorIs(Ptr<NotifierType const> const& notifier, Sm* owner) {
      if (notifier) reactor_ = fenObjectIs<R>(notifier, owner);
   }
   R* reactor() const { return reactor_.ptr(); }
   // The input the reactor listens to, or null.
   NotifierType const* notifier() const { return reactor_ ? reactor_->notifier() : nullptr; }
   Ptr<NotifierType const> notifierPtr() const { return Ptr<NotifierType const>(notifier()); }

   void hasNotificationActiveIs(bool active) {
      if (reactor_) reactor_->hasNotificationActiveIs(active);
   }
   void fenDoZombieReactors(bool zombie) {
      Ptr<R> const hold = reactor_;
      if (hold) hold->fenDoZombieReactors(zombie);
   }
   void ownerClear() {
      Ptr<R> const hold = reactor_;
      if (hold) hold->owner = nullptr;
   }

   // xIs(Fen::Ptr) of a shared input, replacing it at run time.
   void notifierIs(Sm* sm, Ptr<NotifierType const> const& notifier) {
      Ptr<Sm> const holdSm(sm);
      Ptr<R> const former = reactor_;
      // 1. Already listening to it.
      if (former && former->notifier() == notifier.ptr()) return;
      // 2. Detach: no rescan, no new reactor.
      if (!notifier) {
         reactor_ = nullptr;
         if (former) {
            former->fenDoZombieReactors(true);
            former->owner = nullptr;
         }
         return;
      }
      if (former) {
         // 3. Reuse the reactor: its variant's work runs over the new input.
         former->notifierIs(notifier);
      } else {
         // 4. A new reactor stands in the slot before its first rescan.
         reactor_ = fenObjectIs<R>(Ptr<NotifierType const>(), sm);
         reactor_->notifierIs(notifier);
      }
      // 5. A reactor added to a zombie state machine is a zombie too.
      Ptr<R> const now = reactor_;
      if (now) now->fenDoZombieReactors(sm->fenMarkedForDeletion());
   }

   // xDel(): empties the slot and gives back the input the reactor listened to.
   Ptr<NotifierType const> notifierDel(Sm* sm) {
      Ptr<R> const former = std::move(reactor_);
      reactor_ = nullptr;
      if (!former) return nullptr;
      Ptr<Sm> const holdSm(sm);
      former->fenDoZombieReactors(true);
      former->owner = nullptr;
      former->hasNotificationActiveIs(false);
      return Ptr<NotifierType const>(former->notifier());
   }

private:
   Ptr<R> reactor_;
};

// Calls `fn(reactor)` on every reactor of a reactor attribute: a slot, or a map
// of per-member reactors (walked with an iterator that survives changes).
template <class R, class Fn>
void fenForEachReactor(ReactorSlot<R>& slot, Fn&& fn) {
   Ptr<R> const hold(slot.reactor());
   if (hold) fn(*hold);
}
template <class Tag, class Key, class R, class Fn>
void fenForEachReactor(HashMap2018<Tag, Key, Ptr<R>> const& map, Fn&& fn) {
   for (typename HashMap2018<Tag, Key, Ptr<R>>::IteratorConst it(map); it; it.advance()) {
      if (auto const* node = it.currNodeNonStale()) {
         Ptr<R> const hold = *node;
         if (hold) fn(*hold);
      }
   }
}

// The root of every state machine: a counted object that can turn itself and
// its reactors into zombies. Its own part is the mark.
class StateMachineRoot : public PtrInterface {
public:
   virtual void fenDoZombieReactors(bool zombie) { fenMarkedForDeletionIs(zombie); }
};

// The state machine shape. `Derived` lists its reactor attributes, in attribute
// order, through `auto fenReactors()` returning a std::tie of its ReactorSlot
// members followed by its maps of per-member reactors. `Base` is
// Fen::StateMachineRoot, or the state machine a platform derives from.
template <class Derived, class Base = StateMachineRoot>
class StateMachine : public Base {
public:
   using Base::Base;

   // Turns notification of the object and of all its reactors on or off; a value
   // already set does nothing (the reactors are not called).
   void hasNotificationActiveIs(bool active) override {
      if (this->hasNotificationActive() == active) return;
      Base::hasNotificationActiveIs(active);
      forEachReactor([active](auto& r) { r.hasNotificationActiveIs(active); });
   }

   // Marks the machine and its reactors as zombies, or brings them back. Each
   // reactor is held by a counted reference during its call.
   void fenDoZombieReactors(bool zombie) override {
      if (this->fenMarkedForDeletion() == zombie) return;
      forEachReactor([zombie](auto& r) { r.fenDoZombieReactors(zombie); });
      Base::fenDoZombieReactors(zombie);
      this->fenMarkedForDeletionIs(zombie);
   }

protected:
   // First step of the derived destructor: zombie, then every reactor's owner
   // cleared. Members then go in reverse order of declaration: collections first,
   // the inputs' reactors last.
   void fenTeardownReactors() {
      fenDoZombieReactors(true);
      forEachReactor([](auto& r) { r.owner = nullptr; });
   }

private:
   template <class Fn>
   void forEachReactor(Fn&& fn) {
      std::apply([&fn](auto&... attr) { (fenForEachReactor(attr, fn), ...); },
                 static_cast<Derived*>(this)->fenReactors());
   }
};

}  // namespace Fen
