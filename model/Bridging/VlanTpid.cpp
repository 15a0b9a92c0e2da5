#include "Bridging/VlanTpid.h"

#include <cstdio>

#include "Fen/Strep.h"

namespace Bridging {

std::ostream& operator<<(std::ostream& os, VlanTpid tpid) {
   char buf[8];
   std::snprintf(buf, sizeof buf, "0x%04x", static_cast<unsigned>(tpid));
   return os << buf;
}

Fen::String valueToStrep(VlanTpid const& tpid) {
   return Fen::format("0x%04x", static_cast<unsigned>(tpid));
}

void sequenceToValue(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end,
                     VlanTpid* out) {
   // "0x" and exactly four lower-case hexadecimal digits, not run on into letters.
   Fen::String::IteratorConst p = it;
   bool ok = p != end && *p == '0' && ++p != end && *p == 'x';
   unsigned value = 0;
   for (int i = 0; ok && i < 4; ++i) {
      ok = ++p != end && ((*p >= '0' && *p <= '9') || (*p >= 'a' && *p <= 'f'));
      if (ok) value = value * 16 + static_cast<unsigned>(*p <= '9' ? *p - '0' : *p - 'a' + 10);
   }
   if (ok) {
      ++p;
      ok = p == end || !((*p >= '0' && *p <= '9') || (*p >= 'a' && *p <= 'z') ||
                         (*p >= 'A' && *p <= 'Z') || *p == '_');
   }
   if (!ok) {
      Fen::throwRangeException(Fen::format("expected a tpid such as \"0x8100\" but found %s",
                                           Fen::strepExcerpt(it, end, 8).charPtr()));
   }
   *out = static_cast<VlanTpid>(value);
   it = p;
}

}  // namespace Bridging
