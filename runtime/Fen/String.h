// Fen::String: the runtime's string, a thin value wrapper over std::string.
//
// It offers the three operations the system relies on (`charPtr()`, `begin()`,
// `end()`) plus what records need to print, compare and parse themselves.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

namespace Fen {

class String {
public:
   using IteratorConst = std::string::const_iterator;

   String() = default;
   String(char const* s) : s_(s ? s : "") {}
   String(std::string s) : s_(std::move(s)) {}
   String(std::string_view s) : s_(s) {}
   String(IteratorConst b, IteratorConst e) : s_(b, e) {}

   char const* charPtr() const { return s_.c_str(); }
   IteratorConst begin() const { return s_.begin(); }
   IteratorConst end() const { return s_.end(); }
   std::size_t size() const { return s_.size(); }
   bool empty() const { return s_.empty(); }
   std::string const& stdString() const { return s_; }
   std::string_view view() const { return s_; }

   String& operator+=(String const& o) {
      s_ += o.s_;
      return *this;
   }
   friend String operator+(String a, String const& b) { return a += b; }
   friend bool operator==(String const& a, String const& b) = default;
   friend auto operator<=>(String const& a, String const& b) = default;
   friend std::ostream& operator<<(std::ostream& os, String const& s) { return os << s.s_; }

private:
   std::string s_;
};

}  // namespace Fen
