// Fen::AllocTrackTypeInfo: per-class allocation statistics.
//
// Every counted class owns one record (its static `fenAllocTrackTypeInfo_`), and
// so does every keyed map type for the blocks it allocates. The counters say how
// many objects and bytes of each class are live right now; leak tests and
// benchmarks read them. Counting is plain arithmetic: like the objects it counts,
// a record is used from one thread at a time unless the agent synchronises.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Fen/String.h"

namespace Fen {

class AllocTrackTypeInfo {
public:
   // Makes (once per name and process) the record of a class and returns it.
   static AllocTrackTypeInfo* typeInfoIs(char const* typeName);
   // Every record made so far, in order of creation.
   static std::vector<AllocTrackTypeInfo*> const& all();

   // The four tracking calls: one object of `size` bytes, or one array of
   // `count` elements of `elementSize` bytes.
   static void _trackAllocation(AllocTrackTypeInfo** info, char const* typeName, std::size_t size,
                                std::size_t alignment);
   // Undoes one `_trackAllocation`, with the object size recorded there.
   static void trackDeallocation(AllocTrackTypeInfo* info);
   static void trackArrayAllocation(AllocTrackTypeInfo* info, std::size_t count,
                                    std::size_t elementSize);
   static void trackArrayDeallocation(AllocTrackTypeInfo* info, std::size_t count,
                                      std::size_t elementSize);

   String const& typeName() const { return typeName_; }
   // Objects (or arrays) live now, and their bytes.
   std::int64_t liveObjects() const { return liveObjects_; }
   std::int64_t liveBytes() const { return liveBytes_; }
   // Totals since the start of the process.
   std::uint64_t totalAllocations() const { return totalAllocations_; }

private:
   explicit AllocTrackTypeInfo(char const* name) : typeName_(name) {}
   String typeName_;
   std::int64_t liveObjects_ = 0;
   std::int64_t liveBytes_ = 0;
   std::uint64_t totalAllocations_ = 0;
   std::size_t objectSize_ = 0;
};

// A snapshot of the live counters of every class, to compare before and after.
struct AllocSnapshot {
   struct Entry {
      AllocTrackTypeInfo const* info;
      std::int64_t objects;
      std::int64_t bytes;
   };
   static AllocSnapshot now();
   // The classes whose live objects or bytes differ from `before`, as text; empty
   // when nothing leaked.
   String differencesFrom(AllocSnapshot const& before) const;
   std::vector<Entry> entries;
};

}  // namespace Fen
