// What the state-machine benchmarks share: registration under
// "<Operation>/<Implementation>/<size>", the live bytes of the allocation
// counters, and the unit of cost, Insert/HashMap2018/<n>: keys inserted into a
// keyed map that grows from empty to `n` members, so that an event reads as a
// multiple of one hash insert at the same size.
#pragma once

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Fen/AllocTrack.h"
#include "Fen/HashMap2018.h"

namespace MachineBench {

// Registers `fn(state, n)` under "<operation>/<implementation>/<n>".
template <class Fn>
benchmark::internal::Benchmark* add(char const* operation, char const* implementation,
                                    std::size_t n, Fn fn) {
   std::string const name = std::string(operation) + "/" + implementation + "/" + std::to_string(n);
   return benchmark::RegisterBenchmark(name.c_str(),
                                       [fn, n](benchmark::State& state) { fn(state, n); });
}

// The bytes live now in every counted class and keyed map type.
inline std::int64_t liveBytes() {
   std::int64_t total = 0;
   for (auto const* info : Fen::AllocTrackTypeInfo::all())
      total += info->liveBytes();
   return total;
}

// The tag of the unit's map.
struct FenBenchUnit {
   static constexpr std::uint32_t salt = 0x3C6EF372;
};

// The unit of cost: `keys` inserted, one each, into a map that starts empty (the
// time includes every growth of its table); emptying the map is not timed. One
// item per key.
template <class Key, class Value>
void hashInsert(benchmark::State& state, std::vector<Key> const& keys, Value value) {
   for (auto _ : state) {
      Fen::HashMap2018<FenBenchUnit, Key, Value> map;
      for (auto const& k : keys)
         map.memberIs(k, value);
      benchmark::DoNotOptimize(map.size());
      state.PauseTiming();
      map.memberDelAll();
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(keys.size()));
}

// main() of a benchmark program that registers its benchmarks with
// `registerAll`. The allocator keeps what is freed and serves large blocks from
// its heap (fixed thresholds): otherwise whether a map's growth pays the kernel's
// page faults anew in each iteration depends on which benchmarks ran before, and
// the unit of cost moved fourfold between runs that differed only in their filter.
inline int run(int argc, char** argv, void (*registerAll)()) {
   mallopt(M_MMAP_THRESHOLD, 32 << 20);
   mallopt(M_TRIM_THRESHOLD, 1 << 30);
   registerAll();
   benchmark::Initialize(&argc, argv);
   if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
   benchmark::RunSpecifiedBenchmarks();
   benchmark::Shutdown();
   return 0;
}

}  // namespace MachineBench
