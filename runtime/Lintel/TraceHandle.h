// Lintel::TraceHandle: where the binary trace of the process goes.
//
// A handle has either one trace file, for a process that traces from one
// thread, or a file per thread: each thread's file is made the first time that
// thread traces (mtTraceFile()) and stays with the handle after the thread
// ends, so that it can still be saved and dumped.
//
// `defaultLintelHandle` is the process's handle, null until an agent or a test
// sets one up: while it is null, trace statements write no record.
//
// Thread safety
// -------------
// defaultLintelHandle is an atomic pointer; install a handle before the threads
// that trace start, and remove it after they stop. A handle's list of
// per-thread files is locked; the files themselves are not (each has one
// writer). Save or dump while nobody traces.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <ostream>
#include <vector>

#include "Lintel/TraceFile.h"

namespace Lintel {

class TraceHandle {
public:
   enum Mode : std::uint32_t {
      singleFile = 0,
      filePerThread = 1,
   };

   // A handle of `mode` whose files get rings of `sizes`. A single-file handle
   // makes its file now.
   explicit TraceHandle(Mode mode = singleFile, RingSizes const& sizes = RingSizes::defaults());
   ~TraceHandle();
   TraceHandle(TraceHandle const&) = delete;
   TraceHandle& operator=(TraceHandle const&) = delete;

   Mode mode() const { return mode_; }
   // The file the calling thread writes: the handle's one file, or the
   // thread's own; null for a single-file handle without a file.
   TraceFile* traceFile() { return mode_ == filePerThread ? mtTraceFile() : file_.get(); }
   // The calling thread's file, made at its first call (file-per-thread mode).
   TraceFile* mtTraceFile();
   // Replaces the single file (single-file mode); null leaves the handle
   // without one, so that nothing is recorded.
   void traceFileIs(std::unique_ptr<TraceFile> file);

   // Every file: the single one, or one per thread that traced, in the order
   // they were made.
   std::vector<TraceFile*> traceFiles() const;
   // Saves every file, one after the other.
   void save(std::ostream& out) const;

private:
   // First word: how the current file is found.
   Mode mode_;
   std::uint64_t id_;
   RingSizes sizes_;
   std::unique_ptr<TraceFile> file_;
   mutable std::mutex lock_;
   std::vector<std::unique_ptr<TraceFile>> threadFiles_;
};

// The process's handle; null while the binary trace is not set up.
extern std::atomic<TraceHandle*> defaultLintelHandle;

// Installs `handle` (or null) and returns the one it replaces.
TraceHandle* defaultLintelHandleIs(TraceHandle* handle);

// The file the calling thread writes through defaultLintelHandle, or null.
inline TraceFile* defaultLintelFile() {
   TraceHandle* h = defaultLintelHandle.load(std::memory_order_acquire);
   return h ? h->traceFile() : nullptr;
}

}  // namespace Lintel
