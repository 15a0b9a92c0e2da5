// Wex::WexCommonSmData: the platform layer's shared object (attribute `wcsd` of a
// state machine): which port is in which LAG, the member list of each LAG, and
// the set of interfaces that carry several encaps.
//
// Each change notifies with the key: `portToLag` as 271, `lagToPort` as 272,
// `multiEncapIntf` as 273. A port without LAG is absent from `portToLag`.
#pragma once

#include <cstdint>

#include "Fen/Accessors.h"
#include "Fen/Reactor.h"
#include "Kestin/IntfId.h"

namespace Wex {

// A member port of a LAG; what it holds is the platform layer's business.
struct WexLagPort {
   bool operator==(WexLagPort const&) const = default;
};

// The member list of one LAG: a value, copied by its readers. A copy shares the
// map's storage until one side changes, so portDel on a copy leaves the original.
class WexLagPortList {
public:
   struct FenPort {
      static constexpr std::uint32_t salt = 0x3B0A57C1;
   };
   using PortMap = Fen::HashMap2018<FenPort, Kestin::IntfId, WexLagPort>;

   FEN_COLLECTION_ACCESSORS(port, PortMap, port_)

   bool operator==(WexLagPortList const& o) const;

private:
   PortMap port_;
};

class WexCommonSmData : public Fen::Notifier {
   FEN_COUNTED_CLASS("Wex::WexCommonSmData")

public:
   static constexpr Fen::AttributeId portToLagAttributeId = 271;
   static constexpr Fen::AttributeId lagToPortAttributeId = 272;
   static constexpr Fen::AttributeId multiEncapIntfAttributeId = 273;
   struct FenPortToLag {
      static constexpr std::uint32_t salt = 0x1838FD10;
   };
   struct FenLagToPort {
      static constexpr std::uint32_t salt = 0x77F226DA;
   };
   struct FenMultiEncapIntf {
      static constexpr std::uint32_t salt = 0xD340FA52;
   };
   using PortToLagMap = Fen::HashMap2018<FenPortToLag, Kestin::IntfId, Kestin::IntfId>;
   using LagToPortMap = Fen::HashMap2018<FenLagToPort, Kestin::IntfId, WexLagPortList>;
   using MultiEncapIntfSet = Fen::HashMap2018<FenMultiEncapIntf, Kestin::IntfId>;

   FEN_CREATOR(WexCommonSmData)

   FEN_NOTIFYING_COLLECTION_ACCESSORS(portToLag, PortToLagMap, portToLag_, portToLagAttributeId,
                                      notifiees_)
   FEN_NOTIFYING_COLLECTION_ACCESSORS(lagToPort, LagToPortMap, lagToPort_, lagToPortAttributeId,
                                      notifiees_)
   FEN_NOTIFYING_COLLECTION_ACCESSORS(multiEncapIntf, MultiEncapIntfSet, multiEncapIntf_,
                                      multiEncapIntfAttributeId, notifiees_)

private:
   PortToLagMap portToLag_;
   LagToPortMap lagToPort_;
   MultiEncapIntfSet multiEncapIntf_;
};

Fen::Ptr<WexCommonSmData> wexCommonSmDataFactory();

}  // namespace Wex
