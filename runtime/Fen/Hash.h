// Hashing of keys: Fen::Hash (a small seeded mixing state), the process seed and
// the three key forms through which a keyed map computes the 32-bit hash of a
// key, its rhash.
#pragma once

#include <concepts>
#include <cstdint>
#include <type_traits>

namespace Fen {

// A seeded hash over a sequence of words. The state starts from the seed; each
// field is mixed in, in field order; result() gives a 32-bit hash whose top bits
// are as good as its low bits (keyed maps place members by the top bits).
class Hash {
public:
   explicit Hash(std::uint32_t seed) : state_(seed ^ 0x243F6A8885A308D3ull), second_(0) {}

   // Mixes one field of N bytes (4 or 8).
   template <int N>
   void hashMix(std::uint64_t word) {
      static_assert(N == 4 || N == 8, "fields are mixed as 32- or 64-bit words");
      state_ = (state_ ^ word) * 0x9E3779B97F4A7C15ull;
      state_ ^= state_ >> 32;
      second_ += N;
   }
   std::uint32_t result() const {
      std::uint64_t h = state_ ^ second_;
      h ^= h >> 33;
      h *= 0xFF51AFD7ED558CCDull;
      h ^= h >> 33;
      h *= 0xC4CEB9FE1A85EC53ull;
      h ^= h >> 33;
      return static_cast<std::uint32_t>(h >> 32) ^ static_cast<std::uint32_t>(h);
   }

private:
   std::uint64_t state_;
   std::uint64_t second_;
};

// The hash of one word under a seed.
inline std::uint32_t hashSingleAttr(std::uint32_t seed, std::uint64_t word) {
   Hash h(seed);
   h.hashMix<8>(word);
   return h.result();
}

// The process seed: the same for every seeded map while the process lives, and
// chosen afresh on each run unless a seed is given, so that nothing may depend on
// the order of a keyed map. The first use chooses it.
namespace ProcessHashSeed {
inline std::uint32_t value = 0;
inline bool chosen = false;
}  // namespace ProcessHashSeed
std::uint32_t makeHashSeed32();
inline std::uint32_t hashSeed32() {
   if (!ProcessHashSeed::chosen) [[unlikely]] {
      ProcessHashSeed::value = makeHashSeed32();
      ProcessHashSeed::chosen = true;
   }
   return ProcessHashSeed::value;
}
// Gives the process seed, so that a run (and the order of every map walk in it)
// can be repeated: a tool takes it from its command line or environment. Call it
// before the first map is made; the stored hashes of members made under another
// seed would no longer be found. A test may change it again while no seeded map
// holds a member.
inline void hashSeed32Is(std::uint32_t seed) {
   ProcessHashSeed::value = seed;
   ProcessHashSeed::chosen = true;
}
// The seed written as a decimal or 0x-prefixed hexadecimal 32-bit number, as a
// tool takes it; anything else throws Fen::RangeException naming the text.
std::uint32_t hashSeed32FromText(char const* text);

namespace HashHelper {

// How a key becomes the word that seeded hashing mixes, for keys without a
// hash(seed) of their own: integers and enumerations directly, other types
// through a `fenKeyWord(key)` found next to the type.
template <class K>
std::uint64_t keyWord(K const& k) {
   if constexpr (std::is_enum_v<K> || std::is_integral_v<K>) {
      return static_cast<std::uint64_t>(k);
   } else {
      return fenKeyWord(k);
   }
}

// Seeded form: rhash from the process seed XOR the map's salt. Every map of this
// system and of the encap model uses it.
struct KeyAndRhashSeedArg {
   // Forced inline: it runs in every lookup, and GCC otherwise calls it.
   template <class K>
   [[gnu::always_inline]] static std::uint32_t rhash(K const& k, std::uint32_t salt) {
      std::uint32_t const seed = hashSeed32() ^ salt;
      if constexpr (requires {
                       { k.hash(seed) } -> std::convertible_to<std::uint32_t>;
                    }) {
         return k.hash(seed);
      } else {
         return hashSingleAttr(seed, keyWord(k));
      }
   }
};

// Legacy form: the key's own unseeded hash(), no seed, no salt. Maps of the
// interface and MACsec proxy model use it.
struct KeyAndRhashLegacy {
   template <class K>
   static std::uint32_t rhash(K const& k, std::uint32_t) {
      return k.hash();
   }
};

// Small-integer form: the rhash is the salt itself, no seed; members are told
// apart by their order alone. Used for the set of service types.
struct KeyU32 {
   template <class K>
   static std::uint32_t rhash(K const&, std::uint32_t salt) {
      return salt;
   }
};

}  // namespace HashHelper
}  // namespace Fen
