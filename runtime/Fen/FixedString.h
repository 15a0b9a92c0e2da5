// Text made at compile time: a string literal as a template argument
// (Fen::FixedString), and the null-terminated concatenation of several pieces
// (Fen::Concat). The generated names of the system (a reactor's qualified class
// name, the keys of a record's string form) are built with them, so that they
// cost nothing at run time.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace Fen {

// A string literal given as a template argument.
template <std::size_t n>
struct FixedString {
   char text[n]{};
   constexpr FixedString(char const (&s)[n]) {
      for (std::size_t i = 0; i < n; ++i)
         text[i] = s[i];
   }
   constexpr std::string_view view() const { return {text, n - 1}; }
};

// A piece of a concatenation: a literal, or the type name of a counted class.
template <FixedString s>
struct Literal {
   static constexpr std::string_view value = s.view();
};
template <class Counted>
struct TypeNameOf {
   static constexpr std::string_view value = Counted::fenTypeName();
};

// The pieces' texts one after another, null-terminated, in static storage.
template <class... Pieces>
struct Concat {
   static constexpr auto storage = [] {
      std::array<char, (Pieces::value.size() + ... + 0) + 1> s{};
      std::size_t at = 0;
      for (std::string_view piece : {Pieces::value...}) {
         for (char c : piece)
            s[at++] = c;
      }
      s[at] = '\0';
      return s;
   }();
   static constexpr char const* cString = storage.data();
};

}  // namespace Fen
