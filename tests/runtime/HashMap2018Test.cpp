// Behaviour of Fen::HashMap2018 and of the generated accessors over it: the
// three key forms, deletion of absent keys, walks that change the map under the
// iterator, the stale node of a deleted member, sets, copies that share
// storage, maps of counted objects, notifying accessors and a map of a million
// encaps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Fen/Accessors.h"
#include "Fen/Exception.h"
#include "Fen/HashMap2018.h"
#include "Fen/Notifiee.h"
#include "Fen/Ptr.h"
#include "Fen/Reactor.h"
#include "Kestin/IntfId.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"
#include "Ulva/VlanTag.h"
#include "Wex/WexCommonSmData.h"
#include "Listener.h"

namespace {

// ---- keys ---------------------------------------------------------------------------

Kestin::IntfId ethernet(int slot, int port) {
   return Kestin::IntfId(("Ethernet" + std::to_string(slot) + "/" + std::to_string(port)).c_str());
}

// Port number `p` (from 0) as Ethernet<1..>/<1..64>.
Kestin::IntfId portOf(int p) {
   static std::vector<Kestin::IntfId> const ports = [] {
      std::vector<Kestin::IntfId> v;
      for (int i = 0; i < 1024; ++i)
         v.push_back(ethernet(i / 64 + 1, i % 64 + 1));
      return v;
   }();
   return ports.at(static_cast<std::size_t>(p));
}

// The i-th encap of the tests: VLANs 1 to 4000 on one port after the other.
Ulva::IntfEncap encapOf(int i) {
   return Ulva::IntfEncap(
       portOf(i / 4000), Ulva::VlanTagEncap(Ulva::vlanTag(static_cast<std::uint32_t>(i % 4000 + 1)),
                                            Ulva::VlanTag()));
}

// A double-tagged encap: outer VLAN `outer`, inner VLAN `inner`.
Ulva::IntfEncap qinqOf(int port, std::uint32_t outer, std::uint32_t inner) {
   return Ulva::IntfEncap(
       portOf(port),
       Ulva::VlanTagEncap(Ulva::vlanTag(outer, Bridging::vlanTpid88a8), Ulva::vlanTag(inner)));
}

// The order in which a map keeps its members, and so the order of its walks.
template <class Map>
std::pair<std::uint32_t, typename Map::KeyType> orderOf(typename Map::KeyType const& k) {
   return {Map::rhash(k), k};
}

// ---- maps ---------------------------------------------------------------------------

struct FenHwStatus {
   static constexpr std::uint32_t salt = 0x2C8AAE16;
};
using StatusMap = Fen::HashMap2018<FenHwStatus, Ulva::IntfEncap, Ulva::IntfEncapHwStatus>;

struct FenCost {
   static constexpr std::uint32_t salt = 0x9296EEE7;
};
using CostMap = Fen::HashMap2018<FenCost, Ulva::IntfEncap, int>;

struct FenRetryNeeded {
   static constexpr std::uint32_t salt = 0xAA0DF8DB;
};
using RetrySet = Fen::HashMap2018<FenRetryNeeded, Ulva::IntfEncap>;

// Legacy key form: the id's own unseeded hash.
struct FenLagOfPort {
   static constexpr std::uint32_t salt = 0x55696FFD;
   using KeyForm = Fen::HashHelper::KeyAndRhashLegacy;
};
using LagOfPortMap = Fen::HashMap2018<FenLagOfPort, Kestin::IntfId, Kestin::IntfId>;
struct FenOtherLegacy {
   static constexpr std::uint32_t salt = 0x12345678;
   using KeyForm = Fen::HashHelper::KeyAndRhashLegacy;
};
using OtherLegacyMap = Fen::HashMap2018<FenOtherLegacy, Kestin::IntfId, int>;

// Seeded form over an id key.
struct FenPortDown {
   static constexpr std::uint32_t salt = 0xB8605D12;
};
using PortDownMap = Fen::HashMap2018<FenPortDown, Kestin::IntfId, bool>;

// Small-integer key form: every member has the salt as rhash.
enum ServiceKind : std::uint8_t {
   serviceKindNone = 0,
   serviceKindBridged = 1,
   serviceKindRouted = 2,
   serviceKindXconnect = 3,
};
struct FenServiceKind {
   static constexpr std::uint32_t salt = 0x6A706B8D;
   using KeyForm = Fen::HashHelper::KeyU32;
};
using ServiceKindSet = Fen::HashMap2018<FenServiceKind, ServiceKind>;
struct FenNumberWeight {
   static constexpr std::uint32_t salt = 0x6A706B8D;
   using KeyForm = Fen::HashHelper::KeyU32;
};
using NumberWeightMap = Fen::HashMap2018<FenNumberWeight, std::uint32_t, int>;
// The same with a salt whose home is the last home slot, so that every member
// lives in the tail behind the home slots.
struct FenLastHome {
   static constexpr std::uint32_t salt = 0xFFFFFFFF;
   using KeyForm = Fen::HashHelper::KeyU32;
};
using LastHomeSet = Fen::HashMap2018<FenLastHome, std::uint32_t>;

// A record that holds its own key.
class EncapRecord {
public:
   EncapRecord() = default;
   EncapRecord(Ulva::IntfEncap const& intfEncap, int cost) : intfEncap_(intfEncap), cost_(cost) {}
   Ulva::IntfEncap const& intfEncap() const { return intfEncap_; }
   int cost() const { return cost_; }
   bool operator==(EncapRecord const&) const = default;

private:
   Ulva::IntfEncap intfEncap_;
   int cost_ = 0;
};
struct EncapRecordKey {
   Ulva::IntfEncap const& operator()(EncapRecord const& r) const { return r.intfEncap(); }
};
struct FenConfig {
   static constexpr std::uint32_t salt = 0xE964F61A;
   using KeyFunktor = EncapRecordKey;
};
using ConfigMap = Fen::HashMap2018<FenConfig, Ulva::IntfEncap, EncapRecord>;

// A counted object that holds its own key.
class EncapObj : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("HashMap2018Test::EncapObj")

public:
   explicit EncapObj(Ulva::IntfEncap const& intfEncap, int weight = 0)
       : intfEncap_(intfEncap), weight_(weight) {}
   Ulva::IntfEncap const& intfEncap() const { return intfEncap_; }
   int weight() const { return weight_; }

private:
   Ulva::IntfEncap const intfEncap_;
   int const weight_;
};
struct EncapObjKey {
   Ulva::IntfEncap operator()(Fen::Ptr<EncapObj> const& p) const { return p->intfEncap(); }
};
struct FenDecoder {
   static constexpr std::uint32_t salt = 0xA11445E8;
   using KeyFunktor = EncapObjKey;
};
using ObjMap = Fen::HashMap2018<FenDecoder, Ulva::IntfEncap, Fen::Ptr<EncapObj>>;

std::int64_t liveEncapObjs() {
   auto* info = EncapObj::fenAllocTrackTypeInfo_;
   return info ? info->liveObjects() : 0;
}

Fen::Ptr<EncapObj> encapObj(int i, int weight = 0) {
   return Fen::fenObjectIs<EncapObj>(encapOf(i), weight);
}

// ---- a notifying collection and a reactor that records what it hears ----------------

class EncapColl : public Fen::Notifier {
   FEN_COUNTED_CLASS("HashMap2018Test::EncapColl")

public:
   static constexpr Fen::AttributeId statusId = 11;
   static constexpr Fen::AttributeId retryId = 12;
   static constexpr Fen::AttributeId decoderId = 13;

   FEN_NOTIFYING_COLLECTION_ACCESSORS(status, StatusMap, status_, statusId, notifiees_)
   FEN_NOTIFYING_COLLECTION_ACCESSORS(retry, RetrySet, retry_, retryId, notifiees_)
   FEN_NOTIFYING_OWNED_COLLECTION_ACCESSORS(decoder, ObjMap, decoder_, EncapObj, decoderId,
                                            notifiees_)

private:
   StatusMap status_;
   RetrySet retry_;
   ObjMap decoder_;
};

// What a listener on an EncapColl heard, key by key, and what it does on each.
struct KeyLog {
   struct Heard {
      Fen::AttributeId id;
      Ulva::IntfEncap key;
   };
   std::vector<Ulva::IntfEncap> keysOf(Fen::AttributeId id) const {
      std::vector<Ulva::IntfEncap> keys;
      for (auto const& h : heard) {
         if (h.id == id) keys.push_back(h.key);
      }
      return keys;
   }

   std::vector<Heard> heard;
   std::function<void(Fen::AttributeId, Ulva::IntfEncap const&)> react;
};

// A collection and the test listener on it, writing into a KeyLog.
struct Listened {
   Fen::Ptr<EncapColl> coll = Fen::fenObjectIs<EncapColl>();
   KeyLog log;
   KeyLog* const recorder = &log;
   Fen::Ptr<TestSupport::Listener> listener = TestSupport::Listener::ListenerIs(
       coll.ptr(), [this](Fen::AttributeId id, void const* keyPtr) {
          Ulva::IntfEncap const key = *static_cast<Ulva::IntfEncap const*>(keyPtr);
          log.heard.push_back({id, key});
          if (log.react) log.react(id, key);
       });
   Listened() = default;
   Listened(Listened const&) = delete;
   Listened& operator=(Listened const&) = delete;
   ~Listened() { log.react = nullptr; }
};

// ---- helpers ------------------------------------------------------------------------

// The keys of a walk, in the order it gave them.
template <class Map>
std::vector<typename Map::KeyType> walkKeys(Map const& m) {
   std::vector<typename Map::KeyType> keys;
   for (typename Map::IteratorConst it(m); it; it.advance())
      keys.push_back(it.key());
   return keys;
}

template <class Map>
std::vector<typename Map::KeyType> sortedByMapOrder(std::vector<typename Map::KeyType> keys) {
   std::sort(keys.begin(), keys.end(),
             [](auto const& a, auto const& b) { return orderOf<Map>(a) < orderOf<Map>(b); });
   return keys;
}

}  // namespace

// =================================================================================
// Key forms
// =================================================================================

TEST(HashMap2018KeyForm, SeededRhashOfEncapMixesProcessSeedAndSalt) {
   for (int i = 0; i < 100; ++i) {
      Ulva::IntfEncap const k = encapOf(i * 37);
      std::uint32_t const h = k.hash(Fen::hashSeed32() ^ FenCost::salt);
      EXPECT_EQ(CostMap::rhash(k), h ? h : 1u);
   }
   // Two salts over the same keys give two different hash sequences.
   int same = 0;
   for (int i = 0; i < 100; ++i)
      same += CostMap::rhash(encapOf(i)) == StatusMap::rhash(encapOf(i));
   EXPECT_LT(same, 3);
}

TEST(HashMap2018KeyForm, SeededRhashOfIdHashesTheIdWord) {
   for (int p = 0; p < 100; ++p) {
      Kestin::IntfId const id = portOf(p);
      std::uint32_t const h =
          Fen::hashSingleAttr(Fen::hashSeed32() ^ FenPortDown::salt, id.value());
      EXPECT_EQ(PortDownMap::rhash(id), h ? h : 1u);
   }
}

TEST(HashMap2018KeyForm, GivenProcessSeedDecidesTheRhashAndTheWalkOrder) {
   std::uint32_t const processSeed = Fen::hashSeed32();
   auto walk = [](std::uint32_t seed) {
      Fen::hashSeed32Is(seed);
      EXPECT_EQ(Fen::hashSeed32(), seed);
      CostMap map;
      for (int i = 0; i < 64; ++i)
         map.memberIs(encapOf(i), i);
      std::uint32_t const h = encapOf(5).hash(seed ^ FenCost::salt);
      EXPECT_EQ(CostMap::rhash(encapOf(5)), h ? h : 1u);
      std::vector<Ulva::IntfEncap> order;
      for (auto it = map.begin(); it; it.advance())
         order.push_back(it.key());
      return order;
   };
   // The same seed walks in the same order; another seed in another.
   std::vector<Ulva::IntfEncap> const a = walk(0x5EED);
   EXPECT_EQ(walk(0x5EED), a);
   EXPECT_NE(walk(0xC0FFEE), a);
   Fen::hashSeed32Is(processSeed);
}

TEST(HashMap2018KeyForm, SeedTextIsDecimalOrHexadecimal) {
   EXPECT_EQ(Fen::hashSeed32FromText("0"), 0u);
   EXPECT_EQ(Fen::hashSeed32FromText("4294967295"), 0xFFFFFFFFu);
   EXPECT_EQ(Fen::hashSeed32FromText("0x5eed"), 0x5EEDu);
   EXPECT_EQ(Fen::hashSeed32FromText("0XDEADBEEF"), 0xDEADBEEFu);
   EXPECT_EQ(Fen::hashSeed32FromText("010"), 10u);
   for (char const* bad : {"", "12x", "-1", "+1", " 1", "0x", "0x100000000", "4294967296"}) {
      try {
         Fen::hashSeed32FromText(bad);
         ADD_FAILURE() << "accepted '" << bad << "'";
      } catch (Fen::RangeException const& e) {
         EXPECT_EQ(std::string(e.what()),
                   std::string("hash seed \"") + bad + "\" is not a 32-bit number");
      }
   }
}

TEST(HashMap2018KeyForm, LegacyRhashIsTheIdsOwnHashWithoutSaltOrSeed) {
   for (int p = 0; p < 100; ++p) {
      Kestin::IntfId const id = portOf(p);
      std::uint32_t const h = id.hash();
      EXPECT_EQ(LagOfPortMap::rhash(id), h ? h : 1u);
      EXPECT_EQ(LagOfPortMap::rhash(id), OtherLegacyMap::rhash(id));
   }
}

TEST(HashMap2018KeyForm, SmallIntegerRhashIsTheSaltForEveryKey) {
   EXPECT_EQ(ServiceKindSet::rhash(serviceKindNone), FenServiceKind::salt);
   EXPECT_EQ(ServiceKindSet::rhash(serviceKindXconnect), FenServiceKind::salt);
   for (std::uint32_t k = 0; k < 1000; k += 7)
      EXPECT_EQ(NumberWeightMap::rhash(k), FenNumberWeight::salt);
}

TEST(HashMap2018KeyForm, SeededEncapMapInsertsLooksUpDeletesAndIterates) {
   CostMap m;
   std::map<Ulva::IntfEncap, int> ref;
   for (int i = 0; i < 3000; ++i) {
      Ulva::IntfEncap const k = i % 3 ? encapOf(i) : qinqOf(i % 50, i % 4000 + 1, i % 97 + 1);
      if (ref.count(k)) continue;
      EXPECT_TRUE(m.memberIs(k, i + 1));
      ref[k] = i + 1;
   }
   ASSERT_EQ(m.size(), ref.size());
   for (auto const& [k, v] : ref) {
      ASSERT_NE(m[k], nullptr);
      EXPECT_EQ(m[k]->key, k);
      EXPECT_EQ(m.member(k), v);
      EXPECT_TRUE(m.has(k));
   }
   EXPECT_FALSE(m.has(encapOf(999999)));
   EXPECT_EQ(m.member(encapOf(999999)), 0);

   std::map<Ulva::IntfEncap, int> seen;
   for (CostMap::IteratorConst it(m); it; it.advance()) {
      EXPECT_TRUE(seen.emplace(it.key(), it.currNodeNonStale()->value).second);
   }
   EXPECT_EQ(seen, ref);

   int n = 0;
   for (auto it = ref.begin(); it != ref.end(); ++n) {
      if (n % 2) {
         ++it;
         continue;
      }
      EXPECT_EQ(m.memberDel(it->first), it->second);
      it = ref.erase(it);
   }
   ASSERT_EQ(m.size(), ref.size());
   seen.clear();
   for (CostMap::IteratorConst it(m); it; it.advance())
      seen.emplace(it.key(), it.currNodeNonStale()->value);
   EXPECT_EQ(seen, ref);
   for (auto const& [k, v] : ref)
      EXPECT_EQ(m.memberDel(k), v);
   EXPECT_TRUE(m.empty());
   EXPECT_FALSE(CostMap::IteratorConst(m));
}

TEST(HashMap2018KeyForm, LegacyIdMapInsertsLooksUpDeletesAndIterates) {
   LagOfPortMap m;
   Kestin::IntfId const lag1("Port-Channel1");
   Kestin::IntfId const lag2("Port-Channel2");
   for (int p = 0; p < 500; ++p)
      EXPECT_TRUE(m.memberIs(portOf(p), p % 2 ? lag1 : lag2));
   EXPECT_EQ(m.size(), 500u);
   for (int p = 0; p < 500; ++p)
      EXPECT_EQ(m.member(portOf(p)), p % 2 ? lag1 : lag2);
   EXPECT_EQ(m.member(Kestin::IntfId("Ethernet99/1")), Kestin::IntfId());

   std::vector<Kestin::IntfId> keys = walkKeys(m);
   EXPECT_EQ(keys.size(), 500u);
   EXPECT_EQ(std::set<Kestin::IntfId>(keys.begin(), keys.end()).size(), 500u);
   EXPECT_EQ(keys, sortedByMapOrder<LagOfPortMap>(keys));

   for (int p = 0; p < 500; p += 2)
      EXPECT_EQ(m.memberDel(portOf(p)), lag2);
   EXPECT_EQ(m.size(), 250u);
   for (int p = 0; p < 500; ++p)
      EXPECT_EQ(m.has(portOf(p)), p % 2 == 1);
   EXPECT_EQ(walkKeys(m).size(), 250u);
   for (int p = 1; p < 500; p += 2)
      EXPECT_EQ(m.memberDel(portOf(p)), lag1);
   EXPECT_TRUE(m.empty());
}

TEST(HashMap2018KeyForm, SmallIntegerSetInsertsLooksUpDeletesAndIteratesInKeyOrder) {
   ServiceKindSet s;
   EXPECT_TRUE(s.memberIs(serviceKindRouted));
   EXPECT_TRUE(s.memberIs(serviceKindNone));
   EXPECT_TRUE(s.memberIs(serviceKindXconnect));
   EXPECT_FALSE(s.memberIs(serviceKindRouted));
   EXPECT_EQ(s.size(), 3u);
   EXPECT_TRUE(s.get(serviceKindNone));
   EXPECT_FALSE(s.get(serviceKindBridged));
   // One rhash for all: the members stand in the order of their keys.
   EXPECT_EQ(walkKeys(s),
             (std::vector<ServiceKind>{serviceKindNone, serviceKindRouted, serviceKindXconnect}));
   EXPECT_TRUE(s.memberDel(serviceKindNone));
   EXPECT_FALSE(s.memberDel(serviceKindBridged));
   EXPECT_EQ(walkKeys(s), (std::vector<ServiceKind>{serviceKindRouted, serviceKindXconnect}));
   EXPECT_TRUE(s.memberDel(serviceKindXconnect));
   EXPECT_TRUE(s.memberDel(serviceKindRouted));
   EXPECT_TRUE(s.empty());
}

TEST(HashMap2018KeyForm, SmallIntegerMapOfManyKeysKeepsThemInKeyOrder) {
   NumberWeightMap m;
   std::vector<std::uint32_t> keys;
   for (std::uint32_t i = 0; i < 600; ++i)
      keys.push_back((i * 7919u) % 100003u);
   for (std::uint32_t k : keys)
      EXPECT_TRUE(m.memberIs(k, static_cast<int>(k) + 1));
   EXPECT_EQ(m.size(), keys.size());
   for (std::uint32_t k : keys)
      EXPECT_EQ(m.member(k), static_cast<int>(k) + 1);
   EXPECT_EQ(m.member(100004u), 0);
   std::vector<std::uint32_t> sorted = keys;
   std::sort(sorted.begin(), sorted.end());
   EXPECT_EQ(walkKeys(m), sorted);
   for (std::size_t i = 0; i < keys.size(); i += 3) {
      EXPECT_EQ(m.memberDel(keys[i]), static_cast<int>(keys[i]) + 1);
   }
   std::erase_if(sorted, [&](std::uint32_t k) {
      auto pos = std::find(keys.begin(), keys.end(), k) - keys.begin();
      return pos % 3 == 0;
   });
   EXPECT_EQ(walkKeys(m), sorted);
}

TEST(HashMap2018KeyForm, SmallIntegerSetWhoseHomeIsTheLastHomeSlotGrowsItsTail) {
   LastHomeSet s;
   for (std::uint32_t k = 0; k < 2000; ++k)
      ASSERT_TRUE(s.memberIs(1999 - k)) << k;
   EXPECT_EQ(s.size(), 2000u);
   for (std::uint32_t k = 0; k < 2000; ++k)
      EXPECT_TRUE(s.has(k)) << k;
   std::vector<std::uint32_t> keys = walkKeys(s);
   ASSERT_EQ(keys.size(), 2000u);
   for (std::uint32_t k = 0; k < 2000; ++k)
      EXPECT_EQ(keys[k], k);
   for (std::uint32_t k = 0; k < 2000; k += 2)
      EXPECT_TRUE(s.memberDel(k));
   for (std::uint32_t k = 0; k < 2000; ++k)
      EXPECT_EQ(s.has(k), k % 2 == 1) << k;
}

TEST(HashMap2018KeyForm, WalkFollowsRhashThenKeyOrder) {
   CostMap m;
   std::vector<Ulva::IntfEncap> keys;
   for (int i = 0; i < 2000; ++i) {
      keys.push_back(encapOf(i * 13));
      m.memberIs(keys.back(), i);
   }
   EXPECT_EQ(walkKeys(m), sortedByMapOrder<CostMap>(keys));
}

// =================================================================================
// Deletion
// =================================================================================

TEST(HashMap2018Delete, AbsentKeyReturnsFalseAndLeavesOutEmpty) {
   CostMap m;
   std::optional<CostMap::Node> out;
   // A map that never had a member.
   EXPECT_FALSE(m.deleteMember(encapOf(1), CostMap::rhash(encapOf(1)), &out));
   EXPECT_FALSE(out.has_value());
   EXPECT_FALSE(m.deleteMember(encapOf(1), CostMap::rhash(encapOf(1)), nullptr));

   for (int i = 0; i < 50; ++i)
      m.memberIs(encapOf(i), i + 1);
   EXPECT_FALSE(m.deleteMember(encapOf(50), CostMap::rhash(encapOf(50)), &out));
   EXPECT_FALSE(out.has_value());
   EXPECT_EQ(m.size(), 50u);

   // A present key removes and moves the node out.
   EXPECT_TRUE(m.deleteMember(encapOf(7), CostMap::rhash(encapOf(7)), &out));
   ASSERT_TRUE(out.has_value());
   EXPECT_EQ(out->key, encapOf(7));
   EXPECT_EQ(out->value, 8);
   EXPECT_EQ(m.size(), 49u);
}

TEST(HashMap2018Delete, MemberDelOfAbsentKeyGivesTheDefaultValue) {
   CostMap costs;
   EXPECT_EQ(costs.memberDel(encapOf(3)), 0);
   costs.memberIs(encapOf(3), 42);
   EXPECT_EQ(costs.memberDel(encapOf(4)), 0);
   EXPECT_EQ(costs.memberDel(encapOf(3)), 42);
   EXPECT_EQ(costs.memberDel(encapOf(3)), 0);

   StatusMap statuses;
   statuses.memberIs(encapOf(1), Ulva::hwStatusSuccess);
   EXPECT_EQ(statuses.memberDel(encapOf(2)), Ulva::hwStatusFailed);
   EXPECT_EQ(statuses.memberDel(encapOf(1)), Ulva::hwStatusSuccess);

   RetrySet retry;
   retry.memberIs(encapOf(1));
   EXPECT_FALSE(retry.memberDel(encapOf(2)));
   EXPECT_TRUE(retry.memberDel(encapOf(1)));
   EXPECT_FALSE(retry.memberDel(encapOf(1)));

   ConfigMap configs;
   configs.memberIs(EncapRecord(encapOf(1), 5));
   EXPECT_EQ(configs.memberDel(encapOf(2)), EncapRecord());
   EXPECT_EQ(configs.memberDel(encapOf(1)), EncapRecord(encapOf(1), 5));

   ObjMap objs;
   objs.memberIs(encapObj(1));
   EXPECT_EQ(objs.memberDel(encapOf(2)), nullptr);
   EXPECT_EQ(objs.size(), 1u);
}

TEST(HashMap2018Delete, NotifyingDelOfAbsentKeyIsSilentAndGivesTheDefault) {
   Listened l;
   l.coll->statusIs(encapOf(1), Ulva::hwStatusNotReady);
   l.recorder->heard.clear();
   EXPECT_EQ(l.coll->statusDel(encapOf(2)), Ulva::hwStatusFailed);
   EXPECT_FALSE(l.coll->retryDel(encapOf(2)));
   EXPECT_EQ(l.coll->decoderDel(encapOf(2)), nullptr);
   EXPECT_TRUE(l.recorder->heard.empty());
   EXPECT_EQ(l.coll->statuss(), 1u);
}

TEST(HashMap2018Delete, NotifyingDelAllEmptiesTheMapWithOneNotificationPerMember) {
   Listened l;
   std::set<Ulva::IntfEncap> keys;
   for (int i = 0; i < 700; ++i) {
      l.coll->statusIs(encapOf(i * 3), Ulva::hwStatusSuccess);
      keys.insert(encapOf(i * 3));
   }
   l.coll->retryIs(encapOf(1));
   l.recorder->heard.clear();

   l.coll->statusDelAll();

   EXPECT_EQ(l.coll->statuss(), 0u);
   EXPECT_TRUE(l.coll->statusMap().empty());
   EXPECT_EQ(l.coll->retrys(), 1u);
   std::vector<Ulva::IntfEncap> const heard = l.recorder->keysOf(EncapColl::statusId);
   EXPECT_EQ(heard.size(), keys.size());
   EXPECT_EQ(l.recorder->heard.size(), keys.size());
   EXPECT_EQ(std::set<Ulva::IntfEncap>(heard.begin(), heard.end()), keys);
}

TEST(HashMap2018Delete, NotifyingDelAllNotifiesAfterEachMemberIsGone) {
   Listened l;
   for (int i = 0; i < 100; ++i)
      l.coll->statusIs(encapOf(i), Ulva::hwStatusNotReady);
   std::size_t expectedSize = 100;
   bool presentWhenHeard = false;
   l.recorder->react = [&](Fen::AttributeId, Ulva::IntfEncap const& key) {
      presentWhenHeard = presentWhenHeard || l.coll->statusHas(key);
      EXPECT_EQ(l.coll->statuss(), --expectedSize);
   };
   l.coll->statusDelAll();
   EXPECT_FALSE(presentWhenHeard);
   EXPECT_EQ(expectedSize, 0u);
}

TEST(HashMap2018Delete, NotifyingDelAllSurvivesReactorsThatDeleteOtherMembers) {
   // Each notification deletes the partner of the key heard (i and i ^ 1): the
   // walk deletes about half, the reactor the other half, each exactly once.
   Listened l;
   std::map<Ulva::IntfEncap, int> index;
   for (int i = 0; i < 400; ++i) {
      l.coll->statusIs(encapOf(i), Ulva::hwStatusSuccess);
      index[encapOf(i)] = i;
   }
   l.recorder->heard.clear();
   l.recorder->react = [&](Fen::AttributeId, Ulva::IntfEncap const& key) {
      l.coll->statusDel(encapOf(index.at(key) ^ 1));
   };
   l.coll->statusDelAll();
   EXPECT_EQ(l.coll->statuss(), 0u);
   std::vector<Ulva::IntfEncap> const heard = l.recorder->keysOf(EncapColl::statusId);
   EXPECT_EQ(heard.size(), 400u);
   EXPECT_EQ(std::set<Ulva::IntfEncap>(heard.begin(), heard.end()).size(), 400u);
}

TEST(HashMap2018Delete, NotifyingDelAllOfObjectsReleasesEveryObject) {
   {
      Listened l;
      for (int i = 0; i < 300; ++i) {
         Fen::Ptr<EncapObj> const made = l.coll->decoderIs(encapOf(i));
         EXPECT_EQ(made->intfEncap(), encapOf(i));
         EXPECT_EQ(l.coll->decoderIs(encapOf(i)), made);  // found, not made again
      }
      EXPECT_EQ(liveEncapObjs(), 300);
      EXPECT_EQ(l.recorder->keysOf(EncapColl::decoderId).size(), 300u);
      l.recorder->heard.clear();
      l.coll->decoderDelAll();
      EXPECT_EQ(liveEncapObjs(), 0);
      EXPECT_EQ(l.coll->decoders(), 0u);
      EXPECT_EQ(l.recorder->keysOf(EncapColl::decoderId).size(), 300u);
   }
   EXPECT_EQ(liveEncapObjs(), 0);
}

TEST(HashMap2018Delete, MemberDelAllNotifyingWithAPlainCallbackDeletesEachMemberOnce) {
   CostMap m;
   for (int i = 0; i < 1000; ++i)
      m.memberIs(encapOf(i), i + 1);
   std::map<Ulva::IntfEncap, int> deleted;
   Fen::memberDelAllNotifying(m, [&](Ulva::IntfEncap const& k) { deleted[k] += m.memberDel(k); });
   EXPECT_TRUE(m.empty());
   ASSERT_EQ(deleted.size(), 1000u);
   for (int i = 0; i < 1000; ++i)
      EXPECT_EQ(deleted[encapOf(i)], i + 1);
}

TEST(HashMap2018Delete, PlainDelAllEmptiesAtOnce) {
   Wex::WexLagPortList list;
   for (int p = 0; p < 40; ++p)
      list.portIs(portOf(p), Wex::WexLagPort());
   EXPECT_EQ(list.ports(), 40u);
   list.portDelAll();
   EXPECT_EQ(list.ports(), 0u);
   EXPECT_FALSE(list.portHas(portOf(3)));
   list.portIs(portOf(3), Wex::WexLagPort());
   EXPECT_TRUE(list.portHas(portOf(3)));
   EXPECT_EQ(list.ports(), 1u);
}

// =================================================================================
// Walks that change the map
// =================================================================================

TEST(HashMap2018Iterator, WalkDeletingTheMemberUnderItSeesEveryOtherMemberOnce) {
   CostMap m;
   for (int i = 0; i < 2000; ++i)
      m.memberIs(encapOf(i), i);
   std::map<Ulva::IntfEncap, int> visits;
   for (CostMap::IteratorConst it(m); it; it.advance()) {
      Ulva::IntfEncap const k = it.key();
      ++visits[k];
      int const v = it.currNodeNonStale()->value;
      if (v % 3 != 1) m.memberDel(k);
   }
   ASSERT_EQ(visits.size(), 2000u);
   for (auto const& [k, n] : visits)
      EXPECT_EQ(n, 1) << k;
   EXPECT_EQ(m.size(), 2000u / 3 + (2000 % 3 > 1 ? 1 : 0));
   for (int i = 0; i < 2000; ++i)
      EXPECT_EQ(m.has(encapOf(i)), i % 3 == 1) << i;
}

TEST(HashMap2018Iterator, WalkDeletingEveryMemberUnderItEmptiesTheMap) {
   RetrySet s;
   for (int i = 0; i < 1500; ++i)
      s.memberIs(encapOf(i));
   std::set<Ulva::IntfEncap> visited;
   for (RetrySet::IteratorConst it(s); it; it.advance()) {
      EXPECT_TRUE(visited.insert(it.key()).second);
      EXPECT_TRUE(s.memberDel(it.key()));
   }
   EXPECT_EQ(visited.size(), 1500u);
   EXPECT_TRUE(s.empty());
}

TEST(HashMap2018Iterator, RangeLoopDeletingEachMemberVisitsEachOnce) {
   StatusMap m;
   for (int i = 0; i < 300; ++i)
      m.memberIs(encapOf(i), Ulva::hwStatusNotReady);
   std::set<Ulva::IntfEncap> visited;
   for (StatusMap::Node const& node : Fen::StdIterator(m)) {
      EXPECT_TRUE(visited.insert(node.key).second);
      EXPECT_EQ(m.memberDel(node.key), Ulva::hwStatusNotReady);
   }
   EXPECT_EQ(visited.size(), 300u);
   EXPECT_TRUE(m.empty());
}

TEST(HashMap2018Iterator, DeletedMemberUnderItStillDeliversItsKey) {
   CostMap m;
   for (int i = 0; i < 64; ++i)
      m.memberIs(encapOf(i), i + 100);
   CostMap::IteratorConst it(m, encapOf(17));
   ASSERT_TRUE(it);
   ASSERT_EQ(it.key(), encapOf(17));

   EXPECT_EQ(m.memberDel(encapOf(17)), 117);

   ASSERT_NE(it.currNodeMaybeStale(), nullptr);
   EXPECT_EQ(it.currNodeMaybeStale()->key, encapOf(17));
   EXPECT_EQ(it.key(), encapOf(17));
   EXPECT_EQ(it.currNodeNonStale(), nullptr);
   EXPECT_TRUE(it);

   // The same after the map grew and moved every member.
   for (int i = 1000; i < 3000; ++i)
      m.memberIs(encapOf(i), i);
   EXPECT_EQ(it.currNodeMaybeStale()->key, encapOf(17));
   EXPECT_EQ(it.currNodeNonStale(), nullptr);

   // And the walk goes on after it.
   it.advance();
   ASSERT_TRUE(it);
   EXPECT_LT(orderOf<CostMap>(encapOf(17)), orderOf<CostMap>(it.key()));
}

TEST(HashMap2018Iterator, NotifyingDelOfTheMemberUnderItKeepsItsKey) {
   Listened l;
   for (int i = 0; i < 20; ++i)
      l.coll->statusIs(encapOf(i), Ulva::hwStatusSuccess);
   StatusMap::IteratorConst it(l.coll->statusMap(), encapOf(5));
   ASSERT_TRUE(it);
   l.coll->statusDel(encapOf(5));
   EXPECT_EQ(it.currNodeMaybeStale()->key, encapOf(5));
   EXPECT_EQ(it.currNodeNonStale(), nullptr);
}

TEST(HashMap2018Iterator, ChangedValueShowsThroughTheLiveNode) {
   CostMap m;
   for (int i = 0; i < 30; ++i)
      m.memberIs(encapOf(i), 1);
   CostMap::IteratorConst it(m, encapOf(9));
   EXPECT_TRUE(m.memberIs(encapOf(9), 2));
   ASSERT_NE(it.currNodeNonStale(), nullptr);
   EXPECT_EQ(it.currNodeNonStale()->value, 2);
   EXPECT_EQ(it.currNodeMaybeStale()->key, encapOf(9));
   for (int i = 100; i < 400; ++i)
      m.memberIs(encapOf(i), 1);
   EXPECT_TRUE(m.memberIs(encapOf(9), 3));
   ASSERT_NE(it.currNodeNonStale(), nullptr);
   EXPECT_EQ(it.currNodeNonStale()->value, 3);
}

TEST(HashMap2018Iterator, MemberInsertedAheadIsSeenAndBehindIsNot) {
   CostMap m;
   for (int i = 0; i < 200; i += 2)
      m.memberIs(encapOf(i), i);
   std::vector<Ulva::IntfEncap> const before = walkKeys(m);
   Ulva::IntfEncap const middle = before[before.size() / 2];
   CostMap::IteratorConst it(m, middle);

   std::set<Ulva::IntfEncap> ahead, behind;
   for (int i = 1; i < 200; i += 2) {
      m.memberIs(encapOf(i), i);
      (orderOf<CostMap>(encapOf(i)) > orderOf<CostMap>(middle) ? ahead : behind).insert(encapOf(i));
   }
   ASSERT_FALSE(ahead.empty());
   ASSERT_FALSE(behind.empty());
   std::set<Ulva::IntfEncap> seen;
   for (it.advance(); it; it.advance())
      seen.insert(it.key());
   for (auto const& k : ahead)
      EXPECT_TRUE(seen.count(k)) << k;
   for (auto const& k : behind)
      EXPECT_FALSE(seen.count(k)) << k;
}

TEST(HashMap2018Iterator, ReinsertedMemberUnderItIsNotSeenAgain) {
   CostMap m;
   for (int i = 0; i < 100; ++i)
      m.memberIs(encapOf(i), i);
   std::map<Ulva::IntfEncap, int> visits;
   for (CostMap::IteratorConst it(m); it; it.advance()) {
      Ulva::IntfEncap const k = it.key();
      ASSERT_EQ(++visits[k], 1) << k << " seen again";
      m.memberDel(k);
      m.memberIs(k, -1);
   }
   EXPECT_EQ(visits.size(), 100u);
   for (auto const& [k, n] : visits)
      EXPECT_EQ(n, 1) << k;
   EXPECT_EQ(m.size(), 100u);
}

TEST(HashMap2018Iterator, WalkSurvivesGrowthUnderIt) {
   CostMap m;
   for (int i = 0; i < 6; ++i)
      m.memberIs(encapOf(i), i);
   std::vector<Ulva::IntfEncap> const original = walkKeys(m);
   std::map<Ulva::IntfEncap, int> visits;
   std::size_t const capacityBefore = m.capacity();
   int next = 1000;
   for (CostMap::IteratorConst it(m); it; it.advance()) {
      ASSERT_EQ(++visits[it.key()], 1) << it.key() << " seen again";
      // Each step adds a few hundred members: the map grows many times.
      for (int j = 0; j < 300 && next < 200000; ++j)
         m.memberIs(encapOf(next++), 0);
   }
   EXPECT_GT(m.capacity(), capacityBefore * 64);
   for (auto const& k : original)
      EXPECT_EQ(visits[k], 1) << k;
   for (auto const& [k, n] : visits)
      EXPECT_EQ(n, 1) << k;
}

TEST(HashMap2018Iterator, WalkEndsWhenTheMapIsEmptiedUnderIt) {
   CostMap m;
   for (int i = 0; i < 50; ++i)
      m.memberIs(encapOf(i), i);
   CostMap::IteratorConst it(m);
   Ulva::IntfEncap const first = it.key();
   m.memberDelAll();
   EXPECT_EQ(it.currNodeMaybeStale()->key, first);
   EXPECT_EQ(it.currNodeNonStale(), nullptr);
   it.advance();
   EXPECT_FALSE(it);
   EXPECT_EQ(it.currNodeMaybeStale(), nullptr);
}

TEST(HashMap2018Iterator, WalkGoesOnWithMembersAddedAheadAfterDelAll) {
   CostMap m;
   for (int i = 0; i < 50; ++i)
      m.memberIs(encapOf(i), i);
   CostMap::IteratorConst it(m);
   auto const cursor = orderOf<CostMap>(it.key());
   m.memberDelAll();
   std::vector<Ulva::IntfEncap> ahead;
   for (int i = 0; i < 50; ++i) {
      m.memberIs(encapOf(i), i);
      if (orderOf<CostMap>(encapOf(i)) > cursor) ahead.push_back(encapOf(i));
   }
   std::vector<Ulva::IntfEncap> seen;
   for (it.advance(); it; it.advance())
      seen.push_back(it.key());
   EXPECT_EQ(seen, sortedByMapOrder<CostMap>(ahead));
}

TEST(HashMap2018Iterator, IteratorAtKeyStandsOnItOrOnTheNextMember) {
   CostMap m;
   std::vector<Ulva::IntfEncap> keys;
   for (int i = 0; i < 300; i += 3) {
      m.memberIs(encapOf(i), i);
      keys.push_back(encapOf(i));
   }
   keys = sortedByMapOrder<CostMap>(keys);
   for (std::size_t n = 0; n < keys.size(); n += 7) {
      CostMap::IteratorConst at(m, keys[n]);
      ASSERT_TRUE(at);
      EXPECT_EQ(at.key(), keys[n]);
      EXPECT_EQ(at.currNodeNonStale()->value, m.member(keys[n]));
   }
   for (int i = 1; i < 300; i += 3) {
      Ulva::IntfEncap const absent = encapOf(i);
      auto const pos = std::upper_bound(
          keys.begin(), keys.end(), absent,
          [](auto const& a, auto const& b) { return orderOf<CostMap>(a) < orderOf<CostMap>(b); });
      CostMap::IteratorConst it(m, absent);
      if (pos == keys.end()) {
         EXPECT_FALSE(it);
      } else {
         ASSERT_TRUE(it);
         EXPECT_EQ(it.key(), *pos);
      }
   }
   EXPECT_FALSE(CostMap::IteratorConst(CostMap(), encapOf(0)));
}

TEST(HashMap2018Iterator, IteratorAtKeyWorksInEveryKeyForm) {
   LagOfPortMap lags;
   for (int p = 0; p < 40; ++p)
      lags.memberIs(portOf(p), Kestin::IntfId("Port-Channel1"));
   LagOfPortMap::IteratorConst atLag(lags, portOf(17));
   ASSERT_TRUE(atLag);
   EXPECT_EQ(atLag.key(), portOf(17));

   ServiceKindSet kinds;
   kinds.memberIs(serviceKindNone);
   kinds.memberIs(serviceKindXconnect);
   ServiceKindSet::IteratorConst atKind(kinds, serviceKindBridged);
   ASSERT_TRUE(atKind);
   EXPECT_EQ(atKind.key(), serviceKindXconnect);  // the next key: one rhash for all

   ObjMap objs;
   for (int i = 0; i < 20; ++i)
      objs.memberIs(encapObj(i, i));
   ObjMap::IteratorConst atObj(objs, encapOf(11));
   ASSERT_TRUE(atObj);
   EXPECT_EQ(atObj.key(), encapOf(11));
   EXPECT_EQ((*atObj.currNodeNonStale())->weight(), 11);
}

TEST(HashMap2018Iterator, WalkFromAKeyGoesOnToTheEnd) {
   CostMap m;
   for (int i = 0; i < 500; ++i)
      m.memberIs(encapOf(i), i);
   std::vector<Ulva::IntfEncap> const all = walkKeys(m);
   std::vector<Ulva::IntfEncap> rest;
   for (CostMap::IteratorConst it(m, all[123]); it; it.advance())
      rest.push_back(it.key());
   EXPECT_EQ(rest, std::vector<Ulva::IntfEncap>(all.begin() + 123, all.end()));
}

TEST(HashMap2018Iterator, EqualityIsEqualityOfPosition) {
   CostMap m;
   EXPECT_TRUE(CostMap::IteratorConst(m) == CostMap::IteratorConst(m, Fen::EndOfCollection{}));
   for (int i = 0; i < 10; ++i)
      m.memberIs(encapOf(i), i);
   CostMap::IteratorConst a(m);
   CostMap::IteratorConst b(m, a.key());
   EXPECT_TRUE(a == b);
   b.advance();
   EXPECT_FALSE(a == b);
   a.advance();
   EXPECT_TRUE(a == b);
   CostMap::IteratorConst const end(m, Fen::EndOfCollection{});
   int n = 0;
   for (; !(a == end); a.advance())
      ++n;
   EXPECT_EQ(n, 9);
}

TEST(HashMap2018Iterator, StdIteratorVisitsEveryMemberOnce) {
   ConfigMap m;
   for (int i = 0; i < 250; ++i)
      m.memberIs(EncapRecord(encapOf(i), i));
   std::map<Ulva::IntfEncap, int> seen;
   for (EncapRecord const& r : Fen::StdIterator(m))
      seen[r.intfEncap()] += r.cost() + 1;
   ASSERT_EQ(seen.size(), 250u);
   for (int i = 0; i < 250; ++i)
      EXPECT_EQ(seen[encapOf(i)], i + 1);
   ConfigMap const empty;
   int none = 0;
   for ([[maybe_unused]] EncapRecord const& r : Fen::StdIterator(empty))
      ++none;
   EXPECT_EQ(none, 0);
}

// =================================================================================
// Generated accessors
// =================================================================================

TEST(HashMap2018Accessors, MapAccessorGivesTheMapOfTheAttribute) {
   Listened l;
   l.coll->statusIs(encapOf(1), Ulva::hwStatusSuccess);
   StatusMap const& m = l.coll->statusMap();
   EXPECT_EQ(m.size(), 1u);
   EXPECT_EQ(m.member(encapOf(1)), Ulva::hwStatusSuccess);
   l.coll->statusIs(encapOf(2), Ulva::hwStatusSuccess);
   EXPECT_EQ(m.size(), 2u);
   EXPECT_EQ(&l.coll->retryMap(), &l.coll->retryMap());
   EXPECT_EQ(l.coll->decoderMap().size(), 0u);
}

TEST(HashMap2018Accessors, CountAndReadsFollowTheMap) {
   Listened l;
   for (int i = 0; i < 30; ++i)
      l.coll->statusIs(encapOf(i), Ulva::hwStatusNotReady);
   l.coll->retryIs(encapOf(1));
   EXPECT_EQ(l.coll->statuss(), 30u);
   EXPECT_EQ(l.coll->retrys(), 1u);
   EXPECT_TRUE(l.coll->statusHas(encapOf(29)));
   EXPECT_FALSE(l.coll->statusHas(encapOf(30)));
   EXPECT_EQ(l.coll->status(encapOf(3)), Ulva::hwStatusNotReady);
   EXPECT_EQ(l.coll->decoder(encapOf(3)), nullptr);
   EXPECT_EQ(l.coll->statusDel(encapOf(3)), Ulva::hwStatusNotReady);
   EXPECT_EQ(l.coll->statuss(), 29u);
   EXPECT_EQ(l.recorder->heard.size(), 32u);
}

// =================================================================================
// Sets and overwrites
// =================================================================================

TEST(HashMap2018Set, MemberIsTwiceInsertsOnce) {
   RetrySet s;
   EXPECT_TRUE(s.memberIs(encapOf(4)));
   EXPECT_FALSE(s.memberIs(encapOf(4)));
   EXPECT_EQ(s.size(), 1u);
   EXPECT_EQ(walkKeys(s), std::vector<Ulva::IntfEncap>{encapOf(4)});
}

TEST(HashMap2018Set, NotifyingMemberIsTwiceInsertsAndNotifiesOnce) {
   Listened l;
   l.coll->retryIs(encapOf(4));
   l.coll->retryIs(encapOf(4));
   EXPECT_EQ(l.coll->retrys(), 1u);
   EXPECT_TRUE(l.coll->retry(encapOf(4)));
   EXPECT_FALSE(l.coll->retry(encapOf(5)));
   EXPECT_EQ(l.recorder->keysOf(EncapColl::retryId), std::vector<Ulva::IntfEncap>{encapOf(4)});
}

TEST(HashMap2018Overwrite, EqualValueChangesNothingAndNotifiesNothing) {
   Listened l;
   l.coll->statusIs(encapOf(1), Ulva::hwStatusNotReady);
   l.coll->statusIs(encapOf(1), Ulva::hwStatusNotReady);
   EXPECT_EQ(l.recorder->heard.size(), 1u);
   l.coll->statusIs(encapOf(1), Ulva::hwStatusSuccess);
   EXPECT_EQ(l.recorder->heard.size(), 2u);
   EXPECT_EQ(l.coll->status(encapOf(1)), Ulva::hwStatusSuccess);
   EXPECT_EQ(l.coll->status(encapOf(2)), Ulva::hwStatusFailed);
   EXPECT_EQ(l.coll->statuss(), 1u);
}

TEST(HashMap2018Overwrite, InternalKeyRecordWithTheSameKeyOverwritesInPlace) {
   ConfigMap m;
   EXPECT_TRUE(m.memberIs(EncapRecord(encapOf(1), 1)));
   EXPECT_FALSE(m.memberIs(EncapRecord(encapOf(1), 1)));
   EXPECT_TRUE(m.memberIs(encapOf(1), EncapRecord(encapOf(1), 2)));
   EXPECT_TRUE(m.memberIs(EncapRecord(encapOf(1), 3)));
   EXPECT_EQ(m.size(), 1u);
   EXPECT_EQ(m.member(encapOf(1)).cost(), 3);
   EXPECT_EQ(m.member(encapOf(2)), EncapRecord());
}

// =================================================================================
// Copies
// =================================================================================

TEST(HashMap2018Copy, CopySharesStorageUntilOneSideChanges) {
   CostMap a;
   for (int i = 0; i < 100; ++i)
      a.memberIs(encapOf(i), i);
   CostMap b(a);
   EXPECT_TRUE(a.sharesStorageWith(b));
   b.memberIs(encapOf(1), 1);  // the value it already has: no change
   EXPECT_TRUE(a.sharesStorageWith(b));
   b.memberDel(encapOf(1000));  // absent: no change
   EXPECT_TRUE(a.sharesStorageWith(b));
   b.memberIs(encapOf(1), -1);
   EXPECT_FALSE(a.sharesStorageWith(b));
}

TEST(HashMap2018Copy, CopyIsUnaffectedByLaterChangesOfTheOriginal) {
   CostMap original;
   for (int i = 0; i < 500; ++i)
      original.memberIs(encapOf(i), i);
   CostMap const copy(original);

   original.memberIs(encapOf(3), -3);
   original.memberDel(encapOf(4));
   for (int i = 500; i < 3000; ++i)
      original.memberIs(encapOf(i), i);

   EXPECT_EQ(copy.size(), 500u);
   for (int i = 0; i < 500; ++i)
      EXPECT_EQ(copy.member(encapOf(i)), i) << i;
   EXPECT_FALSE(copy.has(encapOf(500)));
   EXPECT_EQ(walkKeys(copy).size(), 500u);

   original.memberDelAll();
   EXPECT_EQ(copy.size(), 500u);
   EXPECT_EQ(copy.member(encapOf(499)), 499);
}

TEST(HashMap2018Copy, OriginalIsUnaffectedByLaterChangesOfTheCopy) {
   CostMap original;
   for (int i = 0; i < 500; ++i)
      original.memberIs(encapOf(i), i);
   {
      CostMap copy(original);
      copy.memberIs(encapOf(3), -3);
      copy.memberDel(encapOf(4));
      for (int i = 500; i < 3000; ++i)
         copy.memberIs(encapOf(i), i);
      copy.memberDelAll();
      copy.memberIs(encapOf(5), -5);
   }
   EXPECT_EQ(original.size(), 500u);
   for (int i = 0; i < 500; ++i)
      EXPECT_EQ(original.member(encapOf(i)), i) << i;
   EXPECT_EQ(walkKeys(original).size(), 500u);
}

TEST(HashMap2018Copy, PortDelOnACopiedPortListLeavesTheOriginalList) {
   Wex::WexLagPortList list;
   for (int p = 0; p < 8; ++p)
      list.portIs(portOf(p), Wex::WexLagPort());
   Wex::WexLagPortList copy = list;
   EXPECT_TRUE(copy == list);
   copy.portDel(portOf(2));
   copy.portIs(portOf(100), Wex::WexLagPort());
   EXPECT_EQ(list.ports(), 8u);
   EXPECT_TRUE(list.portHas(portOf(2)));
   EXPECT_FALSE(list.portHas(portOf(100)));
   EXPECT_EQ(copy.ports(), 8u);
   EXPECT_FALSE(copy.portHas(portOf(2)));
   EXPECT_TRUE(copy.portHas(portOf(100)));

   list.portDel(portOf(5));
   EXPECT_TRUE(copy.portHas(portOf(5)));
   EXPECT_EQ(list.ports(), 7u);
}

TEST(HashMap2018Copy, AssignedMapFollowsItsSourceAndNotTheOtherWay) {
   CostMap a, b;
   for (int i = 0; i < 100; ++i)
      a.memberIs(encapOf(i), i);
   for (int i = 0; i < 10; ++i)
      b.memberIs(encapOf(1000 + i), i);
   b = a;
   EXPECT_EQ(b.size(), 100u);
   EXPECT_FALSE(b.has(encapOf(1000)));
   b.memberDel(encapOf(0));
   a.memberIs(encapOf(1), -1);
   EXPECT_TRUE(a.has(encapOf(0)));
   EXPECT_EQ(b.member(encapOf(1)), 1);
   CostMap c(std::move(b));
   EXPECT_EQ(c.size(), 99u);
   EXPECT_EQ(a.size(), 100u);
}

TEST(HashMap2018Copy, WalkOfTheOriginalGoesOnWhileTheCopyChanges) {
   CostMap a;
   for (int i = 0; i < 300; ++i)
      a.memberIs(encapOf(i), i);
   std::vector<Ulva::IntfEncap> const expected = walkKeys(a);
   CostMap b(a);
   std::vector<Ulva::IntfEncap> seen;
   int n = 0;
   for (CostMap::IteratorConst it(a); it; it.advance(), ++n) {
      seen.push_back(it.key());
      b.memberDel(it.key());
      b.memberIs(encapOf(5000 + n), n);
      if (n == 100) b.memberDelAll();
   }
   EXPECT_EQ(seen, expected);
   EXPECT_EQ(a.size(), 300u);
}

TEST(HashMap2018Copy, WalkOfTheCopyGoesOnWhileTheOriginalChanges) {
   CostMap a;
   for (int i = 0; i < 300; ++i)
      a.memberIs(encapOf(i), i);
   CostMap b(a);
   std::vector<Ulva::IntfEncap> const expected = walkKeys(b);
   std::vector<Ulva::IntfEncap> seen;
   int n = 0;
   for (CostMap::IteratorConst it(b); it; it.advance(), ++n) {
      seen.push_back(it.key());
      a.memberDel(it.key());
      for (int j = 0; j < 20; ++j)
         a.memberIs(encapOf(5000 + n * 20 + j), n);
   }
   EXPECT_EQ(seen, expected);
   EXPECT_EQ(b.size(), 300u);
}

TEST(HashMap2018Copy, WalkGoesOnAfterItsMapIsCopiedAndChanged) {
   // The copy takes the storage; the first change of the walked map moves it.
   CostMap a;
   for (int i = 0; i < 300; ++i)
      a.memberIs(encapOf(i), i);
   std::vector<Ulva::IntfEncap> const expected = walkKeys(a);
   std::vector<CostMap> copies;
   std::vector<Ulva::IntfEncap> seen;
   int n = 0;
   for (CostMap::IteratorConst it(a); it; it.advance(), ++n) {
      seen.push_back(it.key());
      if (n % 10 == 0) {
         copies.emplace_back(a);
         a.memberIs(it.key(), -1);
      }
   }
   EXPECT_EQ(seen, expected);
   for (CostMap const& c : copies)
      EXPECT_EQ(c.size(), 300u);
}

// =================================================================================
// Maps of counted objects
// =================================================================================

TEST(HashMap2018PtrValues, MapHoldsOneReferencePerMember) {
   ObjMap m;
   Fen::Ptr<EncapObj> o = encapObj(1, 10);
   EXPECT_EQ(o->references(), 1u);
   EXPECT_TRUE(m.memberIs(o));
   EXPECT_EQ(o->references(), 2u);
   EXPECT_FALSE(m.memberIs(o));
   EXPECT_EQ(o->references(), 2u);
   {
      Fen::Ptr<EncapObj> const got = m.member(encapOf(1));
      EXPECT_EQ(got, o);
      EXPECT_EQ(o->references(), 3u);
   }
   ASSERT_NE(m[encapOf(1)], nullptr);
   EXPECT_EQ(*m[encapOf(1)], o);
   EXPECT_EQ(o->references(), 2u);

   Fen::Ptr<EncapObj> const removed = m.memberDel(encapOf(1));
   EXPECT_EQ(removed, o);
   EXPECT_EQ(o->references(), 2u);  // the map's reference moved to `removed`
   EXPECT_TRUE(m.empty());
}

TEST(HashMap2018PtrValues, ObjectsDieWhenRemoved) {
   ObjMap m;
   for (int i = 0; i < 200; ++i)
      m.memberIs(encapObj(i, i));
   EXPECT_EQ(liveEncapObjs(), 200);
   for (int i = 0; i < 200; ++i) {
      ASSERT_NE(m[encapOf(i)], nullptr);
      EXPECT_EQ((*m[encapOf(i)])->references(), 1u);
      EXPECT_EQ((*m[encapOf(i)])->weight(), i);
   }
   for (int i = 0; i < 200; i += 2)
      m.memberDel(encapOf(i));
   EXPECT_EQ(liveEncapObjs(), 100);
   for (int i = 1; i < 200; i += 2)
      EXPECT_EQ((*m[encapOf(i)])->references(), 1u);
   m.memberDelAll();
   EXPECT_EQ(liveEncapObjs(), 0);
   for (int i = 0; i < 20; ++i)
      m.memberIs(encapObj(i, i));
   EXPECT_EQ(liveEncapObjs(), 20);
}

TEST(HashMap2018PtrValues, DestroyedMapReleasesItsObjects) {
   {
      ObjMap m;
      for (int i = 0; i < 500; ++i)
         m.memberIs(encapObj(i));
      EXPECT_EQ(liveEncapObjs(), 500);
   }
   EXPECT_EQ(liveEncapObjs(), 0);
}

TEST(HashMap2018PtrValues, OverwriteReleasesThePreviousObject) {
   ObjMap m;
   m.memberIs(encapObj(1, 1));
   Fen::Ptr<EncapObj> const second = encapObj(1, 2);
   EXPECT_TRUE(m.memberIs(second));
   EXPECT_EQ(liveEncapObjs(), 1);
   EXPECT_EQ(second->references(), 2u);
   EXPECT_EQ(m.member(encapOf(1))->weight(), 2);
   EXPECT_TRUE(m.memberIs(encapOf(1), encapObj(1, 3)));
   EXPECT_EQ(second->references(), 1u);
   EXPECT_EQ(m.member(encapOf(1))->weight(), 3);
   EXPECT_EQ(liveEncapObjs(), 2);
}

TEST(HashMap2018PtrValues, FindOrCreateMakesTheObjectOnceFromItsKey) {
   ObjMap m;
   int made = 0;
   auto make = [&](Ulva::IntfEncap const& k) {
      ++made;
      return Fen::fenObjectIs<EncapObj>(k, 7);
   };
   Fen::Ptr<EncapObj> const a = m.memberFindOrCreate(encapOf(9), make);
   Fen::Ptr<EncapObj> const b = m.memberFindOrCreate(encapOf(9), make);
   EXPECT_EQ(made, 1);
   EXPECT_EQ(a, b);
   EXPECT_EQ(a->intfEncap(), encapOf(9));
   EXPECT_EQ(a->references(), 3u);
   EXPECT_EQ(m.size(), 1u);
}

TEST(HashMap2018PtrValues, CopySharesReferencesUntilOneSideChanges) {
   ObjMap a;
   std::vector<Fen::Ptr<EncapObj>> objs;
   for (int i = 0; i < 50; ++i) {
      objs.push_back(encapObj(i));
      a.memberIs(objs.back());
   }
   for (auto const& o : objs)
      EXPECT_EQ(o->references(), 2u);
   {
      ObjMap b(a);
      for (auto const& o : objs)
         EXPECT_EQ(o->references(), 2u);  // one shared block
      b.memberDel(encapOf(0));
      EXPECT_EQ(objs[0]->references(), 2u);  // only a holds it now
      for (int i = 1; i < 50; ++i)
         EXPECT_EQ(objs[i]->references(), 3u);
      a.memberDel(encapOf(1));
      EXPECT_EQ(objs[1]->references(), 2u);
      EXPECT_TRUE(a.has(encapOf(0)));
      EXPECT_FALSE(b.has(encapOf(0)));
      EXPECT_FALSE(a.has(encapOf(1)));
      EXPECT_TRUE(b.has(encapOf(1)));
   }
   EXPECT_EQ(objs[0]->references(), 2u);
   EXPECT_EQ(objs[1]->references(), 1u);
   for (int i = 2; i < 50; ++i)
      EXPECT_EQ(objs[i]->references(), 2u);
   objs.clear();
   EXPECT_EQ(liveEncapObjs(), 49);
}

TEST(HashMap2018PtrValues, IteratorKeepsTheDeletedObjectReadableUntilItMoves) {
   ObjMap m;
   for (int i = 0; i < 10; ++i)
      m.memberIs(encapObj(i, i));
   ObjMap::IteratorConst it(m, encapOf(4));
   ASSERT_TRUE(it);
   m.memberDel(encapOf(4));
   EXPECT_EQ(liveEncapObjs(), 10);
   EXPECT_EQ(it.key(), encapOf(4));  // read through the object
   EXPECT_EQ((*it.currNodeMaybeStale())->weight(), 4);
   EXPECT_EQ(it.currNodeNonStale(), nullptr);
   it.advance();
   EXPECT_EQ(liveEncapObjs(), 9);
}

TEST(HashMap2018PtrValues, GrowthAndRandomDeletionKeepEveryCount) {
   ObjMap m;
   std::vector<int> order;
   for (int i = 0; i < 5000; ++i) {
      m.memberIs(encapObj(i, i));
      order.push_back(i);
   }
   EXPECT_EQ(liveEncapObjs(), 5000);
   for (int i = 0; i < 5000; ++i)
      ASSERT_EQ((*m[encapOf(i)])->references(), 1u) << i;
   std::uint32_t x = 12345;
   for (std::size_t i = order.size(); i > 1; --i) {
      x = x * 1103515245u + 12345u;
      std::swap(order[i - 1], order[(x >> 8) % i]);
   }
   for (std::size_t n = 0; n < order.size(); ++n) {
      Fen::Ptr<EncapObj> const removed = m.memberDel(encapOf(order[n]));
      ASSERT_NE(removed, nullptr);
      EXPECT_EQ(removed->references(), 1u);
      EXPECT_EQ(removed->weight(), order[n]);
      if (n % 1000 == 0) {
         for (ObjMap::IteratorConst it(m); it; it.advance()) {
            ASSERT_EQ((*it.currNodeNonStale())->references(),
                      2u);  // map and iterator
         }
      }
   }
   EXPECT_EQ(liveEncapObjs(), 0);
}

TEST(HashMap2018PtrValues, WalkDeletingEveryObjectUnderItReleasesThemAll) {
   ObjMap m;
   for (int i = 0; i < 800; ++i)
      m.memberIs(encapObj(i, i));
   std::set<Ulva::IntfEncap> visited;
   Fen::memberDelAllNotifying(m, [&](Ulva::IntfEncap const& k) {
      EXPECT_TRUE(visited.insert(k).second);
      EXPECT_EQ(m.memberDel(k)->intfEncap(), k);
   });
   EXPECT_EQ(visited.size(), 800u);
   EXPECT_TRUE(m.empty());
   EXPECT_EQ(liveEncapObjs(), 0);
}

// =================================================================================
// A million members
// =================================================================================

TEST(HashMap2018Large, MillionEncapsInsertedLookedUpWalkedAndDeleted) {
   constexpr int count = 1000000;
   std::vector<Ulva::IntfEncap> keys;
   keys.reserve(count);
   for (int i = 0; i < count; ++i)
      keys.push_back(encapOf(i));

   CostMap m;
   for (int i = 0; i < count; ++i) {
      if (!m.memberIs(keys[i], i + 1)) {
         ADD_FAILURE() << "insert of " << keys[i] << " changed nothing";
         return;
      }
   }
   ASSERT_EQ(m.size(), static_cast<std::size_t>(count));

   int wrong = 0;
   for (int i = 0; i < count; ++i)
      wrong += m.member(keys[i]) != i + 1;
   EXPECT_EQ(wrong, 0);
   EXPECT_FALSE(m.has(encapOf(count)));

   std::vector<char> seen(count, 0);
   std::size_t walked = 0;
   for (CostMap::IteratorConst it(m); it; it.advance()) {
      int const v = it.currNodeNonStale()->value;
      ASSERT_GE(v, 1);
      ASSERT_LE(v, count);
      ASSERT_EQ(seen[v - 1], 0) << it.key();
      seen[v - 1] = 1;
      ++walked;
   }
   EXPECT_EQ(walked, static_cast<std::size_t>(count));

   // Delete the odd half by key, then the rest by a walk.
   for (int i = 1; i < count; i += 2)
      wrong += m.memberDel(keys[i]) != i + 1;
   EXPECT_EQ(wrong, 0);
   ASSERT_EQ(m.size(), static_cast<std::size_t>(count / 2));
   for (int i = 0; i < count; i += 2)
      wrong += !m.has(keys[i]);
   for (int i = 1; i < count; i += 2)
      wrong += m.has(keys[i]);
   EXPECT_EQ(wrong, 0);

   std::size_t deleted = 0;
   Fen::memberDelAllNotifying(m, [&](Ulva::IntfEncap const& k) { deleted += m.memberDel(k) != 0; });
   EXPECT_EQ(deleted, static_cast<std::size_t>(count / 2));
   EXPECT_TRUE(m.empty());
   for (int i = 0; i < count; i += 1000)
      EXPECT_FALSE(m.has(keys[i]));
}

TEST(HashMap2018Large, MillionMemberSetCopiedAndChangedOnBothSides) {
   constexpr int count = 1000000;
   RetrySet a;
   for (int i = 0; i < count; ++i)
      a.memberIs(encapOf(i));
   RetrySet b(a);
   EXPECT_TRUE(a.sharesStorageWith(b));
   EXPECT_TRUE(b.memberDel(encapOf(0)));
   EXPECT_TRUE(a.memberDel(encapOf(1)));
   EXPECT_EQ(a.size(), static_cast<std::size_t>(count - 1));
   EXPECT_EQ(b.size(), static_cast<std::size_t>(count - 1));
   EXPECT_TRUE(a.has(encapOf(0)));
   EXPECT_TRUE(b.has(encapOf(1)));
}

// ---- reserve --------------------------------------------------------------------------

// Blocks allocated by maps of type `Map` since the start of the process.
template <class Map>
std::uint64_t blocksAllocated() {
   return Map::typeInfo()->totalAllocations();
}

TEST(HashMap2018Reserve, InsertsUpToTheReservedCountNeitherGrowNorAllocate) {
   for (int const n : {1, 6, 13, 100, 1000, 5000}) {
      CostMap m;
      m.reserve(static_cast<std::size_t>(n));
      std::size_t const capacity = m.capacity();
      std::size_t const slots = m.slotCount();
      std::uint64_t const blocks = blocksAllocated<CostMap>();
      EXPECT_GT(capacity, 0u) << n;
      for (int i = 0; i < n; ++i)
         m.memberIs(encapOf(i), i);
      EXPECT_EQ(m.capacity(), capacity) << n;
      EXPECT_EQ(m.slotCount(), slots) << n;
      EXPECT_EQ(blocksAllocated<CostMap>(), blocks) << n;
      ASSERT_EQ(m.size(), static_cast<std::size_t>(n));
      for (int i = 0; i < n; ++i)
         EXPECT_EQ(m.member(encapOf(i)), i) << i;
      EXPECT_EQ(walkKeys(m).size(), static_cast<std::size_t>(n));
   }
}

TEST(HashMap2018Reserve, ReserveOnAMapWithMembersKeepsThemAndMakesRoomForTheRest) {
   RetrySet m;
   for (int i = 0; i < 10; ++i)
      m.memberIs(encapOf(i));
   std::vector<Ulva::IntfEncap> const before = walkKeys(m);
   m.reserve(3000);
   EXPECT_EQ(walkKeys(m), before);
   std::size_t const capacity = m.capacity();
   std::size_t const slots = m.slotCount();
   std::uint64_t const blocks = blocksAllocated<RetrySet>();
   for (int i = 10; i < 3000; ++i)
      m.memberIs(encapOf(i));
   EXPECT_EQ(m.capacity(), capacity);
   EXPECT_EQ(m.slotCount(), slots);
   EXPECT_EQ(blocksAllocated<RetrySet>(), blocks);
   EXPECT_EQ(m.size(), 3000u);
   // Past the reserved count the map grows as before.
   for (int i = 3000; i < 6000; ++i)
      m.memberIs(encapOf(i));
   EXPECT_GT(m.capacity(), capacity);
   EXPECT_EQ(m.size(), 6000u);
}

TEST(HashMap2018Reserve, ReserveOnACopyLeavesTheOriginalUntouched) {
   CostMap original;
   for (int i = 0; i < 100; ++i)
      original.memberIs(encapOf(i), i);
   std::size_t const capacity = original.capacity();
   std::size_t const slots = original.slotCount();
   std::vector<Ulva::IntfEncap> const keys = walkKeys(original);
   CostMap copy(original);
   ASSERT_TRUE(copy.sharesStorageWith(original));

   copy.reserve(5000);
   EXPECT_FALSE(copy.sharesStorageWith(original));
   EXPECT_GT(copy.capacity(), capacity);
   EXPECT_EQ(original.capacity(), capacity);
   EXPECT_EQ(original.slotCount(), slots);
   EXPECT_EQ(walkKeys(original), keys);
   EXPECT_EQ(walkKeys(copy), keys);

   std::uint64_t const blocks = blocksAllocated<CostMap>();
   for (int i = 0; i < 5000; ++i)
      copy.memberIs(encapOf(i), -i);
   EXPECT_EQ(blocksAllocated<CostMap>(), blocks);
   EXPECT_EQ(original.size(), 100u);
   for (int i = 0; i < 100; ++i)
      EXPECT_EQ(original.member(encapOf(i)), i) << i;
   EXPECT_FALSE(original.has(encapOf(100)));
   EXPECT_EQ(copy.member(encapOf(99)), -99);
}

TEST(HashMap2018Reserve, ReserveWithinTheCapacityOfASharedBlockCopiesItOnce) {
   CostMap original;
   for (int i = 0; i < 100; ++i)
      original.memberIs(encapOf(i), i);
   CostMap copy(original);
   // Room for one more is there already: the copy only stops sharing, so that
   // the insert that follows does not copy the block either.
   copy.reserve(101);
   EXPECT_FALSE(copy.sharesStorageWith(original));
   EXPECT_EQ(copy.capacity(), original.capacity());
   std::uint64_t const blocks = blocksAllocated<CostMap>();
   copy.memberIs(encapOf(100), 100);
   EXPECT_EQ(blocksAllocated<CostMap>(), blocks);
   EXPECT_EQ(original.size(), 100u);
   EXPECT_FALSE(original.has(encapOf(100)));
   EXPECT_EQ(copy.size(), 101u);
}

TEST(HashMap2018Reserve, WalkGoesOnAcrossReserveVisitingEachMemberOnce) {
   CostMap m;
   for (int i = 0; i < 200; ++i)
      m.memberIs(encapOf(i), i);
   std::vector<Ulva::IntfEncap> const original = walkKeys(m);
   CostMap copy(m);  // shared: the first reserve copies the block as well
   std::map<Ulva::IntfEncap, int> visits;
   std::size_t step = 0;
   for (CostMap::IteratorConst it(m); it; it.advance(), ++step) {
      ASSERT_EQ(++visits[it.key()], 1) << it.key() << " seen again";
      if (step == 50) {
         m.reserve(20000);
         // The live node of the current member is still found after the move.
         ASSERT_NE(it.currNodeNonStale(), nullptr);
         EXPECT_EQ(it.currNodeNonStale()->key, it.key());
      }
      if (step == 120) m.reserve(200000);
      if (step == 150) m.reserve(10);  // below the size: nothing
   }
   EXPECT_EQ(visits.size(), original.size());
   for (auto const& k : original)
      EXPECT_EQ(visits[k], 1) << k;
   EXPECT_EQ(walkKeys(copy), original);
}

TEST(HashMap2018Reserve, ReserveOfZeroOrNotAboveTheSizeOrTheRoomDoesNothing) {
   CostMap empty;
   std::uint64_t blocks = blocksAllocated<CostMap>();
   empty.reserve(0);
   EXPECT_EQ(empty.capacity(), 0u);
   EXPECT_EQ(empty.slotCount(), 0u);
   EXPECT_EQ(blocksAllocated<CostMap>(), blocks);

   CostMap m;
   for (int i = 0; i < 1000; ++i)
      m.memberIs(encapOf(i), i);
   for (int i = 100; i < 1000; ++i)
      m.memberDel(encapOf(i));
   std::size_t const capacity = m.capacity();
   std::size_t const slots = m.slotCount();
   std::vector<Ulva::IntfEncap> const keys = walkKeys(m);
   CostMap copy(m);
   blocks = blocksAllocated<CostMap>();
   // Zero, below the size, the size itself, and more than the size that the
   // table already has room for: no shrinking, no move, no allocation.
   for (std::size_t const n : {std::size_t{0}, std::size_t{50}, std::size_t{100}}) {
      m.reserve(n);
      EXPECT_EQ(m.capacity(), capacity) << n;
      EXPECT_EQ(m.slotCount(), slots) << n;
      EXPECT_TRUE(m.sharesStorageWith(copy)) << n;
   }
   EXPECT_EQ(blocksAllocated<CostMap>(), blocks);
   copy.reserve(500);  // the table has room for 500: it only stops sharing
   EXPECT_EQ(copy.capacity(), capacity);
   EXPECT_EQ(copy.slotCount(), slots);
   blocks = blocksAllocated<CostMap>();
   copy.reserve(600);
   EXPECT_EQ(copy.capacity(), capacity);
   EXPECT_EQ(blocksAllocated<CostMap>(), blocks);
   EXPECT_EQ(walkKeys(m), keys);
   EXPECT_EQ(walkKeys(copy), keys);
}

// ---- growth ------------------------------------------------------------------------

// The capacities a table filled from empty goes through, with the size at which
// each was left.
std::vector<std::pair<std::size_t, std::size_t>> growthSteps(int members) {
   std::vector<std::pair<std::size_t, std::size_t>> steps;
   CostMap m;
   for (int i = 0; i < members; ++i) {
      std::size_t const before = m.capacity();
      m.memberIs(encapOf(i), i);
      if (m.capacity() != before) steps.emplace_back(m.capacity(), m.size());
   }
   return steps;
}

TEST(HashMap2018Growth, CapacitiesArePowersOfTwoAndThreeHalvesOfThem) {
   std::vector<std::size_t> capacities;
   for (auto const& [capacity, size] : growthSteps(200000))
      capacities.push_back(capacity);
   ASSERT_GE(capacities.size(), 2u);
   EXPECT_EQ(capacities[0], 8u);
   EXPECT_EQ(capacities[1], 12u);
   for (std::size_t i = 1; i < capacities.size(); ++i) {
      std::size_t const c = capacities[i - 1];
      bool const powerOfTwo = (c & (c - 1)) == 0;
      EXPECT_EQ(capacities[i], powerOfTwo ? c / 2 * 3 : c / 3 * 4) << "after " << c;
   }
}

TEST(HashMap2018Growth, ATableGrowsOnlyWhenAnInsertWouldFillMoreThanSevenEighths) {
   auto const steps = growthSteps(200000);
   for (std::size_t i = 1; i < steps.size(); ++i) {
      std::size_t const oldCapacity = steps[i - 1].first;
      // The insert that grew the table was the first beyond 7/8 of the old one.
      EXPECT_EQ(steps[i].second, oldCapacity * 7 / 8 + 1) << "growth from " << oldCapacity;
   }
}

TEST(HashMap2018Growth, ABigTableStaysBetweenFiftyEightPercentAndSevenEighthsFull) {
   CostMap m;
   for (int i = 0; i < 150000; ++i) {
      m.memberIs(encapOf(i), i);
      if (m.size() < 1000) continue;
      double const load = static_cast<double>(m.size()) / static_cast<double>(m.capacity());
      ASSERT_GE(load, 0.58) << m.size();
      ASSERT_LE(load, 0.875) << m.size();
   }
}

TEST(HashMap2018Growth, TheTailGrowsWithTheTable) {
   for (int const n : {10, 1000, 100000}) {
      CostMap m;
      m.reserve(static_cast<std::size_t>(n));
      EXPECT_EQ(m.slotCount() - m.capacity(), 16 + m.capacity() / 64) << n;
   }
}

TEST(HashMap2018Reserve, ReserveSizesTheTableToMeasure) {
   for (std::size_t const n : {std::size_t{7}, std::size_t{13}, std::size_t{100}, std::size_t{1000},
                               std::size_t{100000}}) {
      CostMap m;
      m.reserve(n);
      // The fewest home slots that hold n members at most 7/8 full.
      EXPECT_GE(m.capacity() * 7 / 8, n) << n;
      EXPECT_LT((m.capacity() - 1) * 7 / 8, n) << n;
   }
}

TEST(HashMap2018Reserve, AMeasuredTableGrowsOnToTheNextStep) {
   CostMap m;
   m.reserve(1000);  // 1143 home slots, not a growth step
   ASSERT_EQ(m.capacity(), 1143u);
   for (int i = 0; i <= 1000; ++i)
      m.memberIs(encapOf(i), i);
   EXPECT_EQ(m.capacity(), 1536u);
   for (int i = 0; i <= 1000; ++i)
      ASSERT_EQ(m.member(encapOf(i)), i) << i;
}

TEST(HashMap2018Iterator, AWalkKeepsItsOrderAcrossMeasuredAndStepCapacities) {
   // The same members in tables of many capacities walk in the same order: a
   // member's place depends on its rhash and key, not on the table's size.
   std::vector<Ulva::IntfEncap> reference;
   for (std::size_t const room : {0, 600, 601, 777, 1143, 5000, 123457}) {
      CostMap m;
      m.reserve(room);
      for (int i = 0; i < 600; ++i)
         m.memberIs(encapOf(i), i);
      std::vector<Ulva::IntfEncap> const keys = walkKeys(m);
      ASSERT_EQ(keys.size(), 600u) << room;
      if (reference.empty()) {
         reference = keys;
      } else {
         EXPECT_EQ(keys, reference) << room;
      }
   }
}
