// The floor of the interface encap state machine's sweep: the least map work that
// one sweep over `n` wanted encaps must do, without the machine.
//
// Benchmarks are named SweepFloor/<Implementation>/<encaps> and are set beside
// Sweep/WexIntfEncapSm/<encaps> (WexIntfEncapSmBench): the same encaps, the same
// time unit (ms per sweep) and items_per_second over the encaps; bytes_per_encap
// is the slots of the floor's tables, full, per encap: the memory floor beside
// the sweep's own bytes_per_encap.
//
// Per encap, in the order the sweep takes them (a walk of the wanted encaps), the
// floor reads the wanted input once and writes each thing the sweep must leave
// behind once, into a table of the key and value types the machine keeps it in:
//   lookup  the wanted service interface     IntfEncap -> Kestin::IntfId
//   insert  the programmed config            IntfEncap -> WexIntfEncapHwConfig
//                                            (the record holds its key)
//           the hardware's status            IntfEncap -> IntfEncapHwStatus
//           the published status             IntfEncap -> IntfEncapHwStatus
//           the service decoder's member     IntfEncap -> IntfEncapHwStatus
//           the service interface cache      IntfEncap -> Kestin::IntfId
//           the port's wanted encaps         IntfEncap (set)
//           the simulated hardware's configs IntfEncap (set)
// The machine keeps the config a second time (the port's config list) and the
// service interface a second time (the published one), and spreads the decoder's
// members and the wanted encaps over one table per service and per port; the
// floor keeps each once, in one table of all the encaps. A successful answer
// leaves the retry set empty: nothing is written there.
//
// SweepFloor/HashMap2018 uses the machine's own map types (same tags, so the same
// salts, key forms and nodes); SweepFloor/AbslFlatHashMap uses absl::flat_hash_map
// and absl::flat_hash_set hashing the key with IntfEncap::hash under the same seed
// and salt. The configs, statuses and keys are made before the timed loop; each
// sweep starts from empty tables, emptied untimed, as the machine's do, and
// sizes every table for all n encaps before it fills them (a floor knows its
// count; the machine sizes the tables it can from its inputs).
//
// SweepKeptFloor/HashMap2018/<encaps> is the floor of what the machine keeps:
// the same map work with the tables split per interface and per service
// interface as the machine keeps them, plus the second copy of each config (the
// interface's list of wanted configs) and the published service interface.
#include <benchmark/benchmark.h>

#include <absl/container/flat_hash_map.h>
#include <absl/container/flat_hash_set.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Fen/Hash.h"
#include "Fen/HashMap2018.h"
#include "EncapSwitch.h"
#include "MachineBench.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace {

using MachineBench::add;
using WexVlanMapping::WexIntfEncapHwConfig;

using EncapSwitch::encapOf;
using EncapSwitch::serviceOf;

// The machine's tables of one encap.
using WantedMap = Ulva::IntfEncapServiceIntfColl::ServiceIntfMap;
using ConfigMap = WexVlanMapping::WexIntfEncapHwConfigColl::ConfigMap;
using StatusMap = Ulva::IntfEncapHwStatusColl::HwStatusMap;
using DecoderMap = WexVlanMapping::WexEncapHwStatusDecoder::HwStatusMap;
using SvcCacheMap = WexVlanMapping::WexIntfEncapSm::IntfEncapSvcIntfCachedMap;
using WantedEncapSet = WexVlanMapping::WexPortWantedEncapList::EncapSet;
using HwConfigKeySet = WexVlanMappingTest::IntfEncapSm::TestHwConfigKeySet;

// What one sweep starts from: the wanted input, the keys in the order a walk of
// it gives, and the config each encap gets.
struct Inputs {
   WantedMap wanted;
   std::vector<Ulva::IntfEncap> order;
   std::vector<WexIntfEncapHwConfig> configs;  // in `order`

   explicit Inputs(std::size_t n) {
      Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> const fwd = Ulva::serviceIntfFwdInfoCollFactory();
      EncapSwitch::forwardingIs(*fwd);
      for (std::size_t i = 0; i < n; ++i)
         wanted.memberIs(encapOf(i), serviceOf(i));
      order.reserve(n);
      configs.reserve(n);
      // A plain encap's config, derived as the machine derives it.
      Fen::forEachKey(wanted, [&](Ulva::IntfEncap const& e) {
         WexIntfEncapHwConfig config(e, fwd->fwdInfo(wanted.member(e)), Kestin::IntfId());
         config.egressEncapIs(e.encap());
         config.sourceIs(WexVlanMapping::staticEncap);
         order.push_back(e);
         configs.push_back(config);
      });
   }
};

// The floor knows how many encaps it will hold: each table is sized for all of
// them before the walk (timed, as the machine's sizing is), so that no growth
// is part of the floor.
template <class... Tables>
void reserveAll(std::size_t n, Tables&... tables) {
   (tables.reserve(n), ...);
}

// The bytes of a table's slots: the memory floor of what it holds. The block
// header of a HashMap2018 and absl's cloned control bytes are left out.
template <class Table>
std::size_t slotBytes(Table const& t) {
   if constexpr (requires { t.tables; }) {
      // A table per id (PerId below): its directory and all its tables.
      std::size_t bytes = slotBytes(t.directory);
      for (auto const& one : t.tables)
         bytes += slotBytes(one);
      return bytes;
   } else if constexpr (requires { t.slotCount(); }) {
      return t.slotCount() * t.slotSize();
   } else {
      return t.capacity() * (sizeof(typename Table::slot_type) + 1);
   }
}

// Reports bytes_per_encap: the bytes of all the floor's tables, full, per encap.
template <class... Tables>
void reportBytes(benchmark::State& state, std::size_t n, Tables const&... tables) {
   state.counters["bytes_per_encap"] =
       static_cast<double>((slotBytes(tables) + ...)) / static_cast<double>(n);
}

void floorHashMap2018(benchmark::State& state, std::size_t n) {
   Inputs const in(n);
   ConfigMap configs;
   StatusMap hwStatus;
   StatusMap published;
   DecoderMap decoder;
   SvcCacheMap svcCache;
   WantedEncapSet wantedEncaps;
   HwConfigKeySet hwConfigKeys;
   Ulva::IntfEncapHwStatus const success = Ulva::hwStatusSuccess;
   for (auto _ : state) {
      reserveAll(n, configs, hwStatus, published, decoder, svcCache, wantedEncaps, hwConfigKeys);
      for (std::size_t i = 0; i < n; ++i) {
         Ulva::IntfEncap const& e = in.order[i];
         Kestin::IntfId const svc = in.wanted.member(e);
         wantedEncaps.memberIs(e);
         svcCache.memberIs(e, svc);
         decoder.memberIs(e, success);
         configs.memberIs(e, in.configs[i]);
         hwConfigKeys.memberIs(e);
         hwStatus.memberIs(e, success);
         published.memberIs(e, success);
      }
      benchmark::DoNotOptimize(published.size());
      state.PauseTiming();
      if (configs.size() != n || published.size() != n) state.SkipWithError("tables not full");
      reportBytes(state, n, configs, hwStatus, published, decoder, svcCache, wantedEncaps,
                  hwConfigKeys);
      configs.memberDelAll();
      hwStatus.memberDelAll();
      published.memberDelAll();
      decoder.memberDelAll();
      svcCache.memberDelAll();
      wantedEncaps.memberDelAll();
      hwConfigKeys.memberDelAll();
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

// The tables the machine keeps beyond the floor: the interface's list of wanted
// configs (the second copy of each config), the service interface under which
// each encap's status is published, and the small directories through which it
// finds the table of an interface or a service interface.
using ConfigListMap = WexVlanMapping::WexPortEncapHwConfigList::HwConfigMap;
using PublishedSvcMap = WexVlanMapping::WexIntfEncapSm::IntfEncapPublishedSvcIntfMap;
using DirectoryMap = Fen::HashMap2018<Fen::MapTag<0x6D2B79F5>, Kestin::IntfId, std::uint32_t>;

// A table per interface or per service interface, found by id through a
// directory, each sized for its share of the encaps as the machine's sweep
// sizes them.
template <class Table>
struct PerId {
   DirectoryMap directory;
   std::vector<Table> tables;
   std::vector<std::size_t> counts;

   // A table per distinct id of `ids`, for as many members as the id occurs.
   explicit PerId(std::vector<Kestin::IntfId> const& ids) {
      for (Kestin::IntfId const id : ids) {
         if (DirectoryMap::Node const* n = directory[id]) {
            ++counts[n->value];
         } else {
            directory.memberIs(id, static_cast<std::uint32_t>(counts.size()));
            counts.push_back(1);
         }
      }
      tables.resize(counts.size());
   }
   void reserve() {
      for (std::size_t t = 0; t < tables.size(); ++t)
         tables[t].reserve(counts[t]);
   }
   Table& of(Kestin::IntfId id) { return tables[directory[id]->value]; }
   void emptied() {
      for (Table& t : tables)
         t.memberDelAll();
   }
};

// The floor of what the machine keeps: the floor's map work, with the decoder's
// members and the wanted encaps split per service interface and per interface
// as the machine keeps them, plus the tables the machine keeps beyond the floor
// (a second copy of each config in its interface's list, the published service
// interface). 1 lookup of the wanted input, 3 lookups in directories and 9
// inserts per encap. Nothing of the machine runs: no reactor, no notification,
// no derivation, no rollup, no hook; the configs are made beforehand.
void keptFloorHashMap2018(benchmark::State& state, std::size_t n) {
   Inputs const in(n);
   std::vector<Kestin::IntfId> ports;
   std::vector<Kestin::IntfId> services;
   for (Ulva::IntfEncap const& e : in.order) {
      ports.push_back(e.intfId());
      services.push_back(in.wanted.member(e));
   }
   ConfigMap configs;
   StatusMap hwStatus;
   StatusMap published;
   SvcCacheMap svcCache;
   PublishedSvcMap publishedSvc;
   HwConfigKeySet hwConfigKeys;
   PerId<DecoderMap> decoders(services);
   PerId<WantedEncapSet> wantedEncaps(ports);
   PerId<ConfigListMap> configLists(ports);
   Ulva::IntfEncapHwStatus const success = Ulva::hwStatusSuccess;
   for (auto _ : state) {
      reserveAll(n, configs, hwStatus, published, svcCache, publishedSvc, hwConfigKeys);
      decoders.reserve();
      wantedEncaps.reserve();
      configLists.reserve();
      for (std::size_t i = 0; i < n; ++i) {
         Ulva::IntfEncap const& e = in.order[i];
         Kestin::IntfId const svc = in.wanted.member(e);
         wantedEncaps.of(e.intfId()).memberIs(e);
         svcCache.memberIs(e, svc);
         decoders.of(svc).memberIs(e, success);
         configLists.of(e.intfId()).memberIs(in.configs[i]);
         configs.memberIs(e, in.configs[i]);
         hwConfigKeys.memberIs(e);
         hwStatus.memberIs(e, success);
         published.memberIs(e, success);
         publishedSvc.memberIs(e, svc);
      }
      benchmark::DoNotOptimize(published.size());
      state.PauseTiming();
      if (configs.size() != n || publishedSvc.size() != n) state.SkipWithError("tables not full");
      reportBytes(state, n, configs, hwStatus, published, svcCache, publishedSvc, hwConfigKeys,
                  decoders, wantedEncaps, configLists);
      configs.memberDelAll();
      hwStatus.memberDelAll();
      published.memberDelAll();
      svcCache.memberDelAll();
      publishedSvc.memberDelAll();
      hwConfigKeys.memberDelAll();
      decoders.emptied();
      wantedEncaps.emptied();
      configLists.emptied();
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

// IntfEncap::hash under the process seed and a table's salt, as HashMap2018 does.
template <std::uint32_t salt>
struct EncapHash {
   std::size_t operator()(Ulva::IntfEncap const& k) const noexcept {
      return k.hash(Fen::hashSeed32() ^ salt);
   }
};
template <class Map, class Value>
using AbslMap = absl::flat_hash_map<Ulva::IntfEncap, Value, EncapHash<Map::salt>>;
template <class Set>
using AbslSet = absl::flat_hash_set<Ulva::IntfEncap, EncapHash<Set::salt>>;

// Empties `t` and gives its storage back, as memberDelAll does.
template <class Table>
void emptied(Table& t) {
   Table().swap(t);
}

void floorAbsl(benchmark::State& state, std::size_t n) {
   Inputs const in(n);
   AbslMap<WantedMap, Kestin::IntfId> wanted;
   wanted.reserve(n);
   for (std::size_t i = 0; i < n; ++i)
      wanted.emplace(encapOf(i), serviceOf(i));
   AbslMap<ConfigMap, WexIntfEncapHwConfig> configs;
   AbslMap<StatusMap, Ulva::IntfEncapHwStatus> hwStatus;
   AbslMap<StatusMap, Ulva::IntfEncapHwStatus> published;
   AbslMap<DecoderMap, Ulva::IntfEncapHwStatus> decoder;
   AbslMap<SvcCacheMap, Kestin::IntfId> svcCache;
   AbslSet<WantedEncapSet> wantedEncaps;
   AbslSet<HwConfigKeySet> hwConfigKeys;
   Ulva::IntfEncapHwStatus const success = Ulva::hwStatusSuccess;
   for (auto _ : state) {
      reserveAll(n, configs, hwStatus, published, decoder, svcCache, wantedEncaps, hwConfigKeys);
      for (std::size_t i = 0; i < n; ++i) {
         Ulva::IntfEncap const& e = in.order[i];
         auto const found = wanted.find(e);
         Kestin::IntfId const svc = found != wanted.end() ? found->second : Kestin::IntfId();
         wantedEncaps.insert(e);
         svcCache.insert_or_assign(e, svc);
         decoder.insert_or_assign(e, success);
         configs.insert_or_assign(e, in.configs[i]);
         hwConfigKeys.insert(e);
         hwStatus.insert_or_assign(e, success);
         published.insert_or_assign(e, success);
      }
      benchmark::DoNotOptimize(published.size());
      state.PauseTiming();
      if (configs.size() != n || published.size() != n) state.SkipWithError("tables not full");
      reportBytes(state, n, configs, hwStatus, published, decoder, svcCache, wantedEncaps,
                  hwConfigKeys);
      emptied(configs);
      emptied(hwStatus);
      emptied(published);
      emptied(decoder);
      emptied(svcCache);
      emptied(wantedEncaps);
      emptied(hwConfigKeys);
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

void registerAll() {
   for (std::size_t n : {1000, 100000, 500000}) {
      add("SweepFloor", "HashMap2018", n, floorHashMap2018)->Unit(benchmark::kMillisecond);
      add("SweepFloor", "AbslFlatHashMap", n, floorAbsl)->Unit(benchmark::kMillisecond);
      add("SweepKeptFloor", "HashMap2018", n, keptFloorHashMap2018)->Unit(benchmark::kMillisecond);
   }
}

}  // namespace

int main(int argc, char** argv) {
   return MachineBench::run(argc, argv, registerAll);
}
