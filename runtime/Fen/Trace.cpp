#include "Fen/Trace.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <memory>
#include <mutex>
#include <vector>

#include "Fen/Exception.h"

namespace Fen {

namespace {

// What the registry knows of one facility name. Entries are never erased, so a
// handle may keep a pointer to `name`.
struct FacilityEntry {
   String name;
   bool maskSet = false;
   std::uint32_t mask = 0;
   std::vector<TraceHandle*> handles;
};

struct Registry {
   std::mutex lock;
   std::map<String, FacilityEntry> facilities;
   std::shared_ptr<TraceSink const> sink =
       std::make_shared<TraceSink const>(TraceSink(&stderrTraceSink));

   FacilityEntry& entry(String const& name) {
      auto [it, inserted] = facilities.try_emplace(name);
      if (inserted) it->second.name = name;
      return it->second;
   }
};

// Never destroyed: handles of other units may unregister, and lines may be
// traced, while the process exits.
Registry& registry() {
   static Registry* r = new Registry;
   return *r;
}

}  // namespace

String const& TraceHandle::facility() const {
   if (String const* f = facility_.load(std::memory_order_acquire)) return *f;
   // An unregistered handle: its name goes through the registry once.
   Registry& r = registry();
   std::lock_guard guard(r.lock);
   String const* f = &r.entry(String(name_)).name;
   facility_.store(f, std::memory_order_release);
   return *f;
}

std::uint32_t TraceHandle::levelMask(String const& facility) {
   Registry& r = registry();
   std::lock_guard guard(r.lock);
   auto it = r.facilities.find(facility);
   if (it == r.facilities.end()) return 0;
   FacilityEntry const& e = it->second;
   if (!e.handles.empty()) return e.handles.front()->levelMask();
   return e.maskSet ? e.mask : 0;
}

void TraceHandle::levelMaskIs(String const& facility, std::uint32_t mask) {
   Registry& r = registry();
   std::lock_guard guard(r.lock);
   FacilityEntry& e = r.entry(facility);
   e.maskSet = true;
   e.mask = mask;
   for (TraceHandle* h : e.handles)
      h->levelMaskIs(mask);
}

void TraceHandle::handleIs(TraceHandle* handle) {
   Registry& r = registry();
   std::lock_guard guard(r.lock);
   FacilityEntry& e = r.entry(String(handle->name_));
   if (std::find(e.handles.begin(), e.handles.end(), handle) == e.handles.end()) {
      e.handles.push_back(handle);
   }
   handle->facility_.store(&e.name, std::memory_order_release);
   if (e.maskSet) handle->levelMaskIs(e.mask);
}

void TraceHandle::handleDel(TraceHandle* handle) {
   Registry& r = registry();
   std::lock_guard guard(r.lock);
   auto it = r.facilities.find(String(handle->name_));
   if (it == r.facilities.end()) return;
   auto& handles = it->second.handles;
   handles.erase(std::remove(handles.begin(), handles.end(), handle), handles.end());
}

TraceSink traceSinkIs(TraceSink sink) {
   if (!sink) sink = TraceSink(&stderrTraceSink);
   auto next = std::make_shared<TraceSink const>(std::move(sink));
   Registry& r = registry();
   std::lock_guard guard(r.lock);
   std::swap(r.sink, next);
   return *next;
}

void stderrTraceSink(String const& facility, int level, String const& text) {
   std::fprintf(stderr, "%s %d %s\n", facility.charPtr(), level, text.charPtr());
}

void traceLineIs(String const& facility, int level, String const& text) {
   std::shared_ptr<TraceSink const> sink;
   {
      Registry& r = registry();
      std::lock_guard guard(r.lock);
      sink = r.sink;
   }
   // Called outside the lock, so that a sink may trace or swap sinks itself.
   (*sink)(facility, level, text);
}

void TraceStream::integerIs(long long v) {
   char buf[24];
   auto res = std::to_chars(buf, buf + sizeof buf, v);
   text_.append(buf, res.ptr);
}

void TraceStream::integerIs(unsigned long long v) {
   char buf[24];
   auto res = std::to_chars(buf, buf + sizeof buf, v);
   text_.append(buf, res.ptr);
}

TraceHelper::~TraceHelper() {
   traceLineIs(handle_.facility(), level_, String(std::move(text_)));
}

// Option values.

namespace {

[[noreturn]] void badTraceOption(std::string_view what, std::string_view item,
                                 String const& optionValue) {
   throwRangeException(format("bad trace option \"%s\": %.*s \"%.*s\"", optionValue.charPtr(),
                              static_cast<int>(what.size()), what.data(),
                              static_cast<int>(item.size()), item.data()));
}

// One level number, or -1 for text that is not one.
int parseLevel(std::string_view text) {
   if (text.empty() || text.size() > 2) return -1;
   int level = 0;
   auto res = std::from_chars(text.data(), text.data() + text.size(), level);
   if (res.ec != std::errc() || res.ptr != text.data() + text.size()) return -1;
   if (level < TraceFacility::levelMin || level > TraceFacility::levelMax) return -1;
   return level;
}

}  // namespace

void traceMasksAdd(TraceMasks& masks, String const& optionValue) {
   std::string_view rest = optionValue.view();
   if (rest.empty()) badTraceOption("empty value", rest, optionValue);
   while (true) {
      std::size_t const end = rest.find(';');
      std::string_view const item = rest.substr(0, end);
      std::size_t const slash = item.find('/');
      if (slash == std::string_view::npos) {
         badTraceOption("expected <facility>/<levels> in", item, optionValue);
      }
      std::string_view const facility = item.substr(0, slash);
      if (facility.empty()) badTraceOption("missing facility name in", item, optionValue);
      std::string_view levels = item.substr(slash + 1);
      if (levels.empty()) badTraceOption("missing levels in", item, optionValue);
      std::uint32_t mask = 0;
      while (true) {
         std::size_t const comma = levels.find(',');
         std::string_view const piece = levels.substr(0, comma);
         std::size_t const dash = piece.find('-');
         int first = -1;
         int last = -1;
         if (dash == std::string_view::npos) {
            first = last = parseLevel(piece);
         } else {
            first = parseLevel(piece.substr(0, dash));
            last = parseLevel(piece.substr(dash + 1));
         }
         if (first < 0 || last < 0 || first > last) {
            badTraceOption("level must be 0 to 15 or a range of them, not", piece, optionValue);
         }
         for (int l = first; l <= last; ++l)
            mask |= TraceFacility::levelBit(l);
         if (comma == std::string_view::npos) break;
         levels = levels.substr(comma + 1);
      }
      masks[String(facility)] |= mask;
      if (end == std::string_view::npos) break;
      rest = rest.substr(end + 1);
   }
}

TraceMasks traceMasks(String const& optionValue) {
   TraceMasks masks;
   traceMasksAdd(masks, optionValue);
   return masks;
}

void traceMasksApply(TraceMasks const& masks) {
   for (auto const& [facility, mask] : masks)
      TraceHandle::levelMaskIs(facility, mask);
}

}  // namespace Fen
