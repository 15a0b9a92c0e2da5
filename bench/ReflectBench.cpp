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
#include "MachineBench.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace {

using MachineBench::add;

// The interfaces of a large chassis: Ethernet<card>/<port>, 48 ports per card.
Kestin::IntfId port(std::size_t i) {
   return Kestin::IntfId(
       ("Ethernet" + std::to_string(i / 48 + 1) + "/" + std::to_string(i % 48 + 1)).c_str());
}

// The i-th encap: 100 VLANs per port, a third of them double-tagged.
Ulva::IntfEncap encapOf(std::size_t i) {
   std::uint32_t const vid = static_cast<std::uint32_t>(i % 100) + 2;
   Ulva::VlanTag inner;
   if (i % 3 == 0) inner = Ulva::vlanTag(static_cast<std::uint32_t>((i / 100) % 4000) + 1);
   return Ulva::IntfEncap(port(i / 100), Ulva::VlanTagEncap(Ulva::vlanTag(vid), inner));
}
Kestin::IntfId serviceOf(std::size_t i) {
   return Kestin::IntfId(("Vlan" + std::to_string(i % 100 + 2)).c_str());
}

// A machine on the simulated platform with `n` wanted encaps, all programmed,
// and its keys in a fixed shuffled order.
struct Switch {
   Fen::Ptr<Wex::WexCommonSmData> wcsd = Wex::wexCommonSmDataFactory();
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> fwd = Ulva::serviceIntfFwdInfoCollFactory();
   Fen::Ptr<Ulva::ServiceIntfHwStatusColl> svcStatus = Ulva::serviceIntfHwStatusCollFactory();
   Fen::Ptr<Ulva::IntfEncapServiceIntfColl> wanted = Ulva::intfEncapServiceIntfCollFactory();
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> published =
       Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus");
   Fen::Ptr<WexVlanMapping::WexDynamicIntfEncapColl> dynamic =
       WexVlanMapping::wexDynamicIntfEncapCollFactory();
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hw = Ulva::intfEncapHwStatusCollFactory("testHw");
   Fen::Ptr<WexVlanMappingTest::IntfEncapSm> sm;
   std::vector<Ulva::IntfEncap> keys;

   explicit Switch(std::size_t n) {
      for (std::size_t s = 0; s < 100; ++s) {
         Ulva::ServiceIntfFwdInfo info(serviceOf(s));
         info.fwdDataIs(static_cast<std::uint16_t>(s + 1));
         fwd->fwdInfoIs(info);
      }
      for (std::size_t i = 0; i < n; ++i) {
         Ulva::IntfEncap const e = encapOf(i);
         hw->hwStatusIs(e, Ulva::hwStatusSuccess);
         wanted->serviceIntfIs(e, serviceOf(i));
         keys.push_back(e);
      }
      sm = WexVlanMappingTest::intfEncapSmFactory({.wcsd = wcsd,
                                                   .serviceIntfFwdInfo = fwd,
                                                   .serviceIntfHwStatus = svcStatus,
                                                   .intfEncapServiceIntf = wanted,
                                                   .intfEncapHwStatus = published,
                                                   .dynamicIntfEncap = dynamic,
                                                   .testHwStatusColl = hw});
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
