// Walks over a Fen::HashMap2018 by key (forEachKey, forEachKeyAhead) and the
// prefetch hint they use: every key once in the map's order, walks that change
// the map under them, and the look-ahead calls of a large walk.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Fen/HashMap2018.h"

namespace {

struct FenWalked {
   static constexpr std::uint32_t salt = 0x5A17E0C3;
};
using WalkedMap = Fen::HashMap2018<FenWalked, std::uint64_t, int>;

WalkedMap mapOf(std::size_t n) {
   WalkedMap m;
   for (std::size_t i = 0; i < n; ++i)
      m.memberIs(i * 7919 + 3, static_cast<int>(i));
   return m;
}

// The keys of `m` in the order of a plain iterator walk.
std::vector<std::uint64_t> walkOrder(WalkedMap const& m) {
   std::vector<std::uint64_t> keys;
   for (WalkedMap::IteratorConst it(m); it; it.advance())
      keys.push_back(it.key());
   return keys;
}

TEST(HashMap2018Walk, ForEachKeyVisitsEveryKeyOnceInTheMapsOrder) {
   WalkedMap const m = mapOf(500);
   std::vector<std::uint64_t> seen;
   Fen::forEachKey(m, [&](std::uint64_t k) { seen.push_back(k); });
   EXPECT_EQ(seen, walkOrder(m));
   EXPECT_EQ(seen.size(), 500u);
}

TEST(HashMap2018Walk, ForEachKeyOfAnEmptyMapCallsNothing) {
   WalkedMap const m;
   int calls = 0;
   Fen::forEachKey(m, [&](std::uint64_t) { ++calls; });
   Fen::forEachKeyAhead(
       m, [&](std::uint64_t) { ++calls; }, [&](std::uint64_t) { ++calls; });
   EXPECT_EQ(calls, 0);
}

TEST(HashMap2018Walk, ForEachKeyDeletingTheKeyUnderItSeesEveryKeyOnce) {
   WalkedMap m = mapOf(300);
   std::vector<std::uint64_t> const expected = walkOrder(m);
   std::vector<std::uint64_t> seen;
   Fen::forEachKey(m, [&](std::uint64_t k) {
      seen.push_back(k);
      EXPECT_EQ(m.memberDel(k), static_cast<int>((k - 3) / 7919));
   });
   EXPECT_EQ(seen, expected);
   EXPECT_TRUE(m.empty());
}

// What a walk called, in order: ('a', key) for ahead, ('f', key) for fn.
using Calls = std::vector<std::pair<char, std::uint64_t>>;

Calls walkAheadCalls(WalkedMap& m) {
   Calls calls;
   Fen::forEachKeyAhead(
       m, [&](std::uint64_t k) { calls.emplace_back('a', k); },
       [&](std::uint64_t k) { calls.emplace_back('f', k); });
   return calls;
}

TEST(HashMap2018Walk, SmallMapIsWalkedWithoutLookingAhead) {
   WalkedMap m = mapOf(Fen::walkAheadMinSize - 1);
   Calls const calls = walkAheadCalls(m);
   Calls expected;
   for (std::uint64_t k : walkOrder(m))
      expected.emplace_back('f', k);
   EXPECT_EQ(calls, expected);
}

TEST(HashMap2018Walk, LargeMapLooksAtEachKeyWalkAheadKeysBeforeItsVisit) {
   WalkedMap m = mapOf(Fen::walkAheadMinSize);
   std::vector<std::uint64_t> const order = walkOrder(m);
   std::size_t const n = order.size();
   ASSERT_GT(n, Fen::walkAhead);
   // ahead for the first walkAhead keys, then, per key, ahead for the key
   // walkAhead further on (none in the last stretch) and the visit.
   Calls expected;
   for (std::size_t i = 0; i < Fen::walkAhead; ++i)
      expected.emplace_back('a', order[i]);
   for (std::size_t i = 0; i < n; ++i) {
      if (i + Fen::walkAhead < n) expected.emplace_back('a', order[i + Fen::walkAhead]);
      expected.emplace_back('f', order[i]);
   }
   Calls const calls = walkAheadCalls(m);
   ASSERT_EQ(calls.size(), expected.size());
   EXPECT_EQ(calls, expected);
}

TEST(HashMap2018Walk, LargeWalkThatDeletesKeysAheadNeverVisitsThem) {
   WalkedMap m = mapOf(Fen::walkAheadMinSize + 100);
   std::vector<std::uint64_t> const order = walkOrder(m);
   std::map<std::uint64_t, std::size_t> position;
   for (std::size_t i = 0; i < order.size(); ++i)
      position[order[i]] = i;
   // Each visit deletes the key three places further on in the original order,
   // among them keys the look-ahead has already seen.
   std::set<std::uint64_t> deleted;
   std::vector<std::uint64_t> visited;
   std::size_t aheadCalls = 0;
   Fen::forEachKeyAhead(
       m, [&](std::uint64_t) { ++aheadCalls; },
       [&](std::uint64_t k) {
          EXPECT_EQ(deleted.count(k), 0u) << "visited a deleted key " << k;
          visited.push_back(k);
          std::size_t const i = position.at(k);
          if (i + 3 < order.size() && m.has(order[i + 3])) {
             m.memberDel(order[i + 3]);
             deleted.insert(order[i + 3]);
          }
       });
   std::vector<std::uint64_t> expected;
   for (std::uint64_t k : order)
      if (!deleted.count(k)) expected.push_back(k);
   EXPECT_EQ(visited, expected);
   EXPECT_FALSE(deleted.empty());
   EXPECT_GE(aheadCalls, visited.size());
}

TEST(HashMap2018Walk, LargeWalkThatInsertsVisitsEveryOriginalKeyOnce) {
   WalkedMap m = mapOf(Fen::walkAheadMinSize);
   std::vector<std::uint64_t> const order = walkOrder(m);
   std::set<std::uint64_t> const original(order.begin(), order.end());
   std::multiset<std::uint64_t> visited;
   std::uint64_t next = 1;
   Fen::forEachKeyAhead(
       m, [](std::uint64_t) {},
       [&](std::uint64_t k) {
          visited.insert(k);
          // New keys, far above the originals.
          m.memberIs((std::uint64_t{1} << 40) + next, -1);
          ++next;
       });
   for (std::uint64_t k : original)
      EXPECT_EQ(visited.count(k), 1u) << k;
}

TEST(HashMap2018Walk, PrefetchChangesNothing) {
   WalkedMap empty;
   empty.prefetch(42);
   EXPECT_TRUE(empty.empty());
   EXPECT_EQ(empty.capacity(), 0u);

   WalkedMap m = mapOf(1000);
   WalkedMap const copy = m;
   std::vector<std::uint64_t> const before = walkOrder(m);
   WalkedMap::IteratorConst it(m);
   it.advance();
   std::uint64_t const under = it.key();
   m.prefetch(before[10]);
   m.prefetch(4);  // absent
   EXPECT_TRUE(m.sharesStorageWith(copy));
   EXPECT_EQ(walkOrder(m), before);
   EXPECT_EQ(m.size(), 1000u);
   EXPECT_EQ(m.member(before[10]), copy.member(before[10]));
   it.advance();
   EXPECT_EQ(it.key(), before[2]);
   EXPECT_EQ(under, before[1]);
}

}  // namespace
