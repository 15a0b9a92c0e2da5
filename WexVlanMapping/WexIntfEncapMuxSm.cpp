#include "WexVlanMapping/WexIntfEncapMuxSm.h"

#include <iostream>

#include <algorithm>
#include <vector>

#include "Fen/Assert.h"
#include "Gantry/Trace.h"
#include "WexVlanMapping/WexModules.h"

namespace WexVlanMapping {

// wexIntfEncapMuxSmModule, published when the library is loaded.
Fen::String const fenNamespacePrefix("ns-");
FEN_MODULE(wexIntfEncapMuxSmModule, "WexIntfEncapMuxSm", WexIntfEncapMuxSm)

namespace {

FEN_TRACE_UNIT("WexIntfEncapMuxSm");

Ulva::ServiceIntfFwdInfo const noFwdInfo;

// The prefixes of the traces: each function's full signature.
#define MUX_SERVICE_INTF \
   "void WexVlanMapping::WexIntfEncapMuxSm::updateServiceIntf(Kestin::IntfId): "
#define MUX_SUB_INTF \
   "void WexVlanMapping::WexIntfEncapMuxSm::updateSubIntfHwStatus(Kestin::IntfId): "

// Whether a status with this serviceType keeps a success once it has it.
bool latchesSuccess(Ulva::ServiceIntfType serviceType) {
   return (static_cast<unsigned>(serviceType) & 0xFDu) == 0;
}

}  // namespace

// ---- frame ------------------------------------------------------------------

WexIntfEncapMuxSm::WexIntfEncapMuxSm(Inputs const& inputs) {
   // Reactors and outputs in attribute order; no handler runs during the binding.
   FEN_SM_BIND(WEX_INTF_ENCAP_MUX_SM_ATTRIBUTES)
   // The entries of the present members stand before the sweep.
   if (Interface::SubIntfStatusDir const* dir = subIntfStatus()) {
      Fen::forEachKey(dir->intfStatusMap(), [&](Kestin::IntfId id) {
         if (auto const status = dir->intfStatus(id)) subIntfStatusEntryIs(status);
      });
   }
   if (Interface::Hardware::SubIntfStatusDir const* dir = subIntfHwStatusIn()) {
      Fen::forEachKey(dir->hardwareStatusMap(), [&](Kestin::IntfId id) {
         if (auto const status = dir->hardwareStatus(id)) subIntfHwStatusEntryIs(status);
      });
   }
   handleInitialized();
}

WexIntfEncapMuxSm::~WexIntfEncapMuxSm() {
   fenTeardownReactors();
   subIntfHwStatusEntry_.clear();
   subIntfStatusEntry_.clear();
}

Fen::FwkType WexIntfEncapMuxSm::fwkType() const {
   return {&wexIntfEncapMuxSmModule, wexIntfEncapMuxSmTypeWexIntfEncapMuxSm};
}

void WexIntfEncapMuxSm::handleInitialized() {
   FEN_ASSERT(wcsd());
   FEN_ASSERT(subIntfStatus());
   FEN_ASSERT(subIntfHwStatusIn());
   FEN_ASSERT(subIntfHwStatusOut());
   FEN_ASSERT(serviceIntfFwdInfoIn());
   FEN_ASSERT(serviceIntfFwdInfoOut());
   FEN_ASSERT(serviceIntfHwStatusIn());
   FEN_ASSERT(supportedServiceTypes());
   initialized_ = true;
   // Every id read or written, each once and in ascending order; collected whole
   // before the first write.
   std::vector<Kestin::IntfId> ids;
   auto collect = [&ids](auto const& map) {
      Fen::forEachKey(map, [&ids](Kestin::IntfId id) { ids.push_back(id); });
   };
   collect(wcsd()->multiEncapIntfMap());
   collect(serviceIntfFwdInfoIn()->fwdInfoMap());
   collect(serviceIntfFwdInfoOut()->fwdInfoMap());
   collect(serviceIntfHwStatusIn()->hwStatusMap());
   collect(subIntfStatus()->intfStatusMap());
   collect(subIntfHwStatusIn()->hardwareStatusMap());
   collect(subIntfHwStatusOut()->hardwareStatusMap());
   std::sort(ids.begin(), ids.end());
   ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
   for (Kestin::IntfId id : ids)
      updateRoadAndStatus(id, roadOf(id));
}

// ---- handlers -------------------------------------------------------------------

void WexIntfEncapMuxSm::handleSubIntfStatus(Kestin::IntfId intfId) {
   bool const isDel = !subIntfStatus()->intfStatusHas(intfId);
   GANTRY_TRACE(8,
                "void WexVlanMapping::WexIntfEncapMuxSm::handleSubIntfStatus(Kestin::IntfId): %s "
                "isDel:%s",
                intfId.stringValue(), isDel);
   // The sub-interface's own status has no say in the road.
   updateSubIntfHwStatus(intfId);
}

// The three handlers of the road's inputs read the road first: their own input's
// presence, for the trace, is part of it.

void WexIntfEncapMuxSm::handleSubIntfHwStatus(Kestin::IntfId intfId) {
   Road const road = roadOf(intfId);
   GANTRY_TRACE(
       8,
       "void WexVlanMapping::WexIntfEncapMuxSm::handleSubIntfHwStatus(Kestin::IntfId): %s isDel:%s",
       intfId.stringValue(), !road.directPresent);
   updateRoadAndStatus(intfId, road);
}

void WexIntfEncapMuxSm::handleServiceIntfFwdInfo(Kestin::IntfId intfId) {
   Road const road = roadOf(intfId);
   GANTRY_TRACE(8,
                "void WexVlanMapping::WexIntfEncapMuxSm::handleServiceIntfFwdInfo(Kestin::IntfId): "
                "%s isDel:%s",
                intfId.stringValue(), !road.offeredPresent);
   updateRoadAndStatus(intfId, road);
}

void WexIntfEncapMuxSm::handleServiceIntfHwStatus(Kestin::IntfId intfId) {
   Road const road = roadOf(intfId);
   GANTRY_TRACE(
       8,
       "void WexVlanMapping::WexIntfEncapMuxSm::handleServiceIntfHwStatus(Kestin::IntfId): %s "
       "isDel:%s",
       intfId.stringValue(), !road.serviceStatus.has_value());
   updateRoadAndStatus(intfId, road);
}

// ---- the road -------------------------------------------------------------------

WexIntfEncapMuxSm::Road WexIntfEncapMuxSm::roadOf(Kestin::IntfId intfId) const {
   Road road;
   if (auto const* offered = serviceIntfFwdInfoIn()->fwdInfoMap()[intfId]) {
      road.offered = *offered;
      road.offeredPresent = true;
   }
   road.needed = isNeeded(road.offered);
   if (auto const* direct = subIntfHwStatusIn()->hardwareStatusMap()[intfId]) {
      road.direct = direct->value;
      road.directPresent = true;
   }
   if (auto const* status = serviceIntfHwStatusIn()->hwStatusMap()[intfId]) {
      road.serviceStatus = status->value;
   }
   return road;
}

bool WexIntfEncapMuxSm::isNeeded(Ulva::ServiceIntfFwdInfo const& offered) const {
   if (offered == noFwdInfo) return false;
   return supportedServiceTypes()->encapServiceType(offered.serviceType());
}

bool WexIntfEncapMuxSm::serviceIntfIsNeeded(Kestin::IntfId intfId) const {
   return isNeeded(serviceIntfFwdInfoIn()->fwdInfo(intfId));
}

void WexIntfEncapMuxSm::updateRoadAndStatus(Kestin::IntfId intfId, Road const& road) {
   // A write may have set off changes of the inputs: then they are read again.
   if (updateServiceIntf(intfId, road)) {
      updateSubIntfHwStatus(intfId, roadOf(intfId));
   } else {
      updateSubIntfHwStatus(intfId, road);
   }
}

void WexIntfEncapMuxSm::updateServiceIntf(Kestin::IntfId intfId) {
   (void)updateServiceIntf(intfId, roadOf(intfId));
}

bool WexIntfEncapMuxSm::updateServiceIntf(Kestin::IntfId intfId, Road const& road) {
   bool const needSvcIntf = road.needed;
   GANTRY_TRACE(8, MUX_SERVICE_INTF "%s, needSvcIntf: %s", intfId.stringValue(), needSvcIntf);
   bool wrote = false;
   // The direct road wins: a sub-interface with a direct status gets no service
   // interface, however much it needs one.
   if (needSvcIntf && !road.direct) {
      if (serviceIntfFwdInfoOut()->fwdInfo(intfId) != road.offered) {
         GANTRY_TRACE(7, MUX_SERVICE_INTF "%s, update serviceIntfFwdInfoOut", intfId.stringValue());
         serviceIntfFwdInfoOut()->fwdInfoIs(road.offered);
         wrote = true;
      }
   } else if (serviceIntfFwdInfoOut()->fwdInfoDel(intfId) != noFwdInfo) {
      GANTRY_TRACE(7, MUX_SERVICE_INTF "%s, remove serviceIntfFwdInfoOut", intfId.stringValue());
      wrote = true;
   }
   if (needSvcIntf) {
      if (wcsd()->multiEncapIntfHas(intfId)) return wrote;
      GANTRY_TRACE(7, MUX_SERVICE_INTF "%s, add multiEncapIntf", intfId.stringValue());
      wcsd()->multiEncapIntfIs(intfId);
      return true;
   }
   // The id drains: it stays while the service road still has a status.
   // Only needSvcIntf is kept across a write: a write may have changed the rest.
   bool const serviceStatus =
       wrote ? serviceIntfHwStatusIn()->hwStatusHas(intfId) : road.serviceStatus.has_value();
   if (serviceStatus) return wrote;
   if (wcsd()->multiEncapIntfDel(intfId)) return true;
   // Said when nothing was removed, silent when a member went: kept so on purpose.
   GANTRY_TRACE(7, MUX_SERVICE_INTF "%s, remove multiEncapIntf", intfId.stringValue());
   return wrote;
}

// ---- the merged status ------------------------------------------------------------

void WexIntfEncapMuxSm::updateSubIntfHwStatus(Kestin::IntfId intfId) {
   updateSubIntfHwStatus(intfId, roadOf(intfId));
}

void WexIntfEncapMuxSm::updateSubIntfHwStatus(Kestin::IntfId intfId, Road const& road) {
   // Held to the end: a listener of the output may change the directories.
   Fen::Ptr<Interface::SubIntfStatus const> const status = subIntfStatus()->intfStatus(intfId);
   Fen::Ptr<Interface::Hardware::SubIntfStatus> out = subIntfHwStatusOut()->hardwareStatus(intfId);
   if (!status) {
      if (subIntfHwStatusOut()->hardwareStatusDel(intfId)) {
         GANTRY_TRACE(7, MUX_SUB_INTF "%s, delete hardwareStatus", intfId.stringValue());
      }
      return;
   }
   if (!out) {
      GANTRY_TRACE(7, MUX_SUB_INTF "%s, create hardwareStatus", intfId.stringValue());
      out = subIntfHwStatusOut()->hardwareStatusIs(intfId);
   }
   // Not programmed: the output keeps what it has.
   if (!status->programInHw()) return;
   // A success stays latched for serviceType 0 and 2 (and with no record).
   if (out->hardwareSuccess() && latchesSuccess(road.offered.serviceType())) return;
   bool success = false;
   char const* source = "none";
   if (road.needed && road.serviceStatus) {
      success = *road.serviceStatus == Ulva::hwStatusSuccess;
      source = "serviceIntfHwStatusIn";
   } else if (road.direct) {
      success = road.direct->hardwareSuccess();
      source = "subIntfHwStatusIn";
   }
   if (success == out->hardwareSuccess()) return;
   GANTRY_TRACE(7, MUX_SUB_INTF "%s, hardwareSuccess: %s, source: %s", intfId.stringValue(),
                success, source);
   out->hardwareSuccessIs(success);
}

}  // namespace WexVlanMapping
