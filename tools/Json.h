// The JSON text of a string, for the tools' machine-readable output: quoted, with
// quotes, backslashes and control characters escaped.
#pragma once

#include <cstdio>
#include <string>

namespace WexVlanMappingTool {

inline std::string jsonString(std::string const& s) {
   std::string out = "\"";
   for (char const c : s) {
      switch (c) {
         case '"':
            out += "\\\"";
            break;
         case '\\':
            out += "\\\\";
            break;
         case '\n':
            out += "\\n";
            break;
         case '\r':
            out += "\\r";
            break;
         case '\t':
            out += "\\t";
            break;
         default:
            if (static_cast<unsigned char>(c) < 0x20) {
               char buf[8];
               std::snprintf(buf, sizeof buf, "\\u%04x", static_cast<unsigned>(c));
               out += buf;
            } else {
               out += c;
            }
      }
   }
   return out + "\"";
}

}  // namespace WexVlanMappingTool
