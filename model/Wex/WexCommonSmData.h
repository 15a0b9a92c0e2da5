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
#include "Fen/Reflect.h"
#include "Kestin/IntfId.h"
#include "Wex/Module.h"

namespace Wex {

// A member port of a LAG; what it holds is the platform layer's business.
struct WexLagPort {
   bool operator==(WexLagPort const&) const = default;
};

// The member list of one LAG: a value, copied by its readers. A copy shares the
// map's storage until one side changes, so portDel on a copy leaves the original.
class WexLagPortList {
public:
   // FenPort, PortMap, port_ and its accessors.
   FEN_COLLECTION(port, FenPort, PortMap, Kestin::IntfId, WexLagPort, 0x3B0A57C1)

   bool operator==(WexLagPortList const& o) const;
};

// The string form of a member list: its ports in order, "['Ethernet1', 'Ethernet2']";
// parsed back by sequenceToValue, which refuses anything else with
// Fen::RangeException.
Fen::String valueToStrep(WexLagPortList const& list);
void sequenceToValue(Fen::String::IteratorConst& it, Fen::String::IteratorConst const& end,
                     WexLagPortList* out);

class WexCommonSmData : public Fen::Notifier {
   FEN_COUNTED_CLASS("Wex::WexCommonSmData")

public:
   FEN_CREATOR(WexCommonSmData)

   // portToLagAttributeId, FenPortToLag, PortToLagMap, portToLag_; lagToPortAttributeId,
   // FenLagToPort, LagToPortMap, lagToPort_; multiEncapIntfAttributeId,
   // FenMultiEncapIntf, MultiEncapIntfSet, multiEncapIntf_; with their accessors.
   FEN_NOTIFYING_COLLECTION(portToLag, FenPortToLag, PortToLagMap, 271, Kestin::IntfId,
                            Kestin::IntfId, 0x1838FD10)
   FEN_NOTIFYING_COLLECTION(lagToPort, FenLagToPort, LagToPortMap, 272, Kestin::IntfId,
                            WexLagPortList, 0x77F226DA)
   FEN_NOTIFYING_COLLECTION(multiEncapIntf, FenMultiEncapIntf, MultiEncapIntfSet, 273,
                            Kestin::IntfId, void, 0xD340FA52)
   FEN_FWK_TYPE(WexCommonSmData)
   using FenReflection = Fen::Reflection<Fen::FirstId<271>, Fen::Ctor<>, FenRow_portToLag,
                                         FenRow_lagToPort, FenRow_multiEncapIntf>;
};

Fen::Ptr<WexCommonSmData> wexCommonSmDataFactory();

}  // namespace Wex
