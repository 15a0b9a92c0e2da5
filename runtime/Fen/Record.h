// The field table of a value record, told once, and what is made from it.
//
// A record lists its stored fields in declaration order, after their
// declarations, as one type:
//
//   using FenFields = Fen::Fields<"Ulva::IntfEncap",
//                                 Fen::Field<&IntfEncap::intfId_, "intfId", Fen::ctorOnly>,
//                                 Fen::Field<&IntfEncap::encap_, "encap", Fen::ctorOnly>>;
//
// Each field names its member, its name in the string form, and its access:
// `Fen::ctorOnly` for a key field that only the constructor sets, `Fen::writable`
// (the default) for a field with a setter `xIs`. A field whose text needs more
// than its type's parser (a range its setter checks) names a parse function
// `void (Record&, String::IteratorConst&, String::IteratorConst const&)`.
// Reflection numbers the attributes of a value type from 2 in this order, so
// fieldCount<R> and the index of a field in the table are its attribute ids
// less 2.
//
// Made from the table:
//   recordEqual(a, b)      every field compared, in order
//   recordHash(r, seed)    each field's hash word mixed as 4 bytes, in order: a
//                          record's own hash(seed) at seed 0, an id's hash(), a
//                          number or an enumerator as itself
//   recordToStrep(r)       Value('<name>', ** {'<field>': <value>, ...}); a
//                          number in decimal, anything else in its own string
//                          form (valueToStrep, found by argument-dependent lookup)
//   recordParse(r, it, end) the strict parser of exactly that text; a field that
//                          does not parse is named in the refusal
//   forEachField<R>(fn)    fn(field) per field type, in order, for tools
//
// Everything is resolved at compile time: the member pointers are template
// arguments, so the equality and the hash compile to the same code as the
// hand-written comparisons and mixes they replace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "Fen/FixedString.h"
#include "Fen/Hash.h"
#include "Fen/Strep.h"
#include "Fen/String.h"

namespace Fen {

enum FieldAccess : std::uint8_t { ctorOnly, writable };

namespace RecordDetail {
template <class M>
struct MemberOf;
template <class R, class T>
struct MemberOf<T R::*> {
   using Record = R;
   using Type = T;
};

}  // namespace RecordDetail

// One field of a record's table.
template <auto memberPtr, FixedString fieldName, FieldAccess fieldAccess = writable,
          auto parseFn = nullptr>
struct Field {
   using Record = typename RecordDetail::MemberOf<decltype(memberPtr)>::Record;
   using Type = typename RecordDetail::MemberOf<decltype(memberPtr)>::Type;
   static constexpr auto member = memberPtr;
   static constexpr std::string_view name = fieldName.view();
   static constexpr FieldAccess access = fieldAccess;
   static constexpr bool hasParse = !std::is_same_v<decltype(parseFn), std::nullptr_t>;
   static constexpr auto parse = parseFn;
   // The text that stands before the value: "'<name>': " for the first field,
   // ", '<name>': " for the others.
   static constexpr char const* firstLead =
       Concat<Literal<"'">, Literal<fieldName>, Literal<"': ">>::cString;
   static constexpr char const* lead =
       Concat<Literal<", '">, Literal<fieldName>, Literal<"': ">>::cString;
};

// A record's table: its full type name and its fields in declaration order.
template <FixedString recordName, class... F>
struct Fields {
   static constexpr std::string_view name = recordName.view();
   static constexpr std::size_t count = sizeof...(F);
   // "Value('<name>', ** {"
   static constexpr char const* opening =
       Concat<Literal<"Value('">, Literal<recordName>, Literal<"', ** {">>::cString;
   template <class Fn>
   static constexpr void forEach(Fn&& fn) {
      (fn(F{}), ...);
   }
   // Forced inline: a key's comparison runs in every map lookup, and GCC
   // otherwise leaves the fold over a record of records as a call.
   template <class Fn>
   [[gnu::always_inline]] static constexpr bool all(Fn&& fn) {
      return (fn(F{}) && ...);
   }
};

template <class R>
constexpr std::size_t fieldCount() {
   return R::FenFields::count;
}

template <class R, class Fn>
constexpr void forEachField(Fn&& fn) {
   R::FenFields::forEach(fn);
}

template <class R>
[[gnu::always_inline]] inline bool recordEqual(R const& a, R const& b) {
   return R::FenFields::all([&](auto f)
                                [[gnu::always_inline]] { return a.*f.member == b.*f.member; });
}

// The word a field contributes to its record's hash.
template <class T>
std::uint32_t fieldHashWord(T const& v) {
   if constexpr (requires { v.hash(std::uint32_t{0}); }) {
      return v.hash(0);
   } else if constexpr (requires { v.hash(); }) {
      return v.hash();
   } else {
      return static_cast<std::uint32_t>(v);
   }
}

template <class R>
std::uint32_t recordHash(R const& r, std::uint32_t seed) {
   Hash h(seed);
   R::FenFields::forEach([&](auto f) { h.hashMix<4>(fieldHashWord(r.*f.member)); });
   return h.result();
}

// The string form of one field's value.
template <class T>
String fieldToStrep(T const& v) {
   if constexpr (std::is_arithmetic_v<T>) {
      return String(std::to_string(static_cast<std::uint64_t>(v)));
   } else {
      return valueToStrep(v);
   }
}

template <class R>
String recordToStrep(R const& r) {
   using Table = typename R::FenFields;
   String out(Table::opening);
   bool first = true;
   Table::forEach([&](auto f) {
      out += String(first ? f.firstLead : f.lead);
      out += fieldToStrep(r.*f.member);
      first = false;
   });
   out += String("})");
   return out;
}

template <class R>
void recordParse(R& r, String::IteratorConst& it, String::IteratorConst const& end) {
   using Table = typename R::FenFields;
   needString(it, end, Table::opening);
   bool first = true;
   Table::forEach([&](auto f) {
      using F = decltype(f);
      needString(it, end, first ? F::firstLead : F::lead);
      first = false;
      if constexpr (F::hasParse) {
         try {
            F::parse(r, it, end);
         } catch (RangeException const& e) {
            rethrowFromDeserializeAttr(e, F::name.data());
         }
      } else {
         r.*F::member = deserializeAttr<typename F::Type>(it, end, F::name.data());
      }
   });
   needString(it, end, "})");
}

}  // namespace Fen
