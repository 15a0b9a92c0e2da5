// TestSupport::Listener: the one reactor for tests. Registered with its notifier
// and active from the start, it records the attribute id of every notification
// and hands each to a callback.
//
// watch(notifier, name) is the form for death tests: each change is also written
// to stderr as "changed <name>", so that the output of a dying process tells
// whether the collection was touched before the end.
#pragma once

#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Fen/Notifiee.h"

namespace TestSupport {

class Listener : public Fen::PtrInterface::NotifieeConst {
   FEN_COUNTED_CLASS("TestSupport::Listener")

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

inline Fen::Ptr<Listener> watch(Fen::PtrInterface const* notifier, char const* name) {
   return Listener::ListenerIs(notifier, [what = std::string(name)](Fen::AttributeId, void const*) {
      std::fprintf(stderr, "changed %s\n", what.c_str());
      std::fflush(stderr);
   });
}

}  // namespace TestSupport
