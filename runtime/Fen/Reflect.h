// How a class describes itself to reflection, written once, and the builder that
// turns the descriptions of a unit's types into its Fen::FenModule at load.
//
// Where a type's module lies
// --------------------------
//   FEN_TYPE_IN_MODULE(Ns::Type, Ns::moduleVariable, index)   (at global scope)
// says that Ns::Type is type `index` of that module; every type that reflection
// names (an attribute's, a key's, an argument's, a base) has one.
//
// What a type says of itself
// --------------------------
// A value record: its field table (Fen/Record.h) gives its attributes, from id 2,
// and its constructor arguments (the constructor-only fields, in order); a
// `using FenDerived = Fen::Derived<Fen::DerivedRow<"name", &T::member>, ...>`
// adds its derived members after the fields.
//
// A counted class: `using FenReflection = Fen::Reflection<Base, Ctor, Rows...>`
// in its body, with
//   Base   void (the class derives directly from Fen::PtrInterface: ids from 130),
//          the reflected base class (ids 128 further), or Fen::FirstId<n>
//   Ctor   Fen::Ctor<Fen::Arg<"name", Type>, ...> for a class made by
//          fenObjectIs<Class>(arguments...), Fen::InputsCtor<...> for a state
//          machine made from its Inputs (FEN_SM_CTOR), Fen::NoCtor
//   Rows   in attribute order:
//          FEN_SM_ROWS(TABLE)        the inputs and outputs of a machine's table
//          FenRow_x                  a collection x, made by its FEN_*COLLECTION
//                                    or FEN_SM_ENTRIES line
//          Fen::ValueRow<"x", &C::x, &C::xIs>          a plain value (no setter:
//                                                      constructor-only)
//          Fen::ConstantRow<"x", C::x>                 a constant
//          Fen::MethodRow<"x", &C::x, "arg", ...>      a method (FEN_OVERLOAD
//                                                      picks one of several)
//          Fen::InstantiatingRow<"x", &C::x, &C::xIs, "arg"...>
//                                                      an owned object made by xIs
// An enumeration: FEN_ENUM_DESCRIPTION(Enum, enumType) in its module's unit; its
// names are those of its Fen::EnumType<unsigned char>.
//
// Publishing
// ----------
//   FEN_MODULE(variable, "Name", Type0, Type1, ...)
// in the unit's source defines the module with its types in index order and
// publishes it when the library is loaded.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "Fen/Exception.h"
#include "Fen/FixedString.h"
#include "Fen/GenericIf.h"
#include "Fen/HashMap2018.h"
#include "Fen/Record.h"
#include "Fen/Strep.h"
#include "Fen/TypeOf.h"

namespace Fen {

// ---- types and their modules -----------------------------------------------------

// The type that a C++ type names: Ptr<T>, T* and T const& all name T.
template <class T>
struct ReflectedOf {
   using type = std::remove_cv_t<T>;
};
template <class T>
struct ReflectedOf<Ptr<T>> {
   using type = std::remove_cv_t<T>;
};
template <class T>
struct ReflectedOf<T*> {
   using type = std::remove_cv_t<T>;
};
template <class T>
using Reflected = typename ReflectedOf<std::remove_cvref_t<T>>::type;

template <class T>
inline constexpr bool isCounted = std::is_base_of_v<PtrInterface, Reflected<T>>;

using PtrTransport = Ptr<PtrInterface const>;
template <class T>
using TransportOf = std::conditional_t<isCounted<T>, PtrTransport, Reflected<T>>;

template <class T>
TypeView typeView() {
   if constexpr (std::is_void_v<T>) {
      return {};
   } else {
      using R = Reflected<T>;
      return TypeView(TypeOf<R>::module, TypeOf<R>::index);
   }
}
// A value as its transport.
template <class T>
TransportOf<T> toTransport(T const& v) {
   if constexpr (isCounted<T>) {
      if constexpr (std::is_pointer_v<T>) {
         return PtrTransport(v);
      } else {
         return PtrTransport(v.ptr());
      }
   } else {
      return v;
   }
}

// Writes `v` to a result transport, when the caller asked for one.
template <class T>
void putResult(void* result, T const& v) {
   if (result) *static_cast<TransportOf<T>*>(result) = toTransport(v);
}

[[noreturn]] void throwMissing(std::string_view what, std::string_view attr);

// A value of the C++ type U from its transport: a counted object is checked
// against U's class.
template <class U>
std::remove_cvref_t<U> fromTransport(void const* p, std::string_view what, std::string_view attr) {
   using D = std::remove_cvref_t<U>;
   if (!p) throwMissing(what, attr);
   if constexpr (isCounted<D>) {
      using C = Reflected<D>;
      PtrTransport const& t = *static_cast<PtrTransport const*>(p);
      if (!t) return D();
      auto const* c = dynamic_cast<C const*>(t.ptr());
      if (!c) GenericIfImpl::throwTypeException(typeOf(*t), typeView<C>());
      return D(const_cast<C*>(c));
   } else {
      return *static_cast<D const*>(p);
   }
}

template <class T, class = void>
struct Describe;

// ---- rows --------------------------------------------------------------------------

using GenericIf::AttributeOp;

struct RowDefaults {
   static constexpr bool notification = false;
   static constexpr bool iterable = false;
   using Key = void;
   using Args = std::tuple<>;
   static constexpr std::array<std::string_view, 0> argNames{};
};

// A field of a value record's table.
template <class F>
struct FieldRow : RowDefaults {
   static constexpr std::string_view name = F::name;
   static constexpr AttrKind kind = AttrKind::value;
   static constexpr AttrAccess access =
       F::access == ctorOnly ? AttrAccess::ctorOnly : AttrAccess::writable;
   using Type = typename F::Type;
   template <class O>
   static int op(O& o, FenAttr, AttributeOp op, void* result, void const*, void const* value) {
      if (op == GenericIf::attrGet) {
         putResult(result, o.*F::member);
         return GenericIf::opDone;
      }
      if (op == GenericIf::attrSet && access == AttrAccess::writable) {
         o.*F::member = fromTransport<Type>(value, "value", name);
         return GenericIf::opDone;
      }
      return GenericIf::opNotForAttribute;
   }
};

template <class MemFn>
struct MemFnTraits;
template <class C, class R, class... A>
struct MemFnTraits<R (C::*)(A...)> {
   using Ret = R;
   using Args = std::tuple<std::remove_cvref_t<A>...>;
   static constexpr bool isConst = false;
};
template <class C, class R, class... A>
struct MemFnTraits<R (C::*)(A...) const> {
   using Ret = R;
   using Args = std::tuple<std::remove_cvref_t<A>...>;
   static constexpr bool isConst = true;
};

// Calls `fn` on `o` with the arguments in `args`, writing its result.
template <auto fn, class O, std::size_t N, std::size_t... I>
void callWith(O& o, void* result, void const* const* args,
              std::array<std::string_view, N> const& names, std::string_view attr,
              std::index_sequence<I...>) {
   using Traits = MemFnTraits<decltype(fn)>;
   if (sizeof...(I) > 0 && !args) throwMissing("arguments", attr);
   if constexpr (std::is_void_v<typename Traits::Ret>) {
      (o.*fn)(fromTransport<std::tuple_element_t<I, typename Traits::Args>>(args[I], names[I],
                                                                            attr)...);
   } else {
      putResult(result, (o.*fn)(fromTransport<std::tuple_element_t<I, typename Traits::Args>>(
                            args[I], names[I], attr)...));
   }
}

// A derived member of a value record: op 10 alone.
template <FixedString rowName, auto fn>
struct DerivedRow : RowDefaults {
   static constexpr std::string_view name = rowName.view();
   static constexpr AttrKind kind = AttrKind::constMethod;
   static constexpr AttrAccess access = AttrAccess::ctorOnly;
   using Type = typename MemFnTraits<decltype(fn)>::Ret;
   template <class O>
   static int op(O& o, FenAttr, AttributeOp op, void* result, void const*, void const*) {
      if (op != GenericIf::attrCall) return GenericIf::opNotForAttribute;
      putResult(result, (o.*fn)());
      return GenericIf::opDone;
   }
};
template <class... Rows>
struct Derived {
   using RowList = std::tuple<Rows...>;
};

// A method: op 10 alone, with its arguments from the value array.
template <FixedString rowName, auto fn, FixedString... argNameList>
struct MethodRow : RowDefaults {
   using Traits = MemFnTraits<decltype(fn)>;
   static constexpr std::string_view name = rowName.view();
   static constexpr AttrKind kind = Traits::isConst ? AttrKind::constMethod : AttrKind::method;
   static constexpr AttrAccess access = AttrAccess::ctorOnly;
   using Type = std::conditional_t<std::is_void_v<typename Traits::Ret>, void,
                                   std::remove_cvref_t<typename Traits::Ret>>;
   using Args = typename Traits::Args;
   static constexpr std::array<std::string_view, sizeof...(argNameList)> argNames{
       argNameList.view()...};
   static_assert(std::tuple_size_v<Args> == sizeof...(argNameList),
                 "a method row names each argument of its method");
   template <class O>
   static int op(O& o, FenAttr, AttributeOp op, void* result, void const*, void const* value) {
      if (op != GenericIf::attrCall) return GenericIf::opNotForAttribute;
      callWith<fn>(o, result, static_cast<void const* const*>(value), argNames, name,
                   std::make_index_sequence<sizeof...(argNameList)>());
      return GenericIf::opDone;
   }
};

// One of several overloads of a member function, by its type.
#define FEN_OVERLOAD(Class, member, ...) static_cast<__VA_ARGS__>(&Class::member)

// A single attribute read by its getter and, when it has a setter, written by it
// (the setter's argument from the value's transport).
template <FixedString rowName, auto getter, auto setter, AttrKind rowKind, bool heard>
struct GetSetRow : RowDefaults {
   static constexpr std::string_view name = rowName.view();
   static constexpr AttrKind kind = rowKind;
   static constexpr bool writable = !std::is_same_v<decltype(setter), std::nullptr_t>;
   static constexpr AttrAccess access = writable ? AttrAccess::writable : AttrAccess::ctorOnly;
   static constexpr bool notification = heard;
   using Type = Reflected<typename MemFnTraits<decltype(getter)>::Ret>;
   template <class O>
   static int op(O& o, FenAttr, AttributeOp op, void* result, void const*, void const* value) {
      if (op == GenericIf::attrGet) {
         putResult(result, (o.*getter)());
         return GenericIf::opDone;
      }
      if constexpr (writable) {
         if (op == GenericIf::attrSet) {
            using P = std::tuple_element_t<0, typename MemFnTraits<decltype(setter)>::Args>;
            (o.*setter)(fromTransport<P>(value, "value", name));
            return GenericIf::opDone;
         }
      }
      return GenericIf::opNotForAttribute;
   }
};

// A pointer of a state machine's table: op 0 gives the notifier (an input) or
// the pointer (an output); a shared input is also set, through xIs.
template <FixedString rowName, auto getter, bool heard, auto setter = nullptr>
using InputRow = GetSetRow<rowName, getter, setter, AttrKind::pointer, heard>;

// A plain value with a getter and, when writable, a setter.
template <FixedString rowName, auto getter, auto setter = nullptr>
using ValueRow = GetSetRow<rowName, getter, setter, AttrKind::value, false>;

// A constant of the class.
template <FixedString rowName, auto constant>
struct ConstantRow : RowDefaults {
   static constexpr std::string_view name = rowName.view();
   static constexpr AttrKind kind = AttrKind::constant;
   static constexpr AttrAccess access = AttrAccess::ctorOnly;
   using Type = std::remove_cv_t<decltype(constant)>;
   template <class O>
   static int op(O&, FenAttr, AttributeOp op, void* result, void const*, void const*) {
      if (op != GenericIf::attrGet) return GenericIf::opNotForAttribute;
      putResult(result, constant);
      return GenericIf::opDone;
   }
};

// An owned object that xIs makes (with its arguments): op 1 takes the creator's
// argument as its value and gives the object. The owner cannot work without it,
// so reflection does not drop it (op 2 answers 1).
template <FixedString rowName, auto getter, auto creator, FixedString... argNameList>
struct InstantiatingRow : RowDefaults {
   static constexpr std::string_view name = rowName.view();
   static constexpr AttrKind kind = AttrKind::pointer;
   static constexpr AttrAccess access = AttrAccess::createdByIs;
   using Type = Reflected<typename MemFnTraits<decltype(getter)>::Ret>;
   using Args = typename MemFnTraits<decltype(creator)>::Args;
   static constexpr std::array<std::string_view, sizeof...(argNameList)> argNames{
       argNameList.view()...};
   template <class O>
   static int op(O& o, FenAttr, AttributeOp op, void* result, void const*, void const* value) {
      switch (op) {
         case GenericIf::attrGet:
            putResult(result, (o.*getter)());
            return GenericIf::opDone;
         case GenericIf::attrSet:
            if constexpr (std::tuple_size_v<Args> == 0) {
               putResult(result, (o.*creator)());
            } else {
               putResult(result, (o.*creator)(fromTransport<std::tuple_element_t<0, Args>>(
                                     value, argNames[0], name)));
            }
            return GenericIf::opDone;
         default:
            return GenericIf::opNotForAttribute;
      }
   }
};

// ---- collections ------------------------------------------------------------------

template <class O, class R>
class HashMap2018IteratorTyped final : public HashMap2018IteratorGeneric {
public:
   using Map = typename R::Map;
   HashMap2018IteratorTyped(O& o, void const* key)
       : owner_(&o),
         it_(key ? typename Map::IteratorConst(R::map(o), keyOf(key))
                 : typename Map::IteratorConst(R::map(o))) {}
   bool nonnull() const override { return it_.onMember(); }
   void advance() override { it_.advance(); }
   bool obj(void* out) const override {
      if (!it_.currNodeNonStale()) return false;
      putResult(out, R::get(*static_cast<O const*>(owner_.ptr()), it_.key()));
      return true;
   }
   void key(void* out) const override {
      *static_cast<TransportOf<typename Map::KeyType>*>(out) = typename Map::KeyType(it_.key());
   }

private:
   static typename Map::KeyType const& keyOf(void const* key) {
      return *static_cast<typename Map::KeyType const*>(key);
   }
   Ptr<PtrInterface const> owner_;
   typename Map::IteratorConst it_;
};

// A collection attribute, through the accessors that FEN_*COLLECTION made, so that
// notifications of xIs and xDel happen. R is the collection's FenRow_x.
template <class R>
struct CollectionRow : RowDefaults {
   static constexpr std::string_view name = R::name;
   using Map = typename R::Map;
   using Key = typename Map::KeyType;
   using Value = typename R::Value;
   // A set has no value: op 0 and 5 answer membership as a bool.
   using Type = std::conditional_t<Map::isSet, void, Reflected<Value>>;
   static constexpr AttrKind kind =
       isCounted<Value> ? AttrKind::pointerCollection : AttrKind::collection;
   static constexpr AttrAccess access = R::access;
   static constexpr bool iterable = true;

   template <class O>
   static int op(O& o, FenAttr attr, AttributeOp op, void* result, void const* key,
                 void const* value) {
      auto k = [&]() -> Key const& {
         if (!key) throwMissing("key", name);
         return *static_cast<Key const*>(key);
      };
      switch (op) {
         case GenericIf::attrGet:
            putResult(result, R::get(o, k()));
            return GenericIf::opDone;
         case GenericIf::attrSet:
            set(o, attr, result, key, value);
            return GenericIf::opDone;
         case GenericIf::attrDel:
            putResult(result, R::del(o, k()));
            return GenericIf::opDone;
         case GenericIf::attrCount:
            putResult(result, static_cast<std::uint32_t>(R::map(o).size()));
            return GenericIf::opDone;
         case GenericIf::attrFigure:
            putResult(result, static_cast<std::uint32_t>(R::map(o).slotCount() & 0x7FFFFFu));
            return GenericIf::opDone;
         case GenericIf::attrHas:
            putResult(result, R::map(o).has(k()));
            return GenericIf::opDone;
         default:
            return GenericIf::opNotForAttribute;
      }
   }

   template <class O>
   static void set(O& o, FenAttr attr, void* result, void const* key, void const* value) {
      auto k = [&]() -> Key const& {
         if (!key) throwMissing("key", name);
         return *static_cast<Key const*>(key);
      };
      if constexpr (Map::isSet) {
         if (!fromTransport<bool>(value, "value", name))
            GenericIfImpl::throwSetFalseValueException(attr);
         R::is(o, k());
      } else if constexpr (R::access == AttrAccess::createdByIs) {
         putResult(result, R::is(o, k()));
      } else if constexpr (R::entries) {
         R::is(o, fromTransport<Ptr<Type const>>(value, "value", name));
      } else if constexpr (Map::hasInternalKey) {
         Value const v = fromTransport<Value>(value, "value", name);
         if (key && !(Key(Map::nodeKey(v)) == k())) {
            throwRangeException(String("the key of ") + String(name) +
                                String(" is not the key of its value"));
         }
         R::is(o, v);
      } else {
         R::is(o, k(), fromTransport<Value>(value, "value", name));
      }
   }

   template <class O>
   static HashMap2018IteratorGeneric* iterator(O& o, void const* key) {
      return new HashMap2018IteratorTyped<O, R>(o, key);
   }
};

// ---- constructors -------------------------------------------------------------------

template <FixedString argName, class T>
struct Arg {
   static constexpr std::string_view name = argName.view();
   using Type = T;
};

struct NoCtor {
   static constexpr bool constructible = false;
   using ArgList = std::tuple<>;
};

template <class... A>
struct DropVoid;
template <>
struct DropVoid<> {
   using type = std::tuple<>;
};
template <class... Rest>
struct DropVoid<void, Rest...> : DropVoid<Rest...> {};
template <class First, class... Rest>
struct DropVoid<First, Rest...> {
   using type = decltype(std::tuple_cat(std::declval<std::tuple<First>>(),
                                        std::declval<typename DropVoid<Rest...>::type>()));
};

// Made by fenObjectIs<Class>(arguments...).
template <class... A>
struct Ctor {
   static constexpr bool constructible = true;
   static constexpr bool fromInputs = false;
   using ArgList = typename DropVoid<A...>::type;
};
// A state machine, made from its Inputs filled with the arguments in order.
template <class... A>
struct InputsCtor {
   static constexpr bool constructible = true;
   static constexpr bool fromInputs = true;
   using ArgList = typename DropVoid<A...>::type;
};

template <class T, class ArgList, std::size_t... I>
T constructValue(void const* const* args, std::index_sequence<I...>) {
   if (sizeof...(I) > 0 && !args) throwMissing("arguments", "constructor");
   return T(fromTransport<typename std::tuple_element_t<I, ArgList>::Type>(
       args[I], std::tuple_element_t<I, ArgList>::name, "constructor")...);
}

template <class C, class CtorT, std::size_t... I>
Ptr<C> constructCounted(void const* const* args, std::index_sequence<I...>) {
   using ArgList = typename CtorT::ArgList;
   if (sizeof...(I) > 0 && !args) throwMissing("arguments", "constructor");
   if constexpr (CtorT::fromInputs) {
      return fenObjectIs<C>(
          typename C::Inputs{fromTransport<typename std::tuple_element_t<I, ArgList>::Type>(
              args[I], std::tuple_element_t<I, ArgList>::name, "constructor")...});
   } else {
      return fenObjectIs<C>(fromTransport<typename std::tuple_element_t<I, ArgList>::Type>(
          args[I], std::tuple_element_t<I, ArgList>::name, "constructor")...);
   }
}

// Arguments listed, but the class is not made through reflection (a base that a
// platform derives from).
template <class CtorT>
struct NotMadeByReflection {
   static constexpr bool constructible = false;
   using ArgList = typename CtorT::ArgList;
};

// ---- descriptions -------------------------------------------------------------------

template <std::uint16_t n>
struct FirstId {
   static constexpr AttributeId first = n;
};

// A row as listed: a collection's FenRow_x stands for its Fen::CollectionRow.
template <class R>
struct AsRowOf {
   using type = R;
};
template <class R>
requires requires {
   R::entries;
}
struct AsRowOf<R> {
   using type = CollectionRow<R>;
};

template <class Base, class CtorT, class... Rows>
struct Reflection {
   using BaseType = Base;
   using CtorType = CtorT;
   using RowList = std::tuple<typename AsRowOf<Rows>::type...>;
};

template <class FieldsT>
struct FieldRowsOf;
template <FixedString n, class... F>
struct FieldRowsOf<Fields<n, F...>> {
   using type = std::tuple<FieldRow<F>...>;
};

// The constructor arguments of a value record: its constructor-only fields.
template <class F>
struct FieldArg {
   static constexpr std::string_view name = F::name;
   using Type = typename F::Type;
};
template <class... F>
struct CtorFieldsOf {
   using type =
       typename DropVoid<std::conditional_t<F::access == ctorOnly, FieldArg<F>, void>...>::type;
};
template <class FieldsT>
struct RecordCtorOf;
template <FixedString n, class... F>
struct RecordCtorOf<Fields<n, F...>> {
   using type = typename CtorFieldsOf<F...>::type;
};

template <class T>
concept IsRecord = requires {
   typename T::FenFields;
};
template <class T>
concept HasDerived = requires {
   typename T::FenDerived;
};
template <class T>
concept HasReflection = requires {
   typename T::FenReflection;
};

template <class T>
struct RecordRows {
   using type = typename FieldRowsOf<typename T::FenFields>::type;
};
template <HasDerived T>
struct RecordRows<T> {
   using type =
       decltype(std::tuple_cat(std::declval<typename FieldRowsOf<typename T::FenFields>::type>(),
                               std::declval<typename T::FenDerived::RowList>()));
};

// A value record.
template <IsRecord T>
struct Describe<T> {
   static constexpr TypeFamily family = TypeFamily::value;
   static constexpr std::string_view name = T::FenFields::name;
   using RowList = typename RecordRows<T>::type;
   using CtorArgs = typename RecordCtorOf<typename T::FenFields>::type;
   static constexpr bool constructible = true;
   using Base = void;
};

// A counted class.
template <HasReflection T>
struct Describe<T> {
   static constexpr TypeFamily family = TypeFamily::counted;
   static constexpr std::string_view name = T::fenTypeName();
   using RowList = typename T::FenReflection::RowList;
   using CtorArgs = typename T::FenReflection::CtorType::ArgList;
   static constexpr bool constructible = T::FenReflection::CtorType::constructible;
   using Base = typename T::FenReflection::BaseType;
};

// A type without attributes or constructor arguments: a primitive, an
// enumeration, or a value with its own string form and equality.
template <TypeFamily f>
struct PlainDescription {
   static constexpr TypeFamily family = f;
   using RowList = std::tuple<>;
   using CtorArgs = std::tuple<>;
   static constexpr bool constructible = true;
   using Base = void;
};

#define FEN_PLAIN_DESCRIPTION_(Type, familyValue, ...)                                    \
   template <>                                                                            \
   struct Fen::Describe<Type> : ::Fen::PlainDescription<::Fen::TypeFamily::familyValue> { \
      __VA_ARGS__                                                                         \
   };
// A primitive of the runtime's own module "Fen".
#define FEN_PRIMITIVE_DESCRIPTION(Type, typeName) \
   FEN_PLAIN_DESCRIPTION_(Type, primitive, static constexpr std::string_view name = typeName;)
// A value type without a field table: its own string form and equality.
#define FEN_VALUE_DESCRIPTION(Type, typeName) \
   FEN_PLAIN_DESCRIPTION_(Type, value, static constexpr std::string_view name = typeName;)
// An enumeration of one byte, named by its Fen::EnumType.
#define FEN_ENUM_DESCRIPTION(Enum, enumTypeObject) \
   FEN_PLAIN_DESCRIPTION_(                         \
       Enum, enumeration,                          \
       static ::Fen::EnumType<unsigned char> const& enumType() { return enumTypeObject; })

// ---- the methods tables ---------------------------------------------------------------

template <class T>
String valueStrRep(T const& v) {
   if constexpr (std::is_same_v<T, bool>) {
      return String(v ? "true" : "false");
   } else if constexpr (std::is_arithmetic_v<T>) {
      return String(std::to_string(v));
   } else if constexpr (std::is_same_v<T, String>) {
      return v;
   } else if constexpr (requires { valueToStrep(v); }) {
      return valueToStrep(v);
   } else {
      return String("Value('") + String(Describe<T>::name) + String("')");
   }
}

void parsePrimitive(bool* out, String const& text);
void parsePrimitive(std::uint64_t* out, String const& text);
void parsePrimitive(String* out, String const& text);

template <class T>
void valueParse(T* out, String const& text) {
   if constexpr (std::is_same_v<T, bool> || std::is_same_v<T, String>) {
      parsePrimitive(out, text);
   } else if constexpr (std::is_arithmetic_v<T>) {
      std::uint64_t v = 0;
      parsePrimitive(&v, text);
      if (v > static_cast<std::uint64_t>(static_cast<T>(~T{}))) {
         throwRangeException(String("number out of range: '") + text + String("'"));
      }
      *out = static_cast<T>(v);
   } else if constexpr (HasParsingConstructor<T> || requires(String::IteratorConst & it, T * p) {
                           sequenceToValue(it, it, p);
                        }) {
      strepToValue(text, out);
   } else {
      throwRangeException(String(Describe<T>::name) + String(" has no string form to parse"));
   }
}

template <class T>
std::uint32_t valueHash(T const& v) {
   if constexpr (std::is_same_v<T, String>) {
      return static_cast<std::uint32_t>(std::hash<std::string>()(v.stdString()));
   } else if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T>) {
      return static_cast<std::uint32_t>(v);
   } else if constexpr (
       requires { v.hash(std::uint32_t{0}); } || requires { v.hash(); }) {
      return fieldHashWord(v);
   } else if constexpr (requires { typename T::FenFields; }) {
      return recordHash(v, 0);
   } else {
      return 0;
   }
}

namespace GenericIfImpl {

// The methods of a value record or a primitive.
template <class T>
struct GenericIfValueMethods {
   static void construct(void* dest, void const* src) {
      ::new (dest) T(src ? *static_cast<T const*>(src) : T());
   }
   static void destruct(void* p) { static_cast<T*>(p)->~T(); }
   static void strepToValue(void* dest, String const& text, TypeView) {
      valueParse(static_cast<T*>(dest), text);
   }
   static void strRep(String* out, void const* p, TypeView) {
      *out = valueStrRep(*static_cast<T const*>(p));
   }
   static std::uint32_t hash(void const* p, TypeView) {
      return valueHash(*static_cast<T const*>(p));
   }
   static bool equal(void const* a, void const* b) {
      return *static_cast<T const*>(a) == *static_cast<T const*>(b);
   }
   static constexpr ValueMethods table{&construct, &destruct, &strepToValue, &strRep, nullptr,
                                       nullptr,    &hash,     &voidPtrIs,    &equal};
};

// The runtime's methods of every enumeration of one byte.
template <class U>
struct GenericIfEnumMethods;
template <>
struct GenericIfEnumMethods<unsigned char> {
   static ValueMethods const table;
};

// The runtime's methods of every counted class: the transport is a
// Fen::Ptr<PtrInterface const>.
template <class P>
struct GenericIfPtrInterfaceMethods;
template <>
struct GenericIfPtrInterfaceMethods<PtrInterface> {
   static ValueMethods const table;
};

}  // namespace GenericIfImpl

// ---- the operations of one type ---------------------------------------------------------

template <class Tuple>
struct RowsApply;
template <class... Rows>
struct RowsApply<std::tuple<Rows...>> {
   static constexpr std::size_t count = sizeof...(Rows);
   template <class O>
   using OpFn = int (*)(O&, FenAttr, AttributeOp, void*, void const*, void const*);
   template <class O>
   static constexpr std::array<OpFn<O>, sizeof...(Rows)> ops{&Rows::template op<O>...};
   template <class O>
   using IterFn = HashMap2018IteratorGeneric* (*)(O&, void const*);
   template <class R, class O>
   static constexpr IterFn<O> iterOf() {
      if constexpr (R::iterable) {
         return &R::template iterator<O>;
      } else {
         return nullptr;
      }
   }
   template <class O>
   static constexpr std::array<IterFn<O>, sizeof...(Rows)> iterators{iterOf<Rows, O>()...};
};

template <class T>
struct TypeOps {
   using D = Describe<T>;
   using Rows = RowsApply<typename D::RowList>;
   // Where the type's attributes stand in its module; written by the builder.
   static inline std::uint16_t firstAttribute = 0;

   static T& self(void* object) {
      if constexpr (D::family == TypeFamily::counted) {
         return *static_cast<T*>(static_cast<PtrInterface*>(object));
      } else {
         return *static_cast<T*>(object);
      }
   }
   // Their number: the rows, or an enumeration's enumerators.
   static inline std::uint16_t attributeCount = 0;

   static bool own(FenAttr attr) {
      return attr.module() == TypeOf<T>::module && attr.position() >= firstAttribute &&
             attr.position() < firstAttribute + attributeCount;
   }

   static int attributeOp(void* result, void* object, FenAttr attr, AttributeOp op, void const* key,
                          void const* value) {
      if (!attr) {
         if constexpr (D::family == TypeFamily::counted) {
            return GenericIf::opNotOfClass;
         } else {
            T const& v = self(object);
            if (op == GenericIf::attrNonDefault) {
               putResult(result, !(v == T()));
               return GenericIf::opDone;
            }
            if (op == GenericIf::attrEqual) {
               putResult(result, v == fromTransport<T>(value, "value", "the other value"));
               return GenericIf::opDone;
            }
            return GenericIf::opNotForAttribute;
         }
      }
      if (own(attr)) {
         if constexpr (D::family == TypeFamily::enumeration) {
            // An enumerator: its value, read only.
            if (op != GenericIf::attrGet) return GenericIf::opNotForAttribute;
            auto const& e = D::enumType().enumerator(attr.position() - firstAttribute);
            putResult(result, static_cast<T>(e.value));
            return GenericIf::opDone;
         } else {
            return Rows::template ops<T>[attr.position() - firstAttribute](self(object), attr, op,
                                                                           result, key, value);
         }
      }
      if constexpr (D::family == TypeFamily::counted && !std::is_void_v<typename D::Base> &&
                    requires { typename D::Base::FenReflection; }) {
         return TypeOps<typename D::Base>::attributeOp(result, object, attr, op, key, value);
      }
      return GenericIf::opNotOfClass;
   }

   static HashMap2018IteratorGeneric* iterator(void* object, void const* key, FenAttr attr,
                                               IteratorMethods const** methodsOut) {
      if (!attr) return nullptr;
      if constexpr (Rows::count == 0) {
         return nullptr;
      } else if (own(attr)) {
         auto const fn = Rows::template iterators<T>[attr.position() - firstAttribute];
         if (!fn) return nullptr;
         if (methodsOut) *methodsOut = &genericIteratorMethods;
         return fn(self(object), key);
      }
      if constexpr (D::family == TypeFamily::counted && !std::is_void_v<typename D::Base> &&
                    requires { typename D::Base::FenReflection; }) {
         return TypeOps<typename D::Base>::iterator(object, key, attr, methodsOut);
      }
      return nullptr;
   }

   static void construct(void* dest, void const* const* args) {
      constexpr std::size_t n = std::tuple_size_v<typename D::CtorArgs>;
      if constexpr (D::family == TypeFamily::counted) {
         if constexpr (D::constructible) {
            *static_cast<PtrTransport*>(dest) =
                constructCounted<T, typename T::FenReflection::CtorType>(
                    args, std::make_index_sequence<n>());
         } else {
            throwRangeException(String(D::name) + String(" is not made through reflection"));
         }
      } else if constexpr (D::family == TypeFamily::value) {
         *static_cast<T*>(dest) =
             constructValue<T, typename D::CtorArgs>(args, std::make_index_sequence<n>());
      } else {
         *static_cast<T*>(dest) = T();
      }
   }
};

// ---- the module builder -------------------------------------------------------------------

class ModuleBuilder {
public:
   explicit ModuleBuilder(char const* name) : name_(name) {}

   TypeRef dependency(TypeView t) {
      if (!t) return noType;
      for (std::size_t i = 0; i < deps_.size(); ++i) {
         if (deps_[i].module == t.module && deps_[i].type == t.index)
            return static_cast<TypeRef>(i);
      }
      deps_.push_back({t.module, t.index});
      return static_cast<TypeRef>(deps_.size() - 1);
   }
   std::uint32_t typeName(std::string_view s) { return blob(typeNames_, s); }
   std::uint32_t attributeName(std::string_view s) { return blob(attributeNames_, s); }

   template <class ArgTuple, std::size_t... I>
   std::uint16_t arguments(std::index_sequence<I...>) {
      auto const first = static_cast<std::uint16_t>(args_.size());
      (args_.push_back({attributeName(std::tuple_element_t<I, ArgTuple>::name),
                        dependency(typeView<typename std::tuple_element_t<I, ArgTuple>::Type>())}),
       ...);
      return first;
   }
   template <class Row, std::size_t... I>
   std::uint16_t rowArguments(std::index_sequence<I...>) {
      auto const first = static_cast<std::uint16_t>(args_.size());
      (args_.push_back({attributeName(Row::argNames[I]),
                        dependency(typeView<std::tuple_element_t<I, typename Row::Args>>())}),
       ...);
      return first;
   }

   template <class Row>
   void attribute(AttributeId id) {
      constexpr std::size_t n = std::tuple_size_v<typename Row::Args>;
      std::uint16_t const argIndex = rowArguments<Row>(std::make_index_sequence<n>());
      attrs_.push_back({id, Row::kind, Row::access, Row::notification, attributeName(Row::name),
                        dependency(typeView<typename Row::Type>()),
                        dependency(typeView<typename Row::Key>()), argIndex,
                        static_cast<std::uint16_t>(n)});
   }

   template <class T>
   static AttributeId firstId() {
      using D = Describe<T>;
      if constexpr (D::family != TypeFamily::counted) {
         return 2;
      } else if constexpr (std::is_void_v<typename D::Base>) {
         return 130;
      } else if constexpr (requires { D::Base::first; }) {
         return D::Base::first;
      } else {
         return firstId<typename D::Base>() + 128;
      }
   }

   template <class T, std::size_t... I>
   void rows(AttributeId first, std::index_sequence<I...>) {
      (attribute<std::tuple_element_t<I, typename Describe<T>::RowList>>(first + I), ...);
   }

   template <class T>
   void type(std::uint16_t expectedIndex) {
      using D = Describe<T>;
      static_assert(std::is_same_v<decltype(TypeOf<T>::index), std::uint16_t const>);
      if (TypeOf<T>::index != expectedIndex) misplaced(D::family, expectedIndex);
      TypeRecord r{};
      r.number = expectedIndex;
      r.family = D::family;
      r.firstAttribute = static_cast<std::uint16_t>(attrs_.size());
      TypeOps<T>::firstAttribute = r.firstAttribute;
      r.constructible = D::constructible;
      void const* methods = nullptr;
      if constexpr (D::family == TypeFamily::enumeration) {
         auto const& e = D::enumType();
         r.name = typeName(e.typeName());
         r.enumType = &e;
         for (std::size_t i = 0; i < e.enumeratorCount(); ++i) {
            attrs_.push_back({static_cast<AttributeId>(2 + i), AttrKind::enumerator,
                              AttrAccess::ctorOnly, false, attributeName(e.enumerator(i).name),
                              dependency(typeView<T>()), noType, 0, 0});
         }
         methods = &GenericIfImpl::GenericIfEnumMethods<unsigned char>::table;
         r.size = sizeof(T);
         r.align = alignof(T);
      } else {
         r.name = typeName(D::name);
         rows<T>(firstId<T>(), std::make_index_sequence<std::tuple_size_v<typename D::RowList>>());
         if constexpr (D::family == TypeFamily::counted) {
            methods = &GenericIfImpl::GenericIfPtrInterfaceMethods<PtrInterface>::table;
            r.flags = TypeRecord::polymorphicFlag;
            r.size = sizeof(PtrTransport);
            r.align = alignof(PtrTransport);
            if constexpr (!std::is_void_v<typename D::Base> &&
                          requires { typename D::Base::FenReflection; }) {
               r.base = dependency(typeView<typename D::Base>());
            } else {
               r.base = noType;
            }
         } else {
            methods = &GenericIfImpl::GenericIfValueMethods<T>::table;
            r.size = sizeof(T);
            r.align = alignof(T);
            r.base = noType;
         }
      }
      if constexpr (D::family == TypeFamily::enumeration || D::family == TypeFamily::primitive) {
         r.base = noType;
      }
      r.attributeCount = static_cast<std::uint16_t>(attrs_.size() - r.firstAttribute);
      TypeOps<T>::attributeCount = r.attributeCount;
      constexpr std::size_t n = std::tuple_size_v<typename D::CtorArgs>;
      r.ctorArgIndex = arguments<typename D::CtorArgs>(std::make_index_sequence<n>());
      r.ctorArgCount = static_cast<std::uint16_t>(n);
      types_.push_back(r);
      dispatch_.push_back({methods, &TypeOps<T>::construct, &TypeOps<T>::attributeOp,
                           &TypeOps<T>::iterator, nullptr, nullptr});
   }

   FenModule finish();

private:
   static std::uint32_t blob(std::string& b, std::string_view s);
   [[noreturn]] void misplaced(TypeFamily family, std::uint16_t index) const;

   char const* name_;
   std::vector<TypeRecord> types_;
   std::vector<AttributeRecord> attrs_;
   std::vector<ArgumentRecord> args_;
   std::vector<Dependency> deps_;
   std::vector<DispatchRecord> dispatch_;
   std::string typeNames_;
   std::string attributeNames_;
};

template <class... Types, std::size_t... I>
FenModule buildModuleOf(char const* name, std::index_sequence<I...>) {
   ModuleBuilder b(name);
   (b.template type<Types>(static_cast<std::uint16_t>(I)), ...);
   return b.finish();
}
template <class... Types>
FenModule buildModule(char const* name) {
   return buildModuleOf<Types...>(name, std::index_sequence_for<Types...>());
}

}  // namespace Fen

// Defines the unit's module `variable` named `name` with its types in index order,
// and publishes it when the library is loaded. Used once per source unit, at
// namespace scope, after the unit's static objects.
#define FEN_MODULE(variable, name, ...)                                                     \
   ::Fen::FenModule const variable = ::Fen::buildModule<__VA_ARGS__>(name);                 \
   namespace {                                                                              \
   [[maybe_unused]] bool const variable##Published = (::Fen::fenModuleIs(&variable), true); \
   }

// ---- the runtime's own module: the primitives ------------------------------------------

namespace Fen {
extern FenModule const fenRuntimeModule;
}  // namespace Fen

FEN_TYPE_IN_MODULE(bool, ::Fen::fenRuntimeModule, 0)
FEN_TYPE_IN_MODULE(std::uint8_t, ::Fen::fenRuntimeModule, 1)
FEN_TYPE_IN_MODULE(std::uint16_t, ::Fen::fenRuntimeModule, 2)
FEN_TYPE_IN_MODULE(std::uint32_t, ::Fen::fenRuntimeModule, 3)
FEN_TYPE_IN_MODULE(std::uint64_t, ::Fen::fenRuntimeModule, 4)
FEN_TYPE_IN_MODULE(::Fen::String, ::Fen::fenRuntimeModule, 5)
