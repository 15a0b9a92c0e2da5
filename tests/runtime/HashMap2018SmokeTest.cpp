#include <gtest/gtest.h>

#include <map>
#include <random>

#include "Fen/HashMap2018.h"
#include "Ulva/IntfEncap.h"

namespace {
struct FenSmoke {
   static constexpr std::uint32_t salt = 0x12345678;
};
using Map = Fen::HashMap2018<FenSmoke, Ulva::IntfEncap, int>;

Ulva::IntfEncap encapOf(int i) {
   return Ulva::IntfEncap(Kestin::IntfId(("Ethernet" + std::to_string(i % 64 + 1) + "/" +
                                          std::to_string(i / 64 + 1))
                                             .c_str()),
                          Ulva::VlanTagEncap(Ulva::vlanTag(i % 4000), Ulva::VlanTag()));
}
}  // namespace

TEST(HashMap2018Smoke, InsertLookupEraseAgainstStdMap) {
   Map m;
   std::map<Ulva::IntfEncap, int> ref;
   std::mt19937 rng(7);
   for (int step = 0; step < 200000; ++step) {
      int const i = static_cast<int>(rng() % 20000);
      auto const k = encapOf(i);
      if (rng() % 3) {
         m.memberIs(k, step);
         ref[k] = step;
      } else {
         EXPECT_EQ(m.memberDel(k), ref.count(k) ? ref[k] : 0);
         ref.erase(k);
      }
   }
   ASSERT_EQ(m.size(), ref.size());
   for (auto const& [k, v] : ref) EXPECT_EQ(m.member(k), v);
   std::size_t n = 0;
   for (Map::IteratorConst it(m); it; it.advance()) {
      ++n;
      EXPECT_EQ(ref.at(it.key()), it.currNodeNonStale()->value);
   }
   EXPECT_EQ(n, ref.size());
}
