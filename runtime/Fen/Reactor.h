// The shapes that every notifier, reactor and state machine of the system takes,
// written once:
//
// Fen::Notifier          a counted object with a notifiee list (collections that
//                        announce their changes derive from it)
// Fen::Reactor<...>      the nested listener class `FenX` of a state machine: it
//                        hears one attribute of one notifier and calls a handler
// Fen::EntryReactor<...> the listener of one member object of a directory (an
//                        entry): it hears one scalar attribute of that object
//                        and calls the handler with the object's key
// Fen::EntryMap<...>     a state machine's collection of entries, one per member
//                        of a directory, with the generated xIs / xDel / xDelAll
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

#include <cstdint>
#include <tuple>
#include <type_traits>
#include <utility>

#include "Fen/Exception.h"
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
// Each variant also says what follows the handler of one key (afterAttribute).
struct NoVariant {
   template <class R>
   static void afterSwitch(R&) {}
   template <class R, class Key>
   static void afterAttribute(R&, Key const&) {}
};
// Rescan: the state machine's handler of the whole attribute, unless the reactor
// is marked for deletion or has lost its state machine.
template <auto sweep>
struct Rescan : NoVariant {
   template <class R>
   static void afterSwitch(R& r) {
      if (!r.fenMarkedForDeletion() && r.owner) (r.owner->*sweep)();
   }
};
// Reconcile: one entry reactor per member of a directory, kept by the state
// machine's EntryMap that `entries()` gives. After a switch, every member gets
// its entry and entries of keys gone go; after the handler of one key (also
// when the reactor is marked for deletion), that key's entry follows the
// directory. Both only while notifier and owner are set.
template <auto entries>
struct Reconcile {
   template <class R>
   static void afterSwitch(R& r) {
      if (r.notifier() && r.owner) (r.owner->*entries)().reconcile(*r.owner, *r.notifier());
   }
   template <class R, class Key>
   static void afterAttribute(R& r, Key const& key) {
      if (r.notifier() && r.owner) (r.owner->*entries)().reconcile(*r.owner, *r.notifier(), key);
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
// What every reactor has: the owner, the binding, the zombie state.
template <class Sm, class NotifierT>
class ReactorBase : public PtrInterface::NotifieeConst {
public:
   using NotifierType = NotifierT;
   using OwnerType = Sm;

   // Raw back-pointer to the state machine; null once the state machine is gone.
   Sm* owner;

   // Binds to `notifier` (which may be null) and registers; calls no handler.
   ReactorBase(Ptr<NotifierT const> const& notifier, Sm* ownerSm) : owner(ownerSm) {
      NotifieeConst::notifierIs(notifier.ptr());
      isRegisteredNotifieeIs(true);
   }
   ~ReactorBase() override { fenDoZombieReactors(true); }

   NotifierT const* notifier() const {
      return static_cast<NotifierT const*>(NotifieeConst::notifier());
   }

   // Zombie or back: notification follows the mark (only with a notifier).
   void fenDoZombieReactors(bool zombie) override {
      if (fenMarkedForDeletion() == zombie) return;
      if (NotifieeConst::notifier() != nullptr) NotifieeConst::hasNotificationActiveIs(!zombie);
      fenMarkedForDeletionIs(zombie);
   }

protected:
   // Switches to `p` cast to the notifier type (a wrong type counts as null);
   // false when that is the notifier already.
   bool switchTo(Ptr<PtrInterface const> const& p) {
      auto const* n = dynamic_cast<NotifierT const*>(p.ptr());
      if (n == notifier()) return false;
      NotifieeConst::notifierIs(n);
      return true;
   }
};

template <class Derived, class Sm, class NotifierT, AttributeId attributeId, class Key,
          auto handler, class Variant = NoVariant>
class Reactor : public ReactorBase<Sm, NotifierT> {
public:
   static constexpr AttributeId fenAttributeId = attributeId;
   using ReactorBase<Sm, NotifierT>::ReactorBase;
   using ReactorBase<Sm, NotifierT>::owner;

   // Switches to `p`, cast to the notifier type (a wrong type counts as null).
   // The same notifier again does nothing: no rescan, no second registration.
   void notifierIs(Ptr<PtrInterface const> const& p) {
      if (!this->switchTo(p)) return;
      static_cast<Derived*>(this)->onNotifierSwitched();
      this->isRegisteredNotifieeIs(true);
   }
   void onNotifierSwitched() { Variant::afterSwitch(static_cast<Derived&>(*this)); }

   // Forwards its own attribute to the handler, unless marked for deletion; the
   // variant's work follows.
   void onAttribute(AttributeId id, void const* keyPtr) override {
      if (id != attributeId) return;
      Key const& key = *static_cast<Key const*>(keyPtr);
      if (!this->fenMarkedForDeletion()) (owner->*handler)(key);
      Variant::afterAttribute(static_cast<Derived&>(*this), key);
   }
};

// The listener of one member object of a directory. It hears the scalar
// attribute `attributeId` of that object and calls `handler` of the state machine
// with the object's `intfId()` (a default key while it has no object). A switch to
// another object runs the handler at once, unless there is none or the entry is
// marked for deletion. Keeps nothing of the object it hears.
template <class Derived, class Sm, class NotifierT, AttributeId attributeId, auto handler>
class EntryReactor : public ReactorBase<Sm, NotifierT> {
public:
   static constexpr AttributeId fenAttributeId = attributeId;
   using KeyType = std::remove_cvref_t<decltype(std::declval<NotifierT const&>().intfId())>;
   using ReactorBase<Sm, NotifierT>::ReactorBase;
   using ReactorBase<Sm, NotifierT>::owner;

   KeyType key() const { return this->notifier() ? this->notifier()->intfId() : KeyType(); }
   // What onAttribute and a switch call (the generated fen_handleX_y()).
   void fenHandle() { (owner->*handler)(key()); }

   void notifierIs(Ptr<PtrInterface const> const& p) {
      if (!this->switchTo(p)) return;
      if (this->notifier() && !this->fenMarkedForDeletion()) fenHandle();
      this->isRegisteredNotifieeIs(true);
   }

   void onAttribute(AttributeId id, void const*) override {
      if (id != attributeId) return;
      if (this->fenMarkedForDeletion()) return;
      fenHandle();
   }
};

// The key of an entry in its map: the key of the object it hears.
template <class Entry>
struct EntryKeyFunktor {
   typename Entry::KeyType operator()(Ptr<Entry> const& e) const { return e->key(); }
};

// A state machine's collection of entries: one EntryReactor per non-null member
// of a directory, under the member's key. `members` and `member` are the
// directory's map and lookup accessors; `salt` seeds the map's hash; `attributeId`
// is the collection's own, named when a null member is refused.
template <class Entry, std::uint32_t salt, AttributeId attributeId, auto members, auto member>
class EntryMap {
public:
   using Sm = typename Entry::OwnerType;
   using NotifierT = typename Entry::NotifierType;
   using Key = typename Entry::KeyType;
   using Map = HashMap2018<MapTag<salt, EntryKeyFunktor<Entry>>, Key, Ptr<Entry>>;

   // The object the entry of `key` hears, or null.
   NotifierT const* get(Key const& key) const {
      auto const* node = map_[key];
      return node && *node ? (*node)->notifier() : nullptr;
   }
   std::uint32_t size() const { return static_cast<std::uint32_t>(map_.size()); }
   Map const& map() const { return map_; }

   // xIs(p): an entry for `p` under its key. One that already hears `p` stays as
   // it is; one that hears another object under the key switches to `p` (and so
   // runs the handler); a new one runs none. Each comes out marked for deletion
   // as the state machine is.
   void is(Sm& sm, Ptr<NotifierT const> const& p) {
      if (!p) throwMutatorArgNullPointerException(Sm::fenTypeName(), attributeId);
      if (auto const* node = map_[p->intfId()]) {
         Ptr<Entry> const entry = *node;
         if (entry->notifier() == p.ptr()) return;
         entry->notifierIs(p);
         entry->fenDoZombieReactors(sm.fenMarkedForDeletion());
         return;
      }
      Ptr<Entry> const entry = fenObjectIs<Entry>(p, &sm);
      map_.memberIs(entry);
      entry->fenDoZombieReactors(sm.fenMarkedForDeletion());
   }

   // xDel(key): the entry leaves the map, a zombie without owner and without
   // notification; gives back the object it heard, or null.
   Ptr<NotifierT const> del(Sm& sm, Key const& key) {
      Ptr<Entry> const entry = map_.memberDel(key);
      if (!entry) return nullptr;
      Ptr<Sm> const holdSm(&sm);
      entry->fenDoZombieReactors(true);
      entry->owner = nullptr;
      entry->hasNotificationActiveIs(false);
      return Ptr<NotifierT const>(entry->notifier());
   }

   // xDelAll(): xDel of every key.
   void delAll(Sm& sm) {
      for (typename Map::IteratorConst it(map_); it; it.advance()) {
         Key const key = it.key();
         (void)del(sm, key);
      }
   }

   // Empties the map in one step, calling nothing (the last step of teardown).
   void clear() { map_.memberDelAll(); }

   // Every non-null member of `dir` gets its entry; entries of keys that `dir`
   // lacks, or holds null, go.
   template <class Dir>
   void reconcile(Sm& sm, Dir const& dir) {
      for (typename std::remove_cvref_t<decltype((dir.*members)())>::IteratorConst it(
               (dir.*members)());
           it; it.advance()) {
         if (auto const m = (dir.*member)(it.key())) is(sm, m);
      }
      for (typename Map::IteratorConst it(map_); it; it.advance()) {
         Key const key = it.key();
         if (!(dir.*member)(key)) (void)del(sm, key);
      }
   }
   // The entry of `key` follows `dir`'s member under it.
   template <class Dir>
   void reconcile(Sm& sm, Dir const& dir, Key const& key) {
      if (auto const m = (dir.*member)(key)) {
         is(sm, m);
      } else {
         (void)del(sm, key);
      }
   }

private:
   Map map_;
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

template <class Entry, std::uint32_t salt, AttributeId attributeId, auto members, auto member,
          class Fn>
void fenForEachReactor(EntryMap<Entry, salt, attributeId, members, member> const& entries,
                       Fn&& fn) {
   fenForEachReactor(entries.map(), std::forward<Fn>(fn));
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
