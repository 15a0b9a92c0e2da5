#include "Lintel/TraceHandle.h"

#include "Fen/Exception.h"

namespace Lintel {

std::atomic<TraceHandle*> defaultLintelHandle{nullptr};

namespace {

// Handles are told apart by a number that is never reused, so that a thread's
// cached file cannot outlive its handle and be found by a new handle at the
// same address.
std::atomic<std::uint64_t> nextHandleId{1};

struct ThreadFile {
   std::uint64_t handleId = 0;
   TraceFile* file = nullptr;
};
// The calling thread's file of the handle it last traced through, and its files
// of every handle it traced through (entries of destroyed handles never match
// again).
thread_local ThreadFile threadFile;
thread_local std::vector<ThreadFile> threadFiles;

}  // namespace

TraceHandle::TraceHandle(Mode mode, RingSizes const& sizes)
    : mode_(mode), id_(nextHandleId.fetch_add(1, std::memory_order_relaxed)), sizes_(sizes) {
   if (mode_ == singleFile) file_ = std::make_unique<TraceFile>(sizes_);
}

TraceHandle::~TraceHandle() {
   // Uninstalls itself rather than leave a dangling process handle.
   TraceHandle* self = this;
   defaultLintelHandle.compare_exchange_strong(self, nullptr);
}

TraceFile* TraceHandle::mtTraceFile() {
   if (threadFile.handleId == id_) return threadFile.file;
   // Not cached: the thread's first call, or it traced through another handle
   // since.
   for (ThreadFile const& f : threadFiles) {
      if (f.handleId == id_) {
         threadFile = f;
         return f.file;
      }
   }
   TraceFile* file;
   {
      std::lock_guard guard(lock_);
      threadFiles_.push_back(std::make_unique<TraceFile>(sizes_));
      file = threadFiles_.back().get();
      file->nameIs(Fen::format("thread %zu", threadFiles_.size()));
   }
   threadFile = ThreadFile{id_, file};
   threadFiles.push_back(threadFile);
   return file;
}

void TraceHandle::traceFileIs(std::unique_ptr<TraceFile> file) {
   FEN_ASSERT(mode_ == singleFile);
   file_ = std::move(file);
}

std::vector<TraceFile*> TraceHandle::traceFiles() const {
   std::vector<TraceFile*> out;
   if (mode_ == singleFile) {
      if (file_) out.push_back(file_.get());
      return out;
   }
   std::lock_guard guard(lock_);
   for (auto const& f : threadFiles_)
      out.push_back(f.get());
   return out;
}

void TraceHandle::save(std::ostream& out) const {
   for (TraceFile const* f : traceFiles())
      f->save(out);
}

TraceHandle* defaultLintelHandleIs(TraceHandle* handle) {
   return defaultLintelHandle.exchange(handle, std::memory_order_acq_rel);
}

}  // namespace Lintel
