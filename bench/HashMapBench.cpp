// Fen::HashMap2018 beside std::unordered_map and absl::flat_hash_map, on the map
// the system uses most: Ulva::IntfEncap keys to Ulva::IntfEncapHwStatus values.
//
// Benchmarks are named <Operation>/<Implementation>/<size>, with the operations
// Insert, InsertReserved, LookupHit, LookupMiss, Erase, Iterate and Memory, the
// implementations HashMap2018, StdUnorderedMap and AbslFlatHashMap, and sizes of
// 1000, 100000 and 1000000 members. Each reports items_per_second over the map operations it timed;
// Memory also reports bytes_per_member. PtrCopy/ThreadSafeOff/0 and
// PtrCopy/ThreadSafeOn/0 time one copy (and release) of a Fen::Ptr with plain and
// with locked reference counts.
//
// All three maps hash with IntfEncap::hash(seed) under the same seed, so they
// differ in their tables only.
#include <benchmark/benchmark.h>

#include <absl/container/flat_hash_map.h>
#include <absl/container/flat_hash_set.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "Fen/AllocTrack.h"
#include "Fen/HashMap2018.h"
#include "Fen/Ptr.h"
#include "Kestin/IntfId.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"
#include "Ulva/VlanTag.h"

namespace {

using Key = Ulva::IntfEncap;
using Value = Ulva::IntfEncapHwStatus;

struct FenBenchHwStatus {
   static constexpr std::uint32_t salt = 0x5A1F0C3Du;
};
using FenMap = Fen::HashMap2018<FenBenchHwStatus, Key, Value>;

// The rhash of our map, as a hash functor for the other two.
struct IntfEncapHash {
   std::size_t operator()(Key const& k) const noexcept {
      return k.hash(Fen::hashSeed32() ^ FenBenchHwStatus::salt);
   }
};

// ---- keys -----------------------------------------------------------------------

// Interfaces of a large chassis: Ethernet<card>/<port> on 16 cards of 48 ports, and
// 256 port channels.
std::vector<Kestin::IntfId> const& interfaces() {
   static std::vector<Kestin::IntfId> const intfs = [] {
      std::vector<Kestin::IntfId> v;
      for (int card = 3; card <= 18; ++card) {
         for (int port = 1; port <= 48; ++port) {
            v.emplace_back(
                ("Ethernet" + std::to_string(card) + "/" + std::to_string(port)).c_str());
         }
      }
      for (int lag = 1; lag <= 256; ++lag) {
         v.emplace_back(("Port-Channel" + std::to_string(lag)).c_str());
      }
      return v;
   }();
   return intfs;
}

// A random encap: an interface with one tag (two thirds) or two (a third), vids
// from 1 to 4094, the outer tag of a double-tagged encap mostly 802.1ad.
Key randomEncap(std::mt19937_64& rng) {
   auto const& intfs = interfaces();
   std::uniform_int_distribution<std::size_t> pickIntf(0, intfs.size() - 1);
   std::uniform_int_distribution<std::uint32_t> pickVid(1, 4094);
   Kestin::IntfId const intf = intfs[pickIntf(rng)];
   if (rng() % 3 != 0) {
      return Key(intf, Ulva::VlanTagEncap(Ulva::vlanTag(pickVid(rng)), Ulva::VlanTag()));
   }
   Bridging::VlanTpid const outerTpid = rng() % 4 ? Bridging::vlanTpid88a8 : Bridging::vlanTpid8100;
   return Key(intf, Ulva::VlanTagEncap(Ulva::vlanTag(pickVid(rng), outerTpid),
                                       Ulva::vlanTag(pickVid(rng))));
}

// For one size: the members in the order they are inserted, the same members in
// another random order for lookups and erasures, and as many keys that are not
// members. Made once per size and process.
struct KeySet {
   std::vector<Key> members;
   std::vector<Key> shuffled;
   std::vector<Key> misses;
};

KeySet const& keySet(std::size_t n) {
   static std::map<std::size_t, std::unique_ptr<KeySet>> cache;
   auto& slot = cache[n];
   if (!slot) {
      slot = std::make_unique<KeySet>();
      std::mt19937_64 rng(0xC0FFEE ^ n);
      absl::flat_hash_set<Key, IntfEncapHash> seen;
      seen.reserve(2 * n);
      while (slot->members.size() < n) {
         Key const k = randomEncap(rng);
         if (seen.insert(k).second) slot->members.push_back(k);
      }
      while (slot->misses.size() < n) {
         Key const k = randomEncap(rng);
         if (seen.insert(k).second) slot->misses.push_back(k);
      }
      slot->shuffled = slot->members;
      std::shuffle(slot->shuffled.begin(), slot->shuffled.end(), rng);
      std::shuffle(slot->misses.begin(), slot->misses.end(), rng);
   }
   return *slot;
}

Value valueOf(std::size_t i) {
   return static_cast<Value>(i % 3);
}

// ---- counting allocator, for the memory of the other two maps ----------------------

std::int64_t countedBytes = 0;

template <class T>
struct CountingAllocator {
   using value_type = T;
   CountingAllocator() = default;
   template <class U>
   CountingAllocator(CountingAllocator<U> const&) noexcept {}
   T* allocate(std::size_t n) {
      countedBytes += static_cast<std::int64_t>(n * sizeof(T));
      return std::allocator<T>().allocate(n);
   }
   void deallocate(T* p, std::size_t n) {
      countedBytes -= static_cast<std::int64_t>(n * sizeof(T));
      std::allocator<T>().deallocate(p, n);
   }
   template <class U>
   bool operator==(CountingAllocator<U> const&) const {
      return true;
   }
};

// ---- the three implementations behind one interface --------------------------------

struct HashMap2018Impl {
   static constexpr char const* name = "HashMap2018";
   using Map = FenMap;
   using CountedMap = FenMap;  // tracked by its own allocation counters

   static void insert(Map& m, Key const& k, Value v) { m.memberIs(k, v); }
   static void reserve(Map& m, std::size_t n) { m.reserve(n); }
   static Value const* find(Map const& m, Key const& k) {
      FenMap::Node const* n = m[k];
      return n ? &n->value : nullptr;
   }
   static void erase(Map& m, Key const& k) { m.memberDel(k); }
   template <class F>
   static void forEach(Map const& m, F&& f) {
      for (Map::IteratorConst it(m); it; it.advance()) {
         FenMap::Node const& n = *it.currNodeMaybeStale();
         f(n.key, n.value);
      }
   }
   // The bytes of the map's blocks: its own record and the shared header record.
   static std::int64_t liveBytes() {
      return FenMap::typeInfo()->liveBytes() +
             Fen::HashMap2018Detail::bucketHeaderTypeInfo()->liveBytes();
   }
};

// std::unordered_map and absl::flat_hash_map share one interface.
template <template <class, class, class, class, class> class MapTemplate>
struct StdLikeImpl {
   using Map = MapTemplate<Key, Value, IntfEncapHash, std::equal_to<Key>,
                           std::allocator<std::pair<Key const, Value>>>;
   using CountedMap = MapTemplate<Key, Value, IntfEncapHash, std::equal_to<Key>,
                                  CountingAllocator<std::pair<Key const, Value>>>;

   template <class M>
   static void insert(M& m, Key const& k, Value v) {
      m.insert_or_assign(k, v);
   }
   static Value const* find(Map const& m, Key const& k) {
      auto it = m.find(k);
      return it == m.end() ? nullptr : &it->second;
   }
   static void erase(Map& m, Key const& k) { m.erase(k); }
   static void reserve(Map& m, std::size_t n) { m.reserve(n); }
   template <class F>
   static void forEach(Map const& m, F&& f) {
      for (auto const& [k, v] : m)
         f(k, v);
   }
   static std::int64_t liveBytes() { return countedBytes; }
};

struct StdUnorderedMapImpl : StdLikeImpl<std::unordered_map> {
   static constexpr char const* name = "StdUnorderedMap";
};

struct AbslFlatHashMapImpl : StdLikeImpl<absl::flat_hash_map> {
   static constexpr char const* name = "AbslFlatHashMap";
};

template <class Impl, class M>
void fill(M& m, std::vector<Key> const& keys) {
   for (std::size_t i = 0; i < keys.size(); ++i)
      Impl::insert(m, keys[i], valueOf(i));
}

// Operations per timed batch for lookups and erasures: a batch walks on through the
// whole key list from iteration to iteration, so every member is touched.
constexpr std::size_t batch = 1000;

// ---- benchmarks ------------------------------------------------------------------

// Insert: n distinct keys into a map that starts empty, so the time includes every
// growth of the table on the way to n members, alike for all three (none reserves).
// InsertReserved (`reserved`): the same n insertions into a map sized for n
// beforehand, outside the timed part, so the time is the placement of members
// alone, without growth: what Insert costs beyond it is the growth of each table.
// Making (and sizing) and destroying the map are outside the timed part.
template <class Impl>
void insertBench(benchmark::State& state, std::size_t n, bool reserved) {
   auto const& keys = keySet(n).members;
   for (auto _ : state) {
      state.PauseTiming();
      auto m = std::make_unique<typename Impl::Map>();
      if (reserved) Impl::reserve(*m, n);
      state.ResumeTiming();
      fill<Impl>(*m, keys);
      benchmark::DoNotOptimize(m.get());
      state.PauseTiming();
      m.reset();
      state.ResumeTiming();
   }
   state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * n));
}

// LookupHit / LookupMiss: finds in a map of n members, by batches of keys in an
// order unrelated to the order of insertion; a hit reads the value.
template <class Impl>
void lookupBench(benchmark::State& state, std::size_t n, bool hit) {
   KeySet const& ks = keySet(n);
   typename Impl::Map m;
   fill<Impl>(m, ks.members);
   std::vector<Key> const& probes = hit ? ks.shuffled : ks.misses;
   std::size_t cursor = 0;
   std::size_t found = 0;
   unsigned sum = 0;
   for (auto _ : state) {
      for (std::size_t i = 0; i < batch; ++i) {
         if (Value const* v = Impl::find(m, probes[cursor])) {
            ++found;
            sum += *v;
         }
         if (++cursor == probes.size()) cursor = 0;
      }
      benchmark::DoNotOptimize(sum);
   }
   if (found != (hit ? state.iterations() * batch : 0)) state.SkipWithError("wrong lookup result");
   state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * batch));
}

// Erase: removes a batch of members (all of them for the 1000-member map, which
// then drains to empty), and puts them back outside the timed part, so the map
// stays at its size from batch to batch.
template <class Impl>
void eraseBench(benchmark::State& state, std::size_t n) {
   KeySet const& ks = keySet(n);
   typename Impl::Map m;
   fill<Impl>(m, ks.members);
   std::size_t const count = std::min(batch, n);
   std::size_t cursor = 0;
   for (auto _ : state) {
      for (std::size_t i = 0; i < count; ++i)
         Impl::erase(m, ks.shuffled[(cursor + i) % n]);
      state.PauseTiming();
      for (std::size_t i = 0; i < count; ++i) {
         Impl::insert(m, ks.shuffled[(cursor + i) % n], valueOf(i));
      }
      cursor = (cursor + count) % n;
      state.ResumeTiming();
   }
   if (m.size() != n) state.SkipWithError("map lost members");
   state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * count));
}

// Iterate: a walk over all n members reading key and value.
template <class Impl>
void iterateBench(benchmark::State& state, std::size_t n) {
   typename Impl::Map m;
   fill<Impl>(m, keySet(n).members);
   for (auto _ : state) {
      std::uint64_t sum = 0;
      Impl::forEach(m, [&](Key const& k, Value v) { sum += v + k.encap().outerTag().vid(); });
      benchmark::DoNotOptimize(sum);
   }
   state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * n));
}

// Memory: the bytes a map of n members (grown from empty, as in Insert) holds from
// its allocator, per member. Allocator overhead is not counted, for any of the three.
// Its time (building and freeing the map) is not the point; Insert is.
template <class Impl>
void memoryBench(benchmark::State& state, std::size_t n) {
   auto const& keys = keySet(n).members;
   std::int64_t bytes = 0;
   for (auto _ : state) {
      std::int64_t const before = Impl::liveBytes();
      {
         typename Impl::CountedMap m;
         fill<Impl>(m, keys);
         bytes = Impl::liveBytes() - before;
         benchmark::DoNotOptimize(&m);
      }
   }
   state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * n));
   state.counters["bytes_per_member"] = static_cast<double>(bytes) / static_cast<double>(n);
}

// ---- Fen::Ptr copies ------------------------------------------------------------------

class BenchObject : public Fen::PtrInterface {
   FEN_COUNTED_CLASS("Bench::BenchObject")
};

void ptrCopyBench(benchmark::State& state, bool threadSafe) {
   Fen::Ptr<BenchObject> const p = Fen::fenObjectIs<BenchObject>();
   std::uint8_t const saved = Fen::VFPtrInterface::threadSafePointers_;
   Fen::VFPtrInterface::threadSafePointers_ = threadSafe ? 1 : 0;
   for (auto _ : state) {
      Fen::Ptr<BenchObject> copy(p);
      benchmark::DoNotOptimize(copy);
   }
   Fen::VFPtrInterface::threadSafePointers_ = saved;
   state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

// ---- registration ---------------------------------------------------------------------

constexpr std::size_t sizes[] = {1000, 100000, 1000000};

template <class Impl>
void registerImpl() {
   for (std::size_t const n : sizes) {
      std::string const suffix = std::string("/") + Impl::name + "/" + std::to_string(n);
      benchmark::RegisterBenchmark(("Insert" + suffix).c_str(), insertBench<Impl>, n, false);
      benchmark::RegisterBenchmark(("InsertReserved" + suffix).c_str(), insertBench<Impl>, n, true);
      benchmark::RegisterBenchmark(("LookupHit" + suffix).c_str(), lookupBench<Impl>, n, true);
      benchmark::RegisterBenchmark(("LookupMiss" + suffix).c_str(), lookupBench<Impl>, n, false);
      benchmark::RegisterBenchmark(("Erase" + suffix).c_str(), eraseBench<Impl>, n);
      benchmark::RegisterBenchmark(("Iterate" + suffix).c_str(), iterateBench<Impl>, n);
      benchmark::RegisterBenchmark(("Memory" + suffix).c_str(), memoryBench<Impl>, n);
   }
}

}  // namespace

int main(int argc, char** argv) {
   registerImpl<HashMap2018Impl>();
   registerImpl<StdUnorderedMapImpl>();
   registerImpl<AbslFlatHashMapImpl>();
   benchmark::RegisterBenchmark("PtrCopy/ThreadSafeOff/0", ptrCopyBench, false);
   benchmark::RegisterBenchmark("PtrCopy/ThreadSafeOn/0", ptrCopyBench, true);
   benchmark::Initialize(&argc, argv);
   if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
   benchmark::RunSpecifiedBenchmarks();
   benchmark::Shutdown();
   return 0;
}
