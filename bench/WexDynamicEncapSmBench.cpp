// The dynamic encaps of the MACsec proxy, at scale.
//
// Benchmarks are named <Operation>/WexDynamicEncapSm/<proxies>, each reporting
// items_per_second over the proxies it handled:
//   Sweep             a machine built on a status with every proxy (the
//                     constructor's sweep writes both entries of each); also
//                     bytes_per_proxy from the allocation counters
//   ProxyAdd          one complete proxy status published (one write), both
//                     entries written
//   ProxyChange       a published proxy status replaced by one with other VLAN
//                     ids: both entries withdrawn and written anew
//   ProxyRemove       a proxy status removed, both entries withdrawn
//   ProxyAddEndToEnd  ProxyAdd with the encap state machine on the simulated
//                     platform listening: both encaps programmed and published
// and ProxyAdd/Floor/<proxies>, the same reads and writes without the machine.
// Insert/HashMap2018/<n> is the unit: one insert into a keyed map of the same
// size, so that an event reads as a multiple of one hash insert.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "MachineBench.h"
#include "WexVlanMapping/WexDynamicEncapSm.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace {

using MachineBench::add;
using MacsecProxy::macsecProxySubIntfStatusFactory;

// 50 proxies per parent port: proxy VLANs 1 to 50, patch VLANs 1001 to 1050 (or
// 2001 to 2050 and 3001 to 3050 in their changed form).
constexpr std::size_t proxiesPerPort = 50;

Kestin::IntfId parentOf(std::size_t i) {
   std::size_t const p = i / proxiesPerPort;
   return Kestin::IntfId(
       ("Ethernet" + std::to_string(p / 48 + 1) + "/" + std::to_string(p % 48 + 1)).c_str());
}
Kestin::IntfId subIntf(std::size_t i, std::size_t offset) {
   return Kestin::IntfId((parentOf(i).stringValue().stdString() + "." +
                          std::to_string(i % proxiesPerPort + 1 + offset))
                             .c_str());
}
Kestin::IntfId proxyOf(std::size_t i) {
   return subIntf(i, 0);
}
Kestin::IntfId patchOf(std::size_t i) {
   return subIntf(i, 1000);
}
// The status of proxy i; `changed` moves both VLAN ids elsewhere.
Fen::Ptr<MacsecProxy::MacsecProxySubIntfStatus> statusOf(std::size_t i, bool changed = false) {
   auto const k = static_cast<std::uint16_t>(i % proxiesPerPort + 1);
   std::uint16_t const base = changed ? 2000 : 0;
   return macsecProxySubIntfStatusFactory(proxyOf(i), patchOf(i),
                                          static_cast<std::uint16_t>(base + 1000 + k),
                                          static_cast<std::uint16_t>(base + k));
}

constexpr std::size_t batch = 1000;

// The statuses of the batch of proxies beyond the first n, made ahead.
std::vector<Fen::Ptr<MacsecProxy::MacsecProxySubIntfStatus>> statusesAfter(std::size_t n) {
   std::vector<Fen::Ptr<MacsecProxy::MacsecProxySubIntfStatus>> out;
   for (std::size_t i = n; i < n + batch; ++i)
      out.push_back(statusOf(i));
   return out;
}

// The proxy's status with `n` proxies (and the parent ports of `n + batch`).
struct Proxy {
   Fen::Ptr<MacsecProxy::Status> status = MacsecProxy::statusFactory();
   Fen::Ptr<WexVlanMapping::WexDynamicIntfEncapColl> dynamic =
       WexVlanMapping::wexDynamicIntfEncapCollFactory();
   Fen::Ptr<WexVlanMapping::WexDynamicEncapSm> sm;

   explicit Proxy(std::size_t n) {
      for (std::size_t i = 0; i < n + batch; i += proxiesPerPort)
         status->proxyIntfIs(parentOf(i))->singleTagEgressIs(i % 2 == 0);
      for (std::size_t i = 0; i < n; ++i)
         status->proxySubIntfStatusIs(statusOf(i));
   }
   void start() { sm = WexVlanMapping::wexDynamicEncapSmFactory(status, dynamic); }
};

void sweep(benchmark::State& state, std::size_t n) {
   Proxy proxy(n);
   std::int64_t const inputs = MachineBench::liveBytes();
   std::int64_t machineBytes = 0;
   for (auto _ : state) {
      proxy.start();
      state.PauseTiming();
      machineBytes = MachineBench::liveBytes() - inputs;
      proxy.sm = nullptr;
      proxy.dynamic->entryDelAll();
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
   state.counters["bytes_per_proxy"] = static_cast<double>(machineBytes) / static_cast<double>(n);
}

void proxyAdd(benchmark::State& state, std::size_t n) {
   Proxy proxy(n);
   proxy.start();
   auto const added = statusesAfter(n);
   for (auto _ : state) {
      for (auto const& s : added)
         proxy.status->proxySubIntfStatusIs(s);
      state.PauseTiming();
      for (std::size_t i = n; i < n + batch; ++i)
         proxy.status->proxySubIntfStatusDel(proxyOf(i));
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch));
}

// The floor of ProxyAdd: the same writes and reads on tables of the same kinds
// and sizes, without a machine: the status written (nobody listens), looked up
// again, the proxy's former patch looked for, the parent port read, and the
// patch, the two entries and their two keys written.
void proxyAddFloor(benchmark::State& state, std::size_t n) {
   Proxy proxy(n);
   proxy.start();
   // The machine's tables as it left them, now held here; it no longer listens.
   using Sm = WexVlanMapping::WexDynamicEncapSm;
   Sm::SubIntfToDynIntfEncapMap keys;
   Sm::MacsecProxySubIntfToPatchSubIntfMap patches;
   for (std::size_t i = 0; i < n; ++i) {
      patches.memberIs(proxyOf(i), patchOf(i));
      keys.memberIs(proxyOf(i), proxy.sm->subIntfToDynIntfEncap(proxyOf(i)));
      keys.memberIs(patchOf(i), proxy.sm->subIntfToDynIntfEncap(patchOf(i)));
   }
   proxy.sm = nullptr;
   auto const added = statusesAfter(n);
   for (auto _ : state) {
      for (auto const& s : added) {
         proxy.status->proxySubIntfStatusIs(s);
         auto const st = proxy.status->proxySubIntfStatus(s->proxySubIntf());
         benchmark::DoNotOptimize(patches.memberDel(st->proxySubIntf()));
         Kestin::IntfId const parent = Kestin::SubIntfId::parentIntfId(st->proxySubIntf());
         bool const single = proxy.status->proxyIntf(parent)->singleTagEgress();
         auto const proxyTags = WexVlanMapping::buildEncap(st->proxyEncapVid(), 4095);
         auto const patchTags = WexVlanMapping::buildEncap(st->patchEncapVid(), 4095);
         patches.memberIs(st->proxySubIntf(), st->patchSubIntf());
         WexVlanMapping::WexDynamicIntfEncapInfo proxyEntry(Ulva::IntfEncap(parent, proxyTags));
         proxyEntry.egressEncapIs(single ? patchTags : patchTags);
         proxy.dynamic->entryIs(proxyEntry);
         keys.memberIs(st->proxySubIntf(), proxyEntry.intfEncap());
         WexVlanMapping::WexDynamicIntfEncapInfo patchEntry(Ulva::IntfEncap(parent, patchTags));
         patchEntry.egressEncapIs(proxyTags);
         proxy.dynamic->entryIs(patchEntry);
         keys.memberIs(st->patchSubIntf(), patchEntry.intfEncap());
      }
      state.PauseTiming();
      for (auto const& s : added) {
         proxy.status->proxySubIntfStatusDel(s->proxySubIntf());
         patches.memberDel(s->proxySubIntf());
         proxy.dynamic->entryDel(keys.memberDel(s->proxySubIntf()));
         proxy.dynamic->entryDel(keys.memberDel(s->patchSubIntf()));
      }
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch));
}

void proxyChange(benchmark::State& state, std::size_t n) {
   Proxy proxy(n);
   proxy.start();
   std::size_t const stride = n / batch;
   std::vector<Fen::Ptr<MacsecProxy::MacsecProxySubIntfStatus>> forms[2];
   for (std::size_t k = 0; k < batch; ++k) {
      forms[0].push_back(statusOf(k * stride));
      forms[1].push_back(statusOf(k * stride, true));
   }
   bool changed = false;
   for (auto _ : state) {
      changed = !changed;
      for (auto const& s : forms[changed ? 1 : 0])
         proxy.status->proxySubIntfStatusIs(s);
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch));
}

void proxyRemove(benchmark::State& state, std::size_t n) {
   Proxy proxy(n);
   proxy.start();
   std::size_t const stride = n / batch;
   for (auto _ : state) {
      for (std::size_t k = 0; k < batch; ++k)
         proxy.status->proxySubIntfStatusDel(proxyOf(k * stride));
      state.PauseTiming();
      for (std::size_t k = 0; k < batch; ++k)
         proxy.status->proxySubIntfStatusIs(statusOf(k * stride));
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch));
}

// The proxy with the encap state machine on the simulated platform listening to
// its dynamic encaps; every sub-interface forwards and the hardware takes all.
void proxyAddEndToEnd(benchmark::State& state, std::size_t n) {
   Proxy proxy(n);
   auto const fwd = Ulva::serviceIntfFwdInfoCollFactory();
   auto const hw = Ulva::intfEncapHwStatusCollFactory("testHw");
   for (std::size_t i = 0; i < n + batch; ++i) {
      for (Kestin::IntfId svc : {proxyOf(i), patchOf(i)}) {
         Ulva::ServiceIntfFwdInfo info(svc);
         info.fwdDataIs(1);
         fwd->fwdInfoIs(info);
      }
   }
   proxy.start();
   auto const sm = WexVlanMappingTest::intfEncapSmFactory(
       {.wcsd = Wex::wexCommonSmDataFactory(),
        .serviceIntfFwdInfo = fwd,
        .serviceIntfHwStatus = Ulva::serviceIntfHwStatusCollFactory(),
        .intfEncapServiceIntf = Ulva::intfEncapServiceIntfCollFactory(),
        .intfEncapHwStatus = Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus"),
        .dynamicIntfEncap = proxy.dynamic,
        .testHwStatusColl = hw});
   auto const added = statusesAfter(n);
   for (auto _ : state) {
      for (auto const& s : added)
         proxy.status->proxySubIntfStatusIs(s);
      state.PauseTiming();
      if (sm->hwConfigColl()->configs() != 2 * (n + batch)) state.SkipWithError("not programmed");
      for (std::size_t i = n; i < n + batch; ++i)
         proxy.status->proxySubIntfStatusDel(proxyOf(i));
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch));
}

void hashInsert(benchmark::State& state, std::size_t n) {
   std::vector<Kestin::IntfId> keys;
   keys.reserve(n);
   for (std::size_t i = 0; i < n; ++i)
      keys.push_back(proxyOf(i));
   MachineBench::hashInsert(state, keys, Ulva::IntfEncap());
}

void registerAll() {
   for (std::size_t n : {1000, 100000}) {
      add("Insert", "HashMap2018", n, hashInsert);
      add("Sweep", "WexDynamicEncapSm", n, sweep)->Unit(benchmark::kMillisecond);
      add("ProxyAdd", "WexDynamicEncapSm", n, proxyAdd);
      add("ProxyAdd", "Floor", n, proxyAddFloor);
      add("ProxyChange", "WexDynamicEncapSm", n, proxyChange);
      add("ProxyRemove", "WexDynamicEncapSm", n, proxyRemove);
      add("ProxyAddEndToEnd", "WexDynamicEncapSm", n, proxyAddEndToEnd);
   }
}

}  // namespace

int main(int argc, char** argv) {
   return MachineBench::run(argc, argv, registerAll);
}
