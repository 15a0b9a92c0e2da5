// The cost of one trace statement, beside spdlog.
//
// Each benchmark times one statement of the shape the state machines use most:
// an interface name and four 16-bit numbers (vid and tpid of two tags), as
//   "WexIntfEncapSm::handleIntfEncap: (%s, %s:%s, %s:%s)"
// Names are TraceStatement/<Implementation>/0:
//   Disabled     no Lintel handle and the level off: the cost when tracing is off
//   LintelRing   a record in the ring buffer, text level off
//   GantryText   no ring; the text rendered and handed to a sink that drops it
//   SpdlogSync   spdlog, synchronous logger into a null sink
//   SpdlogAsync  spdlog, asynchronous logger (one worker thread) into a null sink
// The tpids go as plain 16-bit numbers, so that every implementation prints
// them the same way.
#include <benchmark/benchmark.h>
#include <spdlog/async.h>
#include <spdlog/async_logger.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>

#include <cstdint>
#include <memory>

#include "Fen/String.h"
#include "Fen/Trace.h"
#include "Gantry/Trace.h"
#include "Kestin/IntfId.h"
#include "Lintel/TraceHandle.h"

FEN_TRACE_UNIT("TraceBench");

namespace {

constexpr int level = 8;

// Numbers that vary with the iteration, so that nothing folds into a constant.
// They are computed in the statement's argument list, as a handler computes
// vid() and tpid() of an encap there: a statement that skips its arguments
// pays nothing for them.
std::uint16_t outerVid(std::uint32_t i) {
   return static_cast<std::uint16_t>(i & 0xFFF);
}
std::uint16_t outerTpid(std::uint32_t i) {
   return static_cast<std::uint16_t>(0x8100 + (i & 1));
}
std::uint16_t innerVid(std::uint32_t i) {
   return static_cast<std::uint16_t>((i * 3) & 0xFFF);
}
std::uint16_t innerTpid(std::uint32_t i) {
   return static_cast<std::uint16_t>(0x88a8 + (i & 2));
}

Fen::String const& intfName() {
   static Fen::String const name = Kestin::IntfId("Ethernet3/1").stringValue();
   return name;
}

// Puts the trace state as a benchmark wants it, and back afterwards.
class TraceSetup {
public:
   TraceSetup(bool ring, bool text)
       : handle_(ring ? std::make_unique<Lintel::TraceHandle>() : nullptr),
         previousHandle_(Lintel::defaultLintelHandleIs(handle_.get())),
         previousSink_(Fen::traceSinkIs([](Fen::String const&, int, Fen::String const&) {})) {
      Fen::TraceHandle::levelMaskIs("TraceBench", text ? Fen::TraceFacility::levelBit(level) : 0);
   }
   ~TraceSetup() {
      Fen::TraceHandle::levelMaskIs("TraceBench", 0);
      Fen::traceSinkIs(previousSink_);
      Lintel::defaultLintelHandleIs(previousHandle_);
   }

private:
   std::unique_ptr<Lintel::TraceHandle> handle_;
   Lintel::TraceHandle* previousHandle_;
   Fen::TraceSink previousSink_;
};

void gantryBench(benchmark::State& state, bool ring, bool text) {
   TraceSetup setup(ring, text);
   Fen::String const& name = intfName();
   std::uint32_t i = 0;
   for (auto _ : state) {
      GANTRY_TRACE(level, "WexIntfEncapSm::handleIntfEncap: (%s, %s:%s, %s:%s)", name, outerVid(i),
                   outerTpid(i), innerVid(i), innerTpid(i));
      ++i;
   }
   state.SetItemsProcessed(state.iterations());
}

void spdlogBench(benchmark::State& state, spdlog::logger& logger) {
   logger.set_level(spdlog::level::info);
   Fen::String const& name = intfName();
   std::uint32_t i = 0;
   for (auto _ : state) {
      logger.info("WexIntfEncapSm::handleIntfEncap: ({}, {}:{}, {}:{})", name.view(), outerVid(i),
                  outerTpid(i), innerVid(i), innerTpid(i));
      ++i;
   }
   state.SetItemsProcessed(state.iterations());
}

void spdlogSyncBench(benchmark::State& state) {
   auto logger =
       std::make_shared<spdlog::logger>("sync", std::make_shared<spdlog::sinks::null_sink_mt>());
   spdlogBench(state, *logger);
}

void spdlogAsyncBench(benchmark::State& state) {
   // Overrun rather than block when the worker falls behind: the benchmark
   // times the caller's side, as the ring buffer's is.
   auto pool = std::make_shared<spdlog::details::thread_pool>(8192, 1);
   // The logger hands itself to the worker as a shared pointer: it must be owned
   // by one.
   auto logger = std::make_shared<spdlog::async_logger>(
       "async", std::make_shared<spdlog::sinks::null_sink_mt>(), pool,
       spdlog::async_overflow_policy::overrun_oldest);
   spdlogBench(state, *logger);
}

}  // namespace

int main(int argc, char** argv) {
   benchmark::RegisterBenchmark("TraceStatement/Disabled/0", gantryBench, false, false);
   benchmark::RegisterBenchmark("TraceStatement/LintelRing/0", gantryBench, true, false);
   benchmark::RegisterBenchmark("TraceStatement/GantryText/0", gantryBench, false, true);
   benchmark::RegisterBenchmark("TraceStatement/SpdlogSync/0", spdlogSyncBench);
   benchmark::RegisterBenchmark("TraceStatement/SpdlogAsync/0", spdlogAsyncBench);
   benchmark::Initialize(&argc, argv);
   if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
   benchmark::RunSpecifiedBenchmarks();
   benchmark::Shutdown();
   return 0;
}
