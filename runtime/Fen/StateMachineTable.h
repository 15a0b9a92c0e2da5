// The attributes that a state machine binds at creation, told once in a table and
// expanded into everything that repeats them: the nested reactor classes, the
// forwarders, the slots and pointers, the getters, the named `Inputs`, the
// constructors, the binding and the reactor tie.
//
// The table
// ---------
// A state machine's header defines one function-like macro that lists its bound
// attributes in attribute order, one row each:
//
//   #define FOO_SM_ATTRIBUTES(input, output, shared) <backslash>
//      input(bar, Bar, Ns::BarColl const, entry, Ns::Key, handleBar, ::Fen::NoVariant) <backslash>
//      output(baz, Ns::BazColl) <backslash>
//      shared(qux, Qux, Ns::QuxColl const, entry, Ns::Key, handleQux, ::Fen::NoVariant)
//
// with types named in full, since a derived machine in another namespace expands
// its base's table too. Rows:
//
//   input   an input heard through a reactor, given to the constructor:
//           input(name, Name, NotifierT, heard, Key, handler, Variant)
//   output  a pointer given to the constructor and written, never heard:
//           output(name, T)
//   shared  an input heard through a reactor and attached at run time through
//           nameIs(Fen::Ptr) / nameDel(), not given to the constructor:
//           shared(name, Name, NotifierT, heard, Key, handler, Variant)
//
// For a heard row, `NotifierT` is the constructor's pointer type (const when the
// machine only reads it), `heard` the heard attribute of the notifier (whose id
// is NotifierT::heardAttributeId), `Key` the key of its notifications, `handler`
// the state machine's handler of one key, and `Variant` the work of the reactor's
// notifierIs beside the switch (Fen::NoVariant, or
// Fen::Rescan<Fen::wholeHandler<FenSm>(&FenSm::handleX)> for a rescan).
//
// What each row makes (the expansions below, used inside the class `Sm`, after
// `FEN_COUNTED_CLASS` and `using FenSm = Sm;`):
//
//   FEN_SM_REACTORS     heard rows: the forwarder fen_handleName_heard(key) that
//                       calls handler(key), and the reactor class FenName
//                       (counted as "<Sm's name>::FenName")
//   FEN_SM_INPUTS       struct Inputs: one Fen::Ptr per input and output row, in
//                       table order, for designated initialisers; fenInputCount
//   FEN_SM_INPUTS_WITH_SHARED  the same with the shared rows too (for a derived
//                       machine whose constructor also takes its base's shared inputs)
//   FEN_SM_CONSTRUCTORS the constructor from Inputs, and the positional one (as
//                       many arguments as Inputs has fields, in its order)
//   FEN_SM_GETTERS      name(): the notifier of an input (null without reactor),
//                       the pointer of an output; nameIs(p) and nameDel() of a
//                       shared input
//   FEN_SM_MEMBERS      the slot name_ of a heard row, the Fen::Ptr name_ of an
//                       output
//   FEN_SM_BIND         statements of the constructor, whose Inputs argument is
//                       named `inputs`: each input's reactor made, each output
//                       stored, in table order; no handler runs
//   FEN_SM_FORWARD      the base's Inputs from a derived machine's `inputs`
//   FEN_SM_TIE          the reactor slots as a tuple of references, for
//                       fenReactors()
//
// Entries
// -------
// A state machine that hears a scalar attribute of every member of a directory
// keeps one entry reactor per member (Fen::EntryReactor, Fen::EntryMap), declared
// with one line after its handlers:
//
//   FEN_SM_ENTRIES(x, Name, NotifierT, heard, handler, salt, attributeId, DirT, members)
//
// for the collection `x` of entries `FenName` hearing attribute `heard` of
// NotifierT (the directory DirT's member class, whose members are `members`) and
// calling `handler(key)`. It makes the entry class FenName with its forwarder
// fen_handleName_heard(), the collection's type FenNameMap and member x_, the
// accessors x(key), xIs(p), xDel(key), xDelAll(), xs(), xMap(), and
// fenEntriesName() for the directory reactor's Fen::Reconcile variant. Its
// member stands in fenReactors() after the slots of FEN_SM_TIE.
//
// Each macro-made name is listed in a one-line comment where the expansion is
// used, so that a search for it finds its origin.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "Fen/Accessors.h"
#include "Fen/FixedString.h"
#include "Fen/Reactor.h"

// ---- the row expansions (not used directly) ------------------------------------

#define FEN_SM_ROW_NONE_(...)

#define FEN_SM_ROW_REACTOR_(name, Name, NotifierT, heard, Key, handler, Variant)               \
   void fen_handle##Name##_##heard(Key const& key) {                                           \
      handler(key);                                                                            \
   }                                                                                           \
   class Fen##Name : public ::Fen::Reactor<Fen##Name, FenSm, std::remove_const_t<NotifierT>,   \
                                           std::remove_const_t<NotifierT>::heard##AttributeId, \
                                           Key, &FenSm::fen_handle##Name##_##heard, Variant> { \
      FEN_COUNTED_CLASS(                                                                       \
          (::Fen::Concat<::Fen::TypeNameOf<FenSm>, ::Fen::Literal<"::Fen" #Name>>::cString))   \
                                                                                               \
   public:                                                                                     \
      using Fen::Reactor<Fen##Name, FenSm, std::remove_const_t<NotifierT>,                     \
                         std::remove_const_t<NotifierT>::heard##AttributeId, Key,              \
                         &FenSm::fen_handle##Name##_##heard, Variant>::Reactor;                \
   };

#define FEN_SM_ROW_FIELD_IN_(name, Name, NotifierT, ...) ::Fen::Ptr<NotifierT> name{};
#define FEN_SM_ROW_FIELD_OUT_(name, T) ::Fen::Ptr<T> name{};
#define FEN_SM_ROW_COUNT_IN_(...) +1
#define FEN_SM_ROW_FORWARD_IN_(name, ...) inputs.name,
#define FEN_SM_ROW_FORWARD_OUT_(name, T) inputs.name,

#define FEN_SM_ROW_GETTER_IN_(name, Name, NotifierT, ...) \
   std::add_const_t<NotifierT>* name() const {            \
      return name##_.notifier();                          \
   }
#define FEN_SM_ROW_GETTER_OUT_(name, T) \
   T* name() const {                    \
      return name##_.ptr();             \
   }
#define FEN_SM_ROW_GETTER_SHARED_(name, Name, NotifierT, ...) \
   FEN_SM_ROW_GETTER_IN_(name, Name, NotifierT)               \
   void name##Is(::Fen::Ptr<NotifierT> const& p) {            \
      name##_.notifierIs(this, p);                            \
   }                                                          \
   ::Fen::Ptr<NotifierT> name##Del() {                        \
      return name##_.notifierDel(this);                       \
   }

#define FEN_SM_ROW_MEMBER_IN_(name, Name, ...) ::Fen::ReactorSlot<Fen##Name> name##_;
#define FEN_SM_ROW_MEMBER_OUT_(name, T) ::Fen::Ptr<T> name##_;
#define FEN_SM_ROW_BIND_IN_(name, ...) name##_.reactorIs(inputs.name, this);
#define FEN_SM_ROW_BIND_OUT_(name, T) name##_ = inputs.name;
#define FEN_SM_ROW_TIE_IN_(name, ...) std::tie(name##_),
#define FEN_SM_ROW_REFLECT_IN_(name, ...) ::Fen::InputRow<#name, &FenSm::name, true>,
#define FEN_SM_ROW_REFLECT_OUT_(name, T) ::Fen::InputRow<#name, &FenSm::name, false>,
#define FEN_SM_ROW_REFLECT_SHARED_(name, ...) \
   ::Fen::InputRow<#name, &FenSm::name, true, &FenSm::name##Is>,
#define FEN_SM_ROW_ARG_IN_(name, Name, NotifierT, ...) ::Fen::Arg<#name, ::Fen::Ptr<NotifierT>>,
#define FEN_SM_ROW_ARG_OUT_(name, T) ::Fen::Arg<#name, ::Fen::Ptr<T>>,

// ---- the expansions --------------------------------------------------------------

#define FEN_SM_REACTORS(TABLE) TABLE(FEN_SM_ROW_REACTOR_, FEN_SM_ROW_NONE_, FEN_SM_ROW_REACTOR_)

#define FEN_SM_INPUTS(TABLE)                                               \
   struct Inputs {                                                         \
      TABLE(FEN_SM_ROW_FIELD_IN_, FEN_SM_ROW_FIELD_OUT_, FEN_SM_ROW_NONE_) \
   };                                                                      \
   static constexpr std::size_t fenInputCount =                            \
       0 TABLE(FEN_SM_ROW_COUNT_IN_, FEN_SM_ROW_COUNT_IN_, FEN_SM_ROW_NONE_);

// Inputs of a derived machine: every row of the base's table, shared ones
// included, then the rows of its own.
#define FEN_SM_INPUTS_WITH_SHARED(BASE_TABLE, TABLE)                                  \
   struct Inputs {                                                                    \
      BASE_TABLE(FEN_SM_ROW_FIELD_IN_, FEN_SM_ROW_FIELD_OUT_, FEN_SM_ROW_FIELD_IN_)   \
      TABLE(FEN_SM_ROW_FIELD_IN_, FEN_SM_ROW_FIELD_OUT_, FEN_SM_ROW_NONE_)            \
   };                                                                                 \
   static constexpr std::size_t fenInputCount =                                       \
       0 BASE_TABLE(FEN_SM_ROW_COUNT_IN_, FEN_SM_ROW_COUNT_IN_, FEN_SM_ROW_COUNT_IN_) \
           TABLE(FEN_SM_ROW_COUNT_IN_, FEN_SM_ROW_COUNT_IN_, FEN_SM_ROW_NONE_);

// The constructor from the named inputs, and the positional form that takes
// them in table order (a null pointer stands for an absent input).
#define FEN_SM_CONSTRUCTORS(Class)                                          \
   explicit Class(Inputs const& inputs);                                    \
   template <class... A>                                                    \
   requires(sizeof...(A) == fenInputCount) explicit Class(A const&... args) \
       : Class(Inputs{args...}) {}

#define FEN_SM_GETTERS(TABLE) \
   TABLE(FEN_SM_ROW_GETTER_IN_, FEN_SM_ROW_GETTER_OUT_, FEN_SM_ROW_GETTER_SHARED_)

#define FEN_SM_MEMBERS(TABLE) \
   TABLE(FEN_SM_ROW_MEMBER_IN_, FEN_SM_ROW_MEMBER_OUT_, FEN_SM_ROW_MEMBER_IN_)

#define FEN_SM_BIND(TABLE) TABLE(FEN_SM_ROW_BIND_IN_, FEN_SM_ROW_BIND_OUT_, FEN_SM_ROW_NONE_)

#define FEN_SM_FORWARD(BASE, BASE_TABLE)                                            \
   BASE::Inputs {                                                                   \
      BASE_TABLE(FEN_SM_ROW_FORWARD_IN_, FEN_SM_ROW_FORWARD_OUT_, FEN_SM_ROW_NONE_) \
   }

#define FEN_SM_TIE(TABLE) \
   std::tuple_cat(TABLE(FEN_SM_ROW_TIE_IN_, FEN_SM_ROW_NONE_, FEN_SM_ROW_TIE_IN_) std::tuple<>())

// Reflection (Fen/Reflect.h): the table's rows as the first rows of the class's
// Fen::Reflection, each followed by a comma; inputs give their reactor's notifier,
// outputs their pointer, shared inputs are also set through xIs.
#define FEN_SM_ROWS(TABLE) \
   TABLE(FEN_SM_ROW_REFLECT_IN_, FEN_SM_ROW_REFLECT_OUT_, FEN_SM_ROW_REFLECT_SHARED_)
// The constructor of reflection: the Inputs, in table order.
#define FEN_SM_CTOR(TABLE) \
   ::Fen::InputsCtor<TABLE(FEN_SM_ROW_ARG_IN_, FEN_SM_ROW_ARG_OUT_, FEN_SM_ROW_NONE_) void>
#define FEN_SM_CTOR_WITH_SHARED(BASE_TABLE, TABLE)                                           \
   ::Fen::InputsCtor<BASE_TABLE(FEN_SM_ROW_ARG_IN_, FEN_SM_ROW_ARG_OUT_, FEN_SM_ROW_ARG_IN_) \
                         TABLE(FEN_SM_ROW_ARG_IN_, FEN_SM_ROW_ARG_OUT_, FEN_SM_ROW_NONE_) void>

#define FEN_SM_ENTRIES(x, Name, NotifierT, heard, handler, salt, attributeId, DirT, members)      \
   class Fen##Name : public ::Fen::EntryReactor<Fen##Name, FenSm, NotifierT,                      \
                                                NotifierT::heard##AttributeId, &FenSm::handler> { \
      FEN_COUNTED_CLASS(                                                                          \
          (::Fen::Concat<::Fen::TypeNameOf<FenSm>, ::Fen::Literal<"::Fen" #Name>>::cString))      \
                                                                                                  \
   public:                                                                                        \
      using ::Fen::EntryReactor<Fen##Name, FenSm, NotifierT, NotifierT::heard##AttributeId,       \
                                &FenSm::handler>::EntryReactor;                                   \
      void fen_handle##Name##_##heard() { this->fenHandle(); }                                    \
   };                                                                                             \
   using Fen##Name##Map =                                                                         \
       ::Fen::EntryMap<Fen##Name, salt, attributeId, &DirT::members##Map, &DirT::members>;        \
   NotifierT const* x(Fen##Name::KeyType const& key) const {                                      \
      return x##_.get(key);                                                                       \
   }                                                                                              \
   void x##Is(::Fen::Ptr<NotifierT const> const& p) {                                             \
      x##_.is(*this, p);                                                                          \
   }                                                                                              \
   ::Fen::Ptr<NotifierT const> x##Del(Fen##Name::KeyType const& key) {                            \
      return x##_.del(*this, key);                                                                \
   }                                                                                              \
   void x##DelAll() {                                                                             \
      x##_.delAll(*this);                                                                         \
   }                                                                                              \
   std::uint32_t x##s() const {                                                                   \
      return x##_.size();                                                                         \
   }                                                                                              \
   Fen##Name##Map::Map const& x##Map() const {                                                    \
      return x##_.map();                                                                          \
   }                                                                                              \
   Fen##Name##Map& fenEntries##Name() {                                                           \
      return x##_;                                                                                \
   }                                                                                              \
   FEN_COLLECTION_ROW_(x, Fen##Name##Map::Map, NotifierT, writable, true)                         \
                                                                                                  \
private:                                                                                          \
   Fen##Name##Map x##_;                                                                           \
                                                                                                  \
public:
