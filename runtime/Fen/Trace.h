// The text trace of the Fen runtime.
//
// Fen::TraceHandle   one facility (a source unit's name) and its 32-bit level mask
// Fen::TraceSink     where finished text lines go; stderr unless replaced
// Fen::TraceHelper   one text line: built with `<<`, handed to the sink at its end
// FEN_TRACE_UNIT     defines a unit's handle and its `_defaultTraceHandle()`
//
// Levels
// ------
// Level n (0 to 15) is enabled when bit 16 + n of the facility's mask is set. The
// state machines use 0 for skipped cases, 7 for actions and 8 for handler entry.
//
// Facilities
// ----------
// A handle is constant-initialised, so it can be read at any time, even before
// the static initialisers of its unit have run. FEN_TRACE_UNIT also registers
// it by name when its unit is loaded; from then on levelMaskIs(name, mask)
// reaches it. A mask set for a name that no loaded unit has yet is kept, and
// applies to the handle as soon as a unit of that name registers.
//
// Thread safety
// -------------
// Masks are atomic words: any thread may set them while others read. The
// registry and the sink take a lock of their own. A TraceHelper belongs to the
// thread that made it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "Fen/String.h"

namespace Fen {

struct TraceFacility {
   // A trace level, 0 to 15.
   using FacilityLevel = int;
   static constexpr FacilityLevel levelMin = 0;
   static constexpr FacilityLevel levelMax = 15;
   // The mask bit of level `level`: bit 16 + level; 0 for a level out of range.
   static constexpr std::uint32_t levelBit(FacilityLevel level) {
      return level >= levelMin && level <= levelMax ? std::uint32_t{1} << (16 + level) : 0;
   }
   static constexpr std::uint32_t allLevels = 0xFFFF0000u;
};

class TraceHandle {
public:
   // A facility named `name` (a string that outlives the handle, normally a
   // literal). `enabled` turns every level on from the start.
   constexpr explicit TraceHandle(char const* name, bool enabled = false) noexcept
       : levelMask_(enabled ? TraceFacility::allLevels : 0), name_(name) {}
   TraceHandle(TraceHandle const&) = delete;
   TraceHandle& operator=(TraceHandle const&) = delete;

   char const* name() const { return name_; }
   // The name as a Fen::String, shared by every line of this facility.
   String const& facility() const;

   std::uint32_t levelMask() const { return levelMask_.load(std::memory_order_relaxed); }
   void levelMaskIs(std::uint32_t mask) { levelMask_.store(mask, std::memory_order_relaxed); }
   bool levelEnabled(TraceFacility::FacilityLevel level) const {
      return (levelMask() & TraceFacility::levelBit(level)) != 0;
   }

   // The mask of every handle named `facility`: that of the first registered one,
   // else the mask set for the name beforehand, else 0.
   static std::uint32_t levelMask(String const& facility);
   // Sets the mask of every registered handle named `facility`, and of any that
   // registers later under that name.
   static void levelMaskIs(String const& facility, std::uint32_t mask);

   // Makes a handle known by its name; undone by handleDel. A mask set for the
   // name earlier is applied now. Registration calls these; see FEN_TRACE_UNIT.
   static void handleIs(TraceHandle* handle);
   static void handleDel(TraceHandle* handle);

   // Registers a handle for the lifetime of the object (one per unit, at load).
   class Registration {
   public:
      explicit Registration(TraceHandle* handle) : handle_(handle) { handleIs(handle_); }
      ~Registration() { handleDel(handle_); }
      Registration(Registration const&) = delete;
      Registration& operator=(Registration const&) = delete;

   private:
      TraceHandle* handle_;
   };

private:
   std::atomic<std::uint32_t> levelMask_;
   char const* name_;
   // Set by handleIs to the registry's copy of the name; null before.
   mutable std::atomic<String const*> facility_{nullptr};
};

// Receives each finished text line.
using TraceSink = std::function<void(String const& facility, int level, String const& text)>;

// Installs `sink` for every later line and returns the one it replaces. An empty
// sink restores stderrTraceSink.
TraceSink traceSinkIs(TraceSink sink);
// The default sink: one line "<facility> <level> <text>" on stderr.
void stderrTraceSink(String const& facility, int level, String const& text);
// Hands one line to the installed sink.
void traceLineIs(String const& facility, int level, String const& text);

// Text of one trace line. Integers print in decimal, bool as "true"/"false",
// anything else through its operator<<.
class TraceStream {
public:
   TraceStream& operator<<(char const* s) {
      text_ += s ? s : "";
      return *this;
   }
   TraceStream& operator<<(std::string_view s) {
      text_ += s;
      return *this;
   }
   TraceStream& operator<<(std::string const& s) {
      text_ += s;
      return *this;
   }
   TraceStream& operator<<(String const& s) {
      text_ += s.view();
      return *this;
   }
   TraceStream& operator<<(char c) {
      text_ += c;
      return *this;
   }
   TraceStream& operator<<(bool b) {
      text_ += b ? "true" : "false";
      return *this;
   }
   template <class T>
   TraceStream& operator<<(T const& v) {
      if constexpr (std::is_array_v<T>) {
         text_ += std::string_view(v);
      } else if constexpr (std::is_integral_v<T>) {
         integerIs(
             static_cast<std::conditional_t<std::is_signed_v<T>, long long, unsigned long long>>(
                 v));
      } else {
         streamed(v);
      }
      return *this;
   }

   std::string const& text() const { return text_; }

protected:
   std::string text_;

private:
   void integerIs(long long v);
   void integerIs(unsigned long long v);
   template <class T>
   void streamed(T const& v) {
      std::ostringstream os;
      os << v;
      text_ += std::move(os).str();
   }
};

// One text line of facility `handle` at `level`. The destructor hands the line
// to the sink, whatever the mask says: callers test the level first.
// `sourceFile` and `functionName` say where the line comes from.
class TraceHelper : public TraceStream {
public:
   TraceHelper(TraceHandle const& handle, TraceFacility::FacilityLevel level,
               char const* sourceFile, int line, char const* functionName)
       : handle_(handle),
         level_(level),
         sourceFile_(sourceFile),
         line_(line),
         functionName_(functionName) {}
   ~TraceHelper();
   TraceHelper(TraceHelper const&) = delete;
   TraceHelper& operator=(TraceHelper const&) = delete;

   char const* sourceFile() const { return sourceFile_; }
   int line() const { return line_; }
   char const* functionName() const { return functionName_; }

private:
   TraceHandle const& handle_;
   TraceFacility::FacilityLevel level_;
   char const* sourceFile_;
   int line_;
   char const* functionName_;
};

// Level masks by facility name, as a tool reads them from its command line.
using TraceMasks = std::map<String, std::uint32_t>;

// Adds the masks of one option value to `masks`. The value lists items
// separated by ';', each "<facility>/<levels>", the levels separated by ','
// and each a number 0 to 15 or a range "<first>-<last>":
//   "WexIntfEncapSm/7,8"   "WexIntfEncapSm/0-8;WexDynamicEncapSm/8"
// Levels given for one facility in several items or options add up. Anything
// else raises Fen::RangeException quoting the offending text.
void traceMasksAdd(TraceMasks& masks, String const& optionValue);
// The masks of one option value.
TraceMasks traceMasks(String const& optionValue);
// Sets each facility's mask through TraceHandle::levelMaskIs.
void traceMasksApply(TraceMasks const& masks);

}  // namespace Fen

// Defines the trace facility of a source unit: a constant-initialised handle
// named `name`, registered when the unit loads, and `_defaultTraceHandle()`,
// through which the trace statements of the unit find it. Use once per unit,
// at namespace scope of its .cpp.
#define FEN_TRACE_UNIT(name)                                                               \
   namespace {                                                                             \
   constinit ::Fen::TraceHandle fenUnitTraceHandle_(name);                                 \
   ::Fen::TraceHandle::Registration const fenUnitTraceRegistration_(&fenUnitTraceHandle_); \
   [[maybe_unused]] inline ::Fen::TraceHandle& _defaultTraceHandle() {                     \
      return fenUnitTraceHandle_;                                                          \
   }                                                                                       \
   }                                                                                       \
   static_assert(true, "")
