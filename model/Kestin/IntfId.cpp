#include "Kestin/IntfId.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "Fen/Exception.h"
#include "Fen/Hash.h"
#include "Fen/Strep.h"

namespace Kestin {

namespace {

constexpr int kindShift = 60;
constexpr int nShift = 44;
constexpr int mShift = 32;
constexpr int kShift = 20;
constexpr std::uint64_t nMax = 65535, mMax = 4095, kMax = 4095, subMax = 1048575, vlanMax = 4094;

struct NameParser {
   Fen::String const& name;
   std::string::const_iterator pos;
   std::string::const_iterator end;

   [[noreturn]] void invalid() const {
      Fen::throwRangeException(Fen::format("invalid interface name '%s'", name.charPtr()));
   }
   bool consume(char const* literal) {
      std::size_t const n = std::strlen(literal);
      if (static_cast<std::size_t>(end - pos) < n || std::string(pos, pos + n) != literal) {
         return false;
      }
      pos += n;
      return true;
   }
   std::uint64_t number(std::uint64_t max, char const* what) {
      if (pos == end || *pos < '0' || *pos > '9') invalid();
      if (*pos == '0') invalid();  // no leading zeros, and numbers start at 1
      std::uint64_t v = 0;
      while (pos != end && *pos >= '0' && *pos <= '9') {
         v = v * 10 + static_cast<std::uint64_t>(*pos - '0');
         if (v > max) {
            Fen::throwRangeException(
                Fen::format("interface %s number out of range (1 to %llu) in '%s'", what,
                            static_cast<unsigned long long>(max), name.charPtr()));
         }
         ++pos;
      }
      return v;
   }
};

}  // namespace

void IntfId::handleInitialized(Fen::String const& name) {
   wordIs(defaultWord);
   if (name.empty()) return;
   NameParser p{name, name.begin(), name.end()};
   std::uint64_t w = 0;
   bool subAllowed = true;
   if (p.consume("Ethernet")) {
      w = std::uint64_t{kindEthernet} << kindShift;
      w |= p.number(nMax, "port") << nShift;
      if (p.consume("/")) {
         w |= p.number(mMax, "module port") << mShift;
         if (p.consume("/")) w |= p.number(kMax, "lane") << kShift;
      }
   } else if (p.consume("Port-Channel")) {
      w = std::uint64_t{kindPortChannel} << kindShift;
      w |= p.number(nMax, "port-channel") << nShift;
   } else if (p.consume("Vlan")) {
      w = std::uint64_t{kindVlan} << kindShift;
      w |= p.number(vlanMax, "vlan") << nShift;
      subAllowed = false;
   } else {
      p.invalid();
   }
   if (subAllowed && p.consume(".")) w |= p.number(subMax, "sub-interface");
   if (p.pos != p.end) p.invalid();
   wordIs(w);
}

std::uint32_t IntfId::hash() const {
   return Fen::hashSingleAttr(0, value());
}

Fen::String IntfId::stringValue() const {
   std::uint64_t const w = value();
   auto field = [w](int shift, std::uint64_t mask) {
      return static_cast<unsigned long long>((w >> shift) & mask);
   };
   // The longest name, "Port-Channel65535.1048575", fits with room to spare.
   char buf[48];
   int n;
   switch (kind()) {
      case kindEthernet:
         n = std::snprintf(buf, sizeof buf, "Ethernet%llu", field(nShift, nMax));
         if (field(mShift, mMax)) {
            n += std::snprintf(buf + n, sizeof buf - n, "/%llu", field(mShift, mMax));
         }
         if (field(kShift, kMax)) {
            n += std::snprintf(buf + n, sizeof buf - n, "/%llu", field(kShift, kMax));
         }
         break;
      case kindPortChannel:
         n = std::snprintf(buf, sizeof buf, "Port-Channel%llu", field(nShift, nMax));
         break;
      case kindVlan:
         n = std::snprintf(buf, sizeof buf, "Vlan%llu", field(nShift, nMax));
         break;
      default:
         return Fen::String();
   }
   if (field(0, subMax)) n += std::snprintf(buf + n, sizeof buf - n, ".%llu", field(0, subMax));
   return Fen::String(std::string_view(buf, static_cast<std::size_t>(n)));
}

std::ostream& operator<<(std::ostream& os, IntfId id) {
   return os << id.stringValue();
}

Fen::String valueToStrep(IntfId const& id) {
   return Fen::String("'") + id.stringValue() + "'";
}

void sequenceToValue(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end,
                     IntfId* out) {
   Fen::String::IteratorConst p = it;
   Fen::needString(p, end, "'");
   Fen::String::IteratorConst const close = std::find(p, end, '\'');
   if (close == end) {
      Fen::throwRangeException(
          Fen::format("interface name without its closing quote before the end of the text: %s",
                      Fen::strepExcerpt(it, end).charPtr()));
   }
   // Names are made of letters, digits, '/', '.' and '-'; anything else is
   // refused here, so that the message can quote it safely.
   bool const plain = std::all_of(p, close, [](char c) {
      return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
             c == '/' || c == '.' || c == '-';
   });
   if (!plain) {
      Fen::throwRangeException(
          Fen::format("invalid interface name %s", Fen::strepQuote(p, close).charPtr()));
   }
   *out = IntfId(Fen::String(p, close));
   it = close + 1;
}

bool EthIntfId::isEthIntfId(IntfId id) {
   return id.kind() == IntfId::kindEthernet && SubIntfId::subIntfNumber(id) == 0;
}

bool PortChannelIntfId::isPortChannelIntfId(IntfId id) {
   return id.kind() == IntfId::kindPortChannel && SubIntfId::subIntfNumber(id) == 0;
}

bool SubIntfId::isSubIntfId(IntfId id) {
   return subIntfNumber(id) != 0;
}

std::uint32_t SubIntfId::subIntfNumber(IntfId id) {
   if (id.kind() == IntfId::kindNone) return 0;
   return static_cast<std::uint32_t>(id.value() & subMax);
}

IntfId SubIntfId::parentIntfId(IntfId id) {
   if (!isSubIntfId(id)) return IntfId();
   return IntfId::fromWord(id.value() & ~subMax);
}

}  // namespace Kestin
