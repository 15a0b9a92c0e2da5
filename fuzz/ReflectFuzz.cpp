// Drives the reflection surface with arbitrary calls on a live simulated switch.
//
// Each input builds a small switch (the simulated encap machine, the
// sub-interface multiplexer and the dynamic encap machine over their
// collections), then applies a sequence of calls chosen by the input: any
// attribute operation of any published module on any type (on a live object of
// the type when there is one, on a value otherwise), with keys, values and method
// arguments made by default or parsed from the input's text; walks over
// collections that delete members on the way; and construction of types from
// their constructor arguments. A call may answer 0, 1 or 2, or refuse with
// Fen::RangeException; anything else aborts. When the switch is dropped, every
// counted object and map block is gone again.
//
// Built with -fsanitize=fuzzer this is a libFuzzer target; built plain (with
// WEXVM_FUZZ_REPLAY) it replays the files and folders named on its command line,
// as ctest does with the seed corpus.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Fen/AllocTrack.h"
#include "Fen/Exception.h"
#include "Fen/GenericIf.h"
#include "Fen/Reflect.h"
#include "Fen/String.h"
#include "Interface/SubIntfStatus.h"
#include "MacsecProxy/Status.h"
#include "Ulva/Collections.h"
#include "Wex/WexCommonSmData.h"
#include "WexVlanMapping/WexDynamicEncapSm.h"
#include "WexVlanMapping/WexIntfEncapMuxSm.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

namespace {

using Fen::FenAttr;
using Fen::FenModule;
using Fen::GenericValue;
using Fen::TypeView;
using Fen::GenericIf::AttributeOp;
using PtrTransport = Fen::Ptr<Fen::PtrInterface const>;

[[noreturn]] void fail(char const* what, std::string const& detail) {
   std::fprintf(stderr, "%s\n  %s\n", what, detail.c_str());
   std::abort();
}

// Calls that end the process when their preconditions do not hold, as (owning
// class, attribute): never made with op 1 (set) or op 10 (call). Each ends in
// an assertion, which is the documented end of such a call, but also the end of
// a fuzzing run. The machine entries were found by this target; the
// decoder's are those its header names as able to break what it asserts. Keep
// the list as short as that.
struct Denied {
   std::string_view type;
   std::string_view attribute;
};
constexpr Denied deniedCalls[] = {
    // The raw counters of a decoder: a count set or moved by hand no longer
    // matches the members, which the decoder asserts ("hwStatuss() ==
    // hwStatusCount()") at its next updateMember or removeMember.
    {"WexVlanMapping::WexEncapHwStatusDecoder", "failedCount"},
    {"WexVlanMapping::WexEncapHwStatusDecoder", "notReadyCount"},
    {"WexVlanMapping::WexEncapHwStatusDecoder", "successCount"},
    {"WexVlanMapping::WexEncapHwStatusDecoder", "hwStatusCountInc"},
    {"WexVlanMapping::WexEncapHwStatusDecoder", "hwStatusCountDec"},
    // A member written past the counters.
    {"WexVlanMapping::WexEncapHwStatusDecoder", "hwStatus"},
    // A step of the encap machine that trusts its caller: the config must be one
    // that getHwConfig finds, or its port's list is missing.
    {"WexVlanMapping::WexIntfEncapSm", "doDeleteHwConfig"},
    // LAG steps that assert the port is in a LAG (portToLag or its cache).
    {"WexVlanMapping::WexIntfEncapSm", "doDeletePortFromLag"},
    {"WexVlanMapping::WexIntfEncapSm", "doAddPortToLag"},
    // The input behind them: a port's LAG must be a port channel, which the encap
    // machine asserts as it hears the write.
    {"Wex::WexCommonSmData", "portToLag"},
    // The handler of that input, called for a port that is in no LAG.
    {"WexVlanMapping::WexIntfEncapSm", "handlePortToLag"},
    // The handler of the optional remote input, called on a machine built
    // without one.
    {"WexVlanMapping::WexIntfEncapSm", "handleRemoteEncapHwStatus"},
    // A step of the dynamic machine given a null status, which it asserts.
    {"WexVlanMapping::WexDynamicEncapSm", "addMacsecProxyDynEncap"},
    // The platform reports statuses of Ethernet ports and port channels only.
    {"WexVlanMapping::WexIntfEncapSm", "platformEncapHwStatusIs"},
};

// With REFLECT_FUZZ_TRACE set, each call is written to stderr before it is made:
// how a crash is read back to its call.
bool const tracing = std::getenv("REFLECT_FUZZ_TRACE") != nullptr;

std::string attrText(FenAttr attr) {
   if (!attr) return "(none)";
   std::string t = std::string(attr.module()->name) + "#" + std::to_string(attr.position());
   if (attr.position() < attr.module()->attributeCount) {
      TypeView const owner = attr.owner();
      t += " " + (owner ? std::string(owner.name()) : std::string("?")) + "." +
           std::string(attr.name());
   }
   return t;
}

bool denied(FenAttr attr, AttributeOp op) {
   if (op != Fen::GenericIf::attrSet && op != Fen::GenericIf::attrCall) return false;
   TypeView const owner = attr.owner();
   if (!owner) return false;
   for (Denied const& d : deniedCalls) {
      if (owner.name() == d.type && attr.name() == d.attribute) return true;
   }
   return false;
}

// The whole switch of one input: every input and output collection and the three
// machines, built as an agent builds them.
struct Switch {
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
   Fen::Ptr<Interface::SubIntfStatusDir> subIntfStatus = Interface::subIntfStatusDirFactory();
   Fen::Ptr<Interface::Hardware::SubIntfStatusDir> subIntfHwIn =
       Interface::Hardware::subIntfStatusDirFactory();
   Fen::Ptr<Interface::Hardware::SubIntfStatusDir> subIntfHwOut =
       Interface::Hardware::subIntfStatusDirFactory();
   Fen::Ptr<Ulva::ServiceIntfFwdInfoColl> offered = Ulva::serviceIntfFwdInfoCollFactory();
   Fen::Ptr<WexVlanMapping::SupportedEncapServiceTypes> types =
       WexVlanMapping::supportedEncapServiceTypesFactory();
   Fen::Ptr<MacsecProxy::Status> proxyStatus = MacsecProxy::statusFactory();
   Fen::Ptr<WexVlanMappingTest::IntfEncapSm> sm;
   Fen::Ptr<WexVlanMapping::WexIntfEncapMuxSm> mux;
   Fen::Ptr<WexVlanMapping::WexDynamicEncapSm> dynSm;

   // Every counted object the calls may reach: the machines, their collections,
   // and what op 0 and the walks hand back.
   std::vector<PtrTransport> live;
   static constexpr std::size_t liveMax = 64;

   void keep(PtrTransport const& p) {
      if (!p || live.size() >= liveMax) return;
      for (auto const& q : live) {
         if (q == p) return;
      }
      live.push_back(p);
   }
};

// The interfaces and tags the switch is built from.
constexpr char const* intfNames[] = {"Ethernet1",      "Ethernet2",   "Ethernet3",
                                     "Port-Channel10", "Ethernet1.7", "Ethernet2.100"};

Kestin::IntfId intfOf(FuzzedDataProvider& in) {
   return Kestin::IntfId(in.PickValueInArray(intfNames));
}

Ulva::IntfEncap encapOf(FuzzedDataProvider& in) {
   Ulva::VlanTag inner;
   auto const outer = in.ConsumeIntegralInRange<std::uint32_t>(1, 4094);
   if (in.ConsumeBool()) inner = Ulva::vlanTag(in.ConsumeIntegralInRange<std::uint32_t>(1, 4094));
   return Ulva::IntfEncap(intfOf(in), Ulva::VlanTagEncap(Ulva::vlanTag(outer), inner));
}

Ulva::IntfEncapHwStatus statusOf(FuzzedDataProvider& in) {
   static constexpr Ulva::IntfEncapHwStatus all[] = {Ulva::hwStatusSuccess, Ulva::hwStatusNotReady,
                                                     Ulva::hwStatusFailed};
   return in.PickValueInArray(all);
}

void build(Switch& s, FuzzedDataProvider& in) {
   for (auto const t :
        {Ulva::serviceIntfTypeDefault, Ulva::serviceIntfTypeTunnel, Ulva::serviceIntfTypeSubIntf}) {
      s.types->encapServiceTypeIs(t);
   }
   if (in.ConsumeBool()) {
      Wex::WexLagPortList list;
      list.portIs(Kestin::IntfId("Ethernet3"), Wex::WexLagPort());
      s.wcsd->lagToPortIs(Kestin::IntfId("Port-Channel10"), list);
      s.wcsd->portToLagIs(Kestin::IntfId("Ethernet3"), Kestin::IntfId("Port-Channel10"));
   }
   for (char const* svc : {"Vlan2", "Vlan3"}) {
      Ulva::ServiceIntfFwdInfo info{Kestin::IntfId(svc)};
      info.fwdDataIs(in.ConsumeIntegralInRange<std::uint16_t>(0, 9));
      s.fwd->fwdInfoIs(info);
   }
   std::size_t const encaps = in.ConsumeIntegralInRange<std::size_t>(0, 5);
   for (std::size_t i = 0; i < encaps; ++i) {
      Ulva::IntfEncap const e = encapOf(in);
      s.wanted->serviceIntfIs(e, Kestin::IntfId(in.ConsumeBool() ? "Vlan2" : "Vlan3"));
      s.hw->hwStatusIs(e, statusOf(in));
      if (in.ConsumeBool()) s.remote->hwStatusIs(e, statusOf(in));
   }
   if (in.ConsumeBool()) {
      WexVlanMapping::WexDynamicIntfEncapInfo info(encapOf(in));
      info.serviceIntfIs(Kestin::IntfId("Vlan2"));
      s.dynamic->entryIs(info);
   }
   s.sm = WexVlanMappingTest::intfEncapSmFactory(
       {.wcsd = s.wcsd,
        .serviceIntfFwdInfo = s.fwd,
        .serviceIntfHwStatus = s.svcStatus,
        .intfEncapServiceIntf = s.wanted,
        .intfEncapHwStatus = s.published,
        .remoteEncapHwStatus = in.ConsumeBool() ? s.remote : nullptr,
        .dynamicIntfEncap = s.dynamic,
        .testHwStatusColl = s.hw});
   s.subIntfStatus->intfStatusIs(Kestin::IntfId("Ethernet1.7"))->programInHwIs(in.ConsumeBool());
   s.subIntfHwIn->hardwareStatusIs(Kestin::IntfId("Ethernet1.7"))
       ->hardwareSuccessIs(in.ConsumeBool());
   s.mux = WexVlanMapping::wexIntfEncapMuxSmFactory({.wcsd = s.wcsd,
                                                     .subIntfStatus = s.subIntfStatus,
                                                     .subIntfHwStatusIn = s.subIntfHwIn,
                                                     .subIntfHwStatusOut = s.subIntfHwOut,
                                                     .serviceIntfFwdInfoIn = s.offered,
                                                     .serviceIntfFwdInfoOut = s.fwd,
                                                     .serviceIntfHwStatusIn = s.svcStatus,
                                                     .supportedServiceTypes = s.types});
   if (in.ConsumeBool()) {
      s.proxyStatus->proxyIntfIs(Kestin::IntfId("Ethernet2"))->singleTagEgressIs(in.ConsumeBool());
      s.proxyStatus->proxySubIntfStatusIs(MacsecProxy::macsecProxySubIntfStatusFactory(
          Kestin::IntfId("Ethernet2.100"), Kestin::IntfId("Ethernet1.7"),
          in.ConsumeIntegralInRange<std::uint16_t>(0, 4095),
          in.ConsumeIntegralInRange<std::uint16_t>(0, 4095)));
   }
   s.dynSm = WexVlanMapping::wexDynamicEncapSmFactory(s.proxyStatus, s.dynamic);

   for (PtrTransport const& p :
        {PtrTransport(s.sm), PtrTransport(s.mux), PtrTransport(s.dynSm), PtrTransport(s.wcsd),
         PtrTransport(s.fwd), PtrTransport(s.svcStatus), PtrTransport(s.wanted),
         PtrTransport(s.published), PtrTransport(s.remote), PtrTransport(s.dynamic),
         PtrTransport(s.hw), PtrTransport(s.subIntfStatus), PtrTransport(s.subIntfHwIn),
         PtrTransport(s.subIntfHwOut), PtrTransport(s.offered), PtrTransport(s.types),
         PtrTransport(s.proxyStatus)}) {
      s.keep(p);
   }
}

// ---- choices -----------------------------------------------------------------------

FenModule const* moduleOf(FuzzedDataProvider& in) {
   auto const& modules = Fen::fenModules();
   return modules[in.ConsumeIntegralInRange<std::size_t>(0, modules.size() - 1)];
}

TypeView pickType(FuzzedDataProvider& in) {
   FenModule const* m = moduleOf(in);
   return TypeView(m, in.ConsumeIntegralInRange<std::uint16_t>(
                          0, static_cast<std::uint16_t>(m->typeCount - 1)));
}

// Whether `attr` names a row of its module's table (and so may be read).
bool inTable(FenAttr attr) {
   return attr && attr.position() < attr.module()->attributeCount;
}

// An attribute for `type`: mostly one of its own or its bases' (or just past
// either end of its own), sometimes one of another class, sometimes none.
FenAttr attributeFor(TypeView type, FuzzedDataProvider& in) {
   switch (in.ConsumeIntegralInRange(0, 7)) {
      case 0:
         return FenAttr();
      case 1: {
         FenModule const* m = moduleOf(in);
         return FenAttr(m, in.ConsumeIntegralInRange<std::uint16_t>(
                               0, static_cast<std::uint16_t>(m->attributeCount + 2)));
      }
      case 2: {
         std::vector<FenAttr> const all = type.allAttributes();
         if (all.empty()) return FenAttr();
         return all[in.ConsumeIntegralInRange<std::size_t>(0, all.size() - 1)];
      }
      default: {
         int const first = type.record().firstAttribute;
         int const pos = first + in.ConsumeIntegralInRange<int>(-2, type.attributeCount() + 1);
         return FenAttr(type.module, static_cast<std::uint16_t>(pos < 0 ? 0 : pos));
      }
   }
}

// A transport of `type`: the default, or parsed from the input's text (the
// default when the text is refused); for a counted class, null or any live
// object, of the class or not.
GenericValue valueOf(TypeView type, Switch& s, FuzzedDataProvider& in) {
   if (type.family() == Fen::TypeFamily::counted) {
      GenericValue v(type);
      if (!s.live.empty() && in.ConsumeBool()) {
         *static_cast<PtrTransport*>(v.ptr()) =
             s.live[in.ConsumeIntegralInRange<std::size_t>(0, s.live.size() - 1)];
      }
      return v;
   }
   if (in.ConsumeBool()) {
      std::string const text = in.ConsumeRandomLengthString(96);
      try {
         return GenericValue(type, Fen::String(text));
      } catch (Fen::RangeException const&) {
      }
   }
   return GenericValue(type);
}

// What the reflection hands back, kept for later calls.
void keepResult(Switch& s, GenericValue const& v) {
   if (v && v.type().family() == Fen::TypeFamily::counted) {
      s.keep(*static_cast<PtrTransport const*>(v.ptr()));
   }
}

// What a member of `attr` reads as: its type, or a bool for a set, which has
// none.
TypeView memberType(FenAttr attr) {
   if (!inTable(attr)) return {};
   if (TypeView const t = attr.type()) return t;
   if (attr.kind() == Fen::AttrKind::collection) return Fen::typeView<bool>();
   return {};
}

// The type of the result op `op` writes for `attr`.
TypeView resultType(FenAttr attr, AttributeOp op) {
   switch (op) {
      case Fen::GenericIf::attrCount:
      case Fen::GenericIf::attrFigure:
         return Fen::typeView<std::uint32_t>();
      case Fen::GenericIf::attrHas:
      case Fen::GenericIf::attrNonDefault:
      case Fen::GenericIf::attrEqual:
         return Fen::typeView<bool>();
      default:
         return memberType(attr);
   }
}

// Whether `object` (a counted object, or a value of `type`) has `attr`: its
// class or one of its bases declares it.
bool hasAttribute(TypeView type, FenAttr attr) {
   if (!inTable(attr)) return false;
   TypeView const owner = attr.owner();
   return owner && type.isDerived(owner);
}

void checkCode(int code, TypeView type, FenAttr attr, AttributeOp op) {
   if (code < 0 || code > 2) fail("a return code other than 0, 1 or 2", std::to_string(code));
   if (attr && !hasAttribute(type, attr) && code != Fen::GenericIf::opNotOfClass) {
      fail("an attribute of another class did not answer 2",
           std::string(type.name()) + " position " + std::to_string(attr.position()) + " op " +
               std::to_string(op) + " answered " + std::to_string(code));
   }
}

// ---- the steps -----------------------------------------------------------------------

// One attribute operation on a live object of a type, or on a value.
void attributeStep(Switch& s, FuzzedDataProvider& in) {
   TypeView const type = pickType(in);
   FenAttr const attr = attributeFor(type, in);
   auto const op = static_cast<AttributeOp>(in.ConsumeIntegralInRange(0, 15));
   if (inTable(attr) && denied(attr, op)) return;

   // The key, the value (or the arguments of a call) and the result.
   GenericValue key;
   bool const withKey = in.ConsumeIntegralInRange(0, 7) != 0;
   if (withKey)
      key = valueOf(inTable(attr) && attr.keyType() ? attr.keyType() : pickType(in), s, in);
   std::vector<GenericValue> args;
   std::vector<void const*> argPtrs;
   GenericValue value;
   void const* valuePtr = nullptr;
   if (op == Fen::GenericIf::attrCall && inTable(attr)) {
      // Sometimes no array, sometimes the last arguments missing.
      if (in.ConsumeIntegralInRange(0, 15) != 0) {
         std::uint16_t const given =
             in.ConsumeIntegralInRange(0, 15) == 0
                 ? in.ConsumeIntegralInRange<std::uint16_t>(0, attr.argCount())
                 : attr.argCount();
         for (std::uint16_t i = 0; i < attr.argCount(); ++i) {
            if (i < given) args.push_back(valueOf(attr.argType(i), s, in));
         }
         argPtrs.assign(attr.argCount() + 1u, nullptr);
         for (std::size_t i = 0; i < args.size(); ++i)
            argPtrs[i] = args[i].ptr();
         valuePtr = argPtrs.data();
      }
   } else if (in.ConsumeIntegralInRange(0, 7) != 0) {
      TypeView vt;
      if (!attr && (op == Fen::GenericIf::attrEqual || op == Fen::GenericIf::attrNonDefault)) {
         vt = type;
      } else if (inTable(attr) && op == Fen::GenericIf::attrSet &&
                 attr.access() == Fen::AttrAccess::createdByIs && attr.argCount() > 0) {
         // An owned object is made from its creator's argument.
         vt = attr.argType(0);
      } else {
         vt = memberType(attr);
      }
      // A set member is written with a bool.
      if (vt) {
         value = valueOf(vt, s, in);
         valuePtr = value.ptr();
      }
   }
   GenericValue result;
   if (TypeView const rt = resultType(attr, op); rt && in.ConsumeIntegralInRange(0, 7) != 0) {
      result = GenericValue(rt);
   }
   void* const resultPtr = result ? result.ptr() : nullptr;

   // On a live object of the type when there is one, else (a value type) on a
   // value of it.
   Fen::PtrInterface* object = nullptr;
   if (type.family() == Fen::TypeFamily::counted) {
      std::vector<Fen::PtrInterface*> ofType;
      for (auto const& p : s.live) {
         if (Fen::typeOf(*p).isDerived(type))
            ofType.push_back(const_cast<Fen::PtrInterface*>(p.ptr()));
      }
      if (!ofType.empty() && in.ConsumeIntegralInRange(0, 7) != 0) {
         object = ofType[in.ConsumeIntegralInRange<std::size_t>(0, ofType.size() - 1)];
      } else if (!s.live.empty()) {
         object = const_cast<Fen::PtrInterface*>(
             s.live[in.ConsumeIntegralInRange<std::size_t>(0, s.live.size() - 1)].ptr());
      }
      if (!object) return;
      TypeView const own = Fen::typeOf(*object);
      if (inTable(attr) && hasAttribute(own, attr) && denied(attr, op)) return;
      if (tracing) {
         std::fprintf(stderr, "op %d on %s: %s key %s value %s\n", op,
                      std::string(own.name()).c_str(), attrText(attr).c_str(),
                      withKey ? key.strRep().charPtr() : "(none)",
                      value ? value.strRep().charPtr() : (valuePtr ? "(arguments)" : "(none)"));
         for (auto const& a : args)
            std::fprintf(stderr, "  argument %s\n", a.strRep().charPtr());
      }
      int code = Fen::GenericIf::opDone;
      try {
         code = Fen::genericIfAttributeOp(resultPtr, *object, attr, op,
                                          withKey ? key.ptr() : nullptr, valuePtr);
      } catch (Fen::RangeException const&) {
         return;
      }
      checkCode(code, own, attr, op);
   } else {
      GenericValue target = valueOf(type, s, in);
      if (tracing) {
         std::fprintf(stderr, "op %d on value %s: %s\n", op, target.strRep().charPtr(),
                      attrText(attr).c_str());
      }
      int code = Fen::GenericIf::opDone;
      try {
         code = Fen::genericIfAttributeOp(resultPtr, type, target.ptr(), attr, op,
                                          withKey ? key.ptr() : nullptr, valuePtr);
      } catch (Fen::RangeException const&) {
         return;
      }
      checkCode(code, type, attr, op);
      if (code == Fen::GenericIf::opDone) (void)target.strRep();
   }
   keepResult(s, result);
   if (result) (void)result.strRep();
}

// A walk over a collection of a live object that deletes members on the way.
void walkStep(Switch& s, FuzzedDataProvider& in) {
   if (s.live.empty()) return;
   PtrTransport const holder = s.live[in.ConsumeIntegralInRange<std::size_t>(0, s.live.size() - 1)];
   auto& object = const_cast<Fen::PtrInterface&>(*holder);
   TypeView const own = Fen::typeOf(object);
   if (!own) return;
   FenAttr const attr = attributeFor(own, in);
   GenericValue start;
   bool const fromKey = inTable(attr) && attr.keyType() && in.ConsumeBool();
   if (fromKey) start = valueOf(attr.keyType(), s, in);
   Fen::IteratorMethods const* methods = nullptr;
   Fen::HashMap2018IteratorGeneric* it =
       Fen::genericIfIterator(object, fromKey ? start.ptr() : nullptr, attr, &methods);
   if (!it) return;
   if (tracing)
      std::fprintf(stderr, "walk of %s: %s\n", std::string(own.name()).c_str(),
                   attrText(attr).c_str());
   if (!methods || !inTable(attr) || !hasAttribute(own, attr) || !attr.keyType())
      fail("an iterator on an attribute that is no collection of the class",
           std::string(own.name()) + " " + std::to_string(attr.position()));
   GenericValue k(attr.keyType());
   GenericValue v(memberType(attr));
   for (int steps = 0; methods->iterNonnull(attr, it) && steps < 64; ++steps) {
      methods->iterKey(attr, it, k.ptr());
      if (methods->iterObj(attr, it, v.ptr())) keepResult(s, v);
      switch (in.ConsumeIntegralInRange(0, 3)) {
         case 0:
            // The member the walk stands on.
            if (tracing) std::fprintf(stderr, "  delete %s\n", k.strRep().charPtr());
            try {
               if (Fen::genericIfAttributeOp(nullptr, object, attr, Fen::GenericIf::attrDel,
                                             k.ptr()) != Fen::GenericIf::opDone) {
                  break;
               }
            } catch (Fen::RangeException const&) {
               break;
            }
            // Gone: the walk still gives its key, and no value.
            methods->iterKey(attr, it, k.ptr());
            if (methods->iterObj(attr, it, v.ptr()))
               fail("a deleted member still has a value", k.strRep().stdString());
            break;
         case 1: {
            // Another member, by a key from the input.
            GenericValue other = valueOf(attr.keyType(), s, in);
            try {
               (void)Fen::genericIfAttributeOp(nullptr, object, attr, Fen::GenericIf::attrDel,
                                               other.ptr());
            } catch (Fen::RangeException const&) {
            }
            break;
         }
         default:
            break;
      }
      methods->iterInc(attr, it);
   }
   methods->iterDel(attr, it);
}

// Construction of a type from constructor arguments.
void construct(Switch& s, TypeView type, FuzzedDataProvider& in) {
   if (!type.record().constructible) return;
   std::vector<GenericValue> args;
   std::vector<void const*> argPtrs;
   for (std::uint16_t i = 0; i < type.ctorArgCount(); ++i) {
      TypeView const at = type.ctorArgType(i);
      // A machine's inputs: a live object of the input's class when there is one.
      GenericValue a(at);
      if (at.family() == Fen::TypeFamily::counted) {
         for (auto const& p : s.live) {
            if (Fen::typeOf(*p).isDerived(at)) {
               *static_cast<PtrTransport*>(a.ptr()) = p;
               break;
            }
         }
      } else {
         a = valueOf(at, s, in);
      }
      args.push_back(std::move(a));
   }
   for (auto& a : args)
      argPtrs.push_back(a.ptr());
   GenericValue made(type);
   if (tracing) std::fprintf(stderr, "construct %s\n", std::string(type.name()).c_str());
   try {
      Fen::genericIfConstructFromCtorArgs(type, made.ptr(),
                                          argPtrs.empty() ? nullptr : argPtrs.data());
   } catch (Fen::RangeException const&) {
      return;
   }
   (void)made.strRep();
   // A state machine made here would listen to the switch's inputs beside the
   // switch's own: it goes at once. Other objects join the live ones.
   if (made.type().family() == Fen::TypeFamily::counted && made.object() &&
       !dynamic_cast<Fen::StateMachineRoot const*>(made.object())) {
      keepResult(s, made);
   }
}

void constructStep(Switch& s, FuzzedDataProvider& in) {
   if (in.ConsumeIntegralInRange(0, 7) == 0) {
      // Every constructible type of every module.
      for (FenModule const* m : Fen::fenModules()) {
         for (std::uint16_t t = 0; t < m->typeCount; ++t)
            construct(s, TypeView(m, t), in);
      }
   } else {
      construct(s, pickType(in), in);
   }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   FuzzedDataProvider in(data, size);
   Fen::AllocSnapshot const before = Fen::AllocSnapshot::now();
   {
      Switch s;
      build(s, in);
      for (int step = 0; step < 48 && in.remaining_bytes() > 0; ++step) {
         switch (in.ConsumeIntegralInRange(0, 9)) {
            case 0:
               walkStep(s, in);
               break;
            case 1:
               constructStep(s, in);
               break;
            default:
               attributeStep(s, in);
               break;
         }
      }
   }
   Fen::String const leaked = Fen::AllocSnapshot::now().differencesFrom(before);
   if (!leaked.empty()) fail("objects outlive the switch", leaked.stdString());
   return 0;
}

#ifdef WEXVM_FUZZ_REPLAY

#include "FuzzReplay.h"

std::string fuzzReplayTail() {
   return "";
}

#endif
