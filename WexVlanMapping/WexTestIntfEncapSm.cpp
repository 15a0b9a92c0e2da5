#include "WexVlanMapping/WexTestIntfEncapSm.h"

#include "Gantry/Trace.h"

namespace WexVlanMappingTest {

// wexTestIntfEncapSmModule, published when the library is loaded.
FEN_MODULE(wexTestIntfEncapSmModule, "WexTestIntfEncapSm")

namespace {

FEN_TRACE_UNIT("WexTestIntfEncapSm");

}  // namespace

IntfEncapSm::IntfEncapSm(Inputs const& inputs)
    : StateMachine(FEN_SM_FORWARD(WexVlanMapping::WexIntfEncapSm, WEX_INTF_ENCAP_SM_ATTRIBUTES)) {
   FEN_SM_BIND(WEX_TEST_INTF_ENCAP_SM_ATTRIBUTES)
   // Attaches the dynamic encaps; before the sweep its own sweep ends at once.
   dynamicIntfEncapIs(inputs.dynamicIntfEncap);
   IntfEncapSm::handleInitialized();
}

IntfEncapSm::~IntfEncapSm() {
   fenTeardownReactors();
   testHwConfigKeyDelAll();
}

Fen::FwkType IntfEncapSm::fwkType() const {
   return {&wexTestIntfEncapSmModule, 0};
}

void IntfEncapSm::handleInitialized() {
   GANTRY_TRACE(8, "IntfEncapSm::handleInitialized: ");
   WexIntfEncapSm::handleInitialized();
   // As if each entry had just been written: catches a status that differs from
   // what the hooks read.
   Fen::Ptr<Ulva::IntfEncapHwStatusColl const> const hw(testHwStatusColl());
   Fen::forEachKeyAhead(
       hw->hwStatusMap(),
       [this](Ulva::IntfEncap const& key) {
          hwConfigColl()->configMap().prefetch(key);
          hwStatusColl()->hwStatusMap().prefetch(key);
       },
       [this](Ulva::IntfEncap const& key) { handleTestHwStatus(key); });
}

Ulva::IntfEncapHwStatus IntfEncapSm::platformAddHwConfig(
    WexVlanMapping::WexIntfEncapHwConfig const& hwConfig) {
   GANTRY_TRACE(8, "IntfEncapSm::platformAddHwConfig: (%s, %s:%s, %s:%s)",
                GANTRY_ENCAP(hwConfig.intfEncap()));
   testHwConfigKeyIs(hwConfig.intfEncap());
   return testHwStatusColl()->hwStatus(hwConfig.intfEncap());
}

void IntfEncapSm::platformDeleteHwConfig(WexVlanMapping::WexIntfEncapHwConfig const& hwConfig) {
   GANTRY_TRACE(8, "IntfEncapSm::platformDeleteHwConfig: (%s, %s:%s, %s:%s)",
                GANTRY_ENCAP(hwConfig.intfEncap()));
   testHwConfigKeyDel(hwConfig.intfEncap());
}

void IntfEncapSm::handleTestHwStatus(Ulva::IntfEncap const& intfEncap) {
   Ulva::IntfEncapHwStatus const newStatus = testHwStatusColl()->hwStatus(intfEncap);
   // Status of something not programmed waits for platformAddHwConfig to read it.
   if (!hwConfigColl()->configHas(intfEncap)) return;
   if (hwStatusColl()->hwStatus(intfEncap) == newStatus) return;
   GANTRY_TRACE(8, "IntfEncapSm::handleTestHwStatus: (%s, %s:%s, %s:%s) hwStatus: %s",
                GANTRY_ENCAP(intfEncap), newStatus);
   platformEncapHwStatusIs(intfEncap, newStatus);
}

}  // namespace WexVlanMappingTest
