// A reactor for tests: registered with its notifier and active from the start,
// it records the attribute id of every notification and hands each to a callback.
#pragma once

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "Fen/Notifiee.h"

namespace WexVlanMappingTest {

class Listener : public Fen::PtrInterface::NotifieeConst {
   FEN_COUNTED_CLASS("WexVlanMappingTest::Listener")

public:
   using OnAttribute = std::function<void(Fen::AttributeId, void const*)>;

   static Fen::Ptr<Listener> ListenerIs(Fen::PtrInterface const* notifier, OnAttribute fn) {
      Fen::Ptr<Listener> l = Fen::fenObjectIs<Listener>(std::move(fn));
      l->notifierIs(notifier);
      l->isRegisteredNotifieeIs(true);
      return l;
   }
   explicit Listener(OnAttribute fn) : fn_(std::move(fn)) {}

   void onAttribute(Fen::AttributeId id, void const* keyPtr) override {
      ids_.push_back(id);
      if (fn_) fn_(id, keyPtr);
   }
   void fenDoZombieReactors(bool) override {}

   std::vector<Fen::AttributeId> const& ids() const { return ids_; }
   std::size_t calls() const { return ids_.size(); }

private:
   OnAttribute fn_;
   std::vector<Fen::AttributeId> ids_;
};

}  // namespace WexVlanMappingTest
