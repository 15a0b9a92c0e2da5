// The interface encap state machine on the simulated platform, at scale.
//
// Benchmarks are named <Operation>/WexIntfEncapSm/<encaps>, each reporting
// items_per_second over the encaps it handled:
//   Sweep        a machine built on full inputs (the constructor's initial sweep
//                programs every encap); also bytes_per_encap from the allocation
//                counters
//   EncapAdd     one static encap added end to end, status published
//   EncapDelete  one static encap removed end to end
//   StatusReport the hardware's status of one programmed encap changes
//   RetryPass    handleHwConfigRetry over encaps the hardware has not ready
// and, for LAG membership and the platform's calls:
//   LagJoin/WexIntfEncapSm/<lagEncaps>     a port joins a LAG that carries them
//   LagLeave/WexIntfEncapSm/<lagEncaps>    the port leaves again
//   PortDownUp/WexIntfEncapSm/<portEncaps> a port goes down and comes back up
//   Reinit/WexIntfEncapSm/<configs>        reinitAllHwConfig
// Insert/HashMap2018/<n> is the unit: one insert into a keyed map of the same
// size, so that an event reads as a multiple of one hash insert.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "EncapSwitch.h"
#include "MachineBench.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace {

using EncapSwitch::encapOf;
using EncapSwitch::port;
using EncapSwitch::serviceOf;
using EncapSwitch::Switch;
using MachineBench::add;
using MachineBench::liveBytes;
using WexVlanMapping::WexIntfEncapHwConfig;

// The i-th of up to 16 million encaps on one interface: outer vids 1 to 4000,
// then a second tag.
Ulva::VlanTagEncap tagsOf(std::size_t i) {
   Ulva::VlanTag inner;
   if (i >= 4000) inner = Ulva::vlanTag(static_cast<std::uint32_t>(i / 4000));
   return Ulva::VlanTagEncap(Ulva::vlanTag(static_cast<std::uint32_t>(i % 4000) + 1), inner);
}

constexpr std::size_t batch = 1000;

void sweep(benchmark::State& state, std::size_t n) {
   Switch sw(n);
   std::int64_t const inputs = liveBytes();
   std::int64_t machineBytes = 0;
   for (auto _ : state) {
      sw.start();
      state.PauseTiming();
      machineBytes = liveBytes() - inputs;
      sw.sm = nullptr;
      // What the machine published stays published; each sweep starts from
      // nothing, so that none spends its time wiping the last one's outputs.
      sw.published->hwStatusDelAll();
      sw.svcStatus->hwStatusDelAll();
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
   // What the machine adds per encap (its tables, configs, statuses, published
   // outputs), and what the inputs take.
   state.counters["bytes_per_encap"] = static_cast<double>(machineBytes) / static_cast<double>(n);
   state.counters["input_bytes_per_encap"] = static_cast<double>(inputs) / static_cast<double>(n);
}

// A batch of encaps beyond the first n, added (timed) and removed (not timed).
void encapAdd(benchmark::State& state, std::size_t n) {
   Switch sw(n);
   sw.start();
   for (std::size_t i = n; i < n + batch; ++i) {
      sw.hw->hwStatusIs(encapOf(i), Ulva::hwStatusSuccess);
   }
   for (auto _ : state) {
      for (std::size_t i = n; i < n + batch; ++i)
         sw.wanted->serviceIntfIs(encapOf(i), serviceOf(i));
      state.PauseTiming();
      for (std::size_t i = n; i < n + batch; ++i)
         sw.unwant(i);
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch));
}

void encapDelete(benchmark::State& state, std::size_t n) {
   Switch sw(n + batch);
   sw.start();
   for (auto _ : state) {
      for (std::size_t i = n; i < n + batch; ++i)
         sw.unwant(i);
      state.PauseTiming();
      for (std::size_t i = n; i < n + batch; ++i)
         sw.wanted->serviceIntfIs(encapOf(i), serviceOf(i));
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch));
}

// The hardware's answer for a batch of programmed encaps flips between success
// and not ready; each flip is reported, stored and rolled up.
void statusReport(benchmark::State& state, std::size_t n) {
   Switch sw(n);
   sw.start();
   bool ready = false;
   std::size_t const stride = n / batch;
   for (auto _ : state) {
      Ulva::IntfEncapHwStatus const s = ready ? Ulva::hwStatusSuccess : Ulva::hwStatusNotReady;
      for (std::size_t k = 0; k < batch; ++k)
         sw.hw->hwStatusIs(encapOf(k * stride), s);
      ready = !ready;
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch));
}

// A retry pass over a batch of encaps that wait for the hardware.
void retryPass(benchmark::State& state, std::size_t n) {
   Switch sw(n);
   sw.start();
   std::size_t const stride = n / batch;
   for (std::size_t k = 0; k < batch; ++k)
      sw.hw->hwStatusIs(encapOf(k * stride), Ulva::hwStatusNotReady);
   if (sw.sm->retryNeededs() != batch) state.SkipWithError("retry set not as prepared");
   for (auto _ : state)
      sw.sm->handleHwConfigRetry();
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch));
}

// A LAG with two members carrying `n` encaps; a third port joins and leaves.
struct LagSwitch : Switch {
   Kestin::IntfId const lag{"Port-Channel1"};
   Kestin::IntfId const joiner = port(2);
   explicit LagSwitch(std::size_t n) : Switch(0) {
      Wex::WexLagPortList members;
      members.portIs(port(0), Wex::WexLagPort());
      members.portIs(port(1), Wex::WexLagPort());
      wcsd->lagToPortIs(lag, members);
      wcsd->portToLagIs(port(0), lag);
      wcsd->portToLagIs(port(1), lag);
      for (std::size_t i = 0; i < n; ++i) {
         Ulva::IntfEncap const e(lag, tagsOf(i));
         for (std::size_t p = 0; p < 3; ++p) {
            hw->hwStatusIs(Ulva::IntfEncap(port(p), e.encap()), Ulva::hwStatusSuccess);
         }
         hw->hwStatusIs(e, Ulva::hwStatusSuccess);
         wanted->serviceIntfIs(e, serviceOf(i));
      }
      start();
   }
   void join() {
      Wex::WexLagPortList members = wcsd->lagToPort(lag);
      members.portIs(joiner, Wex::WexLagPort());
      wcsd->lagToPortIs(lag, members);
      wcsd->portToLagIs(joiner, lag);
   }
   void leave() {
      Wex::WexLagPortList members = wcsd->lagToPort(lag);
      members.portDel(joiner);
      wcsd->lagToPortIs(lag, members);
      wcsd->portToLagDel(joiner);
   }
};

void lagJoin(benchmark::State& state, std::size_t n) {
   LagSwitch sw(n);
   for (auto _ : state) {
      sw.join();
      state.PauseTiming();
      sw.leave();
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

void lagLeave(benchmark::State& state, std::size_t n) {
   LagSwitch sw(n);
   for (auto _ : state) {
      state.PauseTiming();
      sw.join();
      state.ResumeTiming();
      sw.leave();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

// One port with `n` encaps of its own goes down and comes back up.
void portDownUp(benchmark::State& state, std::size_t n) {
   Switch sw(0);
   for (std::size_t i = 0; i < n; ++i) {
      Ulva::IntfEncap const e(port(0), tagsOf(i));
      sw.hw->hwStatusIs(e, Ulva::hwStatusSuccess);
      sw.wanted->serviceIntfIs(e, serviceOf(i));
   }
   sw.start();
   for (auto _ : state) {
      sw.sm->platformPortDownIs(port(0), true);
      sw.sm->platformPortDownIs(port(0), false);
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

void reinit(benchmark::State& state, std::size_t n) {
   Switch sw(n);
   sw.start();
   for (auto _ : state)
      sw.sm->reinitAllHwConfig();
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

// The unit of cost: the first `n` encaps inserted into a keyed map.
void hashInsert(benchmark::State& state, std::size_t n) {
   std::vector<Ulva::IntfEncap> keys;
   keys.reserve(n);
   for (std::size_t i = 0; i < n; ++i)
      keys.push_back(encapOf(i));
   MachineBench::hashInsert(state, keys, Ulva::hwStatusSuccess);
}

void registerAll() {
   for (std::size_t n : {1000, 100000, 500000}) {
      add("Insert", "HashMap2018", n, hashInsert);
      add("Sweep", "WexIntfEncapSm", n, sweep)->Unit(benchmark::kMillisecond);
      add("EncapAdd", "WexIntfEncapSm", n, encapAdd);
      add("EncapDelete", "WexIntfEncapSm", n, encapDelete);
      add("StatusReport", "WexIntfEncapSm", n, statusReport);
      add("RetryPass", "WexIntfEncapSm", n, retryPass);
   }
   for (std::size_t n : {1000, 4000}) {
      add("LagJoin", "WexIntfEncapSm", n, lagJoin);
      add("LagLeave", "WexIntfEncapSm", n, lagLeave);
   }
   add("PortDownUp", "WexIntfEncapSm", 4000, portDownUp);
   add("Reinit", "WexIntfEncapSm", 100000, reinit);
}

}  // namespace

int main(int argc, char** argv) {
   return MachineBench::run(argc, argv, registerAll);
}
