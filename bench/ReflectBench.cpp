// Reading through reflection beside the direct accessor, on a live machine.
//
// Benchmarks are named <Operation>/<Implementation>/<encaps>, each reporting
// items_per_second over the reads it made:
//   MemberRead/Reflection/<n>  one member of intfEncapSvcIntfCached, keyed by its
//                              Ulva::IntfEncap, read with op 0 of
//                              Fen::genericIfAttributeOp (the attribute looked up
//                              by name once, outside the loop)
//   MemberRead/Direct/<n>      the same member through sm->intfEncapSvcIntfCached(key)
// Both walk the same pre-shuffled keys of a machine with n encaps, so that they
// make the same lookups in the same order.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "Fen/GenericIf.h"
#include "EncapSwitch.h"
#include "MachineBench.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace {

using MachineBench::add;

// A machine on the simulated platform with `n` wanted encaps, all programmed,
// and its keys in a fixed shuffled order.
struct Switch : EncapSwitch::Switch {
   std::vector<Ulva::IntfEncap> keys;

   explicit Switch(std::size_t n) : EncapSwitch::Switch(n) {
      start();
      for (std::size_t i = 0; i < n; ++i)
         keys.push_back(EncapSwitch::encapOf(i));
      std::shuffle(keys.begin(), keys.end(), std::mt19937(0x5EED));
   }
};

// The attribute read, looked up by name once.
Fen::FenAttr cachedAttr() {
   Fen::TypeView const type = Fen::fenType("WexVlanMapping::WexIntfEncapSm");
   Fen::FenAttr const attr = Fen::fenAttr(type, "intfEncapSvcIntfCached");
   if (!attr) {
      std::fprintf(stderr, "no attribute WexIntfEncapSm.intfEncapSvcIntfCached\n");
      std::abort();
   }
   return attr;
}

void readReflection(benchmark::State& state, std::size_t n) {
   Switch sw(n);
   Fen::FenAttr const attr = cachedAttr();
   Fen::PtrInterface& object = *sw.sm;
   Kestin::IntfId out;
   std::size_t i = 0;
   for (auto _ : state) {
      int const code =
          Fen::genericIfAttributeOp(&out, object, attr, Fen::GenericIf::attrGet, &sw.keys[i]);
      benchmark::DoNotOptimize(code);
      benchmark::DoNotOptimize(out);
      if (++i == sw.keys.size()) i = 0;
   }
   if (out == Kestin::IntfId()) state.SkipWithError("the member read through reflection is empty");
   state.SetItemsProcessed(state.iterations());
}

void readDirect(benchmark::State& state, std::size_t n) {
   Switch sw(n);
   WexVlanMapping::WexIntfEncapSm const& sm = *sw.sm;
   Kestin::IntfId out;
   std::size_t i = 0;
   for (auto _ : state) {
      out = sm.intfEncapSvcIntfCached(sw.keys[i]);
      benchmark::DoNotOptimize(out);
      if (++i == sw.keys.size()) i = 0;
   }
   if (out == Kestin::IntfId()) state.SkipWithError("the member read directly is empty");
   state.SetItemsProcessed(state.iterations());
}

void registerAll() {
   for (std::size_t n : {1000, 100000}) {
      add("MemberRead", "Reflection", n, readReflection);
      add("MemberRead", "Direct", n, readDirect);
   }
}

}  // namespace

int main(int argc, char** argv) {
   return MachineBench::run(argc, argv, registerAll);
}
