#include "Fen/AllocTrack.h"

#include <cstring>
#include <memory>
#include <sstream>

namespace Fen {

namespace {
std::vector<AllocTrackTypeInfo*>& registry() {
   static std::vector<AllocTrackTypeInfo*> r;
   return r;
}
}  // namespace

AllocTrackTypeInfo* AllocTrackTypeInfo::typeInfoIs(char const* typeName) {
   for (auto* info : registry()) {
      if (std::strcmp(info->typeName_.charPtr(), typeName) == 0) return info;
   }
   // Records live as long as the process: counters are read at exit by leak checks.
   auto* info = new AllocTrackTypeInfo(typeName);
   registry().push_back(info);
   return info;
}

std::vector<AllocTrackTypeInfo*> const& AllocTrackTypeInfo::all() {
   return registry();
}

void AllocTrackTypeInfo::_trackAllocation(AllocTrackTypeInfo** info, char const* typeName,
                                          std::size_t size, std::size_t /*alignment*/) {
   if (*info == nullptr) *info = typeInfoIs(typeName);
   (*info)->objectSize_ = size;
   ++(*info)->liveObjects_;
   (*info)->liveBytes_ += static_cast<std::int64_t>(size);
   ++(*info)->totalAllocations_;
}

void AllocTrackTypeInfo::trackDeallocation(AllocTrackTypeInfo* info) {
   --info->liveObjects_;
   info->liveBytes_ -= static_cast<std::int64_t>(info->objectSize_);
}

void AllocTrackTypeInfo::trackArrayAllocation(AllocTrackTypeInfo* info, std::size_t count,
                                              std::size_t elementSize) {
   ++info->liveObjects_;
   info->liveBytes_ += static_cast<std::int64_t>(count * elementSize);
   ++info->totalAllocations_;
}

void AllocTrackTypeInfo::trackArrayDeallocation(AllocTrackTypeInfo* info, std::size_t count,
                                                std::size_t elementSize) {
   --info->liveObjects_;
   info->liveBytes_ -= static_cast<std::int64_t>(count * elementSize);
}

AllocSnapshot AllocSnapshot::now() {
   AllocSnapshot s;
   for (auto* info : AllocTrackTypeInfo::all()) {
      s.entries.push_back({info, info->liveObjects(), info->liveBytes()});
   }
   return s;
}

String AllocSnapshot::differencesFrom(AllocSnapshot const& before) const {
   std::ostringstream os;
   for (auto const& e : entries) {
      std::int64_t objects = 0, bytes = 0;
      for (auto const& b : before.entries) {
         if (b.info == e.info) {
            objects = b.objects;
            bytes = b.bytes;
         }
      }
      if (e.objects != objects || e.bytes != bytes) {
         os << e.info->typeName() << ": live objects " << objects << " -> " << e.objects
            << ", bytes " << bytes << " -> " << e.bytes << "\n";
      }
   }
   return String(os.str());
}

}  // namespace Fen
