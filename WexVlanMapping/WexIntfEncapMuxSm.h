// WexVlanMapping::WexIntfEncapMuxSm: the sub-interface multiplexer.
//
// A sub-interface can be programmed along two roads: directly (its hardware
// status arrives in `subIntfHwStatusIn`), or as a service interface (its
// forwarding information goes out through `serviceIntfFwdInfoOut`, to the encap
// state machine, and the service's status comes back through
// `serviceIntfHwStatusIn`). Per interface id the multiplexer decides which road is
// in force (updateServiceIntf) and merges what comes back into one status in
// `subIntfHwStatusOut` (updateSubIntfHwStatus). The id of a sub-interface is also
// the id of its service interface: every event touches the one id it names.
//
// Doors
// -----
// notification  four input reactors: the sub-interface statuses (intfStatus),
//               the direct road's statuses (hardwareStatus), the forwarding on
//               offer (fwdInfo), the service road's statuses (hwStatus); and one
//               entry reactor per member of each of the two directories, hearing
//               its programInHw or hardwareSuccess
// start         the constructor: entries for the present members, then the sweep
//               (handleInitialized) over the sorted union of every id the
//               machine reads or writes
// Not heard: supportedServiceTypes (read at each update of an id), multiEncapIntf
// and the outputs (corrected at the next event of an id).
//
// Invariants
// ----------
// Properties that hold for every id after every event has returned, when no one
// but this machine writes the outputs and supportedServiceTypes has not changed
// since the id's last event. With need = serviceIntfIsNeeded(id) (a non-default
// record of a supported type on offer), direct = a non-null member of
// hardwareStatus in subIntfHwStatusIn, hw = the id in serviceIntfHwStatusIn:
// (1) serviceIntfFwdInfoOut holds the offered record exactly when need and not
//     direct; otherwise it has no record for the id.
// (2) The id is in multiEncapIntf when need; when neither need nor hw it is not;
//     when hw without need it is as it was (it drains once hw goes).
// (3) subIntfHwStatusOut has a member for the id exactly when intfStatus has one.
// (4) With programInHw true, that member's hardwareSuccess is the merge: if it
//     was true and the offered serviceType is 0 or 2 (none offered counts as 0)
//     it stays true; else with need and hw, hw == hwStatusSuccess; else with
//     direct, the direct member's hardwareSuccess; else false. With programInHw
//     false it keeps its value (false when just created).
// (5) An entry stands in subIntfStatusEntry (subIntfHwStatusEntry) for each
//     non-null member of intfStatus (hardwareStatus of subIntfHwStatusIn) and
//     hears exactly that object.
// (6) Nothing is written that equals what is there: a repeated event changes
//     no output and notifies nobody.
//
// Thread safety: none. Everything runs on the thread of the writer of an input.
// Teardown withdraws nothing: the outputs and multiEncapIntf keep what was
// published, for the next instance's sweep to reconcile.
#pragma once

#include <cstdint>
#include <optional>

#include "Fen/Reactor.h"
#include "Fen/Reflect.h"
#include "Fen/StateMachineTable.h"
#include "Interface/SubIntfStatus.h"
#include "Ulva/Collections.h"
#include "Wex/WexCommonSmData.h"
#include "WexVlanMapping/WexIntfEncap.h"

namespace WexVlanMapping {

// The bound attributes of WexIntfEncapMuxSm, in attribute order (see
// Fen/StateMachineTable.h): the shared state it writes (multiEncapIntf), the
// four inputs heard through reactors, the two outputs and the supported
// service types it reads.
// clang-format off
#define WEX_INTF_ENCAP_MUX_SM_ATTRIBUTES(input, output, shared)                                 \
   output(wcsd, Wex::WexCommonSmData)                                                            \
   input(subIntfStatus, SubIntfStatus, Interface::SubIntfStatusDir const, intfStatus,            \
         Kestin::IntfId, handleSubIntfStatus,                                                    \
         ::Fen::Reconcile<&FenSm::fenEntriesSubIntfStatusEntry>)                                 \
   input(subIntfHwStatusIn, SubIntfHwStatusIn, Interface::Hardware::SubIntfStatusDir const,      \
         hardwareStatus, Kestin::IntfId, handleSubIntfHwStatus,                                  \
         ::Fen::Reconcile<&FenSm::fenEntriesSubIntfHwStatusEntry>)                               \
   output(subIntfHwStatusOut, Interface::Hardware::SubIntfStatusDir)                             \
   input(serviceIntfFwdInfoIn, ServiceIntfFwdInfoIn, Ulva::ServiceIntfFwdInfoColl const,         \
         fwdInfo, Kestin::IntfId, handleServiceIntfFwdInfo, ::Fen::NoVariant)                    \
   output(serviceIntfFwdInfoOut, Ulva::ServiceIntfFwdInfoColl)                                   \
   input(serviceIntfHwStatusIn, ServiceIntfHwStatusIn, Ulva::ServiceIntfHwStatusColl const,      \
         hwStatus, Kestin::IntfId, handleServiceIntfHwStatus, ::Fen::NoVariant)                  \
   output(supportedServiceTypes, WexVlanMapping::SupportedEncapServiceTypes const)
// clang-format on

class WexIntfEncapMuxSm : public Fen::StateMachine<WexIntfEncapMuxSm> {
   FEN_COUNTED_CLASS("WexVlanMapping::WexIntfEncapMuxSm")

public:
   using FenSm = WexIntfEncapMuxSm;

   // ---- creation ----------------------------------------------------------------
   // Inputs: wcsd, subIntfStatus, subIntfHwStatusIn, subIntfHwStatusOut,
   // serviceIntfFwdInfoIn, serviceIntfFwdInfoOut, serviceIntfHwStatusIn,
   // supportedServiceTypes; fenInputCount.
   FEN_SM_INPUTS(WEX_INTF_ENCAP_MUX_SM_ATTRIBUTES)

   // WexIntfEncapMuxSmIs(inputs), or with the eight pointers of Inputs in its
   // order: allocates, constructs (which sweeps) and turns notification on.
   FEN_CREATOR(WexIntfEncapMuxSm)
   // WexIntfEncapMuxSm(Inputs const&), WexIntfEncapMuxSm(eight pointers). Every
   // input must be given: the sweep at the end asserts each.
   FEN_SM_CONSTRUCTORS(WexIntfEncapMuxSm)
   ~WexIntfEncapMuxSm() override;

   Fen::FwkType fwkType() const override;

   // ---- handlers of the reactors and entries ------------------------------------
   // Each traces its id and whether its own input lacks it, then updates: the
   // road first (not for handleSubIntfStatus, whose input has no say in it),
   // then the merged status.
   void handleSubIntfStatus(Kestin::IntfId intfId);
   void handleSubIntfHwStatus(Kestin::IntfId intfId);
   void handleServiceIntfFwdInfo(Kestin::IntfId intfId);
   void handleServiceIntfHwStatus(Kestin::IntfId intfId);

   // The entries, one per non-null member of each directory:
   // FenSubIntfStatusEntry (fen_handleSubIntfStatusEntry_programInHw),
   // FenSubIntfStatusEntryMap, subIntfStatusEntry_, subIntfStatusEntry(id),
   // subIntfStatusEntryIs(p), subIntfStatusEntryDel(id), subIntfStatusEntryDelAll(),
   // subIntfStatusEntrys(), subIntfStatusEntryMap(), fenEntriesSubIntfStatusEntry();
   // the same for FenSubIntfHwStatusEntry (fen_handleSubIntfHwStatusEntry_hardwareSuccess)
   // and subIntfHwStatusEntry. xIs(null) throws Fen::RangeException.
   FEN_SM_ENTRIES(subIntfStatusEntry, SubIntfStatusEntry, Interface::SubIntfStatus, programInHw,
                  handleSubIntfStatus, 0xADEDC4A9, 139, Interface::SubIntfStatusDir, intfStatus)
   FEN_SM_ENTRIES(subIntfHwStatusEntry, SubIntfHwStatusEntry, Interface::Hardware::SubIntfStatus,
                  hardwareSuccess, handleSubIntfHwStatus, 0xD851A8E7, 141,
                  Interface::Hardware::SubIntfStatusDir, hardwareStatus)

   // Forwarders the reactors call, and the reactors themselves:
   // fen_handleSubIntfStatus_intfStatus, fen_handleSubIntfHwStatusIn_hardwareStatus,
   // fen_handleServiceIntfFwdInfoIn_fwdInfo, fen_handleServiceIntfHwStatusIn_hwStatus;
   // FenSubIntfStatus, FenSubIntfHwStatusIn (both keep the entries in step with
   // their directory, after the handler), FenServiceIntfFwdInfoIn,
   // FenServiceIntfHwStatusIn.
   FEN_SM_REACTORS(WEX_INTF_ENCAP_MUX_SM_ATTRIBUTES)

   // ---- inputs and outputs --------------------------------------------------------
   // wcsd(), subIntfStatus(), subIntfHwStatusIn(), subIntfHwStatusOut(),
   // serviceIntfFwdInfoIn(), serviceIntfFwdInfoOut(), serviceIntfHwStatusIn(),
   // supportedServiceTypes(). An input reads as null when its reactor is absent.
   FEN_SM_GETTERS(WEX_INTF_ENCAP_MUX_SM_ATTRIBUTES)

   // ---- steps open for reflection and tests ---------------------------------------
   // The initial sweep: asserts every input, then for each id that any input,
   // output or multiEncapIntf names, in ascending order: updateServiceIntf, then
   // updateSubIntfHwStatus. Traces nothing of its own.
   void handleInitialized();
   bool initialized() const { return initialized_; }
   void initializedIs(bool v) { initialized_ = v; }
   // Whether the service-interface road is wanted for `intfId`: a non-default
   // record on offer whose serviceType the platform supports.
   bool serviceIntfIsNeeded(Kestin::IntfId intfId) const;
   // The road: serviceIntfFwdInfoOut and multiEncapIntf brought to the decision
   // for `intfId`, written only where they differ.
   void updateServiceIntf(Kestin::IntfId intfId);
   // The merged status of `intfId` in subIntfHwStatusOut.
   void updateSubIntfHwStatus(Kestin::IntfId intfId);

   // The reactor attributes, in attribute order, then the entries.
   auto fenReactors() {
      return std::tuple_cat(FEN_SM_TIE(WEX_INTF_ENCAP_MUX_SM_ATTRIBUTES),
                            std::tie(subIntfStatusEntry_, subIntfHwStatusEntry_));
   }

private:
   // What an update of one id reads of the road's inputs, read once: the offered
   // record (default when absent) and whether one is there, whether the service
   // road is needed, the direct road's member (null when absent or null) and
   // whether its key is there, and the service road's status.
   struct Road {
      Ulva::ServiceIntfFwdInfo offered;
      bool offeredPresent = false;
      bool needed = false;
      Fen::Ptr<Interface::Hardware::SubIntfStatus const> direct;
      bool directPresent = false;
      std::optional<Ulva::IntfEncapHwStatus> serviceStatus;
   };
   Road roadOf(Kestin::IntfId intfId) const;
   // The rule of serviceIntfIsNeeded on a record already read.
   bool isNeeded(Ulva::ServiceIntfFwdInfo const& offered) const;
   // updateServiceIntf and updateSubIntfHwStatus on what `road` read; the first
   // says whether it wrote anything (a write may set off changes of the inputs,
   // so the road is read again after one).
   bool updateServiceIntf(Kestin::IntfId intfId, Road const& road);
   void updateSubIntfHwStatus(Kestin::IntfId intfId, Road const& road);
   // The work of the sweep and of three handlers: the road, then the merged status.
   void updateRoadAndStatus(Kestin::IntfId intfId, Road const& road);

   // Members in attribute order: wcsd_, subIntfStatus_, subIntfHwStatusIn_,
   // subIntfHwStatusOut_, serviceIntfFwdInfoIn_, serviceIntfFwdInfoOut_,
   // serviceIntfHwStatusIn_, supportedServiceTypes_; then initialized_. (The
   // entries stand above; the destructor empties them first.)
   FEN_SM_MEMBERS(WEX_INTF_ENCAP_MUX_SM_ATTRIBUTES)
   bool initialized_ = false;

public:
   // What reflection sees, in attribute order from 130.
   using FenReflection = Fen::Reflection<
       void, FEN_SM_CTOR(WEX_INTF_ENCAP_MUX_SM_ATTRIBUTES),
       FEN_SM_ROWS(WEX_INTF_ENCAP_MUX_SM_ATTRIBUTES)  // 130 to 137
       Fen::MethodRow<"handleSubIntfStatus", &FenSm::handleSubIntfStatus, "intfId">,
       FenRow_subIntfStatusEntry,
       Fen::MethodRow<"handleSubIntfHwStatus", &FenSm::handleSubIntfHwStatus, "intfId">,
       FenRow_subIntfHwStatusEntry,
       Fen::MethodRow<"handleServiceIntfFwdInfo", &FenSm::handleServiceIntfFwdInfo, "intfId">,
       Fen::MethodRow<"handleServiceIntfHwStatus", &FenSm::handleServiceIntfHwStatus, "intfId">,
       Fen::MethodRow<"handleInitialized", &FenSm::handleInitialized>,
       Fen::ValueRow<"initialized", &FenSm::initialized, &FenSm::initializedIs>,
       Fen::MethodRow<"serviceIntfIsNeeded", &FenSm::serviceIntfIsNeeded, "intfId">,
       Fen::MethodRow<"updateServiceIntf",
                      FEN_OVERLOAD(FenSm, updateServiceIntf, void (FenSm::*)(Kestin::IntfId)),
                      "intfId">,
       Fen::MethodRow<"updateSubIntfHwStatus",
                      FEN_OVERLOAD(FenSm, updateSubIntfHwStatus, void (FenSm::*)(Kestin::IntfId)),
                      "intfId">>;
};

// How an agent starts the multiplexer: by name,
//    wexIntfEncapMuxSmFactory({.wcsd = wcsd, ..., .supportedServiceTypes = types})
// or with the eight pointers of Inputs in its order.
inline Fen::Ptr<WexIntfEncapMuxSm> wexIntfEncapMuxSmFactory(
    WexIntfEncapMuxSm::Inputs const& inputs) {
   return WexIntfEncapMuxSm::WexIntfEncapMuxSmIs(inputs);
}
template <class... A>
Fen::Ptr<WexIntfEncapMuxSm> wexIntfEncapMuxSmFactory(A const&... args) {
   static_assert(sizeof...(A) == WexIntfEncapMuxSm::fenInputCount,
                 "wexIntfEncapMuxSmFactory takes the eight pointers of "
                 "WexIntfEncapMuxSm::Inputs, in order");
   return WexIntfEncapMuxSm::WexIntfEncapMuxSmIs(WexIntfEncapMuxSm::Inputs{args...});
}

}  // namespace WexVlanMapping
