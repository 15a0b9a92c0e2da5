// Reflection: how the runtime knows the types of a unit without knowing them when
// it is built. Tools create objects, read and write attributes, walk collections
// and turn values into text and back through what is declared here alone.
//
// Modules
// -------
// Every source unit publishes one Fen::FenModule at load (Fen/Reflect.h builds it
// from the unit's types). Its record holds, in this order: the type table, the
// attribute table, the argument table, the blob of type names, the blob of
// attribute names, the dependencies (a module and a type number each: every type
// that an attribute, a key, an argument or a base names), the per-type dispatch
// records and the number of types. A type record gives the index of its first
// attribute and their number; an attribute record its id, kind, access,
// notification flag, name and types (dependency indices). fwkType() of an object
// gives (module, type index).
//
// Attribute ids
// -------------
// The first attribute of a class has position 2. A value type uses the position
// as its id; a counted class adds 128 per level of derivation from
// Fen::PtrInterface (130 for a direct descendant, 258 one level further). An id
// means something only within its class: Fen::FenAttr names an attribute by its
// module and its position in that module's table, and an operation given the
// attribute of another class answers 2.
//
// Values
// ------
// Every operation moves values through untyped pointers, each to an object of the
// type's *transport*: the value itself for a value record, an enumeration or a
// primitive (bool, unsigned numbers, Fen::String); a Fen::Ptr<PtrInterface const>
// for a counted class. A method's or constructor's arguments come as an array of
// pointers to transports, in the order of the argument table. A result is the
// transport of the attribute's type, but for op 3 and op 4 (a U32) and op 5 (a
// bool), and for a set, whose members read as a bool. Op 1 on an owned object
// (access createdByIs, kind pointer) takes the creator's argument as its value
// (the attribute's first argument), and gives the object as its result. Fen::GenericValue holds
// one transport of a named type, made and destroyed through its methods.
//
// Failures
// --------
// Misuse answers by return code: 1 when the operation does not fit the attribute,
// 2 when the attribute is not one of the class. Exceptions come only from
// throwSetFalseValueException (a set member made false), throwTypeException (a
// pointer of the wrong class), and Fen::RangeException (text that does not parse,
// a missing argument, a key that the value contradicts).
//
// Thread safety: none; tables are written once at load, before main.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "Fen/Notifiee.h"
#include "Fen/Ptr.h"
#include "Fen/String.h"

namespace Fen {

class HashMap2018IteratorGeneric;
class FenAttr;

namespace GenericIf {
// The operation codes of genericIfAttributeOp.
enum AttributeOp : std::uint8_t {
   attrGet = 0,          // a value, or a member by key
   attrSet = 1,          // a writable value, a member
   attrDel = 2,          // a member of a collection
   attrCount = 3,        // the number of members
   attrFigure = 4,       // a second 23-bit figure of a map: its slot count
   attrHas = 5,          // whether a key is a member
   attrCall = 10,        // a method or a derived member
   attrNonDefault = 11,  // the value as a whole differs from the default
   attrEqual = 12,       // the value as a whole equals the other value
};
// Return codes of genericIfAttributeOp.
inline constexpr int opDone = 0;
inline constexpr int opNotForAttribute = 1;
inline constexpr int opNotOfClass = 2;
}  // namespace GenericIf

enum class AttrKind : std::uint8_t {
   value,              // a plain value (a field, a counter, a flag)
   collection,         // a map or set of values
   pointer,            // one counted object
   pointerCollection,  // a map of counted objects
   constMethod,        // a method that changes nothing, or a derived member
   method,             // a method
   constant,           // a value fixed in the class
   enumerator,         // one name of an enumeration
};
enum class AttrAccess : std::uint8_t {
   ctorOnly,     // set by the constructor only (and everything that is only read)
   writable,     // written by set
   createdByIs,  // an owned object: set creates it
};
enum class TypeFamily : std::uint8_t { primitive, value, enumeration, counted };

char const* kindName(AttrKind kind);
char const* accessName(AttrAccess access);
char const* familyName(TypeFamily family);

// A dependency index of the module, or none.
using TypeRef = std::uint16_t;
inline constexpr TypeRef noType = 0xFFFF;

struct AttributeRecord {
   AttributeId id;
   AttrKind kind;
   AttrAccess access;
   bool notification;   // an input heard by a reactor
   std::uint32_t name;  // offset in the blob of attribute names
   TypeRef type;
   TypeRef keyType;
   std::uint16_t argIndex;  // first argument of a method, in the argument table
   std::uint16_t argCount;
};

struct ArgumentRecord {
   std::uint32_t name;  // offset in the blob of attribute names
   TypeRef type;
};

struct TypeRecord {
   static constexpr std::uint16_t polymorphicFlag = 1;
   std::uint16_t flags;
   std::uint16_t number;
   std::uint16_t firstAttribute;
   std::uint16_t attributeCount;
   // The runtime's own, after the four above.
   std::uint32_t name;  // offset in the blob of type names
   TypeFamily family;
   TypeRef base;  // the reflected base class, or none
   std::uint16_t ctorArgIndex;
   std::uint16_t ctorArgCount;
   bool constructible;
   std::uint32_t size;  // of the transport
   std::uint32_t align;
   void const* enumType;  // the Fen::EnumType<unsigned char> of an enumeration
   bool isPolymorphic() const { return (flags & polymorphicFlag) != 0; }
};

struct Dependency {
   FenModule const* module;
   std::uint16_t type;
};

struct IteratorMethods;

using GenericIfConstructFromCtorArgs = void (*)(void* dest, void const* const* args);
using GenericIfAttributeOpFn = int (*)(void* result, void* object, FenAttr attr,
                                       GenericIf::AttributeOp op, void const* key,
                                       void const* value);
using GenericIfIteratorFn = HashMap2018IteratorGeneric* (*)(void* object, void const* key,
                                                            FenAttr attr,
                                                            IteratorMethods const** methodsOut);

// Per type: the methods table of its family, then the three entries, then two
// zero words.
struct DispatchRecord {
   void const* methods;
   GenericIfConstructFromCtorArgs genericIfConstructFromCtorArgs;
   GenericIfAttributeOpFn genericIfAttributeOp;
   GenericIfIteratorFn genericIfIterator;
   void const* zero0;
   void const* zero1;
};

struct FenModule {
   TypeRecord const* types = nullptr;
   AttributeRecord const* attributes = nullptr;
   ArgumentRecord const* arguments = nullptr;
   char const* typeNames = nullptr;
   char const* attributeNames = nullptr;
   Dependency const* dependencies = nullptr;
   DispatchRecord const* dispatch = nullptr;
   std::uint32_t typeCount = 0;
   // The runtime's own, after the eight above.
   char const* name = nullptr;  // the unit's name
   std::uint32_t tag = 0;       // a hexadecimal tag: the hash of the name
   std::uint32_t attributeCount = 0;
   std::uint32_t argumentCount = 0;
   std::uint32_t dependencyCount = 0;
};

// A type: its module and its index there.
struct TypeView {
   FenModule const* module = nullptr;
   std::uint16_t index = 0;

   TypeView() = default;
   TypeView(FenModule const* m, std::uint16_t i) : module(m), index(i) {}
   TypeView(FwkType t) : module(t.module), index(t.index) {}
   explicit operator bool() const { return module != nullptr; }
   friend bool operator==(TypeView const&, TypeView const&) = default;

   TypeRecord const& record() const { return module->types[index]; }
   DispatchRecord const& dispatch() const { return module->dispatch[index]; }
   std::string_view name() const { return module->typeNames + record().name; }
   TypeFamily family() const { return record().family; }
   bool isPolymorphic() const { return record().isPolymorphic(); }
   // The reflected base class; a null view for none.
   TypeView base() const;
   // This type, or one of its bases, is `other`.
   bool isDerived(TypeView other) const;
   // The type a dependency index of this type's module names; null for none.
   TypeView dependency(TypeRef ref) const;
   // Own attributes, in declaration order.
   std::uint16_t attributeCount() const { return record().attributeCount; }
   FenAttr attribute(std::uint16_t i) const;
   // By name among own attributes, then the bases'; a null attribute if none.
   FenAttr attribute(std::string_view name) const;
   // All attributes, bases' first.
   std::vector<FenAttr> allAttributes() const;
   // Constructor arguments: names and types.
   std::uint16_t ctorArgCount() const { return record().ctorArgCount; }
   std::string_view ctorArgName(std::uint16_t i) const;
   TypeView ctorArgType(std::uint16_t i) const;
};

// Names one attribute: a module and a 16-bit position in its attribute table. The
// null attribute (no module) stands for a value as a whole.
class FenAttr {
public:
   FenAttr() = default;
   FenAttr(FenModule const* module, std::uint16_t position)
       : module_(module), position_(position) {}

   FenModule const* module() const { return module_; }
   std::uint16_t position() const { return position_; }
   explicit operator bool() const { return module_ != nullptr; }
   friend bool operator==(FenAttr const&, FenAttr const&) = default;

   AttributeRecord const& record() const { return module_->attributes[position_]; }
   AttributeId attributeId() const { return record().id; }
   std::string_view name() const { return module_->attributeNames + record().name; }
   AttrKind kind() const { return record().kind; }
   AttrAccess access() const { return record().access; }
   bool notification() const { return record().notification; }
   TypeView type() const;     // null for none (a method without result)
   TypeView keyType() const;  // null for none
   std::uint16_t argCount() const { return record().argCount; }
   std::string_view argName(std::uint16_t i) const;
   TypeView argType(std::uint16_t i) const;
   // The class that declares the attribute.
   TypeView owner() const;

private:
   FenModule const* module_ = nullptr;
   std::uint16_t position_ = 0;
};

// ---- the methods tables of the three families ----------------------------------

namespace GenericIfImpl {

// Value records, primitives and enumerations: entries in this order.
struct ValueMethods {
   void (*genericIfConstruct)(void* dest, void const* src);
   void (*genericIfDestruct)(void* ptr);
   void (*genericIfStrepToValue)(void* dest, String const& text, TypeView type);
   void (*genericIfStrRep)(String* out, void const* ptr, TypeView type);
   void const* zero0;
   void const* zero1;
   std::uint32_t (*genericIfHash)(void const* ptr, TypeView type);
   void* (*genericIfVoidPtrIs)(void* ptr, TypeView have, TypeView want);
   // The runtime's own, after the eight above.
   bool (*genericIfEqual)(void const* a, void const* b);
};

[[noreturn]] void throwSetFalseValueException(FenAttr attr);
[[noreturn]] void throwTypeException(TypeView have, TypeView want);
// The pointer moved on by one word, for a polymorphic view of a non-polymorphic
// object `t`; `t` polymorphic is a broken contract.
void* pointerPastVtable(void* ptr, TypeView t);
void* voidPtrIs(void* ptr, TypeView have, TypeView want);

}  // namespace GenericIfImpl

// ---- iterators -------------------------------------------------------------------

// A walk over one collection attribute of one object, from operator new. It holds
// a reference to the object, and survives the deletion of the member it stands on
// (as every iterator of Fen::HashMap2018 does).
class HashMap2018IteratorGeneric {
public:
   virtual ~HashMap2018IteratorGeneric() = default;
   virtual bool nonnull() const = 0;
   virtual void advance() = 0;
   // Copies the live value of the current member (true for a set); false, and
   // nothing written, when the member is gone.
   virtual bool obj(void* out) const = 0;
   // Copies the key of the current member, also when it is gone.
   virtual void key(void* out) const = 0;
};

// The iterator methods table of a class, entries in this order.
struct IteratorMethods {
   bool (*iterObj)(FenAttr attr, HashMap2018IteratorGeneric const* iterator, void* out);
   void (*iterKey)(FenAttr attr, HashMap2018IteratorGeneric const* iterator, void* out);
   bool (*iterNonnull)(FenAttr attr, HashMap2018IteratorGeneric const* iterator);
   void (*iterInc)(FenAttr attr, HashMap2018IteratorGeneric* iterator);
   void (*iterDel)(FenAttr attr, HashMap2018IteratorGeneric* iterator);
};
extern IteratorMethods const genericIteratorMethods;

// ---- modules and lookup ----------------------------------------------------------

// Publishes a module; called by each unit's static initialiser.
void fenModuleIs(FenModule const* module);
// The modules published so far, in order of publication.
std::vector<FenModule const*> const& fenModules();
// By name: a module, a type of a module ("Ns::Class" or the last name part), an
// attribute of a type (own, then the bases'). Null when there is none.
FenModule const* fenModule(std::string_view name);
TypeView fenType(FenModule const* module, std::string_view name);
TypeView fenType(std::string_view name);  // in every module
FenAttr fenAttr(TypeView type, std::string_view name);

// The type of an object, through fwkType().
inline TypeView typeOf(PtrInterface const& object) {
   return TypeView(object.fwkType());
}

// ---- the entry points, through a type's dispatch record --------------------------

// On a counted object: through the dispatch record of its own type.
int genericIfAttributeOp(void* result, PtrInterface& object, FenAttr attr,
                         GenericIf::AttributeOp op, void const* key = nullptr,
                         void const* value = nullptr);
// On a value of `type`.
int genericIfAttributeOp(void* result, TypeView type, void* object, FenAttr attr,
                         GenericIf::AttributeOp op, void const* key = nullptr,
                         void const* value = nullptr);
// A new iterator on a collection attribute, at `key` (at the start for null);
// null when the attribute is no collection of the object's class.
HashMap2018IteratorGeneric* genericIfIterator(PtrInterface& object, void const* key, FenAttr attr,
                                              IteratorMethods const** methodsOut);
// Constructs a value at `dest` (a transport), from constructor arguments.
void genericIfConstructFromCtorArgs(TypeView type, void* dest, void const* const* args);

// ---- values held by name ------------------------------------------------------------

// One transport of a type, made by the type's own methods: a default value, a
// parsed one, or a copy; destroyed by them.
class GenericValue {
public:
   GenericValue() = default;
   explicit GenericValue(TypeView type);             // the default value
   GenericValue(TypeView type, String const& text);  // parsed; Fen::RangeException
   GenericValue(GenericValue const& o);
   GenericValue(GenericValue&& o) noexcept;
   GenericValue& operator=(GenericValue o) noexcept;
   ~GenericValue();

   TypeView type() const { return type_; }
   void* ptr() { return storage_.get(); }
   void const* ptr() const { return storage_.get(); }
   explicit operator bool() const { return storage_ != nullptr; }
   // The string form: the type's own; a counted object's type name, or "null".
   String strRep() const;
   friend bool operator==(GenericValue const& a, GenericValue const& b);

   // The counted object held, for a counted type.
   PtrInterface const* object() const;

private:
   GenericIfImpl::ValueMethods const* methods() const;
   TypeView type_;
   std::unique_ptr<std::byte[]> storage_;
};

}  // namespace Fen
