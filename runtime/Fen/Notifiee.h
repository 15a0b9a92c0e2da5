// Notification: how change flows through the system.
//
// An object that owns an attribute calls its NotifieeList after each change; the
// list calls onAttribute(id, keyPtr) on every registered, active reactor before
// it returns. A reactor (a NotifieeConst) turns the call into a handler of its
// state machine. The notification carries only the attribute id and a pointer to
// the key of the member that changed, valid during the call: the reactor reads
// the new state, or its absence, from the notifier.
//
// Reentrancy
// ----------
// visit() stays correct when, while it runs, a reactor unregisters itself or
// another reactor, a new reactor registers, or a handler writes to the notifier
// again (nested visit). A reactor that leaves is not called afterwards; one that
// joins is called from the next notification on.
#pragma once

#include <cstdint>
#include <vector>

#include "Fen/Ptr.h"

namespace Fen {

// Names one attribute of one class. Only compared for equality; the same number
// means different attributes in different classes.
using AttributeId = std::uint32_t;

class NotifieeList {
public:
   NotifieeList() = default;
   NotifieeList(NotifieeList const&) = delete;
   NotifieeList& operator=(NotifieeList const&) = delete;
   ~NotifieeList() { deleteAll(); }

   // Calls onAttribute(id, keyPtr) on each registered, active reactor.
   void visit(AttributeId id, void const* keyPtr) const;
   // Empties the list; the reactors in it are no longer registered.
   void deleteAll();
   // Registered reactors, including those with notification off.
   std::size_t size() const;

private:
   friend class PtrInterface::NotifieeConst;
   void add(PtrInterface::NotifieeConst* n);
   void remove(PtrInterface::NotifieeConst* n);
   void compact() const;

   mutable std::vector<PtrInterface::NotifieeConst*> entries_;
   mutable std::uint32_t visitDepth_ = 0;
   mutable bool holes_ = false;
};

}  // namespace Fen

namespace Fen {

// Base of every reactor. Holds its notifier by a counted reference, so an input
// stays alive while something listens to it, and its registration state.
//
// A reactor hears notifications only while it is registered in its notifier's
// list and its own notification-active bit is set.
class PtrInterface::NotifieeConst : public PtrInterface {
public:
   // No notifier, not registered, notification not active.
   NotifieeConst() = default;
   ~NotifieeConst() override;

   // Binds to a notifier or to null; a registered reactor leaves its old
   // notifier's list first (and must register again to hear the new one).
   void notifierIs(PtrInterface const* notifier);
   PtrInterface const* notifier() const { return notifier_.ptr(); }
   // Enters the reactor in its notifier's list, or takes it out. Harmless with a
   // null notifier or a notifier that keeps no list.
   void isRegisteredNotifieeIs(bool registered) const;
   bool isRegisteredNotifiee() const { return list_ != nullptr; }

   // The gate: while false, onAttribute is not delivered.
   void hasNotificationActiveIs(bool active) override;
   // The last release of a reactor runs its onZeroReferences.
   void fenLastReferenceGone() final { onZeroReferences(); }
   FwkType fwkType() const override { return {}; }
   virtual void onZeroReferences();
   virtual void onAttribute(AttributeId id, void const* keyPtr) = 0;
   virtual void fenDoZombieReactors(bool zombie) = 0;

private:
   friend class NotifieeList;
   Ptr<PtrInterface const> notifier_;
   mutable NotifieeList* list_ = nullptr;
};

}  // namespace Fen
