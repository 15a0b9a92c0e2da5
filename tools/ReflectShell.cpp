#include "ReflectShell.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <set>
#include <sstream>
#include <string_view>

#include "Fen/Exception.h"
#include "Fen/GenericIf.h"
#include "Fen/String.h"
#include "Json.h"

namespace WexVlanMappingTool {

namespace {

using Fen::AttrAccess;
using Fen::AttrKind;
using Fen::FenAttr;
using Fen::GenericValue;
using Fen::TypeFamily;
using Fen::TypeView;
namespace Op = Fen::GenericIf;

[[noreturn]] void refuse(std::string const& what) {
   Fen::throwRangeException(what);
}

std::string str(std::string_view v) {
   return std::string(v);
}

std::string typeName(TypeView t) {
   return t ? str(t.name()) : std::string("none");
}

// ---- words ---------------------------------------------------------------------------

// The words of a line, and where its comment starts (npos for none): blanks
// separate words outside brackets and quotes; double quotes group and are dropped.
std::vector<std::string> splitWords(std::string const& line, std::size_t* commentAt = nullptr) {
   std::vector<std::string> words;
   std::string word;
   bool inWord = false;
   std::string closers;  // the closing brackets awaited, innermost last
   if (commentAt) *commentAt = std::string::npos;
   for (std::size_t i = 0; i < line.size(); ++i) {
      char const c = line[i];
      if (c == '"') {
         // A double-quoted part: literal up to the closing quote.
         inWord = true;
         std::size_t j = i + 1;
         for (; j < line.size() && line[j] != '"'; ++j) {
            if (line[j] == '\\' && j + 1 < line.size() &&
                (line[j + 1] == '"' || line[j + 1] == '\\')) {
               ++j;
            }
            word += line[j];
         }
         if (j == line.size()) refuse("a double quote without its closing quote");
         i = j;
         continue;
      }
      if (c == '\'') {
         // A single-quoted part (an interface name): kept as written.
         std::size_t const close = line.find('\'', i + 1);
         if (close == std::string::npos) refuse("a single quote without its closing quote");
         word.append(line, i, close - i + 1);
         inWord = true;
         i = close;
         continue;
      }
      if (closers.empty() && c == '#') {
         if (commentAt) *commentAt = i;
         break;
      }
      if (closers.empty() && (c == ' ' || c == '\t' || c == '\r')) {
         if (inWord) words.push_back(word);
         word.clear();
         inWord = false;
         continue;
      }
      if (c == '(' || c == '[' || c == '{') {
         closers.push_back(c == '(' ? ')' : c == '[' ? ']' : '}');
      } else if (c == ')' || c == ']' || c == '}') {
         if (closers.empty() || closers.back() != c) {
            refuse(std::string("an unbalanced '") + c + "' in '" + line + "'");
         }
         closers.pop_back();
      }
      word += c;
      inWord = true;
   }
   if (!closers.empty()) {
      refuse(std::string("a '") + closers.back() + "' missing in '" + line + "'");
   }
   if (inWord) words.push_back(word);
   return words;
}

// ---- paths ---------------------------------------------------------------------------

struct Step {
   std::string name;
   bool hasKey = false;
   std::string key;
};

struct Path {
   std::string text;
   std::string root;
   std::vector<Step> steps;
};

// "<root>.<attr>[<key>].<attr>...": the key is the text between the brackets,
// which may hold brackets and quotes of its own.
Path pathOf(std::string const& text) {
   Path p;
   p.text = text;
   std::size_t i = text.find_first_of(".[");
   p.root = text.substr(0, i);
   if (p.root.empty()) refuse("'" + text + "' names no root");
   while (i < text.size()) {
      if (text[i] == '.') {
         std::size_t const end = text.find_first_of(".[", i + 1);
         Step s;
         s.name = text.substr(i + 1, end == std::string::npos ? std::string::npos : end - i - 1);
         if (s.name.empty()) refuse("an empty attribute name in '" + text + "'");
         p.steps.push_back(s);
         i = end == std::string::npos ? text.size() : end;
      } else {
         // '[': to its matching ']', across nested brackets and quoted names.
         if (p.steps.empty()) refuse("a key on the root in '" + text + "': give an attribute");
         if (p.steps.back().hasKey) refuse("two keys on one attribute in '" + text + "'");
         int depth = 0;
         std::size_t j = i;
         for (; j < text.size(); ++j) {
            char const c = text[j];
            if (c == '\'') {
               std::size_t const close = text.find('\'', j + 1);
               if (close == std::string::npos) break;
               j = close;
            } else if (c == '[') {
               ++depth;
            } else if (c == ']' && --depth == 0) {
               break;
            }
         }
         if (j >= text.size()) refuse("a key without its ']' in '" + text + "'");
         p.steps.back().hasKey = true;
         p.steps.back().key = text.substr(i + 1, j - i - 1);
         i = j + 1;
         if (i < text.size() && text[i] != '.' && text[i] != '[') {
            refuse("'" + text.substr(i) + "' after a key in '" + text + "'");
         }
      }
   }
   return p;
}

// The text of a path up to and with step `n` (-1: the root alone).
std::string pathText(Path const& p, int n) {
   std::string t = p.root;
   for (int i = 0; i <= n; ++i) {
      Step const& s = p.steps[static_cast<std::size_t>(i)];
      t += "." + s.name;
      if (s.hasKey) t += "[" + s.key + "]";
   }
   return t;
}

// ---- values --------------------------------------------------------------------------

bool isCollection(FenAttr a) {
   return a.kind() == AttrKind::collection || a.kind() == AttrKind::pointerCollection;
}
bool isMethod(FenAttr a) {
   return a.kind() == AttrKind::method || a.kind() == AttrKind::constMethod;
}

TypeView boolType() {
   static TypeView const t = Fen::fenType(Fen::fenModule("Fen"), "bool");
   return t;
}

// The type of what op get gives: a set's members read as bool.
TypeView valueTypeOf(FenAttr a) {
   if (TypeView t = a.type()) return t;
   if (a.kind() == AttrKind::collection) return boolType();
   return {};
}

std::string repOf(GenericValue const& v) {
   return v.strRep().stdString();
}

// `text` parsed by the string form of `type`. A bare name stands for its quoted
// form where the type's form is a quoted name (an interface).
GenericValue parseAs(TypeView type, std::string const& text, std::string const& what) {
   std::string form = text;
   if (!text.empty() && text[0] != '\'' && repOf(GenericValue(type)).starts_with("'")) {
      form = "'" + text + "'";
   }
   try {
      return GenericValue(type, Fen::String(form));
   } catch (Fen::RangeException const& e) {
      refuse(what + "'" + text + "' is not a " + typeName(type) + ": " + e.what());
   }
}

// The operations of one attribute, on a counted object or on a value record.
class Holder {
public:
   Holder(Fen::Ptr<Fen::PtrInterface> object, std::string path)
       : object_(std::move(object)), path_(std::move(path)) {}
   Holder(GenericValue value, std::string path)
       : value_(std::move(value)), path_(std::move(path)) {}

   bool isObject() const { return object_ != nullptr; }
   Fen::PtrInterface& object() const { return *object_; }
   std::string const& path() const { return path_; }
   TypeView type() const { return object_ ? Fen::typeOf(*object_) : value_.type(); }

   // The attribute `name` of the held type, or a refusal naming the type.
   FenAttr attribute(std::string const& name) const {
      TypeView const t = type();
      if (!t) refuse(path_ + " is of a class that reflection does not know");
      FenAttr const a = t.attribute(name);
      if (!a) refuse("unknown attribute '" + name + "' of " + typeName(t));
      return a;
   }

   int op(void* result, FenAttr a, Op::AttributeOp code, void const* key = nullptr,
          void const* value = nullptr) {
      if (object_) return Fen::genericIfAttributeOp(result, *object_, a, code, key, value);
      return Fen::genericIfAttributeOp(result, value_.type(), value_.ptr(), a, code, key, value);
   }

   // Op get (a member by `key`, or a derived member by op call): the value.
   GenericValue read(FenAttr a, GenericValue const* key) {
      TypeView const t = valueTypeOf(a);
      if (!t) refuse(str(a.name()) + " has no value to read");
      GenericValue v(t);
      bool const derived = a.kind() == AttrKind::constMethod;
      int const rc =
          op(v.ptr(), a, derived ? Op::attrCall : Op::attrGet, key ? key->ptr() : nullptr);
      check(rc, a, derived ? "read by a call" : "read");
      return v;
   }

   void check(int rc, FenAttr a, char const* what) const {
      if (rc == Op::opNotForAttribute) refuse(str(a.name()) + " cannot be " + what);
      if (rc == Op::opNotOfClass) {
         refuse(str(a.name()) + " is not an attribute of " + typeName(type()));
      }
   }

private:
   Fen::Ptr<Fen::PtrInterface> object_;
   GenericValue value_;
   std::string path_;
};

// The key of a step, parsed by the attribute's key type.
GenericValue keyOf(FenAttr a, Step const& s) {
   TypeView const kt = a.keyType();
   if (!kt) refuse(s.name + " has no key type");
   return parseAs(kt, s.key, "");
}

// Whether `key` is a member of collection `a`.
bool has(Holder& h, FenAttr a, GenericValue const& key) {
   GenericValue present(boolType());
   h.check(h.op(present.ptr(), a, Op::attrHas, key.ptr()), a, "asked for a member");
   return *static_cast<bool const*>(present.ptr());
}

// The holder that the value `v` at `path` is: an object or a value record.
Holder holderOfValue(GenericValue v, std::string const& path, std::string const& next) {
   TypeView const t = v.type();
   if (t.family() == TypeFamily::counted) {
      Fen::PtrInterface const* o = v.object();
      if (!o) refuse(path + " is null");
      return Holder(Fen::Ptr<Fen::PtrInterface>(const_cast<Fen::PtrInterface*>(o)), path);
   }
   if (t.family() == TypeFamily::value) return Holder(std::move(v), path);
   refuse(path + " is a " + typeName(t) + ": it has no attribute '" + next + "'");
}

// The member or value that step `n` of `p` names on `h`, as a holder for step n+1.
Holder follow(Holder& h, Path const& p, std::size_t n) {
   Step const& s = p.steps[n];
   FenAttr const a = h.attribute(s.name);
   std::string const here = pathText(p, static_cast<int>(n));
   std::string const& next = p.steps[n + 1].name;
   if (a.kind() == AttrKind::method) refuse(s.name + " is a method: use call");
   if (a.kind() == AttrKind::enumerator) refuse(s.name + " is an enumerator");
   if (a.kind() == AttrKind::constMethod && a.argCount()) {
      refuse(s.name + " is a method with arguments: use call");
   }
   if (isCollection(a)) {
      if (!s.hasKey) refuse(s.name + " is a collection: give a key");
      GenericValue const key = keyOf(a, s);
      if (!has(h, a, key)) refuse(here + ": no such member");
      return holderOfValue(h.read(a, &key), here, next);
   }
   if (s.hasKey) refuse(s.name + " is a " + Fen::kindName(a.kind()) + ": it takes no key");
   return holderOfValue(h.read(a, nullptr), here, next);
}

// ---- collections ---------------------------------------------------------------------

struct Member {
   std::string keyText;
   GenericValue key;
   GenericValue value;  // empty when not read
};

// The members of collection `a` of `object` through the generic iterator, sorted
// by key text; with `values`, each member's value as the iterator gives it.
std::vector<Member> membersOf(Fen::PtrInterface& object, FenAttr a, bool values) {
   Fen::IteratorMethods const* m = nullptr;
   Fen::HashMap2018IteratorGeneric* const it = Fen::genericIfIterator(object, nullptr, a, &m);
   if (!it || !m) refuse(str(a.name()) + " cannot be walked");
   struct Release {
      Fen::IteratorMethods const* m;
      FenAttr a;
      Fen::HashMap2018IteratorGeneric* it;
      ~Release() { m->iterDel(a, it); }
   } const release{m, a, it};
   std::vector<Member> out;
   for (; m->iterNonnull(a, it); m->iterInc(a, it)) {
      Member mb{{}, GenericValue(a.keyType()), {}};
      m->iterKey(a, it, mb.key.ptr());
      if (values) {
         mb.value = GenericValue(valueTypeOf(a));
         if (!m->iterObj(a, it, mb.value.ptr())) continue;  // gone under the walk
      }
      mb.keyText = repOf(mb.key);
      out.push_back(std::move(mb));
   }
   std::sort(out.begin(), out.end(),
             [](Member const& x, Member const& y) { return x.keyText < y.keyText; });
   return out;
}

bool isSet(FenAttr a) {
   return a.kind() == AttrKind::collection && !a.type();
}

std::uint32_t countOf(Holder& h, FenAttr a) {
   std::uint32_t n = 0;
   h.check(h.op(&n, a, Op::attrCount), a, "counted");
   return n;
}

// ---- JSON ------------------------------------------------------------------------------

class Dumper {
public:
   explicit Dumper(std::ostream& out) : out_(out) {}

   // An object as {"type": ..., "attributes": {...}}; one met before is written
   // by its type name only, so that a shared graph is walked once.
   void object(Fen::PtrInterface& o, int indent) {
      TypeView const t = Fen::typeOf(o);
      if (!t || !seen_.insert(&o).second) {
         out_ << jsonString(t ? str(t.name()) : std::string("object"));
         return;
      }
      std::string const pad(static_cast<std::size_t>(indent), ' ');
      out_ << "{\n" << pad << "  \"type\": " << jsonString(str(t.name())) << ",\n";
      out_ << pad << "  \"attributes\": {";
      Holder h(Fen::Ptr<Fen::PtrInterface>(&o), str(t.name()));
      bool first = true;
      for (FenAttr const a : t.allAttributes()) {
         if (isMethod(a) || a.kind() == AttrKind::enumerator) continue;
         out_ << (first ? "\n" : ",\n") << pad << "    " << jsonString(str(a.name())) << ": ";
         first = false;
         attribute(h, a, indent + 4);
      }
      out_ << (first ? "}" : "\n" + pad + "  }") << "\n" << pad << "}";
   }

private:
   void attribute(Holder& h, FenAttr a, int indent) {
      std::string const pad(static_cast<std::size_t>(indent), ' ');
      if (!isCollection(a)) {
         GenericValue const v = h.read(a, nullptr);
         // Owned objects are part of the state; inputs and outputs are not.
         if (a.kind() == AttrKind::pointer && a.access() == AttrAccess::createdByIs) {
            pointer(v, indent);
         } else if (v.type().family() == TypeFamily::counted && !v.object()) {
            out_ << "null";
         } else {
            out_ << jsonString(repOf(v));
         }
         return;
      }
      std::vector<Member> const members = membersOf(h.object(), a, true);
      if (members.empty()) {
         out_ << "[]";
         return;
      }
      out_ << "[";
      bool first = true;
      for (Member const& m : members) {
         out_ << (first ? "\n" : ",\n") << pad << "  ";
         first = false;
         if (isSet(a)) {
            out_ << jsonString(m.keyText);
         } else if (a.kind() == AttrKind::pointerCollection) {
            out_ << "[" << jsonString(m.keyText) << ", ";
            pointer(m.value, indent + 2);
            out_ << "]";
         } else {
            out_ << "[" << jsonString(m.keyText) << ", " << jsonString(repOf(m.value)) << "]";
         }
      }
      out_ << "\n" << pad << "]";
   }

   void pointer(GenericValue const& v, int indent) {
      if (Fen::PtrInterface const* o = v.object()) {
         object(*const_cast<Fen::PtrInterface*>(o), indent);
      } else {
         out_ << "null";
      }
   }

   std::ostream& out_;
   std::set<Fen::PtrInterface const*> seen_;
};

// ---- lookup of modules and types ----------------------------------------------------------

Fen::FenModule const* moduleNamed(std::string const& name) {
   Fen::FenModule const* m = Fen::fenModule(name);
   if (!m) refuse("unknown module '" + name + "'");
   return m;
}

// A type by full name, or by its last name part when one type alone has it.
TypeView typeNamed(std::string const& name) {
   std::vector<TypeView> found;
   for (Fen::FenModule const* m : Fen::fenModules()) {
      for (std::uint16_t i = 0; i < m->typeCount; ++i) {
         TypeView const t(m, i);
         std::string_view const full = t.name();
         if (full == name) return t;
         std::size_t const colon = full.rfind("::");
         if (colon != std::string_view::npos && full.substr(colon + 2) == name) found.push_back(t);
      }
   }
   if (found.empty()) refuse("unknown type '" + name + "'");
   if (found.size() > 1) {
      std::string all;
      for (TypeView const t : found)
         all += (all.empty() ? "" : ", ") + str(t.name());
      refuse("'" + name + "' names " + std::to_string(found.size()) + " types: " + all);
   }
   return found.front();
}

std::string argsText(FenAttr a) {
   std::string s = "(";
   for (std::uint16_t i = 0; i < a.argCount(); ++i)
      s += (i ? ", " : "") + str(a.argName(i)) + ":" + typeName(a.argType(i));
   return s + ")";
}

std::string ctorText(TypeView t) {
   if (!t.record().constructible) return "no constructor";
   std::string s = "constructor(";
   for (std::uint16_t i = 0; i < t.ctorArgCount(); ++i)
      s += (i ? ", " : "") + str(t.ctorArgName(i)) + ":" + typeName(t.ctorArgType(i));
   return s + ")";
}

// "1 member", "2 members".
std::string countText(std::size_t n, char const* noun) {
   return std::to_string(n) + " " + noun + (n == 1 ? "" : "s");
}

std::string hex32(std::uint32_t v) {
   char buf[16];
   std::snprintf(buf, sizeof buf, "0x%08x", static_cast<unsigned>(v));
   return buf;
}

void need(std::vector<std::string> const& w, std::size_t min, std::size_t max, char const* usage) {
   if (w.size() < min || w.size() > max) refuse(std::string("usage: ") + usage);
}

}  // namespace

// ---- the shell -----------------------------------------------------------------------------

void ReflectShell::rootIs(std::string const& name, Fen::Ptr<Fen::PtrInterface> const& object) {
   for (auto& [n, o] : roots_) {
      if (n == name) {
         o = object;
         return;
      }
   }
   roots_.emplace_back(name, object);
}

bool ReflectShell::isCommand(std::vector<std::string> const& w) {
   if (w.empty()) return false;
   std::string const& c = w[0];
   if (c == "modules" || c == "attrs" || c == "walk" || c == "set" || c == "del" || c == "call" ||
       c == "dump") {
      return true;
   }
   if (c == "show") return w.size() > 1;
   // `types <n>...` sets the service types of a scenario.
   if (c == "types") {
      return w.size() > 1 && w[1].find_first_not_of("0123456789") != std::string::npos;
   }
   return false;
}

bool ReflectShell::changesState(std::vector<std::string> const& w) {
   return !w.empty() && (w[0] == "set" || w[0] == "del" || w[0] == "call");
}

std::string ReflectShell::commandText(std::string const& line) {
   std::size_t at = std::string::npos;
   try {
      splitWords(line, &at);
   } catch (Fen::RangeException const&) {
      at = line.find('#');
   }
   std::string text = line.substr(0, at);
   text.erase(text.find_last_not_of(" \t\r") + 1);
   return text;
}

namespace {

// The state of the shell's roots for one command.
class Command {
public:
   Command(std::vector<std::pair<std::string, Fen::Ptr<Fen::PtrInterface>>> const& roots,
           std::ostream& out)
       : roots_(roots), out_(out) {}

   void run(std::vector<std::string> const& w) {
      std::string const& c = w[0];
      if (c == "modules") {
         need(w, 1, 1, "modules");
         modules();
      } else if (c == "types") {
         need(w, 2, 2, "types <module>");
         types(w[1]);
      } else if (c == "attrs") {
         need(w, 2, 2, "attrs <Type>");
         attrs(w[1]);
      } else if (c == "show") {
         need(w, 2, 2, "show <root>.<attr>[<key>]...");
         show(pathOf(w[1]));
      } else if (c == "walk") {
         need(w, 2, 2, "walk <root>.<attr>");
         walk(pathOf(w[1]));
      } else if (c == "set") {
         need(w, 2, 3, "set <root>.<attr>[<key>] <value>");
         set(pathOf(w[1]), w.size() == 3 ? &w[2] : nullptr);
      } else if (c == "del") {
         need(w, 2, 2, "del <root>.<attr>[<key>]");
         del(pathOf(w[1]));
      } else if (c == "call") {
         need(w, 2, 64, "call <root>.<method> [<arg>...]");
         call(pathOf(w[1]), std::vector<std::string>(w.begin() + 2, w.end()));
      } else if (c == "dump") {
         need(w, 1, 1, "dump");
         dump();
      } else {
         refuse("unknown command '" + c + "'");
      }
   }

private:
   void modules() {
      std::vector<Fen::FenModule const*> all = Fen::fenModules();
      std::sort(all.begin(), all.end(), [](Fen::FenModule const* a, Fen::FenModule const* b) {
         return std::string_view(a->name) < std::string_view(b->name);
      });
      for (Fen::FenModule const* m : all) {
         out_ << "  " << m->name << "  tag " << hex32(m->tag) << ", "
              << countText(m->typeCount, "type") << "\n";
      }
   }

   void types(std::string const& name) {
      Fen::FenModule const* m = moduleNamed(name);
      for (std::uint16_t i = 0; i < m->typeCount; ++i) {
         TypeView const t(m, i);
         out_ << "  " << i << " " << t.name() << ": " << Fen::familyName(t.family()) << ", "
              << countText(t.attributeCount(), "attribute");
         if (TypeView const b = t.base()) out_ << ", base " << b.name();
         out_ << ", " << ctorText(t) << "\n";
      }
   }

   void attrs(std::string const& name) {
      TypeView const t = typeNamed(name);
      out_ << "  " << t.name() << ": " << Fen::familyName(t.family());
      if (TypeView const b = t.base()) out_ << ", base " << b.name();
      out_ << "\n";
      // With bases, each class's attributes under its name.
      TypeView owner;
      for (FenAttr const a : t.allAttributes()) {
         if (t.base() && a.owner() != owner) out_ << "  of " << a.owner().name() << ":\n";
         owner = a.owner();
         out_ << "    " << a.attributeId() << " " << a.name() << ": " << Fen::kindName(a.kind())
              << ", " << Fen::accessName(a.access());
         if (a.notification()) out_ << ", heard";
         if (TypeView const vt = a.type()) out_ << ", type " << vt.name();
         if (TypeView const kt = a.keyType()) out_ << ", key " << kt.name();
         if (isMethod(a) || a.argCount()) out_ << ", args " << argsText(a);
         out_ << "\n";
      }
   }

   // The holder of the last step of `p`: the root, followed through the others.
   Holder holderOf(Path const& p) {
      for (auto const& [name, object] : roots_) {
         if (name != p.root) continue;
         if (!object) refuse("root '" + name + "' is null");
         Holder h(object, p.root);
         for (std::size_t n = 0; n + 1 < p.steps.size(); ++n)
            h = follow(h, p, n);
         return h;
      }
      std::string all;
      for (auto const& [name, object] : roots_)
         all += (all.empty() ? "" : ", ") + name;
      refuse("unknown root '" + p.root + "' (roots: " + all + ")");
   }

   void show(Path const& p) {
      Holder h = holderOf(p);
      if (p.steps.empty()) return overview(h);
      Step const& s = p.steps.back();
      FenAttr const a = h.attribute(s.name);
      if (a.kind() == AttrKind::method) refuse(s.name + " is a method: use call");
      if (a.kind() == AttrKind::enumerator) refuse(s.name + " is an enumerator");
      if (a.kind() == AttrKind::constMethod && a.argCount()) {
         refuse(s.name + " is a method with arguments: use call");
      }
      if (!isCollection(a)) {
         if (s.hasKey) refuse(s.name + " is a " + Fen::kindName(a.kind()) + ": it takes no key");
         out_ << "  " << s.name << " = " << repOf(h.read(a, nullptr)) << "\n";
         return;
      }
      if (!h.isObject()) refuse(h.path() + " is a value: it has no collection " + s.name);
      if (s.hasKey) {
         GenericValue const key = keyOf(a, s);
         std::string const member = s.name + "[" + repOf(key) + "]";
         if (!has(h, a, key)) {
            out_ << "  " << member << ": no such member\n";
         } else if (isSet(a)) {
            out_ << "  " << member << ": a member\n";
         } else {
            out_ << "  " << member << " = " << repOf(h.read(a, &key)) << "\n";
         }
         return;
      }
      // The count by op count, the keys by the iterator, each value by op get.
      out_ << "  " << s.name << ": " << countText(countOf(h, a), "member") << "\n";
      for (Member const& m : membersOf(h.object(), a, false)) {
         out_ << "    " << m.keyText;
         if (!isSet(a)) out_ << " = " << repOf(h.read(a, &m.key));
         out_ << "\n";
      }
   }

   // Every attribute of a root that is no method: a value, or a member count.
   void overview(Holder& h) {
      out_ << "  " << h.path() << ": " << typeName(h.type()) << "\n";
      for (FenAttr const a : h.type().allAttributes()) {
         if (isMethod(a) || a.kind() == AttrKind::enumerator) continue;
         out_ << "    " << a.name();
         if (isCollection(a)) {
            out_ << ": " << countText(countOf(h, a), "member") << "\n";
         } else {
            out_ << " = " << repOf(h.read(a, nullptr)) << "\n";
         }
      }
   }

   // The collection named by the last step of `p`, which takes no key.
   FenAttr collection(Holder& h, Path const& p, char const* command) {
      if (p.steps.empty()) refuse(std::string(command) + " takes a collection: give an attribute");
      Step const& s = p.steps.back();
      FenAttr const a = h.attribute(s.name);
      if (!isCollection(a)) refuse(s.name + " is a " + Fen::kindName(a.kind()) + ", no collection");
      if (s.hasKey) refuse(std::string(command) + " takes the whole collection: give no key");
      if (!h.isObject()) refuse(h.path() + " is a value: it has no collection " + s.name);
      return a;
   }

   void walk(Path const& p) {
      Holder h = holderOf(p);
      FenAttr const a = collection(h, p, "walk");
      std::vector<Member> const members = membersOf(h.object(), a, true);
      out_ << "  " << p.steps.back().name << ": " << countText(members.size(), "member")
           << " walked\n";
      for (Member const& m : members) {
         out_ << "    " << m.keyText;
         if (!isSet(a)) out_ << " = " << repOf(m.value);
         out_ << "\n";
      }
   }

   // The attribute of the last step of `p`, on an object (not a copy of a value).
   FenAttr target(Holder& h, Path const& p, char const* command) {
      if (p.steps.empty()) refuse(std::string(command) + " takes an attribute of " + p.root);
      if (!h.isObject()) {
         refuse(h.path() + " is a " + typeName(h.type()) + " value, a copy: " + command +
                " its owner's attribute instead");
      }
      return h.attribute(p.steps.back().name);
   }

   void set(Path const& p, std::string const* text) {
      Holder h = holderOf(p);
      FenAttr const a = target(h, p, "set");
      Step const& s = p.steps.back();
      if (isMethod(a)) refuse(s.name + " is a method: use call");
      // What op set reads: the member or value; for an owned object, the
      // argument of its creation; nothing for a member that the collection makes.
      TypeView vt;
      GenericValue key;
      if (isCollection(a)) {
         if (!s.hasKey) refuse(s.name + " is a collection: give a key");
         key = keyOf(a, s);
         if (a.access() != AttrAccess::createdByIs) vt = valueTypeOf(a);
      } else {
         if (s.hasKey) refuse(s.name + " is a " + Fen::kindName(a.kind()) + ": it takes no key");
         if (a.access() != AttrAccess::createdByIs) {
            vt = a.type();
         } else if (a.argCount()) {
            vt = a.argType(0);
         }
      }
      GenericValue value;
      if (vt) {
         if (text) {
            value = parseAs(vt, *text, "");
         } else if (isSet(a)) {
            value = GenericValue(vt, Fen::String("true"));
         } else {
            refuse("usage: set " + p.text + " <" + typeName(vt) + ">");
         }
      } else if (text) {
         refuse(s.name + " makes its members itself: give no value");
      }
      int const rc =
          h.op(nullptr, a, Op::attrSet, key ? key.ptr() : nullptr, value ? value.ptr() : nullptr);
      if (rc == Op::opNotForAttribute) refuse(s.name + " is not writable");
      h.check(rc, a, "set");
   }

   void del(Path const& p) {
      Holder h = holderOf(p);
      FenAttr const a = target(h, p, "del");
      Step const& s = p.steps.back();
      if (isMethod(a)) refuse(s.name + " is a method: use call");
      GenericValue key;
      if (isCollection(a)) {
         if (!s.hasKey) refuse(s.name + " is a collection: give a key");
         key = keyOf(a, s);
      } else if (s.hasKey) {
         refuse(s.name + " is a " + Fen::kindName(a.kind()) + ": it takes no key");
      }
      int const rc = h.op(nullptr, a, Op::attrDel, key ? key.ptr() : nullptr);
      if (rc == Op::opNotForAttribute) refuse(s.name + " cannot be deleted");
      h.check(rc, a, "deleted");
   }

   void call(Path const& p, std::vector<std::string> const& args) {
      Holder h = holderOf(p);
      if (p.steps.empty()) refuse("call takes a method of " + p.root);
      Step const& s = p.steps.back();
      FenAttr const a = h.attribute(s.name);
      if (!isMethod(a)) refuse(s.name + " is a " + Fen::kindName(a.kind()) + ", no method");
      if (s.hasKey) refuse(s.name + " is a method: it takes no key");
      if (a.kind() == AttrKind::method && !h.isObject()) {
         refuse(h.path() + " is a " + typeName(h.type()) + " value, a copy: " + s.name +
                " would change the copy alone");
      }
      if (args.size() != a.argCount()) {
         refuse(s.name + " takes " + std::to_string(a.argCount()) + " argument" +
                (a.argCount() == 1 ? "" : "s") + " " + argsText(a) + ", " +
                std::to_string(args.size()) + " given");
      }
      std::vector<GenericValue> values;
      std::vector<void const*> transports;
      for (std::uint16_t i = 0; i < a.argCount(); ++i) {
         values.push_back(parseAs(a.argType(i), args[i], "argument " + str(a.argName(i)) + ": "));
      }
      for (GenericValue const& v : values)
         transports.push_back(v.ptr());
      GenericValue result;
      if (TypeView const rt = a.type()) result = GenericValue(rt);
      int const rc = h.op(result ? result.ptr() : nullptr, a, Op::attrCall, nullptr,
                          transports.empty() ? nullptr : transports.data());
      h.check(rc, a, "called");
      if (result) out_ << "  result = " << repOf(result) << "\n";
   }

   void dump() {
      Dumper d(out_);
      out_ << "{";
      bool first = true;
      for (std::size_t i = 0; i < roots_.size(); ++i) {
         auto const& [name, object] = roots_[i];
         out_ << (first ? "\n" : ",\n") << "  " << jsonString(name) << ": ";
         first = false;
         std::string alias;
         for (std::size_t j = 0; j < i && alias.empty(); ++j) {
            if (roots_[j].second == object) alias = roots_[j].first;
         }
         if (!alias.empty()) {
            out_ << "{\"sameAs\": " << jsonString(alias) << "}";
         } else if (!object) {
            out_ << "null";
         } else {
            d.object(*object, 2);
         }
      }
      out_ << (first ? "}" : "\n}") << "\n";
   }

   std::vector<std::pair<std::string, Fen::Ptr<Fen::PtrInterface>>> const& roots_;
   std::ostream& out_;
};

}  // namespace

void ReflectShell::run(std::string const& line, std::ostream& out) const {
   std::vector<std::string> const w = splitWords(line);
   if (w.empty()) return;
   // The answer is printed whole or, on a refusal, not at all.
   std::ostringstream answer;
   try {
      Command(roots_, answer).run(w);
   } catch (Fen::RangeException const&) {
      throw;
   } catch (std::exception const& e) {
      refuse(w[0] + ": " + e.what());
   }
   out << answer.str();
}

}  // namespace WexVlanMappingTool
