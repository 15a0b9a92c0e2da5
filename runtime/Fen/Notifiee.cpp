#include "Fen/Notifiee.h"

#include <algorithm>

namespace Fen {

void NotifieeList::add(PtrInterface::NotifieeConst* n) {
   entries_.push_back(n);
}

void NotifieeList::remove(PtrInterface::NotifieeConst* n) {
   auto it = std::find(entries_.begin(), entries_.end(), n);
   if (it == entries_.end()) return;
   if (visitDepth_ > 0) {
      // A walk is running over the vector: leave a hole, compact afterwards.
      *it = nullptr;
      holes_ = true;
   } else {
      entries_.erase(it);
   }
}

void NotifieeList::compact() const {
   if (visitDepth_ > 0 || !holes_) return;
   std::erase(entries_, nullptr);
   holes_ = false;
}

std::size_t NotifieeList::size() const {
   return static_cast<std::size_t>(
       std::count_if(entries_.begin(), entries_.end(), [](auto* e) { return e != nullptr; }));
}

void NotifieeList::visit(AttributeId id, void const* keyPtr) const {
   // Reactors that register during the walk sit beyond `n` and hear from the next
   // notification on; reactors that leave become holes and are skipped.
   std::size_t const n = entries_.size();
   ++visitDepth_;
   struct DepthGuard {
      NotifieeList const* list;
      ~DepthGuard() {
         --list->visitDepth_;
         list->compact();
      }
   } guard{this};
   for (std::size_t i = 0; i < n; ++i) {
      PtrInterface::NotifieeConst* reactor = entries_[i];
      if (reactor == nullptr || !reactor->hasNotificationActive()) continue;
      // The reactor may lose its last other reference inside its own handler.
      Ptr<PtrInterface::NotifieeConst> hold(reactor);
      reactor->onAttribute(id, keyPtr);
   }
}

void NotifieeList::deleteAll() {
   for (auto* e : entries_) {
      if (e) e->list_ = nullptr;
   }
   if (visitDepth_ > 0) {
      std::fill(entries_.begin(), entries_.end(), nullptr);
      holes_ = true;
   } else {
      entries_.clear();
   }
}

PtrInterface::NotifieeConst::~NotifieeConst() {
   isRegisteredNotifieeIs(false);
}

void PtrInterface::NotifieeConst::notifierIs(PtrInterface const* notifier) {
   if (notifier == notifier_.ptr()) return;
   bool const wasRegistered = isRegisteredNotifiee();
   if (wasRegistered) isRegisteredNotifieeIs(false);
   notifier_ = Ptr<PtrInterface const>(notifier);
}

void PtrInterface::NotifieeConst::isRegisteredNotifieeIs(bool registered) const {
   if (registered) {
      if (list_ != nullptr || !notifier_) return;
      NotifieeList* list = notifier_->notifieeList().list;
      if (list == nullptr) return;
      list->add(const_cast<NotifieeConst*>(this));
      list_ = list;
   } else if (list_ != nullptr) {
      list_->remove(const_cast<NotifieeConst*>(this));
      list_ = nullptr;
   }
}

void PtrInterface::NotifieeConst::hasNotificationActiveIs(bool active) {
   bitIs(notificationActiveBit, active);
}

void PtrInterface::NotifieeConst::onZeroReferences() {
   isRegisteredNotifieeIs(false);
}

}  // namespace Fen
