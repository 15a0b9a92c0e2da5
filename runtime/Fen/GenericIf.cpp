#include "Fen/GenericIf.h"

#include <cstring>
#include <new>

#include "Fen/Assert.h"
#include "Fen/Exception.h"
#include "Fen/Reflect.h"

FEN_PRIMITIVE_DESCRIPTION(bool, "bool")
FEN_PRIMITIVE_DESCRIPTION(std::uint8_t, "U8")
FEN_PRIMITIVE_DESCRIPTION(std::uint16_t, "U16")
FEN_PRIMITIVE_DESCRIPTION(std::uint32_t, "U32")
FEN_PRIMITIVE_DESCRIPTION(std::uint64_t, "U64")
FEN_PRIMITIVE_DESCRIPTION(::Fen::String, "String")

namespace Fen {

FEN_MODULE(fenRuntimeModule, "Fen", bool, std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t,
           String)

char const* kindName(AttrKind kind) {
   switch (kind) {
      case AttrKind::value:
         return "value";
      case AttrKind::collection:
         return "collection";
      case AttrKind::pointer:
         return "pointer";
      case AttrKind::pointerCollection:
         return "pointerCollection";
      case AttrKind::constMethod:
         return "constMethod";
      case AttrKind::method:
         return "method";
      case AttrKind::constant:
         return "constant";
      case AttrKind::enumerator:
         return "enumerator";
   }
   return "?";
}

char const* accessName(AttrAccess access) {
   switch (access) {
      case AttrAccess::ctorOnly:
         return "ctorOnly";
      case AttrAccess::writable:
         return "writable";
      case AttrAccess::createdByIs:
         return "createdByIs";
   }
   return "?";
}

char const* familyName(TypeFamily family) {
   switch (family) {
      case TypeFamily::primitive:
         return "primitive";
      case TypeFamily::value:
         return "value";
      case TypeFamily::enumeration:
         return "enumeration";
      case TypeFamily::counted:
         return "counted";
   }
   return "?";
}

// ---- types and attributes ------------------------------------------------------------

TypeView TypeView::dependency(TypeRef ref) const {
   if (ref == noType) return {};
   Dependency const& d = module->dependencies[ref];
   return TypeView(d.module, d.type);
}

TypeView TypeView::base() const {
   return dependency(record().base);
}

bool TypeView::isDerived(TypeView other) const {
   for (TypeView t = *this; t; t = t.base()) {
      if (t == other) return true;
   }
   return false;
}

FenAttr TypeView::attribute(std::uint16_t i) const {
   return FenAttr(module, static_cast<std::uint16_t>(record().firstAttribute + i));
}

FenAttr TypeView::attribute(std::string_view n) const {
   for (TypeView t = *this; t; t = t.base()) {
      for (std::uint16_t i = 0; i < t.attributeCount(); ++i) {
         FenAttr a = t.attribute(i);
         if (a.name() == n) return a;
      }
   }
   return {};
}

std::vector<FenAttr> TypeView::allAttributes() const {
   std::vector<FenAttr> out;
   if (TypeView b = base()) out = b.allAttributes();
   for (std::uint16_t i = 0; i < attributeCount(); ++i)
      out.push_back(attribute(i));
   return out;
}

std::string_view TypeView::ctorArgName(std::uint16_t i) const {
   return module->attributeNames + module->arguments[record().ctorArgIndex + i].name;
}

TypeView TypeView::ctorArgType(std::uint16_t i) const {
   return dependency(module->arguments[record().ctorArgIndex + i].type);
}

TypeView FenAttr::type() const {
   return TypeView(module_, 0).dependency(record().type);
}

TypeView FenAttr::keyType() const {
   return TypeView(module_, 0).dependency(record().keyType);
}

std::string_view FenAttr::argName(std::uint16_t i) const {
   return module_->attributeNames + module_->arguments[record().argIndex + i].name;
}

TypeView FenAttr::argType(std::uint16_t i) const {
   return TypeView(module_, 0).dependency(module_->arguments[record().argIndex + i].type);
}

TypeView FenAttr::owner() const {
   for (std::uint16_t t = 0; t < module_->typeCount; ++t) {
      TypeRecord const& r = module_->types[t];
      if (position_ >= r.firstAttribute && position_ < r.firstAttribute + r.attributeCount) {
         return TypeView(module_, t);
      }
   }
   return {};
}

// ---- failures ----------------------------------------------------------------------------

void throwMissing(std::string_view what, std::string_view attr) {
   throwRangeException(String("no ") + String(what) + String(" given for ") + String(attr));
}

namespace GenericIfImpl {

void throwSetFalseValueException(FenAttr attr) {
   throwRangeException(String("a member of the set ") + String(attr.name()) +
                       String(" cannot be made false; delete it instead"));
}

void throwTypeException(TypeView have, TypeView want) {
   String const h = have ? String(have.name()) : String("an unreflected class");
   String const w = want ? String(want.name()) : String("an unreflected class");
   throwRangeException(String("a ") + h + String(" is no ") + w);
}

void* pointerPastVtable(void* ptr, TypeView t) {
   FEN_ASSERT(!t.isPolymorphic());
   return static_cast<char*>(ptr) + sizeof(void*);
}

void* voidPtrIs(void* ptr, TypeView have, TypeView want) {
   if (have == want) return ptr;
   if (!have.isDerived(want)) throwTypeException(have, want);
   TypeView const type = want;
   if (have.isPolymorphic() == type.isPolymorphic()) return ptr;
   if (type.isPolymorphic()) return pointerPastVtable(ptr, have);
   // A polymorphic object seen as a non-polymorphic base: the layouts differ by
   // more than a word, and no reflected class has that shape.
   FEN_ASSERT(type.isPolymorphic());
   return ptr;
}

// Enumerations: the value is one byte; names come from the type's EnumType.
namespace {
EnumType<unsigned char> const& enumOf(TypeView t) {
   return *static_cast<EnumType<unsigned char> const*>(t.record().enumType);
}
void enumConstruct(void* dest, void const* src) {
   ::new (dest) unsigned char(src ? *static_cast<unsigned char const*>(src) : 0);
}
void enumDestruct(void*) {}
void enumStrepToValue(void* dest, String const& text, TypeView type) {
   String::IteratorConst it = text.begin();
   unsigned char v = 0;
   enumOf(type).sequenceToValue(it, text.end(), &v);
   strepToValueEnd(text, it);
   *static_cast<unsigned char*>(dest) = v;
}
void enumStrRep(String* out, void const* p, TypeView type) {
   *out = enumOf(type).valueToStrep(*static_cast<unsigned char const*>(p));
}
std::uint32_t enumHash(void const* p, TypeView) {
   return *static_cast<unsigned char const*>(p);
}
bool enumEqual(void const* a, void const* b) {
   return *static_cast<unsigned char const*>(a) == *static_cast<unsigned char const*>(b);
}

// Counted classes: the value is a Fen::Ptr<PtrInterface const>.
void ptrConstruct(void* dest, void const* src) {
   ::new (dest) PtrTransport(src ? *static_cast<PtrTransport const*>(src) : PtrTransport());
}
void ptrDestruct(void* p) {
   static_cast<PtrTransport*>(p)->~PtrTransport();
}
void ptrStrepToValue(void* dest, String const& text, TypeView type) {
   if (text == String("null")) {
      *static_cast<PtrTransport*>(dest) = PtrTransport();
      return;
   }
   throwRangeException(String("a ") + String(type.name()) +
                       String(" has no string form but null: '") + text + String("'"));
}
void ptrStrRep(String* out, void const* p, TypeView) {
   PtrTransport const& t = *static_cast<PtrTransport const*>(p);
   if (!t) {
      *out = String("null");
      return;
   }
   TypeView const own = typeOf(*t);
   *out = own ? String(own.name()) : String("object");
}
std::uint32_t ptrHash(void const* p, TypeView) {
   auto const bits = reinterpret_cast<std::uintptr_t>(static_cast<PtrTransport const*>(p)->ptr());
   return static_cast<std::uint32_t>(bits ^ (bits >> 32));
}
bool ptrEqual(void const* a, void const* b) {
   return *static_cast<PtrTransport const*>(a) == *static_cast<PtrTransport const*>(b);
}
}  // namespace

ValueMethods const GenericIfEnumMethods<unsigned char>::table{
    &enumConstruct, &enumDestruct, &enumStrepToValue, &enumStrRep, nullptr,
    nullptr,        &enumHash,     &voidPtrIs,        &enumEqual};

ValueMethods const GenericIfPtrInterfaceMethods<PtrInterface>::table{
    &ptrConstruct, &ptrDestruct, &ptrStrepToValue, &ptrStrRep, nullptr,
    nullptr,       &ptrHash,     &voidPtrIs,       &ptrEqual};

}  // namespace GenericIfImpl

// ---- primitives ----------------------------------------------------------------------------

void parsePrimitive(bool* out, String const& text) {
   if (text == String("true")) {
      *out = true;
   } else if (text == String("false")) {
      *out = false;
   } else {
      throwRangeException(String("not a bool (true or false): '") + text + String("'"));
   }
}

void parsePrimitive(std::uint64_t* out, String const& text) {
   String::IteratorConst it = text.begin();
   *out = sequenceToDecimal(it, text.end());
   strepToValueEnd(text, it);
}

void parsePrimitive(String* out, String const& text) {
   *out = text;
}

// ---- iterators ---------------------------------------------------------------------------

namespace {
bool iterObj(FenAttr, HashMap2018IteratorGeneric const* it, void* out) {
   return it && it->obj(out);
}
void iterKey(FenAttr, HashMap2018IteratorGeneric const* it, void* out) {
   if (it) it->key(out);
}
bool iterNonnull(FenAttr, HashMap2018IteratorGeneric const* it) {
   return it && it->nonnull();
}
void iterInc(FenAttr, HashMap2018IteratorGeneric* it) {
   if (it) it->advance();
}
void iterDel(FenAttr, HashMap2018IteratorGeneric* it) {
   delete it;
}
}  // namespace

IteratorMethods const genericIteratorMethods{&iterObj, &iterKey, &iterNonnull, &iterInc, &iterDel};

// ---- lookup ------------------------------------------------------------------------------

FenModule const* fenModule(std::string_view name) {
   for (FenModule const* m : fenModules()) {
      if (name == m->name) return m;
   }
   return nullptr;
}

TypeView fenType(FenModule const* module, std::string_view name) {
   if (!module) return {};
   for (std::uint16_t i = 0; i < module->typeCount; ++i) {
      TypeView t(module, i);
      std::string_view const full = t.name();
      if (full == name) return t;
      std::size_t const colon = full.rfind("::");
      if (colon != std::string_view::npos && full.substr(colon + 2) == name) return t;
   }
   return {};
}

TypeView fenType(std::string_view name) {
   for (FenModule const* m : fenModules()) {
      if (TypeView t = fenType(m, name)) return t;
   }
   return {};
}

FenAttr fenAttr(TypeView type, std::string_view name) {
   return type ? type.attribute(name) : FenAttr();
}

// ---- entry points ------------------------------------------------------------------------

int genericIfAttributeOp(void* result, PtrInterface& object, FenAttr attr,
                         GenericIf::AttributeOp op, void const* key, void const* value) {
   TypeView const t = typeOf(object);
   if (!t) return GenericIf::opNotOfClass;
   return t.dispatch().genericIfAttributeOp(result, &object, attr, op, key, value);
}

int genericIfAttributeOp(void* result, TypeView type, void* object, FenAttr attr,
                         GenericIf::AttributeOp op, void const* key, void const* value) {
   return type.dispatch().genericIfAttributeOp(result, object, attr, op, key, value);
}

HashMap2018IteratorGeneric* genericIfIterator(PtrInterface& object, void const* key, FenAttr attr,
                                              IteratorMethods const** methodsOut) {
   TypeView const t = typeOf(object);
   if (!t) return nullptr;
   return t.dispatch().genericIfIterator(&object, key, attr, methodsOut);
}

void genericIfConstructFromCtorArgs(TypeView type, void* dest, void const* const* args) {
   type.dispatch().genericIfConstructFromCtorArgs(dest, args);
}

// ---- values ------------------------------------------------------------------------------

GenericIfImpl::ValueMethods const* GenericValue::methods() const {
   return static_cast<GenericIfImpl::ValueMethods const*>(type_.dispatch().methods);
}

GenericValue::GenericValue(TypeView type) : type_(type) {
   TypeRecord const& r = type.record();
   storage_.reset(new std::byte[r.size]);
   methods()->genericIfConstruct(storage_.get(), nullptr);
}

GenericValue::GenericValue(TypeView type, String const& text) : GenericValue(type) {
   methods()->genericIfStrepToValue(storage_.get(), text, type_);
}

GenericValue::GenericValue(GenericValue const& o) : type_(o.type_) {
   if (!o.storage_) return;
   storage_.reset(new std::byte[type_.record().size]);
   methods()->genericIfConstruct(storage_.get(), o.storage_.get());
}

GenericValue::GenericValue(GenericValue&& o) noexcept
    : type_(o.type_), storage_(std::move(o.storage_)) {}

GenericValue& GenericValue::operator=(GenericValue o) noexcept {
   std::swap(type_, o.type_);
   std::swap(storage_, o.storage_);
   return *this;
}

GenericValue::~GenericValue() {
   if (storage_) methods()->genericIfDestruct(storage_.get());
}

String GenericValue::strRep() const {
   if (!storage_) return String("none");
   String out;
   methods()->genericIfStrRep(&out, storage_.get(), type_);
   return out;
}

bool operator==(GenericValue const& a, GenericValue const& b) {
   if (!a.storage_ || !b.storage_) return !a.storage_ && !b.storage_;
   return a.type_ == b.type_ && a.methods()->genericIfEqual(a.ptr(), b.ptr());
}

PtrInterface const* GenericValue::object() const {
   if (!storage_ || type_.family() != TypeFamily::counted) return nullptr;
   return static_cast<PtrTransport const*>(ptr())->ptr();
}

// ---- the builder -------------------------------------------------------------------------

std::uint32_t ModuleBuilder::blob(std::string& b, std::string_view s) {
   auto const at = static_cast<std::uint32_t>(b.size());
   b.append(s);
   b.push_back('\0');
   return at;
}

void ModuleBuilder::misplaced(TypeFamily family, std::uint16_t index) const {
   FEN_ASSERT_TEXT(false, "a module lists its types in the order of their indices");
   (void)family;
   (void)index;
   __builtin_unreachable();
}

FenModule ModuleBuilder::finish() {
   // The tables live as long as the process: a module is published once.
   static auto* const kept = new std::vector<ModuleBuilder*>();
   auto* keep = new ModuleBuilder(std::move(*this));
   kept->push_back(keep);
   FenModule m;
   m.types = keep->types_.data();
   m.attributes = keep->attrs_.data();
   m.arguments = keep->args_.data();
   m.typeNames = keep->typeNames_.c_str();
   m.attributeNames = keep->attributeNames_.c_str();
   m.dependencies = keep->deps_.data();
   m.dispatch = keep->dispatch_.data();
   m.typeCount = static_cast<std::uint32_t>(keep->types_.size());
   m.name = keep->name_;
   std::uint32_t h = 2166136261u;
   for (char const* c = keep->name_; *c; ++c)
      h = (h ^ static_cast<unsigned char>(*c)) * 16777619u;
   m.tag = h;
   m.attributeCount = static_cast<std::uint32_t>(keep->attrs_.size());
   m.argumentCount = static_cast<std::uint32_t>(keep->args_.size());
   m.dependencyCount = static_cast<std::uint32_t>(keep->deps_.size());
   return m;
}

}  // namespace Fen
