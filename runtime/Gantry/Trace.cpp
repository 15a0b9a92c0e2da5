#include "Gantry/Trace.h"

#include <charconv>

#include "Fen/GenericIf.h"
#include "Lintel/MsgDesc.h"

namespace Gantry {

namespace {

// The rendered text of the thread's current statement, and a stream for the
// values that print through their own operator<<. Per thread, so that threads
// tracing at once do not mix their lines.
thread_local std::string gantrySs_;
thread_local std::ostringstream gantryValueStream_;

}  // namespace

LintelConverter::LintelConverter(char const* format) : rest_(format), out_(gantrySs_) {
   out_.clear();
}

void LintelConverter::literal() {
   std::string_view const rest(rest_);
   std::size_t const hole = rest.find("%s");
   if (hole == std::string_view::npos) {
      // More arguments than holes: the compile-time check of GANTRY_TRACE rules
      // this out; a direct caller gets the argument appended.
      out_ += rest;
      rest_ += rest.size();
      return;
   }
   out_.append(rest_, hole);
   rest_ += hole + 2;
}

void LintelConverter::integer(long long v) {
   char buf[24];
   auto res = std::to_chars(buf, buf + sizeof buf, v);
   out_.append(buf, res.ptr);
}

void LintelConverter::integer(unsigned long long v) {
   char buf[24];
   auto res = std::to_chars(buf, buf + sizeof buf, v);
   out_.append(buf, res.ptr);
}

std::ostream& LintelConverter::valueStream() {
   gantryValueStream_.str(std::string());
   gantryValueStream_.clear();
   return gantryValueStream_;
}

void LintelConverter::valueStreamed() {
   out_ += gantryValueStream_.view();
}

std::string const& LintelConverter::text() {
   out_ += rest_;
   rest_ += std::char_traits<char>::length(rest_);
   return out_;
}

int msgDescIs(Lintel::TraceFile* file, int* msgId, char const* format, char const* types,
              char const* styles, Fen::FwkType const* enumTypes, char const* sourceFile, int line) {
   Lintel::MsgFormatString argTypes;
   for (char const* t = types; *t; ++t) {
      std::ptrdiff_t const a = t - types;
      if (*t == 'e') {
         // The type's full name, as reflection publishes it. A module not built
         // yet (a statement run by a static initialiser) leaves the name empty:
         // the dump then prints the number.
         Fen::TypeView const type(enumTypes[a]);
         bool const known =
             type.module && type.module->types && type.index < type.module->typeCount;
         argTypes.putEnum(known ? Fen::String(type.name()) : Fen::String(), styles[a]);
         continue;
      }
      char const letter[2] = {*t, '\0'};
      argTypes.put(letter, styles[a]);
   }
   Lintel::MsgDesc desc(file, msgId, sourceFile, line);
   desc << argTypes;
   // The text in pieces: the literals and each "%s" on its own.
   std::string_view rest(format);
   while (!rest.empty()) {
      std::size_t const hole = rest.find("%s");
      if (hole == std::string_view::npos) {
         desc << Fen::String(rest);
         break;
      }
      if (hole > 0) desc << Fen::String(rest.substr(0, hole));
      desc << "%s";
      rest = rest.substr(hole + 2);
   }
   return desc.finish();
}

}  // namespace Gantry
