// WexDynamicEncapSm under random MACsec proxy statuses: proxies added, replaced,
// changed in place and removed, patches unset, parent ports added, flipped and
// removed unheard, VLAN ids drawn from three values so that proxies on one port
// often yield the same encap. After every step:
//  - invariants (1) and (2) of WexDynamicEncapSm.h hold;
//  - the machine's maps and dynamicIntfEncap are what a replay of its add and
//    delete on a reference model gives;
//  - a fresh machine built on the same status into a fresh collection writes the
//    same entries, apart from three named exceptions, each computed from the
//    model:
//    parent unheard    a proxy whose parent port was added, removed or flipped
//                      since the proxy's last notification (the parent is read
//                      at add time, never heard);
//    shared withdrawn  an encap that a standing proxy still names but another
//                      proxy yielding the same encap withdrew (entries are not
//                      counted: the first delete removes a shared entry);
//    shared rewritten  an encap that two standing proxies yield: each machine
//                      keeps the entry it wrote last, the running one in the
//                      order of the notifications, the fresh one in the order
//                      of its walk.
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Listener.h"
#include "MacsecProxy/Status.h"
#include "PropertyCheck.h"
#include "WexVlanMapping/WexDynamicEncapSm.h"

namespace TestSupport {
namespace {

using WexVlanMapping::WexDynamicEncapSm;
using WexVlanMapping::WexDynamicIntfEncapColl;
using WexVlanMapping::WexDynamicIntfEncapInfo;

// Two proxies share Ethernet1, where their encaps collide; one port has none.
constexpr std::array<char const*, 4> proxyNames = {"Ethernet1.1", "Ethernet1.2", "Ethernet2.1",
                                                   "Ethernet3.1"};
constexpr std::array<char const*, 4> portNames = {"Ethernet1", "Ethernet2", "Ethernet3",
                                                  "Ethernet4"};
constexpr std::array<std::uint16_t, 3> vids = {10, 20, 30};

Kestin::IntfId proxyAt(int i) {
   return Kestin::IntfId(proxyNames[std::size_t(i) % 4]);
}
Kestin::IntfId portAt(int i) {
   return Kestin::IntfId(portNames[std::size_t(i) % 4]);
}
std::uint16_t vidAt(int i) {
   return vids[std::size_t(i) % vids.size()];
}
// The patch of proxy `i` for `choice`: unset for 0, else one of two names of its
// own on the proxy's port (no two proxies share a patch).
Kestin::IntfId patchAt(int i, int choice) {
   choice %= 3;
   if (choice == 0) return Kestin::IntfId();
   Kestin::IntfId const proxy = proxyAt(i);
   std::string const port = Kestin::SubIntfId::parentIntfId(proxy).stringValue().stdString();
   return Kestin::IntfId(port + "." + std::to_string(choice * 100 + i % 4 + 1));
}

enum StepKind : int {
   publish,      // proxy a: a complete status in one write (patch b, vids c, d)
   createEmpty,  // proxy a: an empty member (patch unset, vids 0), if absent
   editInPlace,  // proxy a: field b % 3 set from c, announced
   remove,       // proxy a removed
   renotify,     // proxy a announced without a change
   parentSet,    // port a: present, singleTagEgress b odd (unheard)
   parentFlip,   // port a: singleTagEgress flipped, if present (unheard)
   parentDel,    // port a removed (unheard)
};

struct Step {
   StepKind kind;
   int a = 0;
   int b = 0;
   int c = 0;
   int d = 0;
};

std::string describe(Step const& s) {
   static char const* const names[] = {"publish",  "create empty", "edit in place", "remove",
                                       "renotify", "parent set",   "parent flip",   "parent del"};
   std::ostringstream os;
   os << names[s.kind] << " ";
   if (s.kind >= parentSet) {
      os << portNames[std::size_t(s.a) % 4] << " b=" << s.b;
   } else {
      os << proxyNames[std::size_t(s.a) % 4] << " patch=" << patchAt(s.a, s.b)
         << " patchVid=" << vidAt(s.c) << " proxyVid=" << vidAt(s.d) << " b=" << s.b;
   }
   return os.str();
}

rc::Gen<Step> stepGen() {
   return rc::gen::exec([] {
      Step s;
      s.kind = *rc::gen::weightedElement<StepKind>({
          {6, publish},
          {1, createEmpty},
          {3, editInPlace},
          {2, remove},
          {1, renotify},
          {3, parentSet},
          {2, parentFlip},
          {1, parentDel},
      });
      s.a = *rc::gen::inRange(0, 4);
      s.b = *rc::gen::inRange(0, 6);
      s.c = *rc::gen::inRange(0, 3);
      s.d = *rc::gen::inRange(0, 3);
      return s;
   });
}

using Entries = std::map<Ulva::IntfEncap, WexDynamicIntfEncapInfo>;

// How often each exception excused a difference over the whole run: the walks
// must reach every one of them for the comparison to mean something.
struct ExceptionsMet {
   int parentUnheard = 0;
   int sharedWithdrawn = 0;
   int sharedRewritten = 0;
};
ExceptionsMet met;

std::string text(std::optional<WexDynamicIntfEncapInfo> const& e) {
   if (!e) return "none";
   std::ostringstream os;
   os << *e;
   return os.str();
}

Entries entriesOf(WexDynamicIntfEncapColl const& coll) {
   Entries out;
   Fen::forEachKey(coll.entryMap(),
                   [&](Ulva::IntfEncap const& key) { out.emplace(key, coll.entry(key)); });
   return out;
}

std::optional<WexDynamicIntfEncapInfo> find(Entries const& entries, Ulva::IntfEncap const& key) {
   auto const it = entries.find(key);
   if (it == entries.end()) return std::nullopt;
   return it->second;
}

class World {
public:
   World()
       : status_(MacsecProxy::statusFactory()),
         dynamic_(WexVlanMapping::wexDynamicIntfEncapCollFactory()),
         sm_(WexVlanMapping::wexDynamicEncapSmFactory(status_, dynamic_)),
         ear_(Listener::ListenerIs(status_.ptr(), [this](Fen::AttributeId id, void const* key) {
            if (id == MacsecProxy::Status::proxySubIntfStatusAttributeId) {
               notified_.push_back(*static_cast<Kestin::IntfId const*>(key));
            }
         })) {}
   ~World() {
      ear_ = nullptr;
      sm_ = nullptr;
   }

   void apply(Step const& s) {
      Kestin::IntfId const proxy = proxyAt(s.a);
      Kestin::IntfId const port = portAt(s.a);
      switch (s.kind) {
         case publish:
            status_->proxySubIntfStatusIs(MacsecProxy::macsecProxySubIntfStatusFactory(
                proxy, patchAt(s.a, s.b), vidAt(s.c), vidAt(s.d)));
            break;
         case createEmpty:
            (void)status_->proxySubIntfStatusIs(proxy);
            break;
         case editInPlace:
            if (auto const m = status_->proxySubIntfStatus(proxy)) {
               switch (s.b % 3) {
                  case 0:
                     m->patchSubIntfIs(patchAt(s.a, s.c));
                     break;
                  case 1:
                     m->patchEncapVidIs(vidAt(s.c));
                     break;
                  default:
                     m->proxyEncapVidIs(vidAt(s.c));
                     break;
               }
               status_->proxySubIntfStatusChanged(proxy);
            }
            break;
         case remove:
            (void)status_->proxySubIntfStatusDel(proxy);
            break;
         case renotify:
            status_->proxySubIntfStatusChanged(proxy);
            break;
         case parentSet:
            status_->proxyIntfIs(port)->singleTagEgressIs(s.b % 2 == 1);
            break;
         case parentFlip:
            if (auto const p = status_->proxyIntf(port))
               p->singleTagEgressIs(!p->singleTagEgress());
            break;
         case parentDel:
            (void)status_->proxyIntfDel(port);
            break;
      }
      // The model hears what the machine heard, in the same order.
      for (Kestin::IntfId const id : notified_)
         replay(id);
      notified_.clear();
   }

   // Invariants (1) and (2) of the header, and the machine against the model.
   std::vector<std::string> violations() const {
      std::vector<std::string> bad;
      // (1) a member per proxy that passed the guards at its last notification.
      if (sm_->macsecProxySubIntfToPatchSubIntfs() != added_.size()) {
         bad.push_back("(1) macsecProxySubIntfToPatchSubIntf has " +
                       std::to_string(sm_->macsecProxySubIntfToPatchSubIntfs()) +
                       " members, the model " + std::to_string(added_.size()));
      }
      for (auto const& [p, q] : added_) {
         if (!sm_->macsecProxySubIntfToPatchSubIntfHas(p) ||
             sm_->macsecProxySubIntfToPatchSubIntf(p) != q) {
            bad.push_back("(1) " + name(p) + " -> " + name(q) + " missing");
         }
      }
      // (2) for each member p -> q, both halves name an entry of macsecProxy
      // source, unless another proxy withdrew that shared entry.
      Fen::forEachKey(sm_->macsecProxySubIntfToPatchSubIntfMap(), [&](Kestin::IntfId p) {
         Kestin::IntfId const q = sm_->macsecProxySubIntfToPatchSubIntf(p);
         for (Kestin::IntfId const s : {p, q}) {
            if (!sm_->subIntfToDynIntfEncapHas(s)) {
               bad.push_back("(2) " + name(s) + " has no member in subIntfToDynIntfEncap");
               continue;
            }
            Ulva::IntfEncap const e = sm_->subIntfToDynIntfEncap(s);
            bool const stands =
                dynamic_->entryHas(e) && dynamic_->entry(e).source() == WexVlanMapping::macsecProxy;
            if (!stands && !orphaned_.contains(s)) {
               std::ostringstream os;
               os << "(2) " << s << " names " << e << ", not an entry of source macsecProxy";
               bad.push_back(os.str());
            }
         }
      });
      // The machine's memory and output against the replay.
      if (sm_->subIntfToDynIntfEncaps() != written_.size()) {
         bad.push_back("subIntfToDynIntfEncap has " +
                       std::to_string(sm_->subIntfToDynIntfEncaps()) + " members, the model " +
                       std::to_string(written_.size()));
      }
      for (auto const& [s, e] : written_) {
         if (sm_->subIntfToDynIntfEncap(s) != e) {
            std::ostringstream os;
            os << s << " names " << sm_->subIntfToDynIntfEncap(s) << ", the model " << e;
            bad.push_back(os.str());
         }
      }
      Entries const now = entriesOf(*dynamic_);
      if (now != reference_) {
         std::ostringstream os;
         os << "dynamicIntfEncap differs from the model:";
         for (auto const& [k, v] : now) {
            if (find(reference_, k) != v)
               os << "\n    " << k << ": " << v << " / model " << text(find(reference_, k));
         }
         for (auto const& [k, v] : reference_) {
            if (!now.contains(k)) os << "\n    " << k << ": none / model " << v;
         }
         bad.push_back(os.str());
      }
      return bad;
   }

   // A machine built now on the same status into a fresh collection: every
   // difference from the running one that no named exception covers.
   std::vector<std::string> restartChanges() const {
      Fen::Ptr<WexDynamicIntfEncapColl> const freshColl =
          WexVlanMapping::wexDynamicIntfEncapCollFactory();
      Fen::Ptr<WexDynamicEncapSm> fresh =
          WexVlanMapping::wexDynamicEncapSmFactory(status_, freshColl);
      Entries const running = entriesOf(*dynamic_);
      Entries const restarted = entriesOf(*freshColl);

      // What each standing proxy yields now, and the proxies whose parent
      // changed unheard.
      std::map<Ulva::IntfEncap, std::map<Kestin::IntfId, std::set<std::string>>> yielders;
      std::set<Ulva::IntfEncap> parentUnheard;
      std::set<Kestin::IntfId> staleSubIntfs;
      for (std::size_t i = 0; i < proxyNames.size(); ++i) {
         Kestin::IntfId const p = proxyAt(int(i));
         auto const m = status_->proxySubIntfStatus(p);
         if (!m) continue;
         std::vector<WexDynamicIntfEncapInfo> const yields = yieldsOf(*m);
         bool const stale = staleParent(p);
         for (auto const& y : yields) {
            yielders[y.intfEncap()][p].insert(text(y));
            if (stale) parentUnheard.insert(y.intfEncap());
         }
         if (stale) {
            staleSubIntfs.insert(p);
            staleSubIntfs.insert(m->patchSubIntf());
            if (auto const it = added_.find(p); it != added_.end()) {
               staleSubIntfs.insert(it->second);
            }
            for (Kestin::IntfId const s : {p, addedPatch(p)}) {
               if (auto const w = written_.find(s); w != written_.end()) {
                  parentUnheard.insert(w->second);
               }
            }
         }
      }
      std::set<Ulva::IntfEncap> sharedWithdrawn;
      for (Kestin::IntfId const s : orphaned_)
         sharedWithdrawn.insert(written_.at(s));

      std::vector<std::string> changed;
      std::set<Ulva::IntfEncap> keys;
      for (auto const& [k, v] : running)
         keys.insert(k);
      for (auto const& [k, v] : restarted)
         keys.insert(k);
      for (Ulva::IntfEncap const& k : keys) {
         auto const r = find(running, k);
         auto const f = find(restarted, k);
         if (r == f) continue;
         if (parentUnheard.contains(k)) {
            ++met.parentUnheard;
            continue;
         }
         if (!r && sharedWithdrawn.contains(k)) {
            ++met.sharedWithdrawn;
            continue;
         }
         if (r && f && sharedRewritten(yielders, k, text(r), text(f))) {
            ++met.sharedRewritten;
            continue;
         }
         std::ostringstream os;
         os << k << ": " << text(r) << " / fresh " << text(f);
         changed.push_back(os.str());
      }
      // The memories agree for every proxy whose parent was heard as it is.
      for (std::size_t i = 0; i < proxyNames.size(); ++i) {
         Kestin::IntfId const p = proxyAt(int(i));
         if (staleSubIntfs.contains(p)) continue;
         if (fresh->macsecProxySubIntfToPatchSubIntf(p) != sm_->macsecProxySubIntfToPatchSubIntf(p))
            changed.push_back(name(p) + ": macsecProxySubIntfToPatchSubIntf differs");
         for (int choice = 0; choice < 3; ++choice) {
            Kestin::IntfId const s = choice == 0 ? p : patchAt(int(i), choice);
            if (staleSubIntfs.contains(s)) continue;
            if (fresh->subIntfToDynIntfEncap(s) != sm_->subIntfToDynIntfEncap(s))
               changed.push_back(name(s) + ": subIntfToDynIntfEncap differs");
         }
      }
      fresh = nullptr;
      return changed;
   }

private:
   static std::string name(Kestin::IntfId id) { return id.stringValue().stdString(); }

   Kestin::IntfId addedPatch(Kestin::IntfId p) const {
      auto const it = added_.find(p);
      return it == added_.end() ? Kestin::IntfId() : it->second;
   }

   // The parent port's state as the add reads it: none when absent.
   std::optional<bool> parentState(Kestin::IntfId proxy) const {
      auto const parent = status_->proxyIntf(Kestin::SubIntfId::parentIntfId(proxy));
      if (!parent) return std::nullopt;
      return parent->singleTagEgress();
   }

   // A standing proxy with both sub-interfaces named whose parent differs from
   // what its last notification found.
   bool staleParent(Kestin::IntfId p) const {
      auto const m = status_->proxySubIntfStatus(p);
      if (!m || m->patchSubIntf() == Kestin::IntfId()) return false;
      auto const it = heardParent_.find(p);
      return it == heardParent_.end() || it->second != parentState(p);
   }

   // Two distinct standing proxies yield `k`, and each machine holds the entry of
   // one of them.
   static bool sharedRewritten(
       std::map<Ulva::IntfEncap, std::map<Kestin::IntfId, std::set<std::string>>> const& yielders,
       Ulva::IntfEncap const& k, std::string const& r, std::string const& f) {
      auto const it = yielders.find(k);
      if (it == yielders.end() || it->second.size() < 2) return false;
      bool rFound = false;
      bool fFound = false;
      for (auto const& [p, texts] : it->second) {
         rFound = rFound || texts.contains(r);
         fFound = fFound || texts.contains(f);
      }
      return rFound && fFound;
   }

   // The entries that `m` yields with its parent as it is now, in the order of
   // the add (proxy, then patch); none when a guard stops it.
   std::vector<WexDynamicIntfEncapInfo> yieldsOf(
       MacsecProxy::MacsecProxySubIntfStatus const& m) const {
      Kestin::IntfId const proxy = m.proxySubIntf();
      Kestin::IntfId const patch = m.patchSubIntf();
      if (proxy == Kestin::IntfId() || patch == Kestin::IntfId()) return {};
      std::optional<bool> const single = parentState(proxy);
      if (!single) return {};
      Kestin::IntfId const port = Kestin::SubIntfId::parentIntfId(proxy);
      auto const one = [](std::uint16_t vid) {
         return Ulva::VlanTagEncap(Ulva::vlanTag(vid), Ulva::VlanTag());
      };
      auto const twice = [](std::uint16_t vid) {
         return Ulva::VlanTagEncap(Ulva::vlanTag(vid), Ulva::vlanTag(vid));
      };
      std::uint16_t const patchVid = m.patchEncapVid();
      std::uint16_t const proxyVid = m.proxyEncapVid();
      auto const entry = [&](std::uint16_t in, std::uint16_t out, Kestin::IntfId svc) {
         WexDynamicIntfEncapInfo info(Ulva::IntfEncap(port, one(in)));
         info.egressEncapIs(*single ? one(out) : twice(out));
         info.sourceIs(WexVlanMapping::macsecProxy);
         info.serviceIntfIs(svc);
         return info;
      };
      return {entry(proxyVid, patchVid, proxy), entry(patchVid, proxyVid, patch)};
   }

   // The handler of one proxy, replayed on the model: withdraw, then write anew.
   void replay(Kestin::IntfId p) {
      withdraw(p);
      auto const m = status_->proxySubIntfStatus(p);
      if (!m) {
         heardParent_.erase(p);
         return;
      }
      heardParent_[p] = parentState(p);
      std::vector<WexDynamicIntfEncapInfo> const yields = yieldsOf(*m);
      if (yields.empty()) return;
      added_[p] = m->patchSubIntf();
      for (auto const& y : yields) {
         reference_[y.intfEncap()] = y;
         written_[y.serviceIntf()] = y.intfEncap();
         orphaned_.erase(y.serviceIntf());
      }
   }

   void withdraw(Kestin::IntfId p) {
      auto const it = added_.find(p);
      if (it == added_.end()) return;
      Kestin::IntfId const q = it->second;
      added_.erase(it);
      for (Kestin::IntfId const s : {q, p}) {
         auto const w = written_.find(s);
         if (w == written_.end()) continue;
         Ulva::IntfEncap const e = w->second;
         written_.erase(w);
         orphaned_.erase(s);
         if (reference_.erase(e) == 0) continue;
         // Whoever else still names this encap has lost its entry.
         for (auto const& [other, oe] : written_) {
            if (oe == e) orphaned_.insert(other);
         }
      }
   }

   Fen::Ptr<MacsecProxy::Status> status_;
   Fen::Ptr<WexDynamicIntfEncapColl> dynamic_;
   Fen::Ptr<WexDynamicEncapSm> sm_;
   Fen::Ptr<Listener> ear_;
   std::vector<Kestin::IntfId> notified_;

   // The model: the members of both maps, dynamicIntfEncap, the sub-interfaces
   // whose entry another proxy withdrew, and each proxy's parent as its last
   // notification found it.
   std::map<Kestin::IntfId, Kestin::IntfId> added_;
   std::map<Kestin::IntfId, Ulva::IntfEncap> written_;
   Entries reference_;
   std::set<Kestin::IntfId> orphaned_;
   std::map<Kestin::IntfId, std::optional<bool>> heardParent_;
};

TEST(WexDynamicEncapSmProperty, InvariantsHoldAndAFreshMachineWritesTheSameEntries) {
   rc::detail::TestParams params;
#ifdef WEXVM_SANITIZED
   params.maxSuccess = 100;
#else
   params.maxSuccess = 1000;
#endif
   params.maxSize = 60;
   met = {};
   checkUnderSeeds("dynamic encap invariants and restart", {0x5EEDu, 0xBEEFu, 0xF00Du}, params, [] {
      auto const steps = *rc::gen::container<std::vector<Step>>(stepGen());
      World world;
      std::ostringstream log;
      for (Step const& s : steps) {
         log << "  " << describe(s) << "\n";
         world.apply(s);
         failIfAny(log.str(), "invariants broken", world.violations());
         failIfAny(log.str(), "a fresh machine differs", world.restartChanges());
      }
   });
   EXPECT_GT(met.parentUnheard, 0);
   EXPECT_GT(met.sharedWithdrawn, 0);
   EXPECT_GT(met.sharedRewritten, 0);
}

}  // namespace
}  // namespace TestSupport
