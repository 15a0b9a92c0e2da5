// The trace statement of the state machines: one statement feeds the binary
// ring-buffer trace (Lintel) and the level-masked text trace (Fen) at once.
//
//   FEN_TRACE_UNIT("WexIntfEncapSm");      // once, at namespace scope of the .cpp
//   ...
//   GANTRY_TRACE(8, "WexIntfEncapSm::handleServiceIntfFwdInfo: %s isDel:%s",
//                intfId.stringValue(), isDel);
//   GANTRY_TRACE(7, "WexIntfEncapSm::doAddHwConfig: " GANTRY_ENCAP_FORMAT, GANTRY_ENCAP(e));
//
// The format is a string literal with one "%s" per argument (checked at compile
// time); the level is a constant from 0 to 15.
//
// What a statement costs
// ----------------------
// With no Lintel handle installed and the level clear in the unit's mask: one
// pointer test and one bit test; no argument is evaluated. Otherwise the
// arguments are evaluated once, then:
// - with a Lintel trace file: the first time the file meets the statement, the
//   statement registers its description (source place, argument types, text);
//   every time, a record of the message number and the raw arguments goes to
//   the ring of that level. No formatting, no lock.
// - with the level set: the text is rendered, each "%s" replaced by its argument
//   as LintelConverter prints it, and the line goes to the Fen trace sink under
//   the unit's facility name.
//
// Arguments
// ---------
//   strings (Fen::String, std::string, std::string_view, C strings)  ring "p"
//   bool                                           "b", text "true"/"false"
//   reflected enums of one byte (a status)         "e", with the type's name
//   16-bit integers and enums (vid, tpid)          "s"
//   8- and 32-bit integers and other enums         "i"
//   64-bit integers (counts)                       "l"
// A reflected enum is one with a Fen::TypeOf specialisation (Fen/TypeOf.h): its
// description names its type ("Ulva::IntfEncapHwStatus"), so that a dump prints
// the enumerator's name ("hwStatusSuccess") where it would print 2. In text,
// integers print in decimal and enums through their operator<< (an enum
// without one prints as its number). Anything else is refused at compile time:
// an interface goes in as intfId.stringValue().
//
// Thread safety
// -------------
// Statements may run on several threads when the Lintel handle has a file per
// thread; text rendering uses per-thread buffers, and the sink is called
// without a lock of the statement's own.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "Fen/String.h"
#include "Fen/Trace.h"
#include "Fen/TypeOf.h"
#include "Lintel/TraceFile.h"
#include "Lintel/TraceHandle.h"

namespace Gantry {

// ---- Argument types ----

template <class T>
inline constexpr bool isLintelString =
    std::is_same_v<T, Fen::String> || std::is_same_v<T, std::string> ||
    std::is_same_v<T, std::string_view> || std::is_same_v<T, char const*> ||
    std::is_same_v<T, char*> ||
    (std::is_array_v<T> && std::is_same_v<std::remove_cv_t<std::remove_extent_t<T>>, char>);

template <class T>
inline constexpr bool isLintelNumber = (std::is_integral_v<T> ||
                                        std::is_enum_v<T>)&&!std::is_same_v<T, bool>;

template <class T>
inline constexpr bool alwaysFalse = false;

// An enum of one byte that reflection knows by name: a dump prints its
// enumerators by name.
template <class T>
concept LintelReflectedEnum = std::is_enum_v<T> && sizeof(T) == 1 && requires {
   Fen::TypeOf<T>::module;
   Fen::TypeOf<T>::index;
};

// The reflected type of an argument of type T; none for any but a reflected enum.
template <class T>
consteval Fen::FwkType lintelEnumType() {
   using U = std::remove_cvref_t<T>;
   if constexpr (LintelReflectedEnum<U>) {
      return Fen::FwkType{Fen::TypeOf<U>::module, Fen::TypeOf<U>::index};
   } else {
      return Fen::FwkType{};
   }
}

// The type letter of an argument of type T.
template <class T>
consteval char lintelTypeLetter() {
   using U = std::remove_cvref_t<T>;
   if constexpr (isLintelString<U>) {
      return 'p';
   } else if constexpr (std::is_same_v<U, bool>) {
      return 'b';
   } else if constexpr (LintelReflectedEnum<U>) {
      return 'e';
   } else if constexpr (isLintelNumber<U>) {
      static_assert(sizeof(U) <= 8, "integers of at most 64 bits");
      return sizeof(U) == 2 ? 's' : sizeof(U) == 8 ? 'l' : 'i';
   } else {
      static_assert(alwaysFalse<U>,
                    "a trace argument is a string, a bool, an integer or an enum; "
                    "pass an interface as stringValue()");
      return '?';
   }
}

// How a dump prints an argument of type T (see Lintel/MsgDesc.h).
template <class T>
consteval char lintelStyle() {
   using U = std::remove_cvref_t<T>;
   if constexpr (std::is_enum_v<U>) {
      if constexpr (sizeof(U) == 2) return 'x';
      return std::is_signed_v<std::underlying_type_t<U>> ? 'd' : 'u';
   } else if constexpr (isLintelNumber<U>) {
      return std::is_signed_v<U> ? 'd' : 'u';
   } else {
      return '-';
   }
}

template <class T>
std::string_view lintelStringView(T const& v) {
   if constexpr (std::is_same_v<T, Fen::String>) {
      return v.view();
   } else if constexpr (std::is_pointer_v<T>) {
      return v ? std::string_view(v) : std::string_view();
   } else {
      return std::string_view(v);
   }
}

// The integer type of an integer or an enum.
template <class T, bool = std::is_enum_v<T>>
struct LintelInteger {
   using type = T;
};
template <class T>
struct LintelInteger<T, true> {
   using type = std::underlying_type_t<T>;
};

// The number as it goes to the ring: 2, 4 or 8 bytes.
template <class T>
auto lintelNumber(T v) {
   using N = typename LintelInteger<T>::type;
   if constexpr (sizeof(T) == 2) {
      return static_cast<std::uint16_t>(static_cast<N>(v));
   } else if constexpr (sizeof(T) == 8) {
      return static_cast<std::uint64_t>(static_cast<N>(v));
   } else {
      // Widen with the sign of the type, so that -1 reads back as -1.
      using W = std::conditional_t<std::is_signed_v<N>, std::int32_t, std::uint32_t>;
      return static_cast<std::uint32_t>(static_cast<W>(static_cast<N>(v)));
   }
}

// Bytes an argument takes in a record.
template <class T>
std::size_t lintelBytes(T const& v) {
   if constexpr (isLintelString<T>) {
      return Lintel::RingBuf::stringBytes(lintelStringView(v));
   } else if constexpr (std::is_same_v<T, bool> || LintelReflectedEnum<T>) {
      return 1;
   } else {
      return sizeof(lintelNumber(v));
   }
}

template <class T>
void lintelPut(Lintel::RecordCursor& c, T const& v) {
   if constexpr (isLintelString<T>) {
      c.put(lintelStringView(v));
   } else if constexpr (std::is_same_v<T, bool>) {
      c.raw(static_cast<std::uint8_t>(v ? 1 : 0));
   } else if constexpr (LintelReflectedEnum<T>) {
      c.raw(static_cast<std::uint8_t>(v));
   } else {
      c.raw(lintelNumber(v));
   }
}

// ---- Compile-time checks of a statement ----

template <std::size_t N>
struct ArgList {
   static constexpr std::size_t count = N;
};
// Only named in decltype: counts a statement's arguments without evaluating them.
template <class... A>
ArgList<sizeof...(A)> argTypes(A const&...);

consteval std::size_t placeholders(std::string_view format) {
   std::size_t n = 0;
   for (std::size_t i = 0; i + 1 < format.size(); ++i) {
      if (format[i] == '%' && format[i + 1] == 's') ++n;
   }
   return n;
}

// ---- Text side ----

// Renders a statement's text: each operator<< copies the format up to the next
// "%s" and then its argument. bool prints "true"/"false", strings as they are,
// integers in decimal, enums and other types through their operator<<. The
// text lives in a buffer of the calling thread, reused by its next statement.
class LintelConverter {
public:
   explicit LintelConverter(char const* format);
   LintelConverter(LintelConverter const&) = delete;
   LintelConverter& operator=(LintelConverter const&) = delete;

   template <class T>
   LintelConverter& operator<<(T const& v) {
      literal();
      if constexpr (isLintelString<T>) {
         out_ += lintelStringView(v);
      } else if constexpr (std::is_same_v<T, bool>) {
         out_ += v ? "true" : "false";
      } else if constexpr (std::is_integral_v<T>) {
         if constexpr (std::is_signed_v<T>) {
            integer(static_cast<long long>(v));
         } else {
            integer(static_cast<unsigned long long>(v));
         }
      } else {
         std::ostream& os = valueStream();
         os << v;
         valueStreamed();
      }
      return *this;
   }
   // The text, with the rest of the format appended.
   std::string const& text();

private:
   // Copies the format up to the next "%s" and steps over it.
   void literal();
   void integer(long long v);
   void integer(unsigned long long v);
   // A cleared stream for one value; valueStreamed() appends what it holds.
   std::ostream& valueStream();
   void valueStreamed();

   char const* rest_;
   std::string& out_;
};

// ---- The statement ----

// Enters a statement's description in `file` and returns its number. `enumTypes`
// has the reflected type of each "e" argument, at its place among `types`.
int msgDescIs(Lintel::TraceFile* file, int* msgId, char const* format, char const* types,
              char const* styles, Fen::FwkType const* enumTypes, char const* sourceFile, int line);

template <class... A>
[[gnu::noinline]] void traceStatement(Fen::TraceHandle const& handle, int level, int* msgId,
                                      char const* format, char const* sourceFile, int line,
                                      char const* function, A const&... args) {
   if (Lintel::TraceFile* file = Lintel::defaultLintelFile()) {
      int id = std::atomic_ref<int>(*msgId).load(std::memory_order_relaxed);
      if (!file->msgKnown(id)) [[unlikely]] {
         static constexpr char types[] = {lintelTypeLetter<A>()..., '\0'};
         static constexpr char styles[] = {lintelStyle<A>()..., '\0'};
         static constexpr Fen::FwkType enumTypes[] = {lintelEnumType<A>()..., Fen::FwkType{}};
         id = msgDescIs(file, msgId, format, types, styles, enumTypes, sourceFile, line);
      }
      Lintel::RingBuf* ring = file->ring(level);
      if (ring->startMsg(file, id, (std::size_t{0} + ... + lintelBytes(args)))) {
         Lintel::RecordCursor c = ring->cursor();
         (lintelPut(c, args), ...);
         ring->endMsg(c);
      }
   }
   if (handle.levelEnabled(level)) {
      LintelConverter converter(format);
      (static_cast<void>(converter << args), ...);
      std::string const& text = converter.text();
      if (handle.levelEnabled(level)) {
         Fen::TraceHelper helper(handle, level, sourceFile, line, function);
         helper << text;
      }
   }
}

// True while a Lintel handle is installed: statements then record. Only a test
// of the pointer; defaultLintelFile() loads it again to use it.
inline bool lintelActive() {
   return Lintel::defaultLintelHandle.load(std::memory_order_relaxed) != nullptr;
}

}  // namespace Gantry

// One trace statement at `level` of the unit's facility (see the top of this
// file). `_defaultTraceHandle()` is found unqualified: FEN_TRACE_UNIT defines it.
#define GANTRY_TRACE(level, format, ...)                                                           \
   do {                                                                                            \
      static_assert(                                                                               \
          (level) >= ::Fen::TraceFacility::levelMin && (level) <= ::Fen::TraceFacility::levelMax,  \
          "trace levels are 0 to 15");                                                             \
      static_assert(                                                                               \
          ::Gantry::placeholders(format) == decltype(::Gantry::argTypes(__VA_ARGS__))::count,      \
          "a trace statement has one argument per %s of its format");                              \
      if (::Gantry::lintelActive() || _defaultTraceHandle().levelEnabled(level)) [[unlikely]] {    \
         static int gantryMsgId_ = 0;                                                              \
         ::Gantry::traceStatement(_defaultTraceHandle(), (level), &gantryMsgId_, format, __FILE__, \
                                  __LINE__, __func__ __VA_OPT__(, ) __VA_ARGS__);                  \
      }                                                                                            \
   } while (false)

// An encap as five arguments, for GANTRY_ENCAP_FORMAT: the interface, then vid
// and tpid of the outer tag, then of the inner tag. `e` is an Ulva::IntfEncap.
#define GANTRY_ENCAP(e)                                                                     \
   (e).intfId().stringValue(), (e).encap().outerTag().vid(), (e).encap().outerTag().tpid(), \
       (e).encap().innerTag().vid(), (e).encap().innerTag().tpid()
// "(Ethernet3/1, 100:0x8100, 4095:0x8100)"
#define GANTRY_ENCAP_FORMAT "(%s, %s:%s, %s:%s)"
