// Fen::HashMap2018<Tag, Key, Value>: the one keyed collection of the system.
//
// A map from Key to Value; with Value = void it is a set. `Tag` is an empty class
// named after the attribute that holds the map. It makes the map's type unique per
// attribute and supplies the map's constants:
//
//   struct FenHwStatus {
//      static constexpr std::uint32_t salt = 0x2C8AAE16;       // required
//      using KeyForm = Fen::HashHelper::KeyAndRhashLegacy;     // optional, seeded by default
//      using KeyFunktor = HwStatusKeyFunktor;                  // optional: key inside the value
//   };
//
// A member is a node: the key then the value (extern key), the value alone when a
// KeyFunktor extracts the key from it (internal key, records and Fen::Ptr values
// whose object holds its own key), or the key alone (set).
//
// Storage
// -------
// One block of slots, each a 32-bit stored hash (the rhash, never 0; 0 marks an
// empty slot) and a node. Members are kept in the order of (rhash, key): a member
// sits at or after its home slot, the top bits of its rhash, and linear probing
// keeps the whole table sorted. That order does not depend on the table's size,
// which is what lets an iterator resume after the last key it gave whatever
// happened to the map in between. The last slot is always empty and ends every
// scan. A lookup reads the home slot and, rarely, a few slots after it.
//
// Copies share the block until one side changes (copy on write): a change on one
// side never shows on the other.
//
// Iterators
// ---------
// An iterator stays valid across ANY change of its map: insertions, deletions
// (also of the member under it), growth, copy on write, delete-all. advance()
// goes on with the members not visited yet, each exactly once; a member inserted
// behind the iterator's position (before it in the map's order) is not seen, one
// inserted ahead is. currNodeMaybeStale() keeps giving the node the iterator last
// stood on, even after that member was deleted or changed: use it for keys, which
// never change. currNodeNonStale() gives the live node, null when it is gone: use
// it for values.
//
// Every mutator below says what it does to iterators: nothing. None invalidates.
//
// Thread safety
// -------------
// None. A map and its iterators are used on one thread at a time; copies that
// share a block must be used on the same thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "Fen/AllocTrack.h"
#include "Fen/Assert.h"
#include "Fen/Hash.h"

namespace Fen {

// Tag of the end position, for the iterator constructor.
struct EndOfCollection {};

// The node of a map whose value does not contain the key.
template <class Key, class Value>
struct HashMap2018NodeExternKey {
   Key key;
   Value value;
   friend bool operator==(HashMap2018NodeExternKey const&, HashMap2018NodeExternKey const&) =
       default;
};

namespace HashMap2018Detail {
template <class Tag>
concept HasKeyFunktor = requires { typename Tag::KeyFunktor; };
template <class Tag>
concept HasKeyForm = requires { typename Tag::KeyForm; };

template <class Tag>
struct KeyFormOf {
   using type = HashHelper::KeyAndRhashSeedArg;
};
template <HasKeyForm Tag>
struct KeyFormOf<Tag> {
   using type = typename Tag::KeyForm;
};

template <class Tag, class Key, class Value>
struct NodeOf {
   using type = HashMap2018NodeExternKey<Key, Value>;
};
template <class Tag, class Key>
struct NodeOf<Tag, Key, void> {
   using type = Key;
};
template <HasKeyFunktor Tag, class Key, class Value>
struct NodeOf<Tag, Key, Value> {
   using type = Value;
};

// Records shared by all maps: one block header per live block.
AllocTrackTypeInfo* bucketHeaderTypeInfo();
}  // namespace HashMap2018Detail

template <class Tag, class Key, class Value = void>
class HashMap2018 {
public:
   using KeyType = Key;
   using ValueType = Value;
   using KeyForm = typename HashMap2018Detail::KeyFormOf<Tag>::type;
   using Node = typename HashMap2018Detail::NodeOf<Tag, Key, Value>::type;
   static constexpr bool isSet = std::is_void_v<Value>;
   static constexpr bool hasInternalKey = HashMap2018Detail::HasKeyFunktor<Tag>;
   static constexpr std::uint32_t salt = Tag::salt;
   static constexpr bool trivialNodes = std::is_trivially_copyable_v<Node>;

   // The key of a node.
   static decltype(auto) nodeKey(Node const& n) {
      if constexpr (isSet) {
         return (n);
      } else if constexpr (hasInternalKey) {
         return typename Tag::KeyFunktor()(n);
      } else {
         return (n.key);
      }
   }
   // The rhash of a key in this map's key form, never 0 (0 marks empty slots).
   static std::uint32_t rhash(Key const& k) {
      std::uint32_t const h = KeyForm::rhash(k, salt);
      return h ? h : 1u;
   }

   HashMap2018() = default;
   HashMap2018(HashMap2018 const& o) : block_(o.block_) {
      if (block_) ++block_->refs;
   }
   HashMap2018(HashMap2018&& o) noexcept : block_(std::exchange(o.block_, nullptr)) {
      ++o.stamp_;
   }
   HashMap2018& operator=(HashMap2018 const& o) {
      if (this != &o) {
         HashMap2018 tmp(o);
         swapBlocks(tmp);
      }
      return *this;
   }
   HashMap2018& operator=(HashMap2018&& o) noexcept {
      if (this != &o) {
         release();
         block_ = std::exchange(o.block_, nullptr);
         ++stamp_;
         ++o.stamp_;
      }
      return *this;
   }
   ~HashMap2018() { release(); }

   // ---- reading -------------------------------------------------------------

   std::size_t size() const { return block_ ? block_->count : 0; }
   bool empty() const { return size() == 0; }

   // The node of `k`, or null. Never a default value: the accessors do that.
   Node const* operator[](Key const& k) const { return findNode(k, rhash(k)); }
   Node const* findNode(Key const& k, std::uint32_t h) const {
      if (!block_) return nullptr;
      Slot const* s = block_->slots() + home(h);
      for (; s->h != 0 && s->h <= h; ++s) {
         if (s->h == h && nodeKey(*s->node()) == k) return s->node();
      }
      return nullptr;
   }
   bool has(Key const& k) const { return (*this)[k] != nullptr; }

   // ---- generic engine ------------------------------------------------------

   // Inserts `node` for a key known to be absent; returns the node in its place.
   // Iterators: unaffected.
   Node* newMember(std::uint32_t h, Node&& node) {
      prepareForInsert();
      for (;;) {
         Slot* slots = block_->slots();
         Key const& k = nodeKey(node);
         std::size_t i = home(h);
         while (slots[i].h != 0 && less(slots[i], h, k)) ++i;
         std::size_t j = i;
         while (slots[j].h != 0) ++j;
         if (j + 1 >= block_->nslots) {
            // The run would reach the sentinel: widen the tail and try again.
            rebuild(block_->log2cap, (block_->nslots - capacity()) * 2);
            continue;
         }
         shift(slots, i, j, 1);
         slots[i].h = h;
         ::new (static_cast<void*>(slots[i].raw)) Node(std::move(node));
         ++block_->count;
         ++stamp_;
         return slots[i].node();
      }
   }

   // Removes the member of `k` if present and moves its node into `*out` (when
   // `out` is not null); returns true when a member was removed.
   // Iterators: unaffected; one standing on the member keeps its key.
   bool deleteMember(Key const& k, std::uint32_t h, std::optional<Node>* out) {
      if (!findNode(k, h)) return false;
      makeUnique();
      Slot* slots = block_->slots();
      std::size_t i = home(h);
      while (!(slots[i].h == h && nodeKey(*slots[i].node()) == k)) ++i;
      if (out) out->emplace(std::move(*slots[i].node()));
      slots[i].node()->~Node();
      slots[i].h = 0;
      // Backward shift: members displaced from their home move one slot closer.
      std::size_t j = i + 1;
      while (slots[j].h != 0 && home(slots[j].h) < j) ++j;
      shift(slots, i + 1, j, -1);
      --block_->count;
      ++stamp_;
      return true;
   }

   // Removes all members at once, without notification.
   // Iterators: unaffected; they find the map empty.
   void memberDelAll() {
      release();
      ++stamp_;
   }

   // Node ops of the engine for maps whose node is not plain data (Fen::Ptr
   // values): moves the run [first, last) by `slotsToShift` slots. A positive
   // shift opens exactly one slot at `first`, which stays empty; a negative one
   // closes the gap just before `first`.
   static void shift(void* slotArray, std::size_t first, std::size_t last,
                     std::ptrdiff_t slotsToShift) {
      Slot* slots = static_cast<Slot*>(slotArray);
      if (first >= last) return;
      if (slotsToShift > 0) {
         FEN_ASSERT(slotsToShift == 1);
         if constexpr (trivialNodes) {
            std::memmove(static_cast<void*>(slots + first + 1), slots + first,
                         (last - first) * sizeof(Slot));
         } else {
            for (std::size_t k = last; k > first; --k) moveSlot(slots[k - 1], slots[k]);
         }
         slots[first].h = 0;
      } else {
         if constexpr (trivialNodes) {
            std::memmove(static_cast<void*>(slots + first - 1), slots + first,
                         (last - first) * sizeof(Slot));
         } else {
            for (std::size_t k = first; k < last; ++k) moveSlot(slots[k], slots[k - 1]);
         }
         slots[last - 1].h = 0;
      }
   }

   // ---- generated accessor semantics ----------------------------------------
   // Each accessor `x(key)`, `xHas`, `xIs`, `xDel`, `xDelAll` of a class is one
   // of these, so that every collection behaves the same.

   // x(key): a copy of the member's value, or the default value on a miss.
   template <class V = Value>
   requires(!std::is_void_v<V>) V member(Key const& k) const {
      Node const* n = (*this)[k];
      if (!n) return V();
      if constexpr (hasInternalKey) {
         return *n;
      } else {
         return n->value;
      }
   }

   // x(key) of any map: membership for a set, member() otherwise.
   auto get(Key const& k) const {
      if constexpr (isSet) {
         return has(k);
      } else {
         return member(k);
      }
   }

   // xIs(key) on a set: inserts if absent. Returns true when it inserted.
   bool memberIs(Key const& k) requires isSet {
      std::uint32_t const h = rhash(k);
      if (findNode(k, h)) return false;
      newMember(h, Node(k));
      return true;
   }

   // xIs(key, value) on a map of values: overwrites in place or inserts. Returns
   // true when the map changed (a value equal to the stored one writes nothing).
   template <class V = Value>
   requires(!std::is_void_v<V> && !hasInternalKey) bool memberIs(Key const& k, V const& v) {
      std::uint32_t const h = rhash(k);
      if (Node const* n = findNode(k, h)) {
         if (n->value == v) return false;
         makeUnique();
         const_cast<Node*>(findNode(k, h))->value = v;
         return true;
      }
      newMember(h, Node{k, v});
      return true;
   }

   // xIs(value) where the key lies in the value.
   template <class V = Value>
   requires(hasInternalKey) bool memberIs(V const& v) {
      return memberIs(Key(nodeKey(v)), v);
   }
   // The same, at the node of `k`: the stored record's key must not change.
   template <class V = Value>
   requires(hasInternalKey) bool memberIs(Key const& k, V const& v) {
      std::uint32_t const h = rhash(k);
      if (Node const* n = findNode(k, h)) {
         if (*n == v) return false;
         Key const fwkKeyValue = nodeKey(*n);
         auto fwkKey = [&]() -> Key const& { return fwkKeyValue; };
         using KeyFunktor = typename Tag::KeyFunktor;
         Value const& _value = v;
         FEN_ASSERT(fwkKey() == KeyFunktor()( _value ));
         makeUnique();
         *const_cast<Node*>(findNode(k, h)) = v;
         return true;
      }
      Node node(v);
      newMember(rhash(Key(nodeKey(node))), std::move(node));
      return true;
   }

   // xIs(key) on a map of owned objects: the existing member, or a new one from
   // `make(key)`, inserted by the key read back out of it.
   template <class Make>
   requires(hasInternalKey) Value memberFindOrCreate(Key const& k, Make&& make) {
      if (Node const* n = (*this)[k]) return *n;
      Value created = make(k);
      Value result = created;
      newMember(rhash(Key(nodeKey(created))), std::move(created));
      return result;
   }

   // xDel(key): removes the member and gives back what was stored (the value,
   // true for a set), or the default value (false for a set) on a miss.
   auto memberDel(Key const& k) {
      std::optional<Node> out;
      bool const removed = deleteMember(k, rhash(k), &out);
      return removedValue(removed, out);
   }
   // What xDel gives back from the node that deleteMember moved out.
   static auto removedValue(bool removed, std::optional<Node>& out) {
      if constexpr (isSet) {
         return removed;
      } else if constexpr (hasInternalKey) {
         return removed ? Value(std::move(*out)) : Value();
      } else {
         return removed ? Value(std::move(out->value)) : Value();
      }
   }

   // ---- iteration ------------------------------------------------------------

   class IteratorConst;
   IteratorConst begin() const { return IteratorConst(*this); }

   // Blocks and bytes, for tests and benchmarks.
   std::size_t capacity() const { return block_ ? (std::size_t{1} << block_->log2cap) : 0; }
   std::size_t slotCount() const { return block_ ? block_->nslots : 0; }
   static std::size_t slotSize() { return sizeof(Slot); }
   bool sharesStorageWith(HashMap2018 const& o) const { return block_ && block_ == o.block_; }

   static AllocTrackTypeInfo* typeInfo() {
      static AllocTrackTypeInfo* const info = AllocTrackTypeInfo::typeInfoIs(typeid(Tag).name());
      return info;
   }

private:
   struct Slot {
      std::uint32_t h;
      alignas(Node) unsigned char raw[sizeof(Node)];
      Node* node() { return std::launder(reinterpret_cast<Node*>(raw)); }
      Node const* node() const { return std::launder(reinterpret_cast<Node const*>(raw)); }
   };
   struct Block {
      std::uint32_t refs;
      std::uint32_t log2cap;
      std::size_t count;
      std::size_t nslots;  // capacity plus tail; the last slot stays empty
      static constexpr std::size_t slotOffset =
          (sizeof(std::uint32_t) * 2 + sizeof(std::size_t) * 2 + alignof(Slot) - 1) /
          alignof(Slot) * alignof(Slot);
      Slot* slots() {
         return reinterpret_cast<Slot*>(reinterpret_cast<unsigned char*>(this) + slotOffset);
      }
      Slot const* slots() const {
         return reinterpret_cast<Slot const*>(reinterpret_cast<unsigned char const*>(this) +
                                              slotOffset);
      }
   };
   static constexpr std::uint32_t minLog2Cap = 3;
   static constexpr std::size_t minTail = 16;

   static void moveSlot(Slot& from, Slot& to) {
      to.h = from.h;
      if (from.h != 0) {
         ::new (static_cast<void*>(to.raw)) Node(std::move(*from.node()));
         from.node()->~Node();
      }
   }
   static bool less(Slot const& s, std::uint32_t h, Key const& k) {
      return s.h < h || (s.h == h && nodeKey(*s.node()) < k);
   }
   std::size_t home(std::uint32_t h) const {
      return static_cast<std::size_t>(h) >> (32 - block_->log2cap);
   }
   static std::size_t maxCount(std::uint32_t log2cap) {
      return (std::size_t{13} << log2cap) / 16;
   }

   static Block* allocate(std::uint32_t log2cap, std::size_t nslots) {
      std::size_t const bytes = Block::slotOffset + nslots * sizeof(Slot);
      void* mem = std::aligned_alloc(alignof(std::max_align_t),
                                     (bytes + alignof(std::max_align_t) - 1) /
                                         alignof(std::max_align_t) * alignof(std::max_align_t));
      if (!mem) throw std::bad_alloc();
      Block* b = static_cast<Block*>(mem);
      b->refs = 1;
      b->log2cap = log2cap;
      b->count = 0;
      b->nslots = nslots;
      Slot* slots = b->slots();
      for (std::size_t i = 0; i < nslots; ++i) slots[i].h = 0;
      AllocTrackTypeInfo::trackArrayAllocation(HashMap2018Detail::bucketHeaderTypeInfo(), 1,
                                               Block::slotOffset);
      AllocTrackTypeInfo::trackArrayAllocation(typeInfo(), nslots, sizeof(Slot));
      return b;
   }
   static void destroy(Block* b) {
      if constexpr (!std::is_trivially_destructible_v<Node>) {
         Slot* slots = b->slots();
         for (std::size_t i = 0; i < b->nslots; ++i) {
            if (slots[i].h != 0) slots[i].node()->~Node();
         }
      }
      AllocTrackTypeInfo::trackArrayDeallocation(HashMap2018Detail::bucketHeaderTypeInfo(), 1,
                                                 Block::slotOffset);
      AllocTrackTypeInfo::trackArrayDeallocation(typeInfo(), b->nslots, sizeof(Slot));
      std::free(b);
   }
   void release() {
      if (block_ && --block_->refs == 0) destroy(block_);
      block_ = nullptr;
   }
   void swapBlocks(HashMap2018& o) {
      std::swap(block_, o.block_);
      ++stamp_;
      ++o.stamp_;
   }

   void prepareForInsert() {
      if (!block_) {
         block_ = allocate(minLog2Cap, (std::size_t{1} << minLog2Cap) + minTail);
         ++stamp_;
      } else if (block_->count + 1 > maxCount(block_->log2cap)) {
         rebuild(block_->log2cap + 1, minTail);
      } else {
         makeUnique();
      }
   }
   // Copy on write: a block shared with a copy is copied before the first change.
   void makeUnique() {
      if (block_->refs > 1) rebuild(block_->log2cap, block_->nslots - capacity());
   }
   // Lays the members out again in a new block of 2^log2cap home slots and at
   // least `tail` slots after them. Order is kept: each member goes to its home or
   // just after the member before it.
   void rebuild(std::uint32_t log2cap, std::size_t tail) {
      Block* old = block_;
      std::size_t const shiftBits = 32 - log2cap;
      std::size_t last = 0;
      bool any = false;
      Slot* oldSlots = old->slots();
      for (std::size_t i = 0; i < old->nslots; ++i) {
         if (oldSlots[i].h == 0) continue;
         std::size_t const h = static_cast<std::size_t>(oldSlots[i].h) >> shiftBits;
         last = any ? std::max(h, last + 1) : h;
         any = true;
      }
      std::size_t const cap = std::size_t{1} << log2cap;
      std::size_t const nslots = std::max(cap + std::max(tail, minTail), last + 2 + minTail);
      Block* b = allocate(log2cap, nslots);
      bool const steal = old->refs == 1;
      Slot* slots = b->slots();
      std::size_t next = 0;
      for (std::size_t i = 0; i < old->nslots; ++i) {
         Slot& from = oldSlots[i];
         if (from.h == 0) continue;
         std::size_t const pos =
             std::max(static_cast<std::size_t>(from.h) >> shiftBits, next);
         slots[pos].h = from.h;
         if (steal) {
            ::new (static_cast<void*>(slots[pos].raw)) Node(std::move(*from.node()));
         } else {
            ::new (static_cast<void*>(slots[pos].raw)) Node(*from.node());
         }
         next = pos + 1;
      }
      b->count = old->count;
      if (--old->refs == 0) destroy(old);
      block_ = b;
      ++stamp_;
   }

   Block* block_ = nullptr;
   // Changes whenever members move; an iterator whose stamp differs finds its
   // place again by (rhash, key).
   std::uint64_t stamp_ = 0;

public:
   class IteratorConst {
   public:
      // At the first member, or at the end of an empty map.
      explicit IteratorConst(HashMap2018 const& map) : map_(&map) {
         if (map.block_) settle(0);
      }
      // At the member of `k`; when `k` is absent, at the first member after it in
      // the map's order.
      IteratorConst(HashMap2018 const& map, Key const& k) : map_(&map) {
         if (map.block_) settle(lowerBound(rhash(k), k));
      }
      IteratorConst(HashMap2018 const& map, EndOfCollection) : map_(&map) {}

      // Stands on a member (a non-null current node).
      bool onMember() const { return node_.has_value(); }
      explicit operator bool() const { return onMember(); }
      friend bool operator==(IteratorConst const& a, IteratorConst const& b) {
         if (a.map_ != b.map_ || a.onMember() != b.onMember()) return false;
         return !a.onMember() || (a.h_ == b.h_ && nodeKey(*a.node_) == nodeKey(*b.node_));
      }

      // Goes to the next member not visited yet, or to the end.
      void advance() {
         if (!node_) return;
         if (map_->stamp_ == stamp_) {
            settle(idx_ + 1);
            return;
         }
         if (!map_->block_) {
            node_.reset();
            return;
         }
         Key const k = nodeKey(*node_);
         std::size_t i = map_->lowerBound(h_, k);
         Slot const* slots = map_->block_->slots();
         if (slots[i].h == h_ && nodeKey(*slots[i].node()) == k) ++i;
         settle(i);
      }

      // The node the iterator last stood on, also if it was deleted since.
      Node const* currNodeMaybeStale() const { return node_ ? &*node_ : nullptr; }
      // The key of that node; keys never change.
      decltype(auto) key() const { return nodeKey(*node_); }
      // The live node of the current key, or null if that member is gone.
      Node const* currNodeNonStale() const {
         if (!node_) return nullptr;
         if (map_->stamp_ == stamp_) return map_->block_->slots()[idx_].node();
         return map_->findNode(nodeKey(*node_), h_);
      }

   private:
      // Stands on the first member at slot `i` or after it.
      void settle(std::size_t i) {
         Slot const* slots = map_->block_->slots();
         std::size_t const n = map_->block_->nslots;
         while (i < n && slots[i].h == 0) ++i;
         if (i >= n) {
            node_.reset();
            return;
         }
         idx_ = i;
         h_ = slots[i].h;
         stamp_ = map_->stamp_;
         node_.emplace(*slots[i].node());
      }

      HashMap2018 const* map_;
      std::size_t idx_ = 0;
      std::uint64_t stamp_ = 0;
      std::uint32_t h_ = 0;
      std::optional<Node> node_;
   };

private:
   // The slot of the first member not below (h, k) in the map's order, or the
   // empty slot where the scan ends.
   std::size_t lowerBound(std::uint32_t h, Key const& k) const {
      Slot const* slots = block_->slots();
      std::size_t i = home(h);
      while (slots[i].h != 0 && less(slots[i], h, k)) ++i;
      return i;
   }
};

// The begin and end pair for range loops over an attribute:
//   for (auto const& node : Fen::StdIterator(map)) ...
// Each step gives currNodeMaybeStale(); the walk survives changes of the map.
// Dereferencing or advancing it at the end is a broken invariant ("iter_").
template <class Map>
class StdIterator {
public:
   explicit StdIterator(Map const& map) : map_(&map), iter_(map) {}
   StdIterator(Map const& map, EndOfCollection e) : map_(&map), iter_(map, e) {}

   typename Map::Node const& operator*() const {
      FEN_ASSERT(iter_);
      return *iter_.currNodeMaybeStale();
   }
   StdIterator& operator++() {
      FEN_ASSERT(iter_);
      iter_.advance();
      return *this;
   }
   friend bool operator==(StdIterator const& a, StdIterator const& b) {
      return a.iter_ == b.iter_;
   }
   StdIterator begin() const { return *this; }
   StdIterator end() const { return StdIterator(*map_, EndOfCollection{}); }
   typename Map::IteratorConst const& iterator() const { return iter_; }

private:
   Map const* map_;
   typename Map::IteratorConst iter_;
};

}  // namespace Fen
