// What the library's five units publish to reflection, checked against tables
// written here: every type's attributes (id, name, kind, access, notification,
// type, key, arguments) and constructor arguments. Then every attribute of every
// class meets every operation code on a running switch, and every value type of
// every published module goes to text and back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "Fen/GenericIf.h"
#include "Fen/Reflect.h"
#include "Interface/SubIntfStatus.h"
#include "MacsecProxy/Status.h"
#include "Ulva/Collections.h"
#include "Wex/WexCommonSmData.h"
#include "WexVlanMapping/WexDynamicEncapSm.h"
#include "WexVlanMapping/WexEncapHwStatusDecoder.h"
#include "WexVlanMapping/WexIntfEncap.h"
#include "WexVlanMapping/WexIntfEncapMuxSm.h"
#include "WexVlanMapping/WexIntfEncapSm.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace {

using Fen::AttrAccess;
using Fen::AttrKind;
using Fen::FenAttr;
using Fen::GenericValue;
using Fen::PtrTransport;
using Fen::TypeView;
namespace Op = Fen::GenericIf;

// ---- the expected tables ---------------------------------------------------------------------

constexpr AttrKind V = AttrKind::value;
constexpr AttrKind C = AttrKind::collection;
constexpr AttrKind P = AttrKind::pointer;
constexpr AttrKind PC = AttrKind::pointerCollection;
constexpr AttrKind CM = AttrKind::constMethod;
constexpr AttrKind M = AttrKind::method;
constexpr AttrKind K = AttrKind::constant;
constexpr AttrKind E = AttrKind::enumerator;
constexpr AttrAccess O = AttrAccess::ctorOnly;
constexpr AttrAccess W = AttrAccess::writable;
constexpr AttrAccess I = AttrAccess::createdByIs;

// One attribute: its type is "" for none (a method without result, a set,
// whose members read as bool); an enumerator's type is its enumeration. `args` lists a method's or
// an instantiating attribute's arguments as "name:Type", comma-separated.
struct Row {
   std::uint32_t id;
   char const* name;
   AttrKind kind;
   AttrAccess access;
   bool heard;
   char const* type;
   char const* key = "";
   char const* args = "";
};

struct TypeTable {
   char const* module;
   std::uint16_t index;
   char const* name;
   Fen::TypeFamily family;
   char const* ctorArgs;  // "name:Type", comma-separated
   std::vector<Row> rows;
};

constexpr char const* encapT = "Ulva::IntfEncap";
constexpr char const* intfT = "Kestin::IntfId";
constexpr char const* configT = "WexVlanMapping::WexIntfEncapHwConfig";
constexpr char const* hwStatusT = "Ulva::IntfEncapHwStatus";

std::vector<TypeTable> const& expectedTables() {
   using F = Fen::TypeFamily;
   static std::vector<TypeTable> const tables = {
       // ---- WexIntfEncap: the encap records and collections ----
       {"WexIntfEncap",
        0,
        "WexVlanMapping::WexIntfEncapSource",
        F::enumeration,
        "",
        {{2, "staticEncap", E, O, false, "WexVlanMapping::WexIntfEncapSource"},
         {3, "macsecProxy", E, O, false, "WexVlanMapping::WexIntfEncapSource"}}},
       {"WexIntfEncap",
        1,
        "WexVlanMapping::WexDynamicIntfEncapInfo",
        F::value,
        "intfEncap:Ulva::IntfEncap",
        {{2, "intfEncap", V, O, false, encapT},
         {3, "egressEncap", V, W, false, "Ulva::VlanTagEncap"},
         {4, "source", V, W, false, "WexVlanMapping::WexIntfEncapSource"},
         {5, "serviceIntf", V, W, false, intfT}}},
       {"WexIntfEncap",
        2,
        "WexVlanMapping::WexDynamicIntfEncapColl",
        F::counted,
        "",
        {{130, "entry", C, W, false, "WexVlanMapping::WexDynamicIntfEncapInfo", encapT}}},
       {"WexIntfEncap",
        3,
        configT,
        F::value,
        "intfEncap:Ulva::IntfEncap,fwdInfo:Ulva::ServiceIntfFwdInfo,lagId:Kestin::IntfId",
        {{2, "intfEncap", V, O, false, encapT},
         {3, "egressEncap", V, W, false, "Ulva::VlanTagEncap"},
         {4, "source", V, W, false, "WexVlanMapping::WexIntfEncapSource"},
         {5, "fwdInfo", V, O, false, "Ulva::ServiceIntfFwdInfo"},
         {6, "lagId", V, O, false, intfT},
         {7, "retryCnt", V, W, false, "U32"},
         {8, "isLagMember", CM, O, false, "bool"},
         {9, "isLag", CM, O, false, "bool"},
         {10, "parentIntfEncap", CM, O, false, encapT}}},
       {"WexIntfEncap",
        4,
        "WexVlanMapping::WexIntfEncapHwConfigColl",
        F::counted,
        "",
        {{130, "config", C, W, false, configT, encapT}}},
       {"WexIntfEncap",
        5,
        "WexVlanMapping::SupportedEncapServiceTypes",
        F::counted,
        "",
        {{130, "encapServiceType", C, W, false, "", "Ulva::ServiceIntfType"}}},
       // ---- WexIntfEncapSm: per-port lists, the decoder, the state machine ----
       {"WexIntfEncapSm",
        0,
        "WexVlanMapping::WexPortEncapHwConfigList",
        F::counted,
        "port:Kestin::IntfId",
        {{130, "port", V, O, false, intfT}, {131, "hwConfig", C, W, false, configT, encapT}}},
       {"WexIntfEncapSm",
        1,
        "WexVlanMapping::WexEncapHwStatusDecoder",
        F::counted,
        "intfEncap:Ulva::IntfEncap",
        {{130, "intfEncap", V, O, false, encapT},
         {131, "hwStatus", C, W, false, hwStatusT, encapT},
         {132, "failedCount", V, W, false, "U32"},
         {133, "notReadyCount", V, W, false, "U32"},
         {134, "successCount", V, W, false, "U32"},
         {135, "aggrHwStatus", CM, O, false, hwStatusT, "", "anySuccessful:bool"},
         {136, "updateMember", M, O, false, "", "",
          "encap:Ulva::IntfEncap,newStatus:Ulva::IntfEncapHwStatus"},
         {137, "removeMember", M, O, false, "", "", "encap:Ulva::IntfEncap"},
         {138, "hwStatusCountInc", M, O, false, "", "", "hwStatus:Ulva::IntfEncapHwStatus"},
         {139, "hwStatusCountDec", M, O, false, "", "", "hwStatus:Ulva::IntfEncapHwStatus"},
         {140, "hwStatusCount", CM, O, false, "U32"}}},
       {"WexIntfEncapSm",
        2,
        "WexVlanMapping::WexIntfEncapSm",
        F::counted,
        "wcsd:Wex::WexCommonSmData,serviceIntfFwdInfo:Ulva::ServiceIntfFwdInfoColl,"
        "serviceIntfHwStatus:Ulva::ServiceIntfHwStatusColl,"
        "intfEncapServiceIntf:Ulva::IntfEncapServiceIntfColl,"
        "intfEncapHwStatus:Ulva::IntfEncapHwStatusColl,"
        "remoteEncapHwStatus:Ulva::IntfEncapHwStatusColl",
        {{130, "wcsd", P, O, true, "Wex::WexCommonSmData"},
         {131, "serviceIntfFwdInfo", P, O, true, "Ulva::ServiceIntfFwdInfoColl"},
         {132, "serviceIntfHwStatus", P, O, false, "Ulva::ServiceIntfHwStatusColl"},
         {133, "intfEncapServiceIntf", P, O, true, "Ulva::IntfEncapServiceIntfColl"},
         {134, "intfEncapHwStatus", P, O, false, "Ulva::IntfEncapHwStatusColl"},
         {135, "remoteEncapHwStatus", P, O, true, "Ulva::IntfEncapHwStatusColl"},
         {136, "dynamicIntfEncap", P, W, true, "WexVlanMapping::WexDynamicIntfEncapColl"},
         {137, "handleServiceIntfFwdInfo", M, O, false, "", "", "intfId:Kestin::IntfId"},
         {138, "handleIntfEncapServiceIntf", M, O, false, "", "", "intfEncap:Ulva::IntfEncap"},
         {139, "handleRemoteEncapHwStatus", M, O, false, "", "", "intfEncap:Ulva::IntfEncap"},
         {140, "handleDynamicIntfEncap", M, O, false, "", "", "intfEncap:Ulva::IntfEncap"},
         {141, "handlePortToLag", M, O, false, "", "", "port:Kestin::IntfId"},
         {142, "initialized", V, W, false, "bool"},
         {143, "handleInitialized", M, O, false, ""},
         {144, "handleHwConfigRetry", M, O, false, ""},
         {145, "hwStatusColl", P, I, false, "Ulva::IntfEncapHwStatusColl", "", "name:String"},
         {146, "hwConfigColl", P, I, false, "WexVlanMapping::WexIntfEncapHwConfigColl"},
         {147, "retryNeeded", C, W, false, "", encapT},
         {148, "portDown", C, W, false, "bool", intfT},
         {149, "portToHwConfigList", PC, I, false, "WexVlanMapping::WexPortEncapHwConfigList",
          intfT},
         {150, "portToLagCached", C, W, false, intfT, intfT},
         {151, "lagHwStatusDecoder", PC, I, false, "WexVlanMapping::WexEncapHwStatusDecoder",
          encapT},
         {152, "lagPartialHwSuccess", K, O, false, "bool"},
         {153, "intfEncapSvcIntfCached", C, W, false, intfT, encapT},
         {154, "svcHwStatusDecoder", PC, I, false, "WexVlanMapping::WexEncapHwStatusDecoder",
          encapT},
         {155, "svcPartialHwSuccess", K, O, false, "bool"},
         {156, "updateHwConfig", M, O, false, "", "", "intfEncap:Ulva::IntfEncap"},
         {157, "updateEncapHwStatus", M, O, false, "", "", "intfEncap:Ulva::IntfEncap"},
         {158, "updateSvcIntfHwStatus", M, O, false, "", "", "svcIntf:Kestin::IntfId"},
         {159, "doAddPortToLag", M, O, false, "", "", "port:Kestin::IntfId"},
         {160, "doDeletePortFromLag", M, O, false, "", "", "port:Kestin::IntfId"},
         {161, "doAddPortHwConfig", M, O, false, "", "",
          "portHwConfig:WexVlanMapping::WexIntfEncapHwConfig"},
         {162, "doDeletePortHwConfig", M, O, false, "", "", "portEncap:Ulva::IntfEncap"},
         {163, "doAddHwConfig", M, O, false, "", "",
          "hwConfig:WexVlanMapping::WexIntfEncapHwConfig"},
         {164, "doDeleteHwConfig", M, O, false, "", "",
          "hwConfig:WexVlanMapping::WexIntfEncapHwConfig"},
         {165, "getHwConfig", CM, O, false, configT, "", "intfEncap:Ulva::IntfEncap"},
         {166, "reinitAllHwConfig", M, O, false, ""},
         {167, "platformPortDownIs", M, O, false, "", "", "port:Kestin::IntfId,portIsDown:bool"},
         {168, "platformEncapHwStatusIs", M, O, false, "", "",
          "intfEncap:Ulva::IntfEncap,hwStatus:Ulva::IntfEncapHwStatus"},
         {169, "platformAddHwConfig", M, O, false, hwStatusT, "",
          "hwConfig:WexVlanMapping::WexIntfEncapHwConfig"},
         {170, "platformDeleteHwConfig", M, O, false, "", "",
          "hwConfig:WexVlanMapping::WexIntfEncapHwConfig"},
         // The internal indices the steps keep.
         {171, "lagMembersCached", C, W, false, "Wex::WexLagPortList", intfT},
         {172, "portWantedEncap", PC, I, false, "WexVlanMapping::WexPortWantedEncapList", intfT},
         {173, "intfEncapPublishedSvcIntf", C, W, false, intfT, encapT}}},
       {"WexIntfEncapSm",
        3,
        "WexVlanMapping::WexPortWantedEncapList",
        F::counted,
        "port:Kestin::IntfId",
        {{130, "port", V, O, false, intfT}, {131, "encap", C, W, false, "", encapT}}},
       // ---- WexIntfEncapMuxSm ----
       {"WexIntfEncapMuxSm",
        0,
        "WexVlanMapping::WexIntfEncapMuxSm",
        F::counted,
        "wcsd:Wex::WexCommonSmData,subIntfStatus:Interface::SubIntfStatusDir,"
        "subIntfHwStatusIn:Interface::Hardware::SubIntfStatusDir,"
        "subIntfHwStatusOut:Interface::Hardware::SubIntfStatusDir,"
        "serviceIntfFwdInfoIn:Ulva::ServiceIntfFwdInfoColl,"
        "serviceIntfFwdInfoOut:Ulva::ServiceIntfFwdInfoColl,"
        "serviceIntfHwStatusIn:Ulva::ServiceIntfHwStatusColl,"
        "supportedServiceTypes:WexVlanMapping::SupportedEncapServiceTypes",
        {{130, "wcsd", P, O, false, "Wex::WexCommonSmData"},
         {131, "subIntfStatus", P, O, true, "Interface::SubIntfStatusDir"},
         {132, "subIntfHwStatusIn", P, O, true, "Interface::Hardware::SubIntfStatusDir"},
         {133, "subIntfHwStatusOut", P, O, false, "Interface::Hardware::SubIntfStatusDir"},
         {134, "serviceIntfFwdInfoIn", P, O, true, "Ulva::ServiceIntfFwdInfoColl"},
         {135, "serviceIntfFwdInfoOut", P, O, false, "Ulva::ServiceIntfFwdInfoColl"},
         {136, "serviceIntfHwStatusIn", P, O, true, "Ulva::ServiceIntfHwStatusColl"},
         {137, "supportedServiceTypes", P, O, false, "WexVlanMapping::SupportedEncapServiceTypes"},
         {138, "handleSubIntfStatus", M, O, false, "", "", "intfId:Kestin::IntfId"},
         {139, "subIntfStatusEntry", PC, W, false, "Interface::SubIntfStatus", intfT},
         {140, "handleSubIntfHwStatus", M, O, false, "", "", "intfId:Kestin::IntfId"},
         {141, "subIntfHwStatusEntry", PC, W, false, "Interface::Hardware::SubIntfStatus", intfT},
         {142, "handleServiceIntfFwdInfo", M, O, false, "", "", "intfId:Kestin::IntfId"},
         {143, "handleServiceIntfHwStatus", M, O, false, "", "", "intfId:Kestin::IntfId"},
         {144, "handleInitialized", M, O, false, ""},
         {145, "initialized", V, W, false, "bool"},
         {146, "serviceIntfIsNeeded", CM, O, false, "bool", "", "intfId:Kestin::IntfId"},
         {147, "updateServiceIntf", M, O, false, "", "", "intfId:Kestin::IntfId"},
         {148, "updateSubIntfHwStatus", M, O, false, "", "", "intfId:Kestin::IntfId"}}},
       // ---- WexDynamicEncapSm ----
       {"WexDynamicEncapSm",
        0,
        "WexVlanMapping::WexDynamicEncapSm",
        F::counted,
        "macsecProxyStatus:MacsecProxy::Status,"
        "dynamicIntfEncap:WexVlanMapping::WexDynamicIntfEncapColl",
        {{130, "macsecProxyStatus", P, O, true, "MacsecProxy::Status"},
         {131, "dynamicIntfEncap", P, O, false, "WexVlanMapping::WexDynamicIntfEncapColl"},
         {132, "handleMacsecProxySubIntfStatus", M, O, false, "", "", "intfId:Kestin::IntfId"},
         {133, "handleInitialized", M, O, false, ""},
         {134, "initialized", V, W, false, "bool"},
         {135, "subIntfToDynIntfEncap", C, W, false, encapT, intfT},
         {136, "macsecProxySubIntfToPatchSubIntf", C, W, false, intfT, intfT},
         {137, "addMacsecProxyDynEncap", M, O, false, "", "",
          "proxyStatus:MacsecProxy::MacsecProxySubIntfStatus"},
         {138, "deleteMacsecProxyDynEncap", M, O, false, "", "", "proxySubIntfId:Kestin::IntfId"}}},
       // ---- WexTestIntfEncapSm: the simulated platform ----
       {"WexTestIntfEncapSm",
        0,
        "WexVlanMappingTest::IntfEncapSm",
        F::counted,
        "wcsd:Wex::WexCommonSmData,serviceIntfFwdInfo:Ulva::ServiceIntfFwdInfoColl,"
        "serviceIntfHwStatus:Ulva::ServiceIntfHwStatusColl,"
        "intfEncapServiceIntf:Ulva::IntfEncapServiceIntfColl,"
        "intfEncapHwStatus:Ulva::IntfEncapHwStatusColl,"
        "remoteEncapHwStatus:Ulva::IntfEncapHwStatusColl,"
        "dynamicIntfEncap:WexVlanMapping::WexDynamicIntfEncapColl,"
        "testHwStatusColl:Ulva::IntfEncapHwStatusColl",
        {{258, "testHwStatusColl", P, O, true, "Ulva::IntfEncapHwStatusColl"},
         {259, "testHwConfigKey", C, W, false, "", encapT},
         {260, "handleTestHwStatus", M, O, false, "", "", "intfEncap:Ulva::IntfEncap"}}},
   };
   return tables;
}

constexpr char const* unitModules[] = {"WexIntfEncap", "WexIntfEncapSm", "WexIntfEncapMuxSm",
                                       "WexDynamicEncapSm", "WexTestIntfEncapSm"};

std::string typeName(TypeView t) {
   return t ? std::string(t.name()) : std::string();
}

std::string argsOf(FenAttr a) {
   std::string out;
   for (std::uint16_t i = 0; i < a.argCount(); ++i) {
      if (i) out += ",";
      out += std::string(a.argName(i)) + ":" + typeName(a.argType(i));
   }
   return out;
}

std::string ctorArgsOf(TypeView t) {
   std::string out;
   for (std::uint16_t i = 0; i < t.ctorArgCount(); ++i) {
      if (i) out += ",";
      out += std::string(t.ctorArgName(i)) + ":" + typeName(t.ctorArgType(i));
   }
   return out;
}

TEST(ReflectionConformance, EachUnitModuleIsPublishedOnceWithTheTypesOfItsTable) {
   for (char const* name : unitModules) {
      int published = 0;
      for (Fen::FenModule const* m : Fen::fenModules())
         published += std::string_view(m->name) == name;
      EXPECT_EQ(published, 1) << name;
      Fen::FenModule const* m = Fen::fenModule(name);
      ASSERT_NE(m, nullptr) << name;
      std::uint32_t expected = 0;
      for (TypeTable const& t : expectedTables())
         expected += std::string_view(t.module) == name;
      EXPECT_EQ(m->typeCount, expected) << name;
   }
}

TEST(ReflectionConformance, EveryTypeHasExactlyTheAttributesOfItsTable) {
   for (TypeTable const& table : expectedTables()) {
      SCOPED_TRACE(table.name);
      Fen::FenModule const* m = Fen::fenModule(table.module);
      ASSERT_NE(m, nullptr);
      ASSERT_LT(table.index, m->typeCount);
      TypeView const t(m, table.index);
      EXPECT_EQ(t.name(), table.name);
      EXPECT_EQ(t.record().number, table.index);
      EXPECT_EQ(t.family(), table.family) << Fen::familyName(t.family());
      EXPECT_EQ(Fen::fenType(m, table.name), t);
      EXPECT_EQ(ctorArgsOf(t), table.ctorArgs);
      ASSERT_EQ(t.attributeCount(), table.rows.size());
      for (std::uint16_t i = 0; i < t.attributeCount(); ++i) {
         FenAttr const a = t.attribute(i);
         Row const& r = table.rows[i];
         SCOPED_TRACE(r.name);
         EXPECT_EQ(a.attributeId(), r.id);
         EXPECT_EQ(a.name(), r.name);
         EXPECT_EQ(a.kind(), r.kind) << Fen::kindName(a.kind());
         EXPECT_EQ(a.access(), r.access) << Fen::accessName(a.access());
         EXPECT_EQ(a.notification(), r.heard);
         EXPECT_EQ(typeName(a.type()), r.type);
         EXPECT_EQ(typeName(a.keyType()), r.key);
         EXPECT_EQ(argsOf(a), r.args);
         EXPECT_EQ(a.owner(), t);
         // Found by name from the type, and by name through a derived class.
         EXPECT_EQ(t.attribute(r.name), a);
      }
   }
}

TEST(ReflectionConformance, SimulatedPlatformSeesItsBaseAttributesFirstAndBelongsToItsBase) {
   TypeView const sm = Fen::fenType("IntfEncapSm");
   TypeView const base = Fen::fenType("WexIntfEncapSm");
   ASSERT_TRUE(sm && base);
   EXPECT_EQ(sm.base(), base);
   EXPECT_TRUE(sm.isDerived(base));
   EXPECT_FALSE(base.isDerived(sm));
   std::vector<FenAttr> const all = sm.allAttributes();
   ASSERT_EQ(all.size(), std::size_t(base.attributeCount()) + sm.attributeCount());
   for (std::uint16_t i = 0; i < base.attributeCount(); ++i)
      EXPECT_EQ(all[i], base.attribute(i));
   EXPECT_EQ(all[base.attributeCount()].attributeId(), 258u);
   EXPECT_EQ(sm.attribute("portDown"), base.attribute("portDown"));
   EXPECT_EQ(sm.attribute("portDown").owner(), base);
   // Every other type of the five modules stands alone, and every counted one is
   // polymorphic.
   for (TypeTable const& table : expectedTables()) {
      TypeView const t(Fen::fenModule(table.module), table.index);
      if (t != sm) {
         EXPECT_FALSE(t.base()) << table.name;
      }
      EXPECT_EQ(t.isPolymorphic(), table.family == Fen::TypeFamily::counted) << table.name;
   }
}

// ---- a running switch --------------------------------------------------------------------------

Kestin::IntfId id(char const* name) {
   return Kestin::IntfId(name);
}
Ulva::IntfEncap encap(char const* intf, std::uint32_t outerVid) {
   return Ulva::IntfEncap(id(intf), Ulva::VlanTagEncap(Ulva::vlanTag(outerVid), Ulva::VlanTag()));
}
Ulva::ServiceIntfFwdInfo fwdInfo(char const* svc, std::uint16_t fwdData, Ulva::ServiceIntfType t) {
   Ulva::ServiceIntfFwdInfo info(id(svc));
   info.fwdDataIs(fwdData);
   info.serviceTypeIs(t);
   return info;
}
template <class P>
PtrTransport hold(P const& p) {
   return Fen::toTransport(p);
}

// The encap state machine on the simulated platform, with a plain port and a LAG
// of two; beside it a plain WexIntfEncapSm on inputs of its own (it has no
// platform, so nothing may be wanted there), the multiplexer joined to the
// machine's service road, and the dynamic encap machine writing the machine's
// dynamic encaps.
struct Switch {
   Switch() {
      wcsd->portToLagIs(id("Ethernet2"), id("Port-Channel1"));
      wcsd->portToLagIs(id("Ethernet3"), id("Port-Channel1"));
      Wex::WexLagPortList members;
      members.portIs(id("Ethernet2"), Wex::WexLagPort());
      members.portIs(id("Ethernet3"), Wex::WexLagPort());
      wcsd->lagToPortIs(id("Port-Channel1"), members);
      // The plain machine has the same LAG, and no encaps: it has no platform.
      plainWcsd->portToLagIs(id("Ethernet2"), id("Port-Channel1"));
      plainWcsd->portToLagIs(id("Ethernet3"), id("Port-Channel1"));
      plainWcsd->lagToPortIs(id("Port-Channel1"), members);
      // The services reach the machine through the multiplexer's service road.
      fwdIn->fwdInfoIs(fwdInfo("Ethernet1.10", 5, Ulva::serviceIntfTypeSubIntf));
      fwdIn->fwdInfoIs(fwdInfo("Port-Channel1.20", 6, Ulva::serviceIntfTypeSubIntf));
      wanted->serviceIntfIs(encap("Ethernet1", 10), id("Ethernet1.10"));
      wanted->serviceIntfIs(encap("Ethernet1", 11), id("Ethernet1.10"));
      wanted->serviceIntfIs(encap("Port-Channel1", 20), id("Port-Channel1.20"));
      hw->hwStatusIs(encap("Ethernet1", 10), Ulva::hwStatusSuccess);
      hw->hwStatusIs(encap("Ethernet1", 11), Ulva::hwStatusNotReady);
      hw->hwStatusIs(encap("Ethernet2", 20), Ulva::hwStatusSuccess);
      hw->hwStatusIs(encap("Port-Channel1", 20), Ulva::hwStatusSuccess);
      // The remote side agrees, so that it caps nothing.
      remote->hwStatusIs(encap("Ethernet1", 10), Ulva::hwStatusSuccess);
      remote->hwStatusIs(encap("Ethernet1", 11), Ulva::hwStatusSuccess);
      remote->hwStatusIs(encap("Port-Channel1", 20), Ulva::hwStatusSuccess);
      sm = WexVlanMappingTest::intfEncapSmFactory({.wcsd = wcsd,
                                                   .serviceIntfFwdInfo = fwd,
                                                   .serviceIntfHwStatus = svcStatus,
                                                   .intfEncapServiceIntf = wanted,
                                                   .intfEncapHwStatus = published,
                                                   .remoteEncapHwStatus = remote,
                                                   .dynamicIntfEncap = dynamic,
                                                   .testHwStatusColl = hw});
      plain = WexVlanMapping::WexIntfEncapSm::WexIntfEncapSmIs(
          WexVlanMapping::WexIntfEncapSm::Inputs{.wcsd = plainWcsd,
                                                 .serviceIntfFwdInfo = plainFwd,
                                                 .serviceIntfHwStatus = plainSvcStatus,
                                                 .intfEncapServiceIntf = plainWanted,
                                                 .intfEncapHwStatus = plainPublished,
                                                 .remoteEncapHwStatus = plainRemote});
      // Its optional inputs are given too: the handlers of their reactors read
      // them without a test.
      plain->dynamicIntfEncapIs(plainDynamic);
      plain->handleInitialized();
      types->encapServiceTypeIs(Ulva::serviceIntfTypeSubIntf);
      types->encapServiceTypeIs(Ulva::serviceIntfTypeTunnel);
      intfStatus->intfStatusIs(id("Ethernet5.7"))->programInHwIs(true);
      intfStatus->intfStatusIs(id("Ethernet6.8"))->programInHwIs(true);
      hwIn->hardwareStatusIs(id("Ethernet6.8"))->hardwareSuccessIs(true);
      fwdIn->fwdInfoIs(fwdInfo("Ethernet5.7", 9, Ulva::serviceIntfTypeSubIntf));
      mux = WexVlanMapping::wexIntfEncapMuxSmFactory({.wcsd = wcsd,
                                                      .subIntfStatus = intfStatus,
                                                      .subIntfHwStatusIn = hwIn,
                                                      .subIntfHwStatusOut = hwOut,
                                                      .serviceIntfFwdInfoIn = fwdIn,
                                                      .serviceIntfFwdInfoOut = fwd,
                                                      .serviceIntfHwStatusIn = svcStatus,
                                                      .supportedServiceTypes = types});
      status->proxyIntfIs(id("Ethernet1"))->singleTagEgressIs(true);
      status->proxySubIntfStatusIs(MacsecProxy::macsecProxySubIntfStatusFactory(
          id("Ethernet1.30"), id("Ethernet1.40"), 40, 30));
      dyn = WexVlanMapping::wexDynamicEncapSmFactory(status, dynamic);
   }

   // The object that stands for `className` in the sweep; two for the encap state
   // machine: the plain one and the simulated platform.
   std::vector<PtrTransport> subjects(std::string const& className) const {
      using namespace WexVlanMapping;
      if (className == "WexVlanMapping::WexDynamicIntfEncapColl") return {hold(dynamic)};
      if (className == "WexVlanMapping::WexIntfEncapHwConfigColl")
         return {hold(sm->hwConfigColl())};
      if (className == "WexVlanMapping::SupportedEncapServiceTypes") return {hold(types)};
      if (className == "WexVlanMapping::WexPortEncapHwConfigList")
         return {hold(sm->portToHwConfigList(id("Ethernet1")))};
      if (className == "WexVlanMapping::WexEncapHwStatusDecoder") {
         return {hold(sm->svcHwStatusDecoder(serviceEncap(id("Ethernet1.10")))),
                 hold(sm->lagHwStatusDecoder(encap("Port-Channel1", 20)))};
      }
      if (className == "WexVlanMapping::WexIntfEncapSm") return {hold(plain), hold(sm)};
      if (className == "WexVlanMapping::WexPortWantedEncapList")
         return {hold(sm->portWantedEncap(id("Ethernet1")))};
      if (className == "WexVlanMapping::WexIntfEncapMuxSm") return {hold(mux)};
      if (className == "WexVlanMapping::WexDynamicEncapSm") return {hold(dyn)};
      if (className == "WexVlanMappingTest::IntfEncapSm") return {hold(sm)};
      ADD_FAILURE() << "no subject for " << className;
      return {};
   }

   Fen::Ptr<Wex::WexCommonSmData> wcsd = Wex::wexCommonSmDataFactory();
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> fwd = Ulva::serviceIntfFwdInfoCollFactory();
   Fen::Ptr<Ulva::ServiceIntfHwStatusColl> svcStatus = Ulva::serviceIntfHwStatusCollFactory();
   Fen::Ptr<Ulva::IntfEncapServiceIntfColl> wanted = Ulva::intfEncapServiceIntfCollFactory();
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> published =
       Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus");
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> remote =
       Ulva::intfEncapHwStatusCollFactory("remoteEncapHwStatus");
   Fen::Ptr<WexVlanMapping::WexDynamicIntfEncapColl> dynamic =
       WexVlanMapping::wexDynamicIntfEncapCollFactory();
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> hw = Ulva::intfEncapHwStatusCollFactory("testHwStatus");
   Fen::Ptr<Wex::WexCommonSmData> plainWcsd = Wex::wexCommonSmDataFactory();
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> plainFwd = Ulva::serviceIntfFwdInfoCollFactory();
   Fen::Ptr<Ulva::ServiceIntfHwStatusColl> plainSvcStatus = Ulva::serviceIntfHwStatusCollFactory();
   Fen::Ptr<Ulva::IntfEncapServiceIntfColl> plainWanted = Ulva::intfEncapServiceIntfCollFactory();
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> plainPublished =
       Ulva::intfEncapHwStatusCollFactory("intfEncapHwStatus");
   Fen::Ptr<Ulva::IntfEncapHwStatusColl> plainRemote =
       Ulva::intfEncapHwStatusCollFactory("remoteEncapHwStatus");
   Fen::Ptr<WexVlanMapping::WexDynamicIntfEncapColl> plainDynamic =
       WexVlanMapping::wexDynamicIntfEncapCollFactory();
   Fen::Ptr<Interface::SubIntfStatusDir> intfStatus = Interface::subIntfStatusDirFactory();
   Fen::Ptr<Interface::Hardware::SubIntfStatusDir> hwIn =
       Interface::Hardware::subIntfStatusDirFactory();
   Fen::Ptr<Interface::Hardware::SubIntfStatusDir> hwOut =
       Interface::Hardware::subIntfStatusDirFactory();
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> fwdIn = Ulva::serviceIntfFwdInfoCollFactory();
   Fen::Ptr<WexVlanMapping::SupportedEncapServiceTypes> types =
       WexVlanMapping::supportedEncapServiceTypesFactory();
   Fen::Ptr<MacsecProxy::Status> status = MacsecProxy::statusFactory();
   // The machines last: they go first.
   Fen::Ptr<WexVlanMappingTest::IntfEncapSm> sm;
   Fen::Ptr<WexVlanMapping::WexIntfEncapSm> plain;
   Fen::Ptr<WexVlanMapping::WexIntfEncapMuxSm> mux;
   Fen::Ptr<WexVlanMapping::WexDynamicEncapSm> dyn;
};

// Methods not called on the plain WexIntfEncapSm, each with its reason. They are
// called on the simulated platform, which implements the hooks and has a LAG.
std::map<std::string, std::string> const skippedOnPlainMachine = {
    {"platformAddHwConfig", "the base class's hook ends the process: a platform implements it"},
    {"platformDeleteHwConfig", "the base class's hook ends the process: a platform implements it"},
    {"doAddHwConfig", "hands its config to the base class's platformAddHwConfig"},
    {"doDeleteHwConfig", "takes a config the machine wants; the plain machine wants none"},
};

GenericValue valueOfIntf(Kestin::IntfId const& v) {
   GenericValue g(Fen::typeView<Kestin::IntfId>());
   *static_cast<Kestin::IntfId*>(g.ptr()) = v;
   return g;
}
GenericValue valueOfEncap(Ulva::IntfEncap const& v) {
   GenericValue g(Fen::typeView<Ulva::IntfEncap>());
   *static_cast<Ulva::IntfEncap*>(g.ptr()) = v;
   return g;
}

// A sensible value of `t`: the default of a value type; for a counted type, an
// object made through reflection from default arguments.
GenericValue sensibleValue(TypeView t) {
   GenericValue v(t);
   if (t.family() == Fen::TypeFamily::counted && t.record().constructible) {
      std::vector<GenericValue> args;
      std::vector<void const*> argPtrs;
      for (std::uint16_t i = 0; i < t.ctorArgCount(); ++i)
         args.emplace_back(sensibleValue(t.ctorArgType(i)));
      for (GenericValue const& a : args)
         argPtrs.push_back(a.ptr());
      Fen::genericIfConstructFromCtorArgs(t, v.ptr(), argPtrs.empty() ? nullptr : argPtrs.data());
   }
   return v;
}

// A method's argument: a port is a member of the switch's LAG, an encap one the
// switch wants on an Ethernet port (a status is reported for Ethernet ports and
// port channels only), a config the one the machine wants for that encap;
// anything else its sensible value.
GenericValue sensibleArgument(Fen::PtrInterface* subject, FenAttr method, std::uint16_t i) {
   TypeView const t = method.argType(i);
   if (t.name() == "Kestin::IntfId" && method.argName(i) == "port") {
      return valueOfIntf(id("Ethernet2"));
   }
   if (t.name() == "Ulva::IntfEncap") return valueOfEncap(encap("Ethernet1", 10));
   GenericValue v = sensibleValue(t);
   if (t.name() == "WexVlanMapping::WexIntfEncapHwConfig" && subject) {
      if (FenAttr const get = Fen::fenAttr(Fen::typeOf(*subject), "getHwConfig")) {
         GenericValue const key = valueOfEncap(encap("Ethernet1", 10));
         void const* args[] = {key.ptr()};
         EXPECT_EQ(Fen::genericIfAttributeOp(v.ptr(), *subject, get, Op::attrCall, nullptr, args),
                   Op::opDone);
      }
   }
   return v;
}

bool allows(FenAttr a, Op::AttributeOp op) {
   switch (a.kind()) {
      case AttrKind::value:
         return op == Op::attrGet || (op == Op::attrSet && a.access() == AttrAccess::writable);
      case AttrKind::constant:
         return op == Op::attrGet;
      case AttrKind::pointer:
         if (op == Op::attrGet) return true;
         if (op == Op::attrSet) return a.access() != AttrAccess::ctorOnly;
         return false;
      case AttrKind::collection:
      case AttrKind::pointerCollection:
         return op <= Op::attrHas;
      case AttrKind::method:
      case AttrKind::constMethod:
         return op == Op::attrCall;
      case AttrKind::enumerator:
         return op == Op::attrGet;
   }
   return false;
}

constexpr Op::AttributeOp allOps[] = {Op::attrGet,  Op::attrFigure,     Op::attrCount,
                                      Op::attrHas,  Op::attrSet,        Op::attrDel,
                                      Op::attrCall, Op::attrNonDefault, Op::attrEqual};

// Runs one operation with sensible key, value and arguments; the answer.
int runOp(std::function<int(void*, FenAttr, Op::AttributeOp, void const*, void const*)> const& doOp,
          FenAttr a, Op::AttributeOp op, Fen::PtrInterface* subject = nullptr) {
   TypeView const t = a.type();
   GenericValue key;
   if (TypeView const k = a.keyType()) key = GenericValue(k);
   // The result's type: a count or a figure is a U32, membership a bool, anything
   // else the attribute's type.
   GenericValue result;
   if (op == Op::attrCount || op == Op::attrFigure) {
      result = GenericValue(Fen::typeView<std::uint32_t>());
   } else if (op == Op::attrHas) {
      result = GenericValue(Fen::typeView<bool>());
   } else if (t) {
      result = GenericValue(t);
   }
   void const* keyPtr = key ? key.ptr() : nullptr;
   switch (op) {
      case Op::attrSet: {
         GenericValue value;
         if (a.kind() == AttrKind::value || a.kind() == AttrKind::pointer) {
            // Writes back what is there.
            value = GenericValue(t);
            doOp(value.ptr(), a, Op::attrGet, keyPtr, nullptr);
            if (a.access() == AttrAccess::createdByIs && a.argCount() > 0) {
               // An instantiating attribute takes its argument: the name the held
               // object has, when it has one of the argument's name.
               GenericValue arg(a.argType(0));
               if (auto const* held = value.object()) {
                  FenAttr const same = Fen::fenAttr(Fen::typeOf(*held), a.argName(0));
                  if (same) {
                     Fen::genericIfAttributeOp(arg.ptr(), const_cast<Fen::PtrInterface&>(*held),
                                               same, Op::attrGet);
                  }
               }
               value = arg;
            }
         } else if (a.kind() == AttrKind::collection && !t) {
            // A set: a member is made true.
            value = GenericValue(Fen::fenType("bool"), Fen::String("true"));
         } else if ((a.kind() == AttrKind::collection || a.kind() == AttrKind::pointerCollection) &&
                    t) {
            value = sensibleValue(t);
         } else if (t) {
            value = GenericValue(t);
         }
         return doOp(result ? result.ptr() : nullptr, a, op, keyPtr, value ? value.ptr() : nullptr);
      }
      case Op::attrCall: {
         std::vector<GenericValue> args;
         std::vector<void const*> argPtrs;
         for (std::uint16_t i = 0; i < a.argCount(); ++i)
            args.emplace_back(sensibleArgument(subject, a, i));
         for (GenericValue const& v : args)
            argPtrs.push_back(v.ptr());
         return doOp(result ? result.ptr() : nullptr, a, op, keyPtr,
                     argPtrs.empty() ? nullptr : argPtrs.data());
      }
      case Op::attrNonDefault:
      case Op::attrEqual: {
         GenericValue other;
         if (t) other = GenericValue(t);
         bool out = false;
         return doOp(&out, a, op, keyPtr, other ? other.ptr() : nullptr);
      }
      default:
         return doOp(result ? result.ptr() : nullptr, a, op, keyPtr, nullptr);
   }
}

TEST(ReflectionConformance, TheSwitchOfTheSweepRunsWithEncapsOnEveryMachine) {
   Switch const sw;
   EXPECT_GE(sw.sm->hwConfigColl()->configs(), 5u);  // 2 plain, the LAG's, 2 members
   EXPECT_TRUE(sw.sm->testHwConfigKeyMap().has(encap("Ethernet2", 20)));
   EXPECT_EQ(sw.published->hwStatus(encap("Ethernet1", 10)), Ulva::hwStatusSuccess);
   EXPECT_EQ(sw.dynamic->entrys(), 2u);
   EXPECT_TRUE(sw.fwd->fwdInfoMap().has(id("Ethernet5.7")));
   EXPECT_TRUE(sw.hwOut->hardwareStatusMap().has(id("Ethernet6.8")));
   for (TypeTable const& table : expectedTables()) {
      if (table.family != Fen::TypeFamily::counted) continue;
      for (PtrTransport const& p : sw.subjects(table.name)) {
         ASSERT_TRUE(p) << table.name;
         EXPECT_TRUE(Fen::typeOf(*p).isDerived(Fen::fenType(table.name))) << table.name;
      }
   }
}

std::string opName(Op::AttributeOp op) {
   return "op " + std::to_string(int(op));
}

TEST(ReflectionConformance, EveryOpOnEveryAttributeOfEveryCountedClassOnARunningSwitch) {
   int done = 0;
   int refused = 0;
   int skipped = 0;
   for (TypeTable const& table : expectedTables()) {
      if (table.family != Fen::TypeFamily::counted) continue;
      TypeView const t(Fen::fenModule(table.module), table.index);
      std::size_t const subjectCount = Switch().subjects(table.name).size();
      for (std::size_t s = 0; s < subjectCount; ++s) {
         for (FenAttr const a : t.allAttributes()) {
            std::string const where = std::string(table.name) + " subject " + std::to_string(s) +
                                      " " + std::string(a.name());
            SCOPED_TRACE(where);
            for (Op::AttributeOp const op : allOps) {
               // Each operation meets a switch of its own, so that one that takes
               // something away (a delete of the machine's own collection) leaves
               // the next to a whole switch.
               Switch sw;
               PtrTransport const subject = sw.subjects(table.name).at(s);
               ASSERT_TRUE(subject);
               auto& object = const_cast<Fen::PtrInterface&>(*subject);
               bool const onPlain = subject.ptr() == sw.plain.ptr();
               if (op == Op::attrCall && onPlain && a.kind() == AttrKind::method &&
                   skippedOnPlainMachine.count(std::string(a.name()))) {
                  RecordProperty(std::string(a.name()) + " not called on the plain machine",
                                 skippedOnPlainMachine.at(std::string(a.name())));
                  ++skipped;
                  continue;
               }
               auto doOp = [&](void* result, FenAttr attr, Op::AttributeOp o, void const* key,
                               void const* value) {
                  return Fen::genericIfAttributeOp(result, object, attr, o, key, value);
               };
               int const answer = runOp(doOp, a, op, &object);
               if (allows(a, op)) {
                  EXPECT_EQ(answer, Op::opDone) << opName(op);
                  ++done;
               } else {
                  EXPECT_EQ(answer, Op::opNotForAttribute) << opName(op);
                  ++refused;
               }
            }
            // Iterators: exactly for the collections.
            Switch sw;
            PtrTransport const subject = sw.subjects(table.name).at(s);
            Fen::IteratorMethods const* methods = nullptr;
            Fen::HashMap2018IteratorGeneric* it = Fen::genericIfIterator(
                const_cast<Fen::PtrInterface&>(*subject), nullptr, a, &methods);
            bool const collection =
                a.kind() == AttrKind::collection || a.kind() == AttrKind::pointerCollection;
            EXPECT_EQ(it != nullptr, collection);
            if (it) {
               EXPECT_EQ(methods, &Fen::genericIteratorMethods);
               std::uint32_t walked = 0;
               for (; methods->iterNonnull(a, it); methods->iterInc(a, it))
                  ++walked;
               std::uint32_t count = 0;
               EXPECT_EQ(Fen::genericIfAttributeOp(&count, const_cast<Fen::PtrInterface&>(*subject),
                                                   a, Op::attrCount),
                         Op::opDone);
               EXPECT_EQ(walked, count);
               methods->iterDel(a, it);
            }
         }
      }
   }
   // The skips: the methods above, on the plain machine only.
   EXPECT_EQ(skipped, int(skippedOnPlainMachine.size()));
   RecordProperty("done", done);
   RecordProperty("refused", refused);
   EXPECT_GT(done, 300);
   EXPECT_GT(refused, 1000);
}

TEST(ReflectionConformance, EveryOpOnEveryAttributeOfTheValueTypesOfTheFiveModules) {
   WexVlanMapping::WexDynamicIntfEncapInfo info(encap("Ethernet1", 100));
   info.egressEncapIs(Ulva::VlanTagEncap(Ulva::vlanTag(200), Ulva::vlanTag(300)));
   info.sourceIs(WexVlanMapping::macsecProxy);
   info.serviceIntfIs(id("Ethernet1.10"));
   WexVlanMapping::WexIntfEncapHwConfig config(
       encap("Ethernet2", 20), fwdInfo("Ethernet2.20", 7, Ulva::serviceIntfTypeTunnel),
       id("Port-Channel1"));
   config.retryCntIs(2);
   WexVlanMapping::WexIntfEncapSource source = WexVlanMapping::macsecProxy;
   std::map<std::string, void*> const subjects = {
       {"WexVlanMapping::WexDynamicIntfEncapInfo", &info},
       {"WexVlanMapping::WexIntfEncapHwConfig", &config},
       {"WexVlanMapping::WexIntfEncapSource", &source}};
   for (TypeTable const& table : expectedTables()) {
      if (table.family == Fen::TypeFamily::counted) continue;
      SCOPED_TRACE(table.name);
      TypeView const t(Fen::fenModule(table.module), table.index);
      void* const object = subjects.at(table.name);
      auto doOp = [&](void* result, FenAttr attr, Op::AttributeOp o, void const* key,
                      void const* value) {
         return Fen::genericIfAttributeOp(result, t, object, attr, o, key, value);
      };
      for (FenAttr const a : t.allAttributes()) {
         SCOPED_TRACE(a.name());
         for (Op::AttributeOp const op : allOps) {
            int const answer = runOp(doOp, a, op);
            if (allows(a, op)) {
               EXPECT_EQ(answer, Op::opDone) << opName(op);
            } else {
               EXPECT_EQ(answer, Op::opNotForAttribute) << opName(op);
            }
         }
      }
      // The value as a whole: 11 and 12 alone.
      if (t.family() == Fen::TypeFamily::value) {
         GenericValue const copy = [&] {
            GenericValue v(t);
            static_cast<Fen::GenericIfImpl::ValueMethods const*>(t.dispatch().methods)
                ->genericIfDestruct(v.ptr());
            static_cast<Fen::GenericIfImpl::ValueMethods const*>(t.dispatch().methods)
                ->genericIfConstruct(v.ptr(), object);
            return v;
         }();
         bool out = false;
         for (Op::AttributeOp const op : allOps) {
            int const answer = doOp(&out, FenAttr(), op, nullptr, copy.ptr());
            bool const whole = op == Op::attrNonDefault || op == Op::attrEqual;
            EXPECT_EQ(answer, whole ? Op::opDone : Op::opNotForAttribute) << opName(op);
            if (whole) {
               EXPECT_TRUE(out) << opName(op);
            }
         }
      }
   }
   // Writes back what was read: nothing changed.
   EXPECT_EQ(info.source(), WexVlanMapping::macsecProxy);
   EXPECT_EQ(config.retryCnt(), 2u);
}

// ---- values to text and back
// ---------------------------------------------------------------------

template <class T>
GenericValue valueOf(T const& v) {
   GenericValue g(Fen::typeView<T>());
   *static_cast<T*>(g.ptr()) = v;
   return g;
}

// Non-default values of every value type that a module publishes, by type name.
std::map<std::string, std::vector<GenericValue>> nonDefaultSamples() {
   std::map<std::string, std::vector<GenericValue>> s;
   auto add = [&](GenericValue v) { s[std::string(v.type().name())].push_back(std::move(v)); };
   add(valueOf(true));
   add(valueOf(std::uint8_t{7}));
   add(valueOf(std::uint8_t{255}));
   add(valueOf(std::uint16_t{0x8100}));
   add(valueOf(std::uint32_t{4000000000u}));
   add(valueOf(std::uint64_t{18446744073709551615ull}));
   add(valueOf(Fen::String("Ethernet1/2.30")));
   add(valueOf(Fen::String("two words, 'quoted'")));
   add(valueOf(Bridging::vlanTpid88a8));
   add(valueOf(id("Ethernet3/1")));
   add(valueOf(id("Port-Channel10")));
   Wex::WexLagPortList members;
   members.portIs(id("Ethernet2"), Wex::WexLagPort());
   members.portIs(id("Ethernet3"), Wex::WexLagPort());
   add(valueOf(members));
   add(valueOf(Ulva::hwStatusNotReady));
   add(valueOf(Ulva::hwStatusSuccess));
   add(valueOf(Ulva::serviceIntfTypePseudowire));
   Ulva::VlanTag tag = Ulva::vlanTag(100);
   tag.tpidIs(Bridging::vlanTpid9100);
   tag.tagFlagsIs(3);
   add(valueOf(tag));
   Ulva::VlanTagEncap const tags(tag, Ulva::vlanTag(4097));
   add(valueOf(tags));
   add(valueOf(Ulva::IntfEncap(id("Ethernet1"), tags)));
   add(valueOf(fwdInfo("Ethernet1.10", 65535, Ulva::serviceIntfTypeSubIntf)));
   add(valueOf(WexVlanMapping::macsecProxy));
   WexVlanMapping::WexDynamicIntfEncapInfo info(Ulva::IntfEncap(id("Ethernet1"), tags));
   info.egressEncapIs(Ulva::VlanTagEncap(Ulva::vlanTag(200), Ulva::VlanTag()));
   info.sourceIs(WexVlanMapping::macsecProxy);
   info.serviceIntfIs(id("Ethernet1.10"));
   add(valueOf(info));
   WexVlanMapping::WexIntfEncapHwConfig config(
       encap("Ethernet2", 20), fwdInfo("Port-Channel1.20", 6, Ulva::serviceIntfTypeTunnel),
       id("Port-Channel1"));
   config.egressEncapIs(tags);
   config.sourceIs(WexVlanMapping::macsecProxy);
   config.retryCntIs(4294967295u);
   add(valueOf(config));
   return s;
}

void expectRoundTrip(GenericValue const& v) {
   Fen::String const text = v.strRep();
   SCOPED_TRACE(text.stdString());
   try {
      GenericValue const back(v.type(), text);
      EXPECT_TRUE(back == v);
      EXPECT_EQ(back.strRep(), text);
   } catch (Fen::RangeException const& e) {
      ADD_FAILURE() << "does not parse back: " << e.what();
   }
}

// Value types whose string form is only their name: their round trip stands in
// a test of its own below.
std::set<std::string> const withoutStringForm = {"Wex::WexLagPortList"};

TEST(ReflectionConformance, EveryValueTypeOfEveryModuleGoesToTextAndBack) {
   auto const samples = nonDefaultSamples();
   int types = 0;
   for (Fen::FenModule const* m : Fen::fenModules()) {
      for (std::uint16_t i = 0; i < m->typeCount; ++i) {
         TypeView const t(m, i);
         if (t.family() == Fen::TypeFamily::counted) continue;
         if (withoutStringForm.count(std::string(t.name()))) continue;
         SCOPED_TRACE(std::string(m->name) + " " + std::string(t.name()));
         ++types;
         GenericValue const plain(t);
         expectRoundTrip(plain);
         auto const found = samples.find(std::string(t.name()));
         ASSERT_NE(found, samples.end()) << "no non-default sample";
         for (GenericValue const& v : found->second) {
            EXPECT_FALSE(v == plain) << "a sample equal to the default";
            expectRoundTrip(v);
         }
      }
   }
   EXPECT_EQ(types + int(withoutStringForm.size()), 18);
}

TEST(ReflectionConformance, LagPortListGoesToTextAndBack) {
   auto const samples = nonDefaultSamples();
   TypeView const t = Fen::fenType("Wex::WexLagPortList");
   ASSERT_TRUE(t);
   expectRoundTrip(GenericValue(t));
   for (GenericValue const& v : samples.at("Wex::WexLagPortList")) {
      // Two lists with different ports print differently.
      EXPECT_NE(v.strRep(), GenericValue(t).strRep());
      expectRoundTrip(v);
   }
}

TEST(ReflectionConformance, EveryEnumeratorNameParsesToItsOwnValue) {
   for (Fen::FenModule const* m : Fen::fenModules()) {
      for (std::uint16_t i = 0; i < m->typeCount; ++i) {
         TypeView const t(m, i);
         if (t.family() != Fen::TypeFamily::enumeration) continue;
         for (std::uint16_t e = 0; e < t.attributeCount(); ++e) {
            FenAttr const a = t.attribute(e);
            ASSERT_EQ(a.kind(), AttrKind::enumerator);
            GenericValue const v(t, Fen::String(std::string(a.name())));
            EXPECT_EQ(v.strRep(), Fen::String(std::string(a.name())));
         }
         EXPECT_THROW(GenericValue(t, Fen::String("noSuchEnumerator")), Fen::RangeException)
             << t.name();
      }
   }
}

}  // namespace
