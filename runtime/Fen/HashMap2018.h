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
// Fen::MapTag<salt, KeyFunktor, KeyForm> is that tag written in one line, the
// optional members left void; a class's collection macros (Fen/Accessors.h)
// declare their tags so.
//
// A member is a node: the key then the value (extern key), the value alone when a
// KeyFunktor extracts the key from it (internal key, records and Fen::Ptr values
// whose object holds its own key), or the key alone (set).
//
// Storage
// -------
// One block of slots, each a 32-bit stored hash (the rhash, never 0; 0 marks an
// empty slot) and a node. The block holds the stored hashes of all slots in one
// dense array and the nodes in a second array beside it, slot i being entry i of
// both: a scan reads 4 bytes per slot and touches a node only where the stored
// hash equals the one it looks for, so the hashes of even a large map stay in the
// cache and a miss rarely reads a node at all. Members are kept in the order of
// (rhash, key): a member sits at or after its home slot, its rhash scaled down
// to the number of home slots (rhash * homeSlots / 2^32, which rises with the
// rhash at any table size), and linear probing keeps the whole table sorted.
// That order does not depend on the table's size, which is what lets an
// iterator resume after the last key it gave whatever happened to the map in
// between. The last slot is always empty and ends every scan. A lookup reads the
// hashes from the home slot to the first that is not below its own, then the
// node of a slot whose hash equals its own. An insertion finds its place in
// that same pass and shifts the rest of the run, up to the next empty slot, by
// one slot.
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
#include <stdexcept>
#include <type_traits>
#include <typeinfo>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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
   friend bool operator==(HashMap2018NodeExternKey const&,
                          HashMap2018NodeExternKey const&) = default;
};

// A map's tag in one line: the salt, and optionally the key functor and key form
// (void: none).
template <std::uint32_t saltValue, class KeyFunktorT = void, class KeyFormT = void>
struct MapTag {
   static constexpr std::uint32_t salt = saltValue;
   using KeyFunktor = KeyFunktorT;
   using KeyForm = KeyFormT;
};

namespace HashMap2018Detail {
// A tag's KeyFunktor or KeyForm counts when it is there and not void (a
// Fen::MapTag leaves what it is not given as void).
template <class Tag>
concept HasKeyFunktor = requires {
   typename Tag::KeyFunktor;
}
&&!std::is_void_v<typename Tag::KeyFunktor>;
template <class Tag>
concept HasKeyForm = requires {
   typename Tag::KeyForm;
}
&&!std::is_void_v<typename Tag::KeyForm>;

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
   HashMap2018(HashMap2018&& o) noexcept : block_(std::exchange(o.block_, nullptr)) { ++o.stamp_; }
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
   // A lookup for a node is made for its value and mostly finds it: the node of
   // the home slot is fetched while the hashes are scanned, so that a hit in a
   // large table waits for memory once, not twice (a miss fetches that line for
   // nothing; has() does not fetch it).
   Node const* operator[](Key const& k) const { return findNode(k, rhash(k)); }
   Node const* findNode(Key const& k, std::uint32_t h) const {
      if (block_) __builtin_prefetch(block_->nodes() + home(h));
      Place const p = locate(k, h);
      return p.found ? block_->nodes() + p.slot : nullptr;
   }
   // Membership alone: only the hashes are read, and a node only where its
   // stored hash equals the key's.
   bool has(Key const& k) const { return locate(k, rhash(k)).found; }

   // Starts fetching what a lookup or a change of `k` reads first, the stored
   // hash and the node of its home slot, and returns at once. A walk that knows
   // its next keys calls this a few keys ahead, so that the fetches of several
   // keys overlap instead of each lookup waiting for memory in turn. Reads no
   // member and changes nothing.
   void prefetch(Key const& k) const {
      if (!block_) return;
      std::uint32_t const h = rhash(k);
      __builtin_prefetch(block_->hashes() + home(h));
      prefetchHome(h);
   }

   // ---- generic engine ------------------------------------------------------

   // Inserts `node` for a key known to be absent; returns the node in its place.
   // Iterators: unaffected.
   Node* newMember(std::uint32_t h, Node&& node) {
      return placeMember(block_ ? lowerBound(h, nodeKey(node)) : 0, h, std::move(node));
   }

   // Removes the member of `k` if present and moves its node into `*out` (when
   // `out` is not null); returns true when a member was removed.
   // Iterators: unaffected; one standing on the member keeps its key.
   bool deleteMember(Key const& k, std::uint32_t h, std::optional<Node>* out) {
      prefetchHome(h);
      Place const p = locate(k, h);
      if (!p.found) return false;
      Node* const node = writableNode(p.slot, k, h);
      std::size_t const i = static_cast<std::size_t>(node - block_->nodes());
      std::uint32_t* const hs = block_->hashes();
      if (out) out->emplace(std::move(*node));
      node->~Node();
      hs[i] = 0;
      // Backward shift: members displaced from their home move one slot closer.
      std::size_t j = i + 1;
      while (hs[j] != 0 && home(hs[j]) < j)
         ++j;
      shift(block_, i + 1, j, -1);
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

   // Makes room for `n` members in all: until the map holds more than `n`, an
   // insertion neither grows the table nor allocates. (Only a pile-up of hashes
   // that runs past the end of the tail still widens the tail, as at any size.)
   // Room is made to measure: the fewest home slots that hold `n` members at
   // most 7/8 full (the map's greatest load, which growth reaches only just
   // before it grows), with the tail of that capacity; a table is never made
   // smaller. A block shared with a copy is copied, as by any change, so that
   // the inserts that follow do not copy it either; the copy keeps the old block
   // (when the table has room for `n` already, that copy is all that happens).
   // With `n` not above the current size nothing happens, sharing included.
   // Iterators: unaffected; the members keep their order, so a walk goes on
   // with the members it has not visited yet, each exactly once.
   void reserve(std::size_t n) {
      if (n <= size()) return;
      std::uint32_t const cap = std::max(block_ ? block_->cap : minCap, capFor(n));
      if (!block_) {
         block_ = allocate(cap, cap + tailFor(cap));
         ++stamp_;
      } else if (cap != block_->cap) {
         rebuild(cap, tailFor(cap));
      } else {
         makeUnique();
      }
   }

   // Node ops of the engine: moves the run [first, last) of the slots of the
   // map storage `block` by `slotsToShift` slots, hashes and nodes alike: slot by
   // slot, or by memmove for a longer run of plain-data nodes (nodes that are not
   // plain data, Fen::Ptr values, always move one by one). A positive shift moves
   // by exactly one slot and opens the slot at `first`, which stays empty; a
   // negative one closes the empty slot just before `first`.
   static void shift(void* block, std::size_t first, std::size_t last,
                     std::ptrdiff_t slotsToShift) {
      if (first >= last) return;
      bool const up = slotsToShift > 0;
      if (up) FEN_ASSERT(slotsToShift == 1);
      Block* const b = static_cast<Block*>(block);
      std::uint32_t* const hs = b->hashes();
      Node* const nodes = b->nodes();
      std::size_t const count = last - first;
      if constexpr (trivialNodes) {
         // Most runs are a few slots long: copying them in place is cheaper than
         // two calls of memmove.
         if (count > shortRun) {
            std::size_t const to = up ? first + 1 : first - 1;
            std::memmove(hs + to, hs + first, count * sizeof(std::uint32_t));
            std::memmove(static_cast<void*>(nodes + to), nodes + first, count * sizeof(Node));
            hs[up ? first : last - 1] = 0;
            return;
         }
      }
      if (up) {
         for (std::size_t k = last; k > first; --k)
            moveSlot(hs, nodes, k - 1, k);
         hs[first] = 0;
      } else {
         for (std::size_t k = first; k < last; ++k)
            moveSlot(hs, nodes, k, k - 1);
         hs[last - 1] = 0;
      }
   }

   // ---- generated accessor semantics ----------------------------------------
   // Each accessor `x(key)`, `xHas`, `xIs`, `xDel`, `xDelAll` of a class is one
   // of these, so that every collection behaves the same.

   // x(key): a copy of the member's value, or the default value on a miss.
   template <class V = Value>
   requires(!std::is_void_v<V>) V member(Key const& k)
   const {
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
      prefetchHome(h);
      Place const p = locate(k, h);
      if (p.found) return false;
      placeMember(p.slot, h, Node(k));
      return true;
   }

   // xIs(key, value) on a map of values: overwrites in place or inserts. Returns
   // true when the map changed (a value equal to the stored one writes nothing).
   template <class V = Value>
   requires(!std::is_void_v<V> && !hasInternalKey) bool memberIs(Key const& k, V const& v) {
      std::uint32_t const h = rhash(k);
      prefetchHome(h);
      Place const p = locate(k, h);
      if (p.found) {
         if (block_->nodes()[p.slot].value == v) return false;
         writableNode(p.slot, k, h)->value = v;
         return true;
      }
      placeMember(p.slot, h, Node{k, v});
      return true;
   }

   // xIs(value) where the key lies in the value.
   template <class V = Value>
   requires(hasInternalKey) bool memberIs(V const& v) { return memberIs(Key(nodeKey(v)), v); }
   // The same, at the node of `k`: the stored record's key must not change.
   template <class V = Value>
   requires(hasInternalKey) bool memberIs(Key const& k, V const& v) {
      std::uint32_t const h = rhash(k);
      prefetchHome(h);
      Place const p = locate(k, h);
      if (p.found) {
         Node const& n = block_->nodes()[p.slot];
         if (n == v) return false;
         Key const fwkKeyValue = nodeKey(n);
         auto fwkKey = [&]() -> Key const& { return fwkKeyValue; };
         using KeyFunktor = typename Tag::KeyFunktor;
         Value const& _value = v;
         FEN_ASSERT_TEXT(fwkKey() == KeyFunktor()(_value), "fwkKey() == KeyFunktor()( _value )");
         *writableNode(p.slot, k, h) = v;
         return true;
      }
      Node node(v);
      // The record goes in under its own key: at the place just found when that
      // is `k` (always, through memberIs(v)), else at a place searched for it.
      if (Key(nodeKey(node)) == k) {
         placeMember(p.slot, h, std::move(node));
      } else {
         newMember(rhash(Key(nodeKey(node))), std::move(node));
      }
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
   std::size_t capacity() const { return block_ ? block_->cap : 0; }
   std::size_t slotCount() const { return block_ ? block_->nslots : 0; }
   // The bytes of one slot: its stored hash and its node.
   static std::size_t slotSize() { return sizeof(std::uint32_t) + sizeof(Node); }
   bool sharesStorageWith(HashMap2018 const& o) const { return block_ && block_ == o.block_; }

   static AllocTrackTypeInfo* typeInfo() {
      static AllocTrackTypeInfo* const info = AllocTrackTypeInfo::typeInfoIs(typeid(Tag).name());
      return info;
   }

private:
   // A block: this header, the stored hashes of its nslots slots (0 for an
   // empty slot), then, aligned for Node, the nodes of the same slots (raw
   // storage where the slot is empty).
   struct Block {
      std::uint32_t refs;
      std::uint32_t cap;  // home slots
      std::size_t count;
      std::size_t nslots;      // capacity plus tail; the last slot stays empty
      std::size_t nodeOffset;  // from the start of the block to the first node
      static constexpr std::size_t headerBytes =
          (sizeof(std::uint32_t) * 2 + sizeof(std::size_t) * 3 + alignof(std::uint32_t) - 1) /
          alignof(std::uint32_t) * alignof(std::uint32_t);
      static std::size_t nodeOffsetFor(std::size_t nslots) {
         std::size_t const end = headerBytes + nslots * sizeof(std::uint32_t);
         return (end + alignof(Node) - 1) / alignof(Node) * alignof(Node);
      }
      std::uint32_t* hashes() {
         return reinterpret_cast<std::uint32_t*>(reinterpret_cast<unsigned char*>(this) +
                                                 headerBytes);
      }
      std::uint32_t const* hashes() const {
         return reinterpret_cast<std::uint32_t const*>(
             reinterpret_cast<unsigned char const*>(this) + headerBytes);
      }
      Node* nodes() {
         return std::launder(
             reinterpret_cast<Node*>(reinterpret_cast<unsigned char*>(this) + nodeOffset));
      }
      Node const* nodes() const {
         return std::launder(reinterpret_cast<Node const*>(
             reinterpret_cast<unsigned char const*>(this) + nodeOffset));
      }
   };
   static_assert(alignof(Node) <= alignof(std::max_align_t),
                 "nodes are placed in blocks aligned for std::max_align_t");
   // Home slots: at least 8. Tables grow through the capacities 2^k and 3 * 2^(k-1)
   // (8, 12, 16, 24, 32, ...), by half or a third at a time, and grow when an
   // insertion would fill more than 7/8 of the home slots: a table filled from
   // empty is between 0.58 and 0.875 full, and moves each member about three times
   // on its way. (Finer steps keep a big table fuller, but each costs a move of
   // every member, and the runs an insertion shifts grow fast past 7/8.)
   static constexpr std::uint32_t minCap = 8;
   static constexpr std::uint32_t maxCap = 3u << 30;
   // The next capacity of the steps above `cap` (a reserved table may have any).
   static std::uint32_t nextCap(std::uint32_t cap) {
      if (cap >= maxCap) throw std::length_error("Fen::HashMap2018: too many members");
      std::uint32_t const p = std::uint32_t{1} << (31 - __builtin_clz(cap));
      return cap < p / 2 * 3 ? p / 2 * 3 : p * 2;
   }
   static std::size_t maxCount(std::uint32_t cap) { return std::size_t{cap} * 7 / 8; }
   // The fewest home slots that hold `n` members at most 7/8 full.
   static std::uint32_t capFor(std::size_t n) {
      std::size_t const cap = std::max<std::size_t>(minCap, (n * 8 + 6) / 7);
      if (cap > maxCap) throw std::length_error("Fen::HashMap2018: too many members");
      return static_cast<std::uint32_t>(cap);
   }
   // The slots after the last home slot, where the runs that start near the end
   // go on. Runs grow longer with the table, so its tail does too; a run that
   // would reach the last slot widens the tail.
   static constexpr std::size_t minTail = 16;
   static std::size_t tailFor(std::uint32_t cap) { return minTail + cap / 64; }

   static constexpr std::size_t shortRun = 8;
   // Moves taken slot `from` into slot `to`, whose node is raw storage: the hash
   // and the node (whose moved-from object ends).
   static void moveSlot(std::uint32_t* hs, Node* nodes, std::size_t from, std::size_t to) {
      hs[to] = hs[from];
      if constexpr (trivialNodes) {
         std::memcpy(static_cast<void*>(nodes + to), nodes + from, sizeof(Node));
      } else {
         ::new (static_cast<void*>(nodes + to)) Node(std::move(nodes[from]));
         nodes[from].~Node();
      }
   }
   std::size_t home(std::uint32_t h) const { return homeIn(block_->cap, h); }
   // The home slot of rhash `h` among `cap` home slots: h scaled to [0, cap). It
   // rises with h, so a table of any size keeps members in rhash order.
   static std::size_t homeIn(std::uint32_t cap, std::uint32_t h) {
      return static_cast<std::size_t>((std::uint64_t{h} * cap) >> 32);
   }
   // A change reads and writes the nodes at and just after the home slot of its
   // key: start fetching them while the hashes are scanned. (Membership tests do
   // not: for a missing key the hashes alone answer, and the fetch is wasted.)
   void prefetchHome(std::uint32_t h) const {
      if (block_) __builtin_prefetch(block_->nodes() + home(h), 1);
   }

   static Block* allocate(std::uint32_t cap, std::size_t nslots) {
      std::size_t const nodeOffset = Block::nodeOffsetFor(nslots);
      std::size_t const bytes = nodeOffset + nslots * sizeof(Node);
      void* mem = std::aligned_alloc(alignof(std::max_align_t),
                                     (bytes + alignof(std::max_align_t) - 1) /
                                         alignof(std::max_align_t) * alignof(std::max_align_t));
      if (!mem) throw std::bad_alloc();
      Block* b = static_cast<Block*>(mem);
      b->refs = 1;
      b->cap = cap;
      b->count = 0;
      b->nslots = nslots;
      b->nodeOffset = nodeOffset;
      std::memset(b->hashes(), 0, nslots * sizeof(std::uint32_t));
      AllocTrackTypeInfo::trackArrayAllocation(HashMap2018Detail::bucketHeaderTypeInfo(), 1,
                                               Block::headerBytes);
      AllocTrackTypeInfo::trackArrayAllocation(typeInfo(), nslots, slotSize());
      return b;
   }
   static void destroy(Block* b) {
      if constexpr (!std::is_trivially_destructible_v<Node>) {
         std::uint32_t const* hs = b->hashes();
         Node* nodes = b->nodes();
         for (std::size_t i = 0; i < b->nslots; ++i) {
            if (hs[i] != 0) nodes[i].~Node();
         }
      }
      AllocTrackTypeInfo::trackArrayDeallocation(HashMap2018Detail::bucketHeaderTypeInfo(), 1,
                                                 Block::headerBytes);
      AllocTrackTypeInfo::trackArrayDeallocation(typeInfo(), b->nslots, slotSize());
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

   // Where a search for `k` ended: the slot of its member (found), or the slot
   // where its member would go (the first member after it, or an empty slot).
   struct Place {
      std::size_t slot;
      bool found;
   };
   // One pass for both answers that a change needs: whether `k` is a member and,
   // if not, where it goes. Only nodes whose stored hash equals `h` are read.
   Place locate(Key const& k, std::uint32_t h) const {
      if (!block_) return {0, false};
      std::uint32_t const* const hs = block_->hashes();
      Node const* const nodes = block_->nodes();
      std::size_t i = firstNotBelow(hs, home(h), h);
      for (; hs[i] == h; ++i) {
         decltype(auto) nk = nodeKey(nodes[i]);
         if (nk == k) return {i, true};
         if (!(nk < k)) break;
      }
      return {i, false};
   }
   // The node at `slot`, found for (k, h), ready to be written: a block shared
   // with a copy is copied first, and the node found again in the copy.
   Node* writableNode(std::size_t slot, Key const& k, std::uint32_t h) {
      if (block_->refs > 1) {
         makeUnique();
         slot = lowerBound(h, k);
      }
      return block_->nodes() + slot;
   }
   // Inserts `node` of rhash `h`, whose key is absent, at `slot`: where locate()
   // or lowerBound() found its place in the current block. A table that must grow
   // or be copied first is laid out again and the place found anew.
   Node* placeMember(std::size_t slot, std::uint32_t h, Node&& node) {
      if (!block_) {
         block_ = allocate(minCap, minCap + tailFor(minCap));
         ++stamp_;
         slot = lowerBound(h, nodeKey(node));
      } else if (block_->count + 1 > maxCount(block_->cap)) {
         std::uint32_t const cap = nextCap(block_->cap);
         rebuild(cap, tailFor(cap));
         slot = lowerBound(h, nodeKey(node));
      } else if (block_->refs > 1) {
         makeUnique();
         slot = lowerBound(h, nodeKey(node));
      }
      for (;;) {
         std::size_t const end = firstEmpty(block_->hashes(), slot);
         if (end + 1 >= block_->nslots) [[unlikely]] {
            // The run would reach the sentinel: widen the tail and try again.
            rebuild(block_->cap, (block_->nslots - capacity()) * 2);
            slot = lowerBound(h, nodeKey(node));
            continue;
         }
         shift(block_, slot, end, 1);
         block_->hashes()[slot] = h;
         Node* const placed = block_->nodes() + slot;
         ::new (static_cast<void*>(placed)) Node(std::move(node));
         ++block_->count;
         ++stamp_;
         return placed;
      }
   }
   // Copy on write: a block shared with a copy is copied before the first change.
   void makeUnique() {
      if (block_->refs > 1) rebuild(block_->cap, block_->nslots - capacity());
   }
   // Lays the members out again in a new block of `cap` home slots and at least
   // `tail` slots after them. Order is kept: each member goes to its home or just
   // after the member before it.
   void rebuild(std::uint32_t cap, std::size_t tail) {
      Block* old = block_;
      std::size_t last = 0;
      bool any = false;
      std::uint32_t const* const oldHashes = old->hashes();
      Node* const oldNodes = old->nodes();
      for (std::size_t i = 0; i < old->nslots; ++i) {
         if (oldHashes[i] == 0) continue;
         std::size_t const h = homeIn(cap, oldHashes[i]);
         last = any ? std::max(h, last + 1) : h;
         any = true;
      }
      std::size_t const nslots = std::max(cap + std::max(tail, minTail), last + 2 + minTail);
      Block* b = allocate(cap, nslots);
      bool const steal = old->refs == 1;
      std::uint32_t* const hs = b->hashes();
      Node* const nodes = b->nodes();
      std::size_t next = 0;
      for (std::size_t i = 0; i < old->nslots; ++i) {
         std::uint32_t const h = oldHashes[i];
         if (h == 0) continue;
         std::size_t const pos = std::max(homeIn(cap, h), next);
         hs[pos] = h;
         if (steal) {
            ::new (static_cast<void*>(nodes + pos)) Node(std::move(oldNodes[i]));
         } else {
            ::new (static_cast<void*>(nodes + pos)) Node(oldNodes[i]);
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
// g++ 12 at -O3 takes the node an iterator holds in std::optional for maybe
// uninitialized where a walk ends (reset() only ends a node that emplace() made):
// a false positive of its flow analysis, silenced for the iterator alone.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
   class IteratorConst {
   public:
      // At the first member, or at the end of an empty map.
      explicit IteratorConst(HashMap2018 const& map) : map_(&map) {
         if (map.block_) settle(0);
      }
      // At the member of `k`; when `k` is absent, at the first member after it in
      // the map's order.
      IteratorConst(HashMap2018 const& map, Key const& k) : map_(&map) {
         if (map.block_) settle(map.lowerBound(rhash(k), k));
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
         if (map_->block_->hashes()[i] == h_ && nodeKey(map_->block_->nodes()[i]) == k) ++i;
         settle(i);
      }

      // The node the iterator last stood on, also if it was deleted since.
      Node const* currNodeMaybeStale() const { return node_ ? &*node_ : nullptr; }
      // The key of that node; keys never change.
      decltype(auto) key() const { return nodeKey(*node_); }
      // The live node of the current key, or null if that member is gone.
      Node const* currNodeNonStale() const {
         if (!node_) return nullptr;
         if (map_->stamp_ == stamp_) return map_->block_->nodes() + idx_;
         return map_->findNode(nodeKey(*node_), h_);
      }

   private:
      // Stands on the first member at slot `i` or after it.
      void settle(std::size_t i) {
         std::uint32_t const* hs = map_->block_->hashes();
         std::size_t const n = map_->block_->nslots;
         while (i < n && hs[i] == 0)
            ++i;
         if (i >= n) {
            node_.reset();
            return;
         }
         idx_ = i;
         h_ = hs[i];
         stamp_ = map_->stamp_;
         node_.emplace(map_->block_->nodes()[i]);
      }

      HashMap2018 const* map_;
      std::size_t idx_ = 0;
      std::uint64_t stamp_ = 0;
      std::uint32_t h_ = 0;
      std::optional<Node> node_;
   };
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

private:
   // The slot of the first member not below (h, k) in the map's order, or the
   // empty slot where the scan ends.
   std::size_t lowerBound(std::uint32_t h, Key const& k) const {
      return locate(k, h).slot;
   }
   // The first slot from `i` (h's home) on that is empty or holds a hash not
   // below `h`. The taken slots below `h` from home on form one unbroken stretch:
   // a member sits after its home with no empty slot between, and hashes rise
   // along a run. So the end of the stretch is found by comparing a window of 8
   // hashes at once, without a branch per slot; only a stretch of 8 or more goes
   // round again. Slots past the last one are never read.
   std::size_t firstNotBelow(std::uint32_t const* hs, std::size_t i, std::uint32_t h) const {
#if defined(__SSE2__)
      std::size_t const end = block_->nslots;
      // x - 1 < h - 1 (unsigned): taken (0 wraps to the top) and below h; SSE2
      // compares signed, so both sides are offset by 2^31.
      __m128i const offset = _mm_set1_epi32(static_cast<int>(0x80000001u));
      __m128i const limit = _mm_set1_epi32(static_cast<int>((h - 1u) ^ 0x80000000u));
      while (i + 8 <= end) {
         __m128i const lo = _mm_loadu_si128(reinterpret_cast<__m128i const*>(hs + i));
         __m128i const hi = _mm_loadu_si128(reinterpret_cast<__m128i const*>(hs + i + 4));
         __m128i const belowLo = _mm_cmpgt_epi32(limit, _mm_sub_epi32(lo, offset));
         __m128i const belowHi = _mm_cmpgt_epi32(limit, _mm_sub_epi32(hi, offset));
         unsigned const mask = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(belowLo))) |
                               static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(belowHi)))
                                   << 4;
         if (mask != 0xFFu) return i + static_cast<unsigned>(__builtin_ctz(~mask));
         i += 8;
      }
#endif
      while (hs[i] - 1u < h - 1u)
         ++i;
      return i;
   }
   // The first empty slot from `i` on; the last slot is always empty.
   std::size_t firstEmpty(std::uint32_t const* hs, std::size_t i) const {
#if defined(__SSE2__)
      std::size_t const end = block_->nslots;
      __m128i const zero = _mm_setzero_si128();
      while (i + 8 <= end) {
         __m128i const lo = _mm_loadu_si128(reinterpret_cast<__m128i const*>(hs + i));
         __m128i const hi = _mm_loadu_si128(reinterpret_cast<__m128i const*>(hs + i + 4));
         __m128i const packed =
             _mm_packs_epi32(_mm_cmpeq_epi32(lo, zero), _mm_cmpeq_epi32(hi, zero));
         unsigned const mask = static_cast<unsigned>(_mm_movemask_epi8(packed));
         if (mask != 0) return i + static_cast<unsigned>(__builtin_ctz(mask)) / 2;
         i += 8;
      }
#endif
      while (hs[i] != 0)
         ++i;
      return i;
   }
};

// Walks the keys of `map`, calling `fn(key)` for each with a copy of the key,
// over an iterator that survives any change of the map: `fn` may change it.
template <class Map, class Fn>
void forEachKey(Map const& map, Fn&& fn) {
   for (typename Map::IteratorConst it(map); it; it.advance()) {
      typename Map::KeyType const key = it.key();
      fn(key);
   }
}

// How far ahead forEachKeyAhead looks, and the size from which it does.
inline constexpr std::size_t walkAhead = 8;
inline constexpr std::size_t walkAheadMinSize = std::size_t{1} << 14;

// The walk of forEachKey over a map too large for the cache: `ahead(key)` is
// called walkAhead keys before `fn(key)`, so that it can start fetching what
// `fn` will read (HashMap2018::prefetch on the tables that `fn` looks the key up
// in) and the memory waits of several keys overlap instead of adding up. A map
// of fewer than walkAheadMinSize members is walked plainly: there the lookups
// hit the cache and the extra hashing would only cost.
template <class Map, class Ahead, class Fn>
void forEachKeyAhead(Map const& map, Ahead&& ahead, Fn&& fn) {
   if (map.size() < walkAheadMinSize) {
      forEachKey(map, std::forward<Fn>(fn));
      return;
   }
   typename Map::IteratorConst next(map);
   for (std::size_t i = 0; i < walkAhead && next; ++i, next.advance())
      ahead(next.key());
   for (typename Map::IteratorConst it(map); it; it.advance()) {
      typename Map::KeyType const key = it.key();
      if (next) {
         ahead(next.key());
         next.advance();
      }
      fn(key);
   }
}

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
   friend bool operator==(StdIterator const& a, StdIterator const& b) { return a.iter_ == b.iter_; }
   StdIterator begin() const { return *this; }
   StdIterator end() const { return StdIterator(*map_, EndOfCollection{}); }
   typename Map::IteratorConst const& iterator() const { return iter_; }

private:
   Map const* map_;
   typename Map::IteratorConst iter_;
};

}  // namespace Fen
