// Test scaffolding for the sub-interface multiplexer: a fixture that owns the
// eight collections the machine is built on, starts it the way an agent does,
// and builds the exact trace lines the machine writes.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "Interface/SubIntfStatus.h"
#include "TraceCapture.h"
#include "Ulva/Collections.h"
#include "Wex/WexCommonSmData.h"
#include "WexVlanMapping/WexIntfEncap.h"
#include "WexVlanMapping/WexIntfEncapMuxSm.h"

namespace TestSupport {

using WexVlanMapping::WexIntfEncapMuxSm;

// The trace facility of the multiplexer.
inline constexpr char const* muxFacility = "WexIntfEncapMuxSm";

// The signature that opens each line of one function of the machine.
inline std::string const muxServiceIntf =
    "void WexVlanMapping::WexIntfEncapMuxSm::updateServiceIntf(Kestin::IntfId): ";
inline std::string const muxSubIntf =
    "void WexVlanMapping::WexIntfEncapMuxSm::updateSubIntfHwStatus(Kestin::IntfId): ";
inline std::string const muxHandleSubIntfStatus =
    "void WexVlanMapping::WexIntfEncapMuxSm::handleSubIntfStatus(Kestin::IntfId): ";
inline std::string const muxHandleSubIntfHwStatus =
    "void WexVlanMapping::WexIntfEncapMuxSm::handleSubIntfHwStatus(Kestin::IntfId): ";
inline std::string const muxHandleFwdInfo =
    "void WexVlanMapping::WexIntfEncapMuxSm::handleServiceIntfFwdInfo(Kestin::IntfId): ";
inline std::string const muxHandleSvcStatus =
    "void WexVlanMapping::WexIntfEncapMuxSm::handleServiceIntfHwStatus(Kestin::IntfId): ";

// The level-8 line of updateServiceIntf.
inline std::string needLine(std::string const& intf, bool need) {
   return muxServiceIntf + intf + ", needSvcIntf: " + (need ? "true" : "false");
}
// A level-7 line of updateServiceIntf: ", update serviceIntfFwdInfoOut",
// ", remove serviceIntfFwdInfoOut", ", add multiEncapIntf", ", remove multiEncapIntf".
inline std::string roadLine(std::string const& intf, std::string const& tail) {
   return muxServiceIntf + intf + tail;
}
// A level-7 line of updateSubIntfHwStatus: ", create hardwareStatus",
// ", delete hardwareStatus".
inline std::string statusLine(std::string const& intf, std::string const& tail) {
   return muxSubIntf + intf + tail;
}
// The level-7 line of a change of the merged hardwareSuccess.
inline std::string successLine(std::string const& intf, bool success, std::string const& source) {
   return muxSubIntf + intf + ", hardwareSuccess: " + (success ? "true" : "false") +
          ", source: " + source;
}
// The level-8 line of a handler, opened by one of the muxHandle... signatures.
inline std::string handlerLine(std::string const& signature, std::string const& intf, bool isDel) {
   return signature + intf + " isDel:" + (isDel ? "true" : "false");
}

class MuxFixture : public testing::Test {
protected:
   MuxFixture()
       : wcsd(Wex::wexCommonSmDataFactory()),
         intfStatus(Interface::subIntfStatusDirFactory()),
         hwIn(Interface::Hardware::subIntfStatusDirFactory()),
         hwOut(Interface::Hardware::subIntfStatusDirFactory()),
         fwdIn(Ulva::serviceIntfFwdInfoCollFactory()),
         fwdOut(Ulva::serviceIntfFwdInfoCollFactory()),
         svcStatus(Ulva::serviceIntfHwStatusCollFactory()),
         types(WexVlanMapping::supportedEncapServiceTypesFactory()) {
      // The platform of these tests handles tunnels and sub-interfaces; 0 and 3
      // are not supported unless a test says so.
      types->encapServiceTypeIs(Ulva::serviceIntfTypeTunnel);
      types->encapServiceTypeIs(Ulva::serviceIntfTypeSubIntf);
   }

   WexIntfEncapMuxSm::Inputs inputs() const {
      return {.wcsd = wcsd,
              .subIntfStatus = intfStatus,
              .subIntfHwStatusIn = hwIn,
              .subIntfHwStatusOut = hwOut,
              .serviceIntfFwdInfoIn = fwdIn,
              .serviceIntfFwdInfoOut = fwdOut,
              .serviceIntfHwStatusIn = svcStatus,
              .supportedServiceTypes = types};
   }
   // Builds the machine the way an agent does (it sweeps before it returns).
   void start() { sm = WexVlanMapping::wexIntfEncapMuxSmFactory(inputs()); }

   static Kestin::IntfId id(char const* name) { return Kestin::IntfId(name); }
   static Ulva::ServiceIntfFwdInfo record(char const* intf, Ulva::ServiceIntfType type,
                                          std::uint16_t fwdData) {
      Ulva::ServiceIntfFwdInfo info(id(intf));
      info.serviceTypeIs(type);
      info.fwdDataIs(fwdData);
      return info;
   }
   // Offers forwarding for `intf` in serviceIntfFwdInfoIn.
   void offer(char const* intf, Ulva::ServiceIntfType type, std::uint16_t fwdData = 7) {
      fwdIn->fwdInfoIs(record(intf, type, fwdData));
   }
   // The sub-interface `intf` in subIntfStatus, with `programInHw`.
   Fen::Ptr<Interface::SubIntfStatus> statusIs(char const* intf, bool programInHw) {
      Fen::Ptr<Interface::SubIntfStatus> s = intfStatus->intfStatusIs(id(intf));
      s->programInHwIs(programInHw);
      return s;
   }
   // The direct road's status of `intf` in subIntfHwStatusIn, with `success`.
   Fen::Ptr<Interface::Hardware::SubIntfStatus> directIs(char const* intf, bool success) {
      Fen::Ptr<Interface::Hardware::SubIntfStatus> s = hwIn->hardwareStatusIs(id(intf));
      s->hardwareSuccessIs(success);
      return s;
   }
   // The merged output of `intf`, or null.
   Fen::Ptr<Interface::Hardware::SubIntfStatus> out(char const* intf) const {
      return hwOut->hardwareStatus(id(intf));
   }
   bool member(char const* intf) const { return wcsd->multiEncapIntfHas(id(intf)); }

   // A trace capture of the multiplexer's facility at every level.
   static TraceCapture capture() { return TraceCapture({muxFacility}); }

   Fen::Ptr<Wex::WexCommonSmData> wcsd;
   Fen::Ptr<Interface::SubIntfStatusDir> intfStatus;
   Fen::Ptr<Interface::Hardware::SubIntfStatusDir> hwIn;
   Fen::Ptr<Interface::Hardware::SubIntfStatusDir> hwOut;
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> fwdIn;
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> fwdOut;
   Fen::Ptr<Ulva::ServiceIntfHwStatusColl> svcStatus;
   Fen::Ptr<WexVlanMapping::SupportedEncapServiceTypes> types;
   // Declared last, so that it goes first.
   Fen::Ptr<WexIntfEncapMuxSm> sm;
};

}  // namespace TestSupport
