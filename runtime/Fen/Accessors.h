// The generated accessors of a collection attribute `x`, written once.
//
//   x(key)       the member's value; the default value on a miss
//   xHas(key)    true when the key is present
//   xIs(...)     inserts or overwrites: xIs(key) for a set, xIs(key, value) for
//                a map of values, xIs(value) where the key lies in the value
//   xDel(key)    removes; gives back what was stored, or the default value
//   xDelAll()    removes all members
//   xs()         the number of members
//
// FEN_COLLECTION_ACCESSORS is the plain form: no notification, and xDelAll is one
// step. FEN_NOTIFYING_COLLECTION_ACCESSORS is the form of a collection that
// notifies: the member changes first and the notifiee list is visited last, with
// the key; a write of a value equal to the stored one is silent; xDelAll walks an
// iterator and deletes member by member, so that each removal notifies.
#pragma once

#include "Fen/HashMap2018.h"
#include "Fen/Notifiee.h"

namespace Fen {

template <class Map>
using MemberValueOf = std::conditional_t<Map::isSet, bool, typename Map::ValueType>;

// xDelAll of a notifying collection: from the first member on, copy the key (xDel
// moves nodes), delete it, advance.
template <class Map, class DelOne>
void memberDelAllNotifying(Map const& map, DelOne&& delOne) {
   for (typename Map::IteratorConst it(map); it; it.advance()) {
      typename Map::KeyType const key = it.key();
      delOne(key);
   }
}

}  // namespace Fen

#define FEN_COLLECTION_ACCESSORS(x, Map, field)                                             \
   ::Fen::MemberValueOf<Map> x(Map::KeyType const& key) const {                        \
      return field.get(key);                                                             \
   }                                                                                     \
   bool x##Has(Map::KeyType const& key) const {                   \
      return field.has(key);                                                            \
   }                                                                                     \
   template <class... A>                                                                 \
   auto x##Is(A const&... args)->decltype(void(std::declval<Map&>().memberIs(args...))) {              \
      field.memberIs(args...);                                                          \
   }                                                                                     \
   decltype(std::declval<Map&>().memberDel(std::declval<Map::KeyType const&>()))           \
   x##Del(Map::KeyType const& key) {                         \
      return field.memberDel(key);                                                      \
   }                                                                                     \
   void x##DelAll() { field.memberDelAll(); }                                           \
   std::uint32_t x##s() const { return static_cast<std::uint32_t>(field.size()); }

#define FEN_NOTIFYING_COLLECTION_ACCESSORS(x, Map, field, attributeId, notifiees)           \
   ::Fen::MemberValueOf<Map> x(Map::KeyType const& key) const {                        \
      return field.get(key);                                                             \
   }                                                                                     \
   bool x##Has(Map::KeyType const& key) const {                   \
      return field.has(key);                                                            \
   }                                                                                     \
   template <class... A>                                                                 \
   auto x##Is(A const&... args)->decltype(void(std::declval<Map&>().memberIs(args...))) {              \
      if (field.memberIs(args...)) {                                                    \
         Map::KeyType const key =                                  \
             ::Fen::notifiedKey<Map>(args...);                              \
         notifiees.visit(attributeId, &key);                                             \
      }                                                                                  \
   }                                                                                     \
   decltype(std::declval<Map&>().memberDel(std::declval<Map::KeyType const&>()))           \
   x##Del(Map::KeyType const& key) {                         \
      std::optional<typename Map::Node> out;                                \
      bool const removed =                                                               \
          field.deleteMember(key, Map::rhash(key), &out);                  \
      if (removed) notifiees.visit(attributeId, &key);                                   \
      return Map::removedValue(removed, out);                                 \
   }                                                                                     \
   void x##DelAll() {                                                                    \
      ::Fen::memberDelAllNotifying(field,                                                \
                                   [this](auto const& key) { (void)x##Del(key); });      \
   }                                                                                     \
   std::uint32_t x##s() const { return static_cast<std::uint32_t>(field.size()); }

namespace Fen {

// The key that a write of `args` notifies: the first argument for a set or a
// map of values, the key inside the value otherwise.
template <class Map, class First, class... Rest>
typename Map::KeyType notifiedKey(First const& first, Rest const&...) {
   if constexpr (Map::hasInternalKey && sizeof...(Rest) == 0) {
      return typename Map::KeyType(Map::nodeKey(first));
   } else {
      return first;
   }
}

}  // namespace Fen
