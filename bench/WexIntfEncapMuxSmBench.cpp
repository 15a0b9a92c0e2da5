// The sub-interface multiplexer at scale.
//
// Benchmarks are named <Event>/WexIntfEncapMuxSm/<ids>; each applies one event
// to every one of <ids> sub-interfaces in turn, on a state built outside the
// timing, and reports items_per_second with one item per id and event:
//   Sweep               a multiplexer built on full inputs (its entries, then the
//                       initial sweep publishes every id); also bytes_per_id from
//                       the allocation counters, heap_bytes_per_id from the
//                       allocator, and input_bytes_per_id
//   SubIntfStatusAdd    a programmed sub-interface appears in intfStatus
//   ProgramInHwFlip     a sub-interface's programInHw turns off or on
//   DirectStatusReport  the direct road's hardwareSuccess of a sub-interface flips
//   FwdInfoChange       the forwarding information on offer for an id changes
//   ServiceStatusReport the service road's status of an id flips between success
//                       and not ready
// Insert/HashMap2018/<ids> is the unit: the same ids inserted into a keyed map
// that grows to <ids> members, so that an event reads as a multiple of one hash
// insert at the same size.
//
// The offers are tunnels (service type 1): a tunnel's success does not latch,
// so every status report reaches the merged status.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "MachineBench.h"
#include "WexVlanMapping/WexIntfEncapMuxSm.h"

namespace {

using MachineBench::add;
using MachineBench::liveBytes;

// Sub-interfaces of a large chassis: 4000 on each port Ethernet<card>/<port>, 48
// ports per card.
Kestin::IntfId subIntfOf(std::size_t i) {
   std::size_t const port = i / 4000;
   return Kestin::IntfId(("Ethernet" + std::to_string(port / 48 + 1) + "/" +
                          std::to_string(port % 48 + 1) + "." + std::to_string(i % 4000 + 1))
                             .c_str());
}

// The first `n` ids, made once per process and shared by all sizes.
std::vector<Kestin::IntfId> const& idsOf(std::size_t n) {
   static std::vector<Kestin::IntfId> ids;
   for (std::size_t i = ids.size(); i < n; ++i)
      ids.push_back(subIntfOf(i));
   return ids;
}

// A tunnel's forwarding information for the i-th id; `shift` gives another.
Ulva::ServiceIntfFwdInfo offerOf(Kestin::IntfId id, std::size_t i, std::size_t shift = 0) {
   Ulva::ServiceIntfFwdInfo info(id);
   info.serviceTypeIs(Ulva::serviceIntfTypeTunnel);
   info.fwdDataIs(static_cast<std::uint16_t>((i + shift) % 65535 + 1));
   return info;
}

// Which road has answered for every id.
enum class Road { service, direct };

// All inputs and outputs of one multiplexer over `n` programmed sub-interfaces,
// each offered a tunnel. On the service road, the service's status of each is
// success; on the direct road, each has a direct status of success instead, and
// no service status (the road is displaced, and the encap machine has withdrawn
// it).
struct Mux {
   std::vector<Kestin::IntfId> const& ids;
   Fen::Ptr<Wex::WexCommonSmData> wcsd = Wex::wexCommonSmDataFactory();
   Fen::Ptr<Interface::SubIntfStatusDir> subIntfStatus = Interface::subIntfStatusDirFactory();
   Fen::Ptr<Interface::Hardware::SubIntfStatusDir> subIntfHwStatusIn =
       Interface::Hardware::subIntfStatusDirFactory();
   Fen::Ptr<Interface::Hardware::SubIntfStatusDir> subIntfHwStatusOut =
       Interface::Hardware::subIntfStatusDirFactory();
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> offered = Ulva::serviceIntfFwdInfoCollFactory();
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> fwdOut = Ulva::serviceIntfFwdInfoCollFactory();
   Fen::Ptr<Ulva::ServiceIntfHwStatusColl> svcStatus = Ulva::serviceIntfHwStatusCollFactory();
   Fen::Ptr<WexVlanMapping::SupportedEncapServiceTypes> types =
       WexVlanMapping::supportedEncapServiceTypesFactory();
   // The members of the two input directories, by index, so that an event
   // touches its object without a lookup of the writer's own.
   std::vector<Fen::Ptr<Interface::SubIntfStatus>> statuses;
   std::vector<Fen::Ptr<Interface::Hardware::SubIntfStatus>> directs;
   Fen::Ptr<WexVlanMapping::WexIntfEncapMuxSm> sm;

   // With `listed` false, the sub-interface statuses are made but not yet in
   // intfStatus.
   Mux(std::size_t n, Road road, bool listed = true) : ids(idsOf(n)) {
      for (auto const t : {Ulva::serviceIntfTypeDefault, Ulva::serviceIntfTypeTunnel,
                           Ulva::serviceIntfTypeSubIntf}) {
         types->encapServiceTypeIs(t);
      }
      statuses.reserve(n);
      for (std::size_t i = 0; i < n; ++i) {
         Kestin::IntfId const id = ids[i];
         statuses.push_back(Fen::fenObjectIs<Interface::SubIntfStatus>(id));
         statuses.back()->programInHwIs(true);
         if (listed) subIntfStatus->intfStatusIs(id, statuses.back());
         offered->fwdInfoIs(offerOf(id, i));
         if (road == Road::service) {
            svcStatus->hwStatusIs(id, Ulva::hwStatusSuccess);
         } else {
            directs.push_back(subIntfHwStatusIn->hardwareStatusIs(id));
            directs.back()->hardwareSuccessIs(true);
         }
      }
   }
   void start() {
      sm = WexVlanMapping::wexIntfEncapMuxSmFactory({.wcsd = wcsd,
                                                     .subIntfStatus = subIntfStatus,
                                                     .subIntfHwStatusIn = subIntfHwStatusIn,
                                                     .subIntfHwStatusOut = subIntfHwStatusOut,
                                                     .serviceIntfFwdInfoIn = offered,
                                                     .serviceIntfFwdInfoOut = fwdOut,
                                                     .serviceIntfHwStatusIn = svcStatus,
                                                     .supportedServiceTypes = types});
   }
   // The multiplexer gone and its outputs made anew, empty: what the next start
   // sweeps into has never held anything.
   void stop() {
      sm = nullptr;
      wcsd = Wex::wexCommonSmDataFactory();
      subIntfHwStatusOut = Interface::Hardware::subIntfStatusDirFactory();
      fwdOut = Ulva::serviceIntfFwdInfoCollFactory();
   }
};

// Bytes the allocator has handed out and not yet taken back.
std::int64_t heapBytes() {
   struct mallinfo2 const info = mallinfo2();
   return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
}

void setItems(benchmark::State& state, std::size_t n) {
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

void sweep(benchmark::State& state, std::size_t n) {
   Mux mux(n, Road::service);
   // The memory, once, on outputs that have never held anything.
   std::int64_t const inputs = liveBytes();
   std::int64_t const heapBefore = heapBytes();
   mux.start();
   std::int64_t const machineBytes = liveBytes() - inputs;
   std::int64_t const machineHeap = heapBytes() - heapBefore;
   if (mux.subIntfHwStatusOut->hardwareStatuss() != n || mux.fwdOut->fwdInfos() != n) {
      state.SkipWithError("the sweep did not publish every id");
   }
   mux.stop();
   for (auto _ : state) {
      mux.start();
      state.PauseTiming();
      mux.stop();
      state.ResumeTiming();
   }
   setItems(state, n);
   double const ids = static_cast<double>(n);
   // What the multiplexer adds per id: its entries and everything it publishes
   // (merged statuses, forwarding information, multiEncapIntf).
   state.counters["bytes_per_id"] = static_cast<double>(machineBytes) / ids;
   state.counters["heap_bytes_per_id"] = static_cast<double>(machineHeap) / ids;
   state.counters["input_bytes_per_id"] = static_cast<double>(inputs) / ids;
}

// Every sub-interface appears (timed) and goes again (not timed).
void subIntfStatusAdd(benchmark::State& state, std::size_t n) {
   Mux mux(n, Road::service, false);
   mux.start();
   for (auto _ : state) {
      for (std::size_t i = 0; i < n; ++i)
         mux.subIntfStatus->intfStatusIs(mux.ids[i], mux.statuses[i]);
      state.PauseTiming();
      for (std::size_t i = 0; i < n; ++i)
         mux.subIntfStatus->intfStatusDel(mux.ids[i]);
      state.ResumeTiming();
   }
   if (mux.subIntfHwStatusOut->hardwareStatuss() != 0) state.SkipWithError("statuses left");
   setItems(state, n);
}

// Off, and on again: each merges afresh (the merged status stays success).
void programInHwFlip(benchmark::State& state, std::size_t n) {
   Mux mux(n, Road::service);
   mux.start();
   bool program = true;
   for (auto _ : state) {
      program = !program;
      for (std::size_t i = 0; i < n; ++i)
         mux.statuses[i]->programInHwIs(program);
   }
   setItems(state, n);
}

// The merged status follows each report.
void directStatusReport(benchmark::State& state, std::size_t n) {
   Mux mux(n, Road::direct);
   mux.start();
   bool success = true;
   for (auto _ : state) {
      success = !success;
      for (std::size_t i = 0; i < n; ++i)
         mux.directs[i]->hardwareSuccessIs(success);
   }
   setItems(state, n);
}

// Each offer changes its fwdData, and the forwarding information in force follows.
void fwdInfoChange(benchmark::State& state, std::size_t n) {
   Mux mux(n, Road::service);
   mux.start();
   std::vector<Ulva::ServiceIntfFwdInfo> offers[2];
   for (std::size_t i = 0; i < n; ++i) {
      offers[0].push_back(offerOf(mux.ids[i], i));
      offers[1].push_back(offerOf(mux.ids[i], i, 1));
   }
   std::size_t which = 0;
   for (auto _ : state) {
      which ^= 1;
      for (auto const& info : offers[which])
         mux.offered->fwdInfoIs(info);
   }
   setItems(state, n);
}

// The merged status follows each report.
void serviceStatusReport(benchmark::State& state, std::size_t n) {
   Mux mux(n, Road::service);
   mux.start();
   bool ready = true;
   for (auto _ : state) {
      ready = !ready;
      Ulva::IntfEncapHwStatus const s = ready ? Ulva::hwStatusSuccess : Ulva::hwStatusNotReady;
      for (std::size_t i = 0; i < n; ++i)
         mux.svcStatus->hwStatusIs(mux.ids[i], s);
   }
   setItems(state, n);
}

// The floor of ServiceStatusReport: the same write of the service's status and
// the reads an update cannot do without (the offer, the supported types, the
// direct road, the service status, the published offer, multiEncapIntf, the
// sub-interface and its merged status), then the merged status written, on the
// same tables, without a machine: no notification, reactor, handler or trace.
void serviceStatusReportFloor(benchmark::State& state, std::size_t n) {
   Mux mux(n, Road::service);
   mux.start();
   mux.sm = nullptr;  // the tables stay as it left them; nobody listens
   bool ready = true;
   for (auto _ : state) {
      ready = !ready;
      Ulva::IntfEncapHwStatus const s = ready ? Ulva::hwStatusSuccess : Ulva::hwStatusNotReady;
      for (std::size_t i = 0; i < n; ++i) {
         Kestin::IntfId const id = mux.ids[i];
         mux.svcStatus->hwStatusIs(id, s);
         Ulva::ServiceIntfFwdInfo const offered = mux.offered->fwdInfo(id);
         bool const needed = mux.types->encapServiceType(offered.serviceType());
         bool const direct = static_cast<bool>(mux.subIntfHwStatusIn->hardwareStatus(id));
         bool const success = mux.svcStatus->hwStatus(id) == Ulva::hwStatusSuccess;
         benchmark::DoNotOptimize(mux.fwdOut->fwdInfo(id));
         benchmark::DoNotOptimize(mux.wcsd->multiEncapIntfHas(id));
         benchmark::DoNotOptimize(mux.subIntfStatus->intfStatus(id));
         auto const out = mux.subIntfHwStatusOut->hardwareStatus(id);
         if (out && needed && !direct) out->hardwareSuccessIs(success);
      }
   }
   setItems(state, n);
}

// The unit of cost: the same ids inserted into a keyed map.
void hashInsert(benchmark::State& state, std::size_t n) {
   std::vector<Kestin::IntfId> const keys(idsOf(n).begin(),
                                          idsOf(n).begin() + static_cast<std::ptrdiff_t>(n));
   MachineBench::hashInsert(state, keys, Ulva::hwStatusSuccess);
}

void registerAll() {
   for (std::size_t n : {1000, 100000, 1000000}) {
      add("Insert", "HashMap2018", n, hashInsert)->Unit(benchmark::kMillisecond);
      add("Sweep", "WexIntfEncapMuxSm", n, sweep)->Unit(benchmark::kMillisecond);
      add("SubIntfStatusAdd", "WexIntfEncapMuxSm", n, subIntfStatusAdd)
          ->Unit(benchmark::kMillisecond);
      add("ProgramInHwFlip", "WexIntfEncapMuxSm", n, programInHwFlip)
          ->Unit(benchmark::kMillisecond);
      add("DirectStatusReport", "WexIntfEncapMuxSm", n, directStatusReport)
          ->Unit(benchmark::kMillisecond);
      add("FwdInfoChange", "WexIntfEncapMuxSm", n, fwdInfoChange)->Unit(benchmark::kMillisecond);
      add("ServiceStatusReport", "Floor", n, serviceStatusReportFloor)
          ->Unit(benchmark::kMillisecond);
      add("ServiceStatusReport", "WexIntfEncapMuxSm", n, serviceStatusReport)
          ->Unit(benchmark::kMillisecond);
   }
}

}  // namespace

int main(int argc, char** argv) {
   return MachineBench::run(argc, argv, registerAll);
}
