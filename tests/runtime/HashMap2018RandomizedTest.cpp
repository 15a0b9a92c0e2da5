// Randomized tests of Fen::HashMap2018 against a reference model.
//
// Walks: an iterator walks a map while the map changes under it: the member under
// the iterator, members ahead of it and behind it are deleted and inserted, the
// map grows many times over, is emptied, is copied and the copies change. After
// every step the walk must give exactly the member that the model says comes
// next: the first member present in the map's order, (rhash, key), after the
// last key the walk gave.
//
// Copies: several maps that are copies of one another change at random, each
// with a walk of its own; no change may show on another map, and every walk goes
// on over its own map only.
//
// Every round runs from its own seed, printed on failure, and repeats exactly
// for that seed (the process hash seed is printed too: the order of a seeded map
// depends on it, what is checked does not).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Fen/Accessors.h"
#include "Fen/HashMap2018.h"
#include "Fen/Ptr.h"
#include "Kestin/IntfId.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/VlanTag.h"

namespace {

// ---- keys ---------------------------------------------------------------------------

Kestin::IntfId portOf(int p) {
   static std::vector<Kestin::IntfId> const ports = [] {
      std::vector<Kestin::IntfId> v;
      for (int i = 0; i < 256; ++i) {
         v.emplace_back(
             ("Ethernet" + std::to_string(i / 32 + 1) + "/" + std::to_string(i % 32 + 1)).c_str());
      }
      return v;
   }();
   return ports.at(static_cast<std::size_t>(p));
}

// The i-th encap: VLANs 1 to 4000 on one port after the other, single-tagged on
// even ports and double-tagged on odd ones.
Ulva::IntfEncap encapOf(int i) {
   int const port = i / 4000;
   auto const vid = static_cast<std::uint32_t>(i % 4000 + 1);
   Ulva::VlanTag const inner = port % 2 ? Ulva::vlanTag(vid % 7 + 1) : Ulva::VlanTag();
   return Ulva::IntfEncap(portOf(port), Ulva::VlanTagEncap(Ulva::vlanTag(vid), inner));
}

// A key form with eight rhashes in all, one per eighth of the table: long runs of
// members with equal hashes that only the key orders, runs that run into each
// other and a last run that spills into the tail.
struct ClusteredKeyForm {
   static std::uint32_t rhash(Ulva::IntfEncap const& k, std::uint32_t salt) {
      return (k.hash(salt) & 0xE0000000u) | 0x00100000u;
   }
};

// A counted object that holds its own key.
class WeightedEncap : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("HashMap2018RandomizedTest::WeightedEncap")

public:
   WeightedEncap(Ulva::IntfEncap const& intfEncap, int weight)
       : intfEncap_(intfEncap), weight_(weight) {}
   Ulva::IntfEncap const& intfEncap() const { return intfEncap_; }
   int weight() const { return weight_; }

private:
   Ulva::IntfEncap const intfEncap_;
   int const weight_;
};
struct WeightedEncapKey {
   Ulva::IntfEncap operator()(Fen::Ptr<WeightedEncap> const& p) const { return p->intfEncap(); }
};

std::int64_t liveWeightedEncaps() {
   auto* info = WeightedEncap::fenAllocTrackTypeInfo_;
   return info ? info->liveObjects() : 0;
}

// ---- the maps under test ------------------------------------------------------------
//
// Each kind says how to make its i-th key, write a value (a number from 1 up;
// 0 stands for "absent"), read it back and delete it.

struct SeededValues {
   static constexpr char const* name = "seeded encap -> int";
   struct Tag {
      static constexpr std::uint32_t salt = 0x99F8EDBC;
   };
   using Map = Fen::HashMap2018<Tag, Ulva::IntfEncap, int>;
   using Key = Ulva::IntfEncap;
   static constexpr int maxSize = 6000;
   static Key key(int i) { return encapOf(i); }
   static int stored(int v) { return v; }
   static bool writeChanges(std::optional<int> old, int v) { return !old || *old != v; }
   static bool put(Map& m, Key const& k, int v) { return m.memberIs(k, v); }
   static int value(Map::Node const& n) { return n.value; }
   static int del(Map& m, Key const& k) { return m.memberDel(k); }
   static std::uint32_t references(Map const&, Key const&) { return 1; }
};

struct ClusteredValues : SeededValues {
   static constexpr char const* name = "clustered encap -> int";
   struct Tag {
      static constexpr std::uint32_t salt = 0x8D1939A4;
      using KeyForm = ClusteredKeyForm;
   };
   using Map = Fen::HashMap2018<Tag, Ulva::IntfEncap, int>;
   static constexpr int maxSize = 2500;
   static bool put(Map& m, Key const& k, int v) { return m.memberIs(k, v); }
   static int value(Map::Node const& n) { return n.value; }
   static int del(Map& m, Key const& k) { return m.memberDel(k); }
   static std::uint32_t references(Map const&, Key const&) { return 1; }
};

struct LegacyIds {
   static constexpr char const* name = "legacy id -> int";
   struct Tag {
      static constexpr std::uint32_t salt = 0xFBDB501C;
      using KeyForm = Fen::HashHelper::KeyAndRhashLegacy;
   };
   using Map = Fen::HashMap2018<Tag, Kestin::IntfId, int>;
   using Key = Kestin::IntfId;
   static constexpr int maxSize = 4000;
   static Key key(int i) {
      // Sub-interfaces of 256 ports: i is any number the rounds make.
      std::string const name =
          portOf(i % 256).stringValue().stdString() + "." + std::to_string(i / 256 + 1);
      return Kestin::IntfId(name.c_str());
   }
   static int stored(int v) { return v; }
   static bool writeChanges(std::optional<int> old, int v) { return !old || *old != v; }
   static bool put(Map& m, Key const& k, int v) { return m.memberIs(k, v); }
   static int value(Map::Node const& n) { return n.value; }
   static int del(Map& m, Key const& k) { return m.memberDel(k); }
   static std::uint32_t references(Map const&, Key const&) { return 1; }
};

struct SmallIntegerSet {
   static constexpr char const* name = "small integer set";
   struct Tag {
      static constexpr std::uint32_t salt = 0x6A706B8D;
      using KeyForm = Fen::HashHelper::KeyU32;
   };
   using Map = Fen::HashMap2018<Tag, std::uint32_t>;
   using Key = std::uint32_t;
   // One rhash for all: every insertion scans the one run.
   static constexpr int maxSize = 700;
   static Key key(int i) { return static_cast<std::uint32_t>(i) * 2654435761u; }
   static int stored(int) { return 1; }
   static bool writeChanges(std::optional<int> old, int) { return !old; }
   static bool put(Map& m, Key const& k, int) { return m.memberIs(k); }
   static int value(Map::Node const&) { return 1; }
   static int del(Map& m, Key const& k) { return m.memberDel(k) ? 1 : 0; }
   static std::uint32_t references(Map const&, Key const&) { return 1; }
};

struct OwnedObjects {
   static constexpr char const* name = "encap -> Fen::Ptr";
   struct Tag {
      static constexpr std::uint32_t salt = 0x4ECC3302;
      using KeyFunktor = WeightedEncapKey;
   };
   using Map = Fen::HashMap2018<Tag, Ulva::IntfEncap, Fen::Ptr<WeightedEncap>>;
   using Key = Ulva::IntfEncap;
   static constexpr int maxSize = 4000;
   static Key key(int i) { return encapOf(i); }
   static int stored(int v) { return v; }
   // Every write brings a new object.
   static bool writeChanges(std::optional<int>, int) { return true; }
   static bool put(Map& m, Key const& k, int v) {
      return m.memberIs(Fen::fenObjectIs<WeightedEncap>(k, v));
   }
   static int value(Map::Node const& n) { return n->weight(); }
   static int del(Map& m, Key const& k) {
      Fen::Ptr<WeightedEncap> const removed = m.memberDel(k);
      return removed ? removed->weight() : 0;
   }
   static std::uint32_t references(Map const& m, Key const& k) { return (*m[k])->references(); }
};

// ---- the reference model ------------------------------------------------------------

template <class Kind>
struct Model {
   using Key = typename Kind::Key;
   using Map = typename Kind::Map;
   // A member's place in the map's order.
   using Ord = std::pair<std::uint32_t, Key>;
   static Ord ord(Key const& k) { return {Map::rhash(k), k}; }

   std::map<Ord, int> members;

   std::optional<int> find(Key const& k) const {
      auto const pos = members.find(ord(k));
      if (pos == members.end()) return std::nullopt;
      return pos->second;
   }
   // The member a walk gives after `cursor` (from the start without one).
   typename std::map<Ord, int>::const_iterator next(std::optional<Ord> const& cursor) const {
      return cursor ? members.upper_bound(*cursor) : members.begin();
   }
};

// The map holds exactly the model's members, in the model's order.
template <class Kind>
void expectSame(typename Kind::Map const& map, Model<Kind> const& model) {
   using M = Model<Kind>;
   ASSERT_EQ(map.size(), model.members.size());
   auto pos = model.members.begin();
   for (typename Kind::Map::IteratorConst it(map); it; it.advance(), ++pos) {
      ASSERT_NE(pos, model.members.end()) << "walk gives more than the model holds";
      ASSERT_EQ(M::ord(it.key()), pos->first);
      ASSERT_EQ(Kind::value(*it.currNodeNonStale()), pos->second);
   }
   ASSERT_EQ(pos, model.members.end()) << "walk ends early";
   for (auto const& [ord, v] : model.members) {
      auto const* node = map[ord.second];
      ASSERT_NE(node, nullptr) << ord.second;
      ASSERT_EQ(Kind::value(*node), v);
   }
}

// The map has the key, with its value, exactly when the model has.
template <class Kind>
void expectKeyAsModel(typename Kind::Map const& map, Model<Kind> const& model,
                      typename Kind::Key const& k) {
   std::optional<int> const v = model.find(k);
   auto const* node = map[k];
   ASSERT_EQ(node != nullptr, v.has_value()) << k;
   if (node) {
      ASSERT_EQ(Kind::value(*node), *v) << k;
   }
}

#define RETURN_IF_FATAL()                           \
   do {                                             \
      if (testing::Test::HasFatalFailure()) return; \
   } while (false)

// ---- walks that change the map under the iterator -----------------------------------

enum class Shape {
   mixed,    // every kind of change, now and then a copy
   growing,  // starts tiny and grows many times over during the walk
   emptied,  // emptied (at once or by an inner walk) and refilled during the walk
};

char const* shapeName(Shape s) {
   switch (s) {
      case Shape::mixed:
         return "mixed";
      case Shape::growing:
         return "growing";
      case Shape::emptied:
         return "emptied";
   }
   return "?";
}

template <class Kind>
class WalkRound {
public:
   using Map = typename Kind::Map;
   using Key = typename Kind::Key;
   using M = Model<Kind>;
   using Ord = typename M::Ord;

   WalkRound(std::uint64_t seed, Shape shape) : rng_(seed), shape_(shape) {}

   void run() {
      std::size_t n0 = 0;
      switch (shape_) {
         case Shape::mixed:
            n0 = chance(3) ? pick(Kind::maxSize / 3) : pick(120);
            break;
         case Shape::growing:
            n0 = 1 + pick(6);
            break;
         case Shape::emptied:
            n0 = 10 + pick(150);
            break;
      }
      universe_ = static_cast<int>(std::max<std::size_t>(64, n0 * 3));
      if (shape_ == Shape::growing) universe_ = Kind::maxSize * 2;
      base_ = static_cast<int>(pick(200000));
      for (std::size_t i = 0; i < n0; ++i) {
         insert(randomKey());
         RETURN_IF_FATAL();
      }
      for (auto const& [ord, v] : model_.members)
         untouched_.insert(ord);

      walk();
      RETURN_IF_FATAL();

      // What the walk saw, summed up.
      for (auto const& [ord, n] : visits_)
         ASSERT_EQ(n, 1) << ord.second << " seen twice";
      for (Ord const& ord : untouched_) {
         ASSERT_EQ(visits_.count(ord), 1u) << ord.second << " was there all along but not seen";
      }
      for (Ord const& ord : deletedAhead_) {
         ASSERT_EQ(visits_.count(ord), 0u) << ord.second << " seen after its deletion";
      }

      expectSame<Kind>(map_, model_);
      RETURN_IF_FATAL();
      for (auto const& s : snapshots_) {
         expectSame<Kind>(s->map, s->model);
         RETURN_IF_FATAL();
      }
      snapshots_.clear();
      for (auto const& [ord, v] : model_.members) {
         ASSERT_EQ(Kind::references(map_, ord.second), 1u) << ord.second;
      }
   }

   std::size_t visited() const { return visits_.size(); }

private:
   struct Snapshot {
      Map map;
      M model;
   };

   std::size_t pick(std::size_t n) { return n ? static_cast<std::size_t>(rng_() % n) : 0; }
   bool chance(int percent) { return static_cast<int>(rng_() % 100) < percent; }
   Key randomKey() { return Kind::key(base_ + static_cast<int>(pick(universe_))); }
   int randomValue() { return 1 + static_cast<int>(pick(1000)); }
   bool ahead(Ord const& o) const { return !cursor_ || *cursor_ < o; }

   void insert(Key const& k) {
      int const v = randomValue();
      std::optional<int> const old = model_.find(k);
      bool const changed = Kind::put(map_, k, v);
      ASSERT_EQ(changed, Kind::writeChanges(old, v)) << "write of " << k;
      Ord const o = M::ord(k);
      model_.members[o] = Kind::stored(v);
      deletedAhead_.erase(o);
      expectKeyAsModel<Kind>(map_, model_, k);
   }
   void erase(Key const& k) {
      std::optional<int> const old = model_.find(k);
      int const got = Kind::del(map_, k);
      ASSERT_EQ(got, old.value_or(0)) << "delete of " << k;
      if (old) {
         Ord const o = M::ord(k);
         model_.members.erase(o);
         untouched_.erase(o);
         if (ahead(o)) deletedAhead_.insert(o);
      }
      expectKeyAsModel<Kind>(map_, model_, k);
   }
   void forgetAll() {
      for (auto const& [ord, v] : model_.members) {
         untouched_.erase(ord);
         if (ahead(ord)) deletedAhead_.insert(ord);
      }
      model_.members.clear();
   }

   std::optional<Key> memberAhead() {
      auto const from = model_.next(cursor_);
      if (from == model_.members.end()) return std::nullopt;
      typename std::map<Ord, int>::const_iterator pos =
          model_.members.lower_bound(M::ord(randomKey()));
      if (pos == model_.members.end() || !ahead(pos->first)) pos = from;
      return pos->first.second;
   }
   std::optional<Key> memberBehind() {
      if (!cursor_ || model_.members.empty() || !(model_.members.begin()->first < *cursor_)) {
         return std::nullopt;
      }
      auto pos = model_.members.lower_bound(M::ord(randomKey()));
      if (pos == model_.members.end() || !(pos->first < *cursor_)) pos = model_.members.begin();
      return pos->first.second;
   }

   void walk() {
      typename Map::IteratorConst it(map_);
      for (;;) {
         auto const expected = model_.next(cursor_);
         if (!it) {
            ASSERT_EQ(expected, model_.members.end())
                << "walk ended before " << expected->first.second;
            return;
         }
         Ord const got = M::ord(it.key());
         ASSERT_NE(expected, model_.members.end())
             << "walk gave " << got.second << " after the end";
         ASSERT_EQ(got, expected->first) << "walk gave the wrong member";
         auto const* live = it.currNodeNonStale();
         ASSERT_NE(live, nullptr) << got.second;
         ASSERT_EQ(Kind::value(*live), expected->second) << got.second;
         cursor_ = got;
         ++visits_[got];

         changeUnder(it);
         RETURN_IF_FATAL();

         // The iterator still names the member it stood on, live or gone.
         ASSERT_NE(it.currNodeMaybeStale(), nullptr);
         ASSERT_EQ(M::ord(it.key()), *cursor_);
         std::optional<int> const now = model_.find(cursor_->second);
         ASSERT_EQ(it.currNodeNonStale() != nullptr, now.has_value()) << cursor_->second;
         if (now) {
            ASSERT_EQ(Kind::value(*it.currNodeNonStale()), *now);
         }
         it.advance();
      }
   }

   // A few changes while the iterator stands on a member.
   void changeUnder(typename Map::IteratorConst const& it) {
      if (shape_ == Shape::growing && chance(40)) {
         grow();
         RETURN_IF_FATAL();
      }
      int const changes = static_cast<int>(pick(4));
      for (int c = 0; c < changes; ++c) {
         Key const current = cursor_->second;
         int const what = static_cast<int>(pick(100));
         if (what < 14) {
            erase(current);
         } else if (what < 30) {
            if (auto k = memberAhead()) erase(*k);
         } else if (what < 44) {
            if (auto k = memberBehind()) erase(*k);
         } else if (what < 66) {
            if (model_.members.size() < static_cast<std::size_t>(Kind::maxSize))
               insert(randomKey());
         } else if (what < 74) {
            erase(current);
            RETURN_IF_FATAL();
            insert(current);  // back under the iterator: not to be seen again
         } else if (what < 80) {
            if (model_.find(current)) insert(current);
         } else if (what < 86) {
            grow();
         } else if (what < 88) {
            empty(it);
         } else if (what < 94) {
            copy();
         } else {
            changeSnapshot();
         }
         RETURN_IF_FATAL();
      }
   }

   void grow() {
      std::size_t const size = model_.members.size();
      std::size_t const room =
          static_cast<std::size_t>(Kind::maxSize) - std::min(size, std::size_t(Kind::maxSize));
      if (shape_ != Shape::growing && !chance(20)) return;
      std::size_t const burst = std::min(room, size / 2 + 8);
      for (std::size_t i = 0; i < burst; ++i) {
         insert(randomKey());
         RETURN_IF_FATAL();
      }
   }

   void empty(typename Map::IteratorConst const& outer) {
      if (shape_ != Shape::emptied && !chance(10)) return;
      if (chance(50)) {
         map_.memberDelAll();
         forgetAll();
      } else {
         // An inner walk deletes member by member under the outer one.
         std::set<Ord> deleted;
         Fen::memberDelAllNotifying(map_, [&](Key const& k) {
            EXPECT_TRUE(deleted.insert(M::ord(k)).second) << k << " deleted twice";
            EXPECT_EQ(Kind::del(map_, k), model_.find(k).value_or(0)) << k;
         });
         std::set<Ord> expected;
         for (auto const& [ord, v] : model_.members)
            expected.insert(ord);
         ASSERT_EQ(deleted, expected);
         forgetAll();
      }
      ASSERT_TRUE(map_.empty());
      ASSERT_EQ(outer.currNodeNonStale(), nullptr);
      // Refill some: what lands ahead of the outer walk is still to come.
      std::size_t const refill = pick(2) ? pick(60) : 0;
      for (std::size_t i = 0; i < refill; ++i) {
         insert(randomKey());
         RETURN_IF_FATAL();
      }
   }

   void copy() {
      if (snapshots_.size() >= 3 || (shape_ == Shape::growing && !chance(10))) return;
      snapshots_.push_back(std::make_unique<Snapshot>(Snapshot{map_, model_}));
      ASSERT_EQ(snapshots_.back()->map.size(), map_.size());
   }

   // A change of a copy: the walked map must not see it.
   void changeSnapshot() {
      if (snapshots_.empty()) return;
      Snapshot& s = *snapshots_[pick(snapshots_.size())];
      if (chance(10)) {
         snapshots_.erase(snapshots_.begin() +
                          static_cast<std::ptrdiff_t>(pick(snapshots_.size())));
         return;
      }
      Key const k = chance(50) ? cursor_->second : randomKey();
      if (chance(50)) {
         std::optional<int> const old = s.model.find(k);
         ASSERT_EQ(Kind::del(s.map, k), old.value_or(0));
         s.model.members.erase(M::ord(k));
      } else {
         int const v = randomValue();
         Kind::put(s.map, k, v);
         s.model.members[M::ord(k)] = Kind::stored(v);
      }
      expectKeyAsModel<Kind>(s.map, s.model, k);
      RETURN_IF_FATAL();
      expectKeyAsModel<Kind>(map_, model_, k);
   }

   std::mt19937_64 rng_;
   Shape const shape_;
   int universe_ = 64;
   int base_ = 0;
   Map map_;
   M model_;
   std::optional<Ord> cursor_;
   std::map<Ord, int> visits_;
   std::set<Ord> untouched_;     // present from the start and never deleted
   std::set<Ord> deletedAhead_;  // deleted before the walk reached them, not back since
   std::vector<std::unique_ptr<Snapshot>> snapshots_;
};

template <class Kind>
void runWalks(Shape shape, int rounds, std::uint64_t firstSeed) {
   std::int64_t const liveBefore = liveWeightedEncaps();
   std::size_t visited = 0;
   for (int r = 0; r < rounds; ++r) {
      std::uint64_t const seed = firstSeed + static_cast<std::uint64_t>(r);
      SCOPED_TRACE(testing::Message() << Kind::name << ", " << shapeName(shape) << ", round seed "
                                      << seed << ", hash seed " << Fen::hashSeed32());
      {
         WalkRound<Kind> round(seed, shape);
         round.run();
         visited += round.visited();
      }
      ASSERT_EQ(liveWeightedEncaps(), liveBefore) << "objects outlive their maps";
      if (testing::Test::HasFailure()) return;
   }
   EXPECT_GT(visited, static_cast<std::size_t>(rounds));
}

// ---- copies that change on both sides -----------------------------------------------

template <class Kind>
class CopyRound {
public:
   using Map = typename Kind::Map;
   using Key = typename Kind::Key;
   using M = Model<Kind>;
   using Ord = typename M::Ord;

   explicit CopyRound(std::uint64_t seed) : rng_(seed) {}

   void run() {
      universe_ = 64 + static_cast<int>(pick(400));
      base_ = static_cast<int>(pick(200000));
      for (auto& s : sides_)
         s.map = std::make_unique<Map>();
      std::size_t const n0 = pick(static_cast<std::size_t>(universe_));
      for (std::size_t i = 0; i < n0; ++i) {
         write(sides_[0], randomKey());
         RETURN_IF_FATAL();
      }
      copyConstruct(1, 0);
      if (chance(50)) copyConstruct(2, 0);

      int const steps = 200 + static_cast<int>(pick(400));
      for (int step = 0; step < steps; ++step) {
         this->step();
         RETURN_IF_FATAL();
         if (step % 64 == 63) {
            for (auto const& s : sides_) {
               expectSame<Kind>(*s.map, s.model);
               RETURN_IF_FATAL();
            }
         }
      }
      // Walks still under way run to their end.
      for (auto& s : sides_) {
         while (s.it) {
            advance(s);
            RETURN_IF_FATAL();
         }
         expectSame<Kind>(*s.map, s.model);
         RETURN_IF_FATAL();
      }
      // Alone again, each member is held by its one map.
      sides_[1].map.reset();
      sides_[2].map.reset();
      for (auto const& [ord, v] : sides_[0].model.members) {
         ASSERT_EQ(Kind::references(*sides_[0].map, ord.second), 1u) << ord.second;
      }
   }

   int walksDone() const { return walksDone_; }

private:
   struct Side {
      std::unique_ptr<Map> map;
      M model;
      std::optional<typename Map::IteratorConst> it;
      std::optional<Ord> cursor;
   };

   std::size_t pick(std::size_t n) { return n ? static_cast<std::size_t>(rng_() % n) : 0; }
   bool chance(int percent) { return static_cast<int>(rng_() % 100) < percent; }
   Key randomKey() { return Kind::key(base_ + static_cast<int>(pick(universe_))); }

   // Every map shows the key as its own model does.
   void expectKeyEverywhere(Key const& k) {
      for (auto const& s : sides_) {
         expectKeyAsModel<Kind>(*s.map, s.model, k);
         RETURN_IF_FATAL();
      }
   }

   void write(Side& s, Key const& k) {
      int const v = 1 + static_cast<int>(pick(1000));
      std::optional<int> const old = s.model.find(k);
      ASSERT_EQ(Kind::put(*s.map, k, v), Kind::writeChanges(old, v));
      s.model.members[M::ord(k)] = Kind::stored(v);
   }
   void erase(Side& s, Key const& k) {
      std::optional<int> const old = s.model.find(k);
      ASSERT_EQ(Kind::del(*s.map, k), old.value_or(0)) << k;
      s.model.members.erase(M::ord(k));
   }
   void copyConstruct(std::size_t to, std::size_t from) {
      Side& t = sides_[to];
      t.it.reset();  // its map goes away
      t.cursor.reset();
      t.map = std::make_unique<Map>(*sides_[from].map);
      t.model = sides_[from].model;
      if (!t.model.members.empty()) {
         ASSERT_TRUE(t.map->sharesStorageWith(*sides_[from].map));
      }
   }

   void advance(Side& s) {
      if (!s.it) {
         s.it.emplace(*s.map);
         s.cursor.reset();
      } else {
         s.it->advance();
      }
      auto const expected = s.model.next(s.cursor);
      if (!*s.it) {
         ASSERT_EQ(expected, s.model.members.end())
             << "walk ended before " << expected->first.second;
         s.it.reset();
         ++walksDone_;
         return;
      }
      Ord const got = M::ord(s.it->key());
      ASSERT_NE(expected, s.model.members.end()) << "walk gave " << got.second << " after the end";
      ASSERT_EQ(got, expected->first) << "walk gave the wrong member";
      ASSERT_EQ(Kind::value(*s.it->currNodeNonStale()), expected->second);
      s.cursor = got;
   }

   void step() {
      std::size_t const si = pick(sides_.size());
      Side& s = sides_[si];
      std::size_t const ti = (si + 1 + pick(sides_.size() - 1)) % sides_.size();
      int const what = static_cast<int>(pick(100));
      if (what < 30) {
         Key const k = randomKey();
         write(s, k);
         RETURN_IF_FATAL();
         expectKeyEverywhere(k);
      } else if (what < 50) {
         Key const k = randomKey();
         erase(s, k);
         RETURN_IF_FATAL();
         expectKeyEverywhere(k);
      } else if (what < 58) {
         if (!s.cursor) return;
         Key const k = s.cursor->second;  // the member under the walk
         erase(s, k);
         RETURN_IF_FATAL();
         expectKeyEverywhere(k);
      } else if (what < 85) {
         advance(s);
      } else if (what < 89) {
         // Copy assignment: the walk of `s` goes on over its new members.
         *s.map = *sides_[ti].map;
         s.model = sides_[ti].model;
         if (!s.model.members.empty()) {
            ASSERT_TRUE(s.map->sharesStorageWith(*sides_[ti].map));
         }
      } else if (what < 91) {
         *s.map = Map(*sides_[ti].map);  // move assignment of a copy
         s.model = sides_[ti].model;
      } else if (what < 95) {
         copyConstruct(si, ti);
      } else if (what < 97) {
         s.map->memberDelAll();
         s.model.members.clear();
         for (auto const& o : sides_)
            ASSERT_EQ(o.map->size(), o.model.members.size());
      } else {
         // Growth: the map is laid out anew while others share the old layout.
         if (s.model.members.size() > static_cast<std::size_t>(Kind::maxSize) / 4) return;
         std::size_t const n = 20 + pick(Kind::maxSize / 20);
         for (std::size_t i = 0; i < n; ++i) {
            write(s, Kind::key(base_ + universe_ + static_cast<int>(pick(1500))));
            RETURN_IF_FATAL();
         }
         for (auto const& o : sides_)
            ASSERT_EQ(o.map->size(), o.model.members.size());
      }
   }

   std::mt19937_64 rng_;
   int universe_ = 64;
   int base_ = 0;
   std::array<Side, 3> sides_;
   int walksDone_ = 0;
};

template <class Kind>
void runCopies(int rounds, std::uint64_t firstSeed) {
   std::int64_t const liveBefore = liveWeightedEncaps();
   int walks = 0;
   for (int r = 0; r < rounds; ++r) {
      std::uint64_t const seed = firstSeed + static_cast<std::uint64_t>(r);
      SCOPED_TRACE(testing::Message() << Kind::name << ", copies, round seed " << seed
                                      << ", hash seed " << Fen::hashSeed32());
      {
         CopyRound<Kind> round(seed);
         round.run();
         walks += round.walksDone();
      }
      ASSERT_EQ(liveWeightedEncaps(), liveBefore) << "objects outlive their maps";
      if (testing::Test::HasFailure()) return;
   }
   EXPECT_GT(walks, rounds);
}

}  // namespace

// Rounds per test: some five thousand walks and eight hundred rounds of copies in
// all, a few seconds for the whole binary in an optimised build.

TEST(HashMap2018RandomWalk, SeededMapChangedUnderTheWalk) {
   runWalks<SeededValues>(Shape::mixed, 1000, 1000);
}
TEST(HashMap2018RandomWalk, SeededMapGrowingUnderTheWalk) {
   runWalks<SeededValues>(Shape::growing, 30, 2000);
}
TEST(HashMap2018RandomWalk, SeededMapEmptiedUnderTheWalk) {
   runWalks<SeededValues>(Shape::emptied, 400, 3000);
}

TEST(HashMap2018RandomWalk, ClusteredMapChangedUnderTheWalk) {
   runWalks<ClusteredValues>(Shape::mixed, 600, 11000);
}
TEST(HashMap2018RandomWalk, ClusteredMapGrowingUnderTheWalk) {
   runWalks<ClusteredValues>(Shape::growing, 25, 12000);
}
TEST(HashMap2018RandomWalk, ClusteredMapEmptiedUnderTheWalk) {
   runWalks<ClusteredValues>(Shape::emptied, 250, 13000);
}

TEST(HashMap2018RandomWalk, LegacyIdMapChangedUnderTheWalk) {
   runWalks<LegacyIds>(Shape::mixed, 500, 21000);
}
TEST(HashMap2018RandomWalk, LegacyIdMapGrowingUnderTheWalk) {
   runWalks<LegacyIds>(Shape::growing, 20, 22000);
}

TEST(HashMap2018RandomWalk, SmallIntegerSetChangedUnderTheWalk) {
   runWalks<SmallIntegerSet>(Shape::mixed, 600, 31000);
}
TEST(HashMap2018RandomWalk, SmallIntegerSetEmptiedUnderTheWalk) {
   runWalks<SmallIntegerSet>(Shape::emptied, 250, 33000);
}

TEST(HashMap2018RandomWalk, ObjectMapChangedUnderTheWalk) {
   runWalks<OwnedObjects>(Shape::mixed, 600, 41000);
}
TEST(HashMap2018RandomWalk, ObjectMapGrowingUnderTheWalk) {
   runWalks<OwnedObjects>(Shape::growing, 25, 42000);
}
TEST(HashMap2018RandomWalk, ObjectMapEmptiedUnderTheWalk) {
   runWalks<OwnedObjects>(Shape::emptied, 250, 43000);
}

TEST(HashMap2018RandomCopies, SeededCopiesChangeApart) {
   runCopies<SeededValues>(250, 51000);
}
TEST(HashMap2018RandomCopies, ClusteredCopiesChangeApart) {
   runCopies<ClusteredValues>(200, 52000);
}
TEST(HashMap2018RandomCopies, SmallIntegerSetCopiesChangeApart) {
   runCopies<SmallIntegerSet>(200, 53000);
}
TEST(HashMap2018RandomCopies, ObjectMapCopiesChangeApart) {
   runCopies<OwnedObjects>(200, 54000);
}
