// The generated accessors of a collection attribute `x`, written once.
//
//   x(key)       the member's value; the default value on a miss (false for a
//                set, a null pointer for a map of owned objects)
//   xHas(key)    true when the key is present
//   xIs(...)     inserts or overwrites: xIs(key) for a set, xIs(key, value) for
//                a map of values, xIs(value) where the key lies in the value;
//                for a map of owned objects xIs(key) finds or creates the object
//                and returns it
//   xDel(key)    removes; gives back what was stored, or the default value
//   xDelAll()    removes all members
//   xs()         the number of members
//   xReserve(n)  makes room for `n` members in all (HashMap2018::reserve): the
//                inserts that follow up to `n` do not grow the table; changes no
//                member and notifies nothing
//
// A class declares a collection attribute whole with one of
//   FEN_COLLECTION(x, Tag, MapT, Key, Value, salt, ...)
//   FEN_OWNED_COLLECTION(x, Tag, MapT, Key, Class, salt, ...)
//   FEN_NOTIFYING_COLLECTION(x, Tag, MapT, attributeId, Key, Value, salt, ...)
//   FEN_NOTIFYING_OWNED_COLLECTION(x, Tag, MapT, attributeId, Key, Class, salt, ...)
// which name the map's tag `Tag` (a Fen::MapTag of `salt` and the optional key
// functor and key form given last), its type `MapT` (Value void for a set;
// Fen::Ptr<Class> for owned objects), the notifying forms' `xAttributeId`, the
// accessors below and the private member `x_`. They stand in the public part of
// the class and leave it public; members are declared in the order of the macros.
//
// Each macro comes in a plain form (no notification; xDelAll is one step) and a
// notifying form: the member changes first and the notifiee list is visited last,
// with the key; a write of a value equal to the stored one is silent; xDelAll
// walks an iterator and deletes member by member, so that each removal notifies.
// The macros expand inside the owning class, after the map's type is declared.
#pragma once

#include <cstddef>
#include <optional>
#include <type_traits>
#include <utility>

#include "Fen/GenericIf.h"
#include "Fen/HashMap2018.h"
#include "Fen/Notifiee.h"

namespace Fen {

template <class Map>
using MemberValueOf = std::conditional_t<Map::isSet, bool, typename Map::ValueType>;

// How an accessor reports a change: not at all, or through a notifiee list.
struct NoNotify {
   template <class Key>
   void operator()(Key const&) const {}
};
struct NotifyVia {
   NotifieeList const& list;
   AttributeId id;
   template <class Key>
   void operator()(Key const& key) const {
      list.visit(id, &key);
   }
};

// The key that a write of `args` changed: the first argument for a set or a map
// of values, the key inside the value otherwise.
template <class Map, class First, class... Rest>
typename Map::KeyType notifiedKey(First const& first, Rest const&...) {
   if constexpr (Map::hasInternalKey && sizeof...(Rest) == 0) {
      return typename Map::KeyType(Map::nodeKey(first));
   } else {
      return first;
   }
}

template <class Map, class Notify, class... A>
void memberIsNotifying(Map& map, Notify const& notify, A const&... args) {
   if (map.memberIs(args...)) notify(notifiedKey<Map>(args...));
}

template <class Map, class Notify>
auto memberDelNotifying(Map& map, Notify const& notify, typename Map::KeyType const& key) {
   std::optional<typename Map::Node> out;
   bool const removed = map.deleteMember(key, Map::rhash(key), &out);
   if (removed) notify(key);
   return Map::removedValue(removed, out);
}

// xDelAll without notification: one step.
template <class Map, class DelOne>
void memberDelAll(Map& map, NoNotify const&, DelOne&&) {
   map.memberDelAll();
}
// xDelAll with notification: from the first member on, copy the key (xDel moves
// nodes), delete it, advance.
template <class Map, class DelOne>
void memberDelAllNotifying(Map const& map, DelOne&& delOne) {
   for (typename Map::IteratorConst it(map); it; it.advance()) {
      typename Map::KeyType const key = it.key();
      delOne(key);
   }
}
template <class Map, class DelOne>
void memberDelAll(Map const& map, NotifyVia const&, DelOne&& delOne) {
   memberDelAllNotifying(map, std::forward<DelOne>(delOne));
}

// xIs(key) of a directory of objects (a map of Fen::Ptr under a separate key):
// the member, or a new one from `make` stored under `key` (also in place of a
// null member), with one notification.
template <class Map, class Notify, class Make>
typename Map::ValueType memberFindOrCreateAt(Map& map, Notify const& notify,
                                             typename Map::KeyType const& key, Make&& make) {
   if (auto const* node = map[key]; node && node->value) return node->value;
   typename Map::ValueType created = make(key);
   map.memberIs(key, created);
   notify(key);
   return created;
}

// xIs(key) of a map of owned objects: the member, or a new one from `make`.
template <class Map, class Notify, class Make>
typename Map::ValueType memberFindOrCreate(Map& map, Notify const& notify,
                                           typename Map::KeyType const& key, Make&& make) {
   if (auto const* node = map[key]) return *node;
   typename Map::ValueType created = map.memberFindOrCreate(key, std::forward<Make>(make));
   notify(key);
   return created;
}

}  // namespace Fen

// The accessors that every collection shares: x(key), xHas, xDel, xDelAll, xs
// and xMap. Only xIs differs between a map of values and one of owned objects.
#define FEN_COLLECTION_SHARED_ACCESSORS(x, MapT, field, notify)                           \
   ::Fen::MemberValueOf<MapT> x(MapT::KeyType const& key) const {                         \
      return field.get(key);                                                              \
   }                                                                                      \
   bool x##Has(MapT::KeyType const& key) const {                                          \
      return field.has(key);                                                              \
   }                                                                                      \
   auto x##Del(MapT::KeyType const& key) {                                                \
      return ::Fen::memberDelNotifying(field, notify, key);                               \
   }                                                                                      \
   void x##DelAll() {                                                                     \
      ::Fen::memberDelAll(field, notify, [this](auto const& key) { (void)x##Del(key); }); \
   }                                                                                      \
   std::uint32_t x##s() const {                                                           \
      return static_cast<std::uint32_t>(field.size());                                    \
   }                                                                                      \
   void x##Reserve(std::size_t n) {                                                       \
      field.reserve(n);                                                                   \
   }                                                                                      \
   MapT const& x##Map() const {                                                           \
      return field;                                                                       \
   }

#define FEN_COLLECTION_ACCESSORS_WITH(x, MapT, field, notify)                              \
   FEN_COLLECTION_SHARED_ACCESSORS(x, MapT, field, notify)                                 \
   template <class... A>                                                                   \
   auto x##Is(A const&... args)->decltype(void(std::declval<MapT&>().memberIs(args...))) { \
      ::Fen::memberIsNotifying(field, notify, args...);                                    \
   }

// A collection without notification.
#define FEN_COLLECTION_ACCESSORS(x, MapT, field) \
   FEN_COLLECTION_ACCESSORS_WITH(x, MapT, field, ::Fen::NoNotify{})

// A collection whose changes notify `attributeId` through the list `notifiees`.
#define FEN_NOTIFYING_COLLECTION_ACCESSORS(x, MapT, field, attributeId, notifiees) \
   FEN_COLLECTION_ACCESSORS_WITH(x, MapT, field, (::Fen::NotifyVia{notifiees, attributeId}))

// A map of owned objects (`Fen::Ptr<Class>` values holding their own key): xIs(key)
// finds or creates `Class(key)` by the allocation sequence and returns it.
#define FEN_OWNED_COLLECTION_ACCESSORS_WITH(x, MapT, field, Class, notify)              \
   FEN_COLLECTION_SHARED_ACCESSORS(x, MapT, field, notify)                              \
   Fen::Ptr<Class> x##Is(MapT::KeyType const& key) {                                    \
      return ::Fen::memberFindOrCreate(field, notify, key, [](MapT::KeyType const& k) { \
         return ::Fen::fenObjectIs<Class>(k);                                           \
      });                                                                               \
   }

#define FEN_OWNED_COLLECTION_ACCESSORS(x, MapT, field, Class) \
   FEN_OWNED_COLLECTION_ACCESSORS_WITH(x, MapT, field, Class, ::Fen::NoNotify{})
#define FEN_NOTIFYING_OWNED_COLLECTION_ACCESSORS(x, MapT, field, Class, attributeId, notifiees) \
   FEN_OWNED_COLLECTION_ACCESSORS_WITH(x, MapT, field, Class,                                   \
                                       (::Fen::NotifyVia{notifiees, attributeId}))

// ---- a single notifying attribute --------------------------------------------------

// A value attribute `x` of type T that notifies: xAttributeId, x(), and xIs(v),
// which stores and then notifies `attributeId` (with no key) when the value
// changes; a write of the stored value is silent. The private member x_ starts
// at `initial`. Stands in the public part of the class and leaves it public.
#define FEN_NOTIFYING_VALUE(x, T, attributeId, initial)              \
   static constexpr ::Fen::AttributeId x##AttributeId = attributeId; \
   T x() const {                                                     \
      return x##_;                                                   \
   }                                                                 \
   void x##Is(T v) {                                                 \
      if (v == x##_) return;                                         \
      x##_ = v;                                                      \
      notifiees_.visit(x##AttributeId, nullptr);                     \
   }                                                                 \
                                                                     \
private:                                                             \
   T x##_ = initial;                                                 \
                                                                     \
public:

// ---- a collection attribute declared whole ---------------------------------------

// FenRow_x: the collection x as reflection reaches it (Fen::CollectionRow), through
// the accessors above so that their notifications happen. `entries` marks a
// collection of entry reactors (FEN_SM_ENTRIES), whose xIs takes the watched
// object.
#define FEN_COLLECTION_ROW_(x, MapT, Val, accessValue, isEntries)                 \
   struct FenRow_##x {                                                            \
      static constexpr std::string_view name = #x;                                \
      using Map = MapT;                                                           \
      using Value = Val;                                                          \
      static constexpr ::Fen::AttrAccess access = ::Fen::AttrAccess::accessValue; \
      static constexpr bool entries = isEntries;                                  \
      template <class O>                                                          \
      static MapT const& map(O const& o) {                                        \
         return o.x##Map();                                                       \
      }                                                                           \
      template <class O>                                                          \
      static auto get(O const& o, MapT::KeyType const& k) {                       \
         return o.x(k);                                                           \
      }                                                                           \
      template <class O>                                                          \
      static auto del(O& o, MapT::KeyType const& k) {                             \
         return o.x##Del(k);                                                      \
      }                                                                           \
      template <class O, class... A>                                              \
      static auto is(O& o, A const&... a) -> decltype(o.x##Is(a...)) {            \
         return o.x##Is(a...);                                                    \
      }                                                                           \
   };

#define FEN_COLLECTION_MEMBER_(x, MapT) \
                                        \
private:                                \
   MapT x##_;                           \
                                        \
public:

#define FEN_COLLECTION(x, Tag, MapT, Key, Value, salt, ...)                  \
   using Tag = ::Fen::MapTag<salt __VA_OPT__(, ) __VA_ARGS__>;               \
   using MapT = ::Fen::HashMap2018<Tag, Key, Value>;                         \
   FEN_COLLECTION_ACCESSORS(x, MapT, x##_)                                   \
   FEN_COLLECTION_ROW_(x, MapT, ::Fen::MemberValueOf<MapT>, writable, false) \
   FEN_COLLECTION_MEMBER_(x, MapT)

#define FEN_OWNED_COLLECTION(x, Tag, MapT, Key, Class, salt, ...)      \
   using Tag = ::Fen::MapTag<salt __VA_OPT__(, ) __VA_ARGS__>;         \
   using MapT = ::Fen::HashMap2018<Tag, Key, ::Fen::Ptr<Class>>;       \
   FEN_OWNED_COLLECTION_ACCESSORS(x, MapT, x##_, Class)                \
   FEN_COLLECTION_ROW_(x, MapT, ::Fen::Ptr<Class>, createdByIs, false) \
   FEN_COLLECTION_MEMBER_(x, MapT)

#define FEN_NOTIFYING_COLLECTION(x, Tag, MapT, attributeId, Key, Value, salt, ...) \
   static constexpr ::Fen::AttributeId x##AttributeId = attributeId;               \
   using Tag = ::Fen::MapTag<salt __VA_OPT__(, ) __VA_ARGS__>;                     \
   using MapT = ::Fen::HashMap2018<Tag, Key, Value>;                               \
   FEN_NOTIFYING_COLLECTION_ACCESSORS(x, MapT, x##_, x##AttributeId, notifiees_)   \
   FEN_COLLECTION_ROW_(x, MapT, ::Fen::MemberValueOf<MapT>, writable, false)       \
   FEN_COLLECTION_MEMBER_(x, MapT)

// A directory of objects: Fen::Ptr<Class> values under a key of their own, so that
// a member can be replaced by another object under the same key in one write
// (xIs(key, ptr), one notification) and a key can hold a null member. Beside the
// accessors of a map of values, xIs(key) finds or makes the member Class(key).
#define FEN_NOTIFYING_OBJECT_COLLECTION(x, Tag, MapT, attributeId, Key, Class, salt, ...)         \
   FEN_NOTIFYING_COLLECTION(x, Tag, MapT, attributeId, Key, ::Fen::Ptr<Class>, salt, __VA_ARGS__) \
   ::Fen::Ptr<Class> x##Is(Key const& key) {                                                      \
      return ::Fen::memberFindOrCreateAt(                                                         \
          x##_, ::Fen::NotifyVia{notifiees_, x##AttributeId}, key,                                \
          [](Key const& k) { return ::Fen::fenObjectIs<Class>(k); });                             \
   }

#define FEN_NOTIFYING_OWNED_COLLECTION(x, Tag, MapT, attributeId, Key, Class, salt, ...)      \
   static constexpr ::Fen::AttributeId x##AttributeId = attributeId;                          \
   using Tag = ::Fen::MapTag<salt __VA_OPT__(, ) __VA_ARGS__>;                                \
   using MapT = ::Fen::HashMap2018<Tag, Key, ::Fen::Ptr<Class>>;                              \
   FEN_NOTIFYING_OWNED_COLLECTION_ACCESSORS(x, MapT, x##_, Class, x##AttributeId, notifiees_) \
   FEN_COLLECTION_ROW_(x, MapT, ::Fen::Ptr<Class>, createdByIs, false)                        \
   FEN_COLLECTION_MEMBER_(x, MapT)
