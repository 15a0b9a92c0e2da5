// What the state machine benchmarks share: registration under
// "<operation>/<implementation>/<n>", the unit of cost (one insert into a keyed
// map that grows to n members), the live bytes of the counted objects and maps,
// and main().
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Fen/AllocTrack.h"
#include "Fen/HashMap2018.h"

namespace BenchSupport {

// Registers `fn(state, n)` under "<operation>/<implementation>/<n>".
template <class Fn>
benchmark::internal::Benchmark* add(char const* operation, char const* implementation,
                                    std::size_t n, Fn fn) {
   std::string const name = std::string(operation) + "/" + implementation + "/" + std::to_string(n);
   return benchmark::RegisterBenchmark(name.c_str(),
                                       [fn, n](benchmark::State& state) { fn(state, n); });
}

// The bytes held by every counted object and keyed map now.
inline std::int64_t liveBytes() {
   std::int64_t total = 0;
   for (auto const* info : Fen::AllocTrackTypeInfo::all())
      total += info->liveBytes();
   return total;
}

struct FenBenchUnit {
   static constexpr std::uint32_t salt = 0x3C6EF372;
};
// The unit of cost: `keys` inserted into a keyed map that grows to hold them all.
template <class Key, class Value>
void hashInsert(benchmark::State& state, std::vector<Key> const& keys, Value const& value) {
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

// main() of a benchmark program that registers its benchmarks with `registerAll`.
inline int run(int argc, char** argv, void (*registerAll)()) {
   registerAll();
   benchmark::Initialize(&argc, argv);
   if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
   benchmark::RunSpecifiedBenchmarks();
   benchmark::Shutdown();
   return 0;
}

}  // namespace BenchSupport
