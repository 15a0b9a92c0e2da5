// Ulva::VlanTag and Ulva::VlanTagEncap: one VLAN tag, and the outer and inner tag
// of an encapsulation.
#pragma once

#include <cstdint>
#include <ostream>

#include "Bridging/VlanTpid.h"
#include "Fen/Record.h"
#include "Fen/String.h"
#include "Ulva/Module.h"

namespace Ulva {

// A VLAN tag. `vid` 4095 (the default) stands for no tag at this level; the legal
// range is 0 to 4097: the two values above 12 bits are legal on purpose.
class VlanTag {
public:
   static constexpr std::uint16_t vidDefault = 0x0FFF;
   static constexpr std::uint16_t vidMax = 4097;

   VlanTag() = default;
   // Parses the string form (see valueToStrep); refuses a vid above 4097.
   VlanTag(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end) {
      Fen::recordParse(*this, it, end);
   }

   std::uint16_t vid() const { return vid_; }
   // Refuses a vid above 4097 with Fen::RangeException.
   void vidIs(std::uint32_t vid);
   Bridging::VlanTpid tpid() const { return tpid_; }
   void tpidIs(Bridging::VlanTpid tpid) { tpid_ = tpid; }
   // Always 0 in this system: copied and compared, never interpreted.
   std::uint8_t tagFlags() const { return tagFlags_; }
   void tagFlagsIs(std::uint8_t flags) { tagFlags_ = flags; }

   bool operator==(VlanTag const& o) const { return Fen::recordEqual(*this, o); }
   bool operator<(VlanTag const& o) const { return packed() < o.packed(); }
   // vid, tpid and flags in one word, in field order.
   std::uint64_t packed() const {
      return (std::uint64_t{vid_} << 24) | (std::uint64_t{tpid_} << 8) | tagFlags_;
   }

private:
   // The vid of the string form: any number above 4097, however long, is refused
   // with the message of vidIs.
   static void parseVid(VlanTag& tag, Fen::String::IteratorConst& it,
                        Fen::String::IteratorConst const& end);

   std::uint16_t vid_ = vidDefault;
   Bridging::VlanTpid tpid_ = Bridging::vlanTpid8100;
   std::uint8_t tagFlags_ = 0;

public:
   // The fields, in declaration order (see Fen/Record.h).
   using FenFields = Fen::Fields<
       "Ulva::VlanTag", Fen::Field<&VlanTag::vid_, "vid", Fen::writable, &VlanTag::parseVid>,
       Fen::Field<&VlanTag::tpid_, "tpid">, Fen::Field<&VlanTag::tagFlags_, "tagFlags">>;
};

// Builds a tag from numbers (refusing a vid above 4097).
VlanTag vlanTag(std::uint32_t vid, Bridging::VlanTpid tpid = Bridging::vlanTpid8100);

class VlanTagEncap {
public:
   VlanTagEncap() = default;
   VlanTagEncap(VlanTag const& outer, VlanTag const& inner) : outerTag_(outer), innerTag_(inner) {}
   // Parses the string form (see valueToStrep).
   VlanTagEncap(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end) {
      Fen::recordParse(*this, it, end);
   }

   VlanTag const& outerTag() const { return outerTag_; }
   void outerTagIs(VlanTag const& t) { outerTag_ = t; }
   VlanTag const& innerTag() const { return innerTag_; }
   void innerTagIs(VlanTag const& t) { innerTag_ = t; }

   bool operator==(VlanTagEncap const& o) const { return Fen::recordEqual(*this, o); }
   bool operator<(VlanTagEncap const& o) const {
      return outerTag_ < o.outerTag_ || (outerTag_ == o.outerTag_ && innerTag_ < o.innerTag_);
   }
   // Seeded 32-bit hash, packed: both tags as one word, the flags only when set
   // (the key of nearly every map hashes through it).
   std::uint32_t hash(std::uint32_t seed) const;
   // vids and tpids of both tags in one word.
   std::uint64_t tagWord() const {
      return (std::uint64_t{outerTag_.vid()} << 48) | (std::uint64_t{outerTag_.tpid()} << 32) |
             (std::uint64_t{innerTag_.vid()} << 16) | innerTag_.tpid();
   }
   std::uint32_t flagWord() const {
      return static_cast<std::uint32_t>(outerTag_.tagFlags()) |
             (static_cast<std::uint32_t>(innerTag_.tagFlags()) << 8);
   }

private:
   VlanTag outerTag_;
   VlanTag innerTag_;

public:
   // The fields, in declaration order (see Fen/Record.h).
   using FenFields =
       Fen::Fields<"Ulva::VlanTagEncap", Fen::Field<&VlanTagEncap::outerTag_, "outerTag">,
                   Fen::Field<&VlanTagEncap::innerTag_, "innerTag">>;
};

std::ostream& operator<<(std::ostream& os, VlanTag const& tag);
std::ostream& operator<<(std::ostream& os, VlanTagEncap const& encap);

// String forms, parsed back by the parsing constructors:
//   Value('Ulva::VlanTag', ** {'vid': 100, 'tpid': 0x8100, 'tagFlags': 0})
//   Value('Ulva::VlanTagEncap', ** {'outerTag': <VlanTag>, 'innerTag': <VlanTag>})
inline Fen::String valueToStrep(VlanTag const& tag) {
   return Fen::recordToStrep(tag);
}
inline Fen::String valueToStrep(VlanTagEncap const& encap) {
   return Fen::recordToStrep(encap);
}

}  // namespace Ulva
