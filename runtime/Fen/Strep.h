// The string form of values: the text by which tools print a value and give it
// back.
//
// A record writes itself as
//    Value('<full type name>', ** {'<field>': <value>, '<field>': <value>})
// with its stored fields in declaration order, separated by ", ". Inside it a
// nested record writes its own form, an interface name is quoted
// ('Ethernet3/1', and '' for no interface), an enumerator is its name and a
// number is written in decimal.
//
// Parsers are strict: they take the text exactly as the writers produce it,
// with no tolerance for spacing, and refuse anything else with
// Fen::RangeException, whose message says what was expected and what was found
// and, for a field that does not parse, names the field. A text that parses is
// always the canonical text of the value it gives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <type_traits>

#include "Fen/Exception.h"
#include "Fen/String.h"

namespace Fen {

// Consumes exactly `literal` at `it`, or throws RangeException saying what was
// expected and what was found; `it` does not move on a refusal.
void needString(String::IteratorConst& it, String::IteratorConst const& end, char const* literal);

// Throws a RangeException that names the attribute `name` and carries the
// message of `exception`: "attribute 'vid': ...".
[[noreturn]] void rethrowFromDeserializeAttr(RangeException const& exception, char const* name);

// Refuses text left over: `it` must stand at the end of `string`.
void strepToValueEnd(String const& string, String::IteratorConst const& it);

// For messages: the text at `it`, at most `max` characters, quoted, with
// unprintable characters escaped; "the end of the text" when nothing is left.
String strepExcerpt(String::IteratorConst it, String::IteratorConst const& end,
                    std::size_t max = 24);

// For messages: the text [it, stop) quoted, escaped, and cut after `max`
// characters.
String strepQuote(String::IteratorConst it, String::IteratorConst const& stop,
                  std::size_t max = 64);

// Reads a decimal number: digits only, without sign or leading zero, and not run
// on into letters. A value beyond 64 bits reads as UINT64_MAX; the caller checks
// the range.
std::uint64_t sequenceToDecimal(String::IteratorConst& it, String::IteratorConst const& end);

// Unsigned numbers of each width, refusing a value out of range.
void sequenceToValue(String::IteratorConst& it, String::IteratorConst const& end,
                     std::uint8_t* out);
void sequenceToValue(String::IteratorConst& it, String::IteratorConst const& end,
                     std::uint16_t* out);
void sequenceToValue(String::IteratorConst& it, String::IteratorConst const& end,
                     std::uint32_t* out);

// A type parses through its parsing constructor T(it, end) when it has one, and
// otherwise through a sequenceToValue(it, end, T*) found by argument-dependent
// lookup (or one of the number parsers above).
template <typename T>
concept HasParsingConstructor =
    std::is_constructible_v<T, String::IteratorConst&, String::IteratorConst const&>;

template <typename T>
T sequenceToAttr(String::IteratorConst& it, String::IteratorConst const& end) {
   if constexpr (HasParsingConstructor<T>) {
      return T(it, end);
   } else {
      T value{};
      sequenceToValue(it, end, &value);
      return value;
   }
}

// Parses one field of a record; a refusal is turned into one that names it.
template <typename T>
T deserializeAttr(String::IteratorConst& it, String::IteratorConst const& end, char const* name) {
   try {
      return sequenceToAttr<T>(it, end);
   } catch (RangeException const& e) {
      rethrowFromDeserializeAttr(e, name);
   }
}

// Parses the whole of `string` into `*out`; refuses text left over. `*out` is
// written only when the text parses.
template <typename T>
void strepToValue(String const& string, T* out) {
   String::IteratorConst it = string.begin();
   T value = sequenceToAttr<T>(it, string.end());
   strepToValueEnd(string, it);
   *out = value;
}

// The names of an enumeration, told once in one table. `U` is the enumeration's
// underlying type. The string form of an enumerator is its name. An enumeration
// of `anyNumber` also holds numbers without a name, written in decimal; one of
// `enumeratorsOnly` refuses them when parsing.
template <typename U>
class EnumType {
public:
   enum Values : std::uint8_t { enumeratorsOnly, anyNumber };
   struct Enumerator {
      U value;
      char const* name;
   };

   template <std::size_t N>
   constexpr EnumType(char const* typeName, Enumerator const (&enumerators)[N],
                      Values values = enumeratorsOnly)
       : typeName_(typeName), enumerators_(enumerators), count_(N), values_(values) {}

   char const* typeName() const { return typeName_; }
   // The enumerators, in their table's order: the one place their names live.
   std::size_t enumeratorCount() const { return count_; }
   Enumerator const& enumerator(std::size_t i) const { return enumerators_[i]; }
   // The enumerator's name; null for a number without one.
   char const* name(U value) const;

   // Number to value: an enumerator, or any number of the underlying type for an
   // enumeration of anyNumber. Throws RangeException otherwise.
   U instance(unsigned number) const;
   // Name to value: exactly what sequenceToValue takes. Throws RangeException.
   U instance(String const& name) const;

   // The name, or the number in decimal for a value without one.
   String valueToStrep(U value) const;
   String stringValue(U value) const;
   void sequenceToValue(String::IteratorConst& it, String::IteratorConst const& end, U* out) const;
   // Writes stringValue.
   std::ostream& operatorLessLess(std::ostream& os, U value) const;

private:
   char const* typeName_;
   Enumerator const* enumerators_;
   std::size_t count_;
   Values values_;
};

extern template class EnumType<unsigned char>;

}  // namespace Fen

// Defines, at namespace scope beside the enumeration `Enum`, its string form
// `valueToStrep(Enum const&)` and its parser `sequenceToValue(it, end, Enum*)`,
// both told by the Fen::EnumType<unsigned char> `table`.
#define FEN_ENUM_STREP(Enum, table)                                                                \
   ::Fen::String valueToStrep(Enum const& value) {                                                 \
      return table.valueToStrep(value);                                                            \
   }                                                                                               \
   void sequenceToValue(::Fen::String::IteratorConst& it, ::Fen::String::IteratorConst const& end, \
                        Enum* out) {                                                               \
      unsigned char value = 0;                                                                     \
      table.sequenceToValue(it, end, &value);                                                      \
      *out = static_cast<Enum>(value);                                                             \
   }
