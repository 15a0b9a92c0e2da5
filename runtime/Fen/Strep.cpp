#include "Fen/Strep.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

namespace Fen {

namespace {

bool isWordChar(char c) {
   return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// The end of the word (letters, digits, '_') that starts at `it`.
String::IteratorConst wordEnd(String::IteratorConst it, String::IteratorConst const& end) {
   while (it != end && isWordChar(*it))
      ++it;
   return it;
}

void appendEscaped(std::string& out, char c) {
   if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
   } else if (c >= 0x20 && c <= 0x7e) {
      out += c;
   } else {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\x%02x",
                    static_cast<unsigned>(static_cast<unsigned char>(c)));
      out += buf;
   }
}

// [it, stop) quoted and escaped for a message.
std::string quoted(String::IteratorConst it, String::IteratorConst const& stop,
                   std::size_t max = 64) {
   std::string out = "\"";
   for (std::size_t n = 0; it != stop && n < max; ++it, ++n)
      appendEscaped(out, *it);
   return out + (it == stop ? "\"" : "...\"");
}

// The word [it, stop) quoted for a message, and whether the text ends with it.
String quoteWord(String::IteratorConst const& it, String::IteratorConst const& stop,
                 String::IteratorConst const& end) {
   return String(quoted(it, stop) + (stop == end ? " and the end of the text" : ""));
}

template <typename T>
void sequenceToUnsigned(String::IteratorConst& it, String::IteratorConst const& end, T* out) {
   String::IteratorConst const start = it;
   std::uint64_t const v = sequenceToDecimal(it, end);
   if (v > std::numeric_limits<T>::max()) {
      String::IteratorConst const stop = it;
      it = start;
      throwRangeException(format("number %s out of range (0 to %" PRIu64 ")",
                                 String(start, stop).charPtr(),
                                 std::uint64_t{std::numeric_limits<T>::max()}));
   }
   *out = static_cast<T>(v);
}

}  // namespace

String strepExcerpt(String::IteratorConst it, String::IteratorConst const& end, std::size_t max) {
   if (it == end) return String("the end of the text");
   std::string out = "\"";
   std::size_t n = 0;
   for (; it != end && n < max; ++it, ++n)
      appendEscaped(out, *it);
   // Say so when the text ends within the excerpt: the usual reason for a
   // refusal of a cut text.
   out += it == end ? "\" and the end of the text" : "...\"";
   return String(std::move(out));
}

String strepQuote(String::IteratorConst it, String::IteratorConst const& stop, std::size_t max) {
   return String(quoted(it, stop, max));
}

void needString(String::IteratorConst& it, String::IteratorConst const& end, char const* literal) {
   String::IteratorConst p = it;
   for (char const* l = literal; *l != '\0'; ++l, ++p) {
      if (p == end || *p != *l) {
         throwRangeException(format("expected \"%s\" but found %s", literal,
                                    strepExcerpt(it, end, std::strlen(literal)).charPtr()));
      }
   }
   it = p;
}

void rethrowFromDeserializeAttr(RangeException const& exception, char const* name) {
   throwRangeException(format("attribute '%s': %s", name, exception.what()));
}

void strepToValueEnd(String const& string, String::IteratorConst const& it) {
   if (it != string.end()) {
      throwRangeException(
          format("text left over after the value: %s", strepExcerpt(it, string.end()).charPtr()));
   }
}

std::uint64_t sequenceToDecimal(String::IteratorConst& it, String::IteratorConst const& end) {
   String::IteratorConst const stop = wordEnd(it, end);
   if (stop == it) {
      throwRangeException(
          format("expected a number but found %s", strepExcerpt(it, end).charPtr()));
   }
   std::uint64_t v = 0;
   bool saturated = false;
   for (String::IteratorConst p = it; p != stop; ++p) {
      if (*p < '0' || *p > '9') {
         throwRangeException(
             format("expected a number but found %s", quoteWord(it, stop, end).charPtr()));
      }
      unsigned const digit = static_cast<unsigned>(*p - '0');
      if (v > (std::numeric_limits<std::uint64_t>::max() - digit) / 10) saturated = true;
      if (!saturated) v = v * 10 + digit;
   }
   if (*it == '0' && stop - it > 1) {
      throwRangeException(format("number with a leading zero: %s", String(it, stop).charPtr()));
   }
   it = stop;
   return saturated ? std::numeric_limits<std::uint64_t>::max() : v;
}

void sequenceToValue(String::IteratorConst& it, String::IteratorConst const& end,
                     std::uint8_t* out) {
   sequenceToUnsigned(it, end, out);
}
void sequenceToValue(String::IteratorConst& it, String::IteratorConst const& end,
                     std::uint16_t* out) {
   sequenceToUnsigned(it, end, out);
}
void sequenceToValue(String::IteratorConst& it, String::IteratorConst const& end,
                     std::uint32_t* out) {
   sequenceToUnsigned(it, end, out);
}
// EnumType

template <typename U>
char const* EnumType<U>::name(U value) const {
   for (std::size_t i = 0; i < count_; ++i) {
      if (enumerators_[i].value == value) return enumerators_[i].name;
   }
   return nullptr;
}

template <typename U>
U EnumType<U>::instance(unsigned number) const {
   if (number <= std::numeric_limits<U>::max()) {
      U const value = static_cast<U>(number);
      if (values_ == anyNumber || name(value) != nullptr) return value;
   }
   throwRangeException(format("%u is no enumerator of %s", number, typeName_));
}

template <typename U>
U EnumType<U>::instance(String const& name) const {
   String::IteratorConst it = name.begin();
   U value{};
   try {
      sequenceToValue(it, name.end(), &value);
      strepToValueEnd(name, it);
   } catch (RangeException const&) {
      throwRangeException(
          format("%s is no enumerator of %s", quoted(name.begin(), name.end()).c_str(), typeName_));
   }
   return value;
}

template <typename U>
String EnumType<U>::stringValue(U value) const {
   if (char const* n = name(value)) return String(n);
   return String(std::to_string(static_cast<unsigned long long>(value)));
}

template <typename U>
String EnumType<U>::valueToStrep(U value) const {
   return stringValue(value);
}

template <typename U>
void EnumType<U>::sequenceToValue(String::IteratorConst& it, String::IteratorConst const& end,
                                  U* out) const {
   String::IteratorConst const stop = wordEnd(it, end);
   std::size_t const length = static_cast<std::size_t>(stop - it);
   if (length != 0) {
      for (std::size_t i = 0; i < count_; ++i) {
         char const* n = enumerators_[i].name;
         if (std::strlen(n) == length && std::equal(it, stop, n)) {
            *out = enumerators_[i].value;
            it = stop;
            return;
         }
      }
      // A number stands only for a value without a name, so that every value has
      // exactly one text.
      if (values_ == anyNumber && *it >= '0' && *it <= '9') {
         String::IteratorConst p = it;
         U value{};
         Fen::sequenceToValue(p, end, &value);
         if (name(value) == nullptr) {
            *out = value;
            it = p;
            return;
         }
      }
   }
   throwRangeException(
       format("expected an enumerator of %s but found %s", typeName_,
              (length != 0 ? quoteWord(it, stop, end) : strepExcerpt(it, end)).charPtr()));
}

template <typename U>
std::ostream& EnumType<U>::operatorLessLess(std::ostream& os, U value) const {
   return os << stringValue(value);
}

template class EnumType<unsigned char>;

}  // namespace Fen
