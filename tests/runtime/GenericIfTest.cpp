// The generic attribute interface at its edges: operations that do not fit an
// attribute, attributes of another class, iterators that outlive the member they
// stand on, construction from argument arrays, arguments of the wrong kind, and
// the two broken contracts of the pointer conversion, which end the process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "Fen/GenericIf.h"
#include "Fen/Reflect.h"
#include "Interface/SubIntfStatus.h"
#include "MacsecProxy/Status.h"
#include "SmFixture.h"
#include "Ulva/Collections.h"
#include "Wex/WexCommonSmData.h"
#include "WexVlanMapping/WexDynamicEncapSm.h"
#include "WexVlanMapping/WexEncapHwStatusDecoder.h"
#include "WexVlanMapping/WexIntfEncap.h"
#include "WexVlanMapping/WexIntfEncapMuxSm.h"
#include "WexVlanMapping/WexIntfEncapSm.h"
#include "WexVlanMapping/WexTestIntfEncapSm.h"

// ---- test-only types -------------------------------------------------------------------
//
// A module of this file's own: a non-polymorphic value type, and a counted
// (polymorphic) class that names it as its reflected base. No class of the
// library has that shape; it is what takes the conversion of a pointer from the
// counted class to the value type into its broken branch.

namespace GenericIfTestTypes {

extern Fen::FenModule const genericIfTestModule;

class PlainBase {
public:
   bool operator==(PlainBase const&) const = default;
   int weight = 0;
   // Marks the type as a reflected base of the counted class below; the type's
   // own description is FEN_VALUE_DESCRIPTION's.
   using FenReflection = Fen::Reflection<void, Fen::NoCtor>;
};

class PolyChild : public Fen::PtrInterface, public PlainBase {
   FEN_COUNTED_CLASS("GenericIfTestTypes::PolyChild")

public:
   FEN_FWK_TYPE(PolyChild)
   using FenReflection = Fen::Reflection<PlainBase, Fen::Ctor<>>;
};

}  // namespace GenericIfTestTypes

FEN_TYPE_IN_MODULE(GenericIfTestTypes::PlainBase, GenericIfTestTypes::genericIfTestModule, 0)
FEN_TYPE_IN_MODULE(GenericIfTestTypes::PolyChild, GenericIfTestTypes::genericIfTestModule, 1)
FEN_VALUE_DESCRIPTION(GenericIfTestTypes::PlainBase, "GenericIfTestTypes::PlainBase")

namespace GenericIfTestTypes {
FEN_MODULE(genericIfTestModule, "GenericIfTest", PlainBase, PolyChild)

// The opposite shape, a non-polymorphic type whose base is polymorphic, cannot be
// described through the module builder (a value type has no base); its two type
// records are written by hand, unpublished.
extern Fen::FenModule const handTypesModule;
Fen::Dependency const handDependencies[] = {{&handTypesModule, 0}};
char const handTypeNames[] = "Hand::PolyBase\0Hand::PlainDerived";
Fen::TypeRecord const handTypes[] = {
    {.flags = Fen::TypeRecord::polymorphicFlag,
     .number = 0,
     .firstAttribute = 0,
     .attributeCount = 0,
     .name = 0,
     .family = Fen::TypeFamily::counted,
     .base = Fen::noType,
     .ctorArgIndex = 0,
     .ctorArgCount = 0,
     .constructible = false,
     .size = 8,
     .align = 8,
     .enumType = nullptr},
    {.flags = 0,
     .number = 1,
     .firstAttribute = 0,
     .attributeCount = 0,
     .name = 15,
     .family = Fen::TypeFamily::value,
     .base = 0,
     .ctorArgIndex = 0,
     .ctorArgCount = 0,
     .constructible = false,
     .size = 8,
     .align = 8,
     .enumType = nullptr},
};
Fen::FenModule const handTypesModule{.types = handTypes,
                                     .attributes = nullptr,
                                     .arguments = nullptr,
                                     .typeNames = handTypeNames,
                                     .attributeNames = "",
                                     .dependencies = handDependencies,
                                     .dispatch = nullptr,
                                     .typeCount = 2,
                                     .name = "Hand",
                                     .tag = 0,
                                     .attributeCount = 0,
                                     .argumentCount = 0,
                                     .dependencyCount = 1};

}  // namespace GenericIfTestTypes

namespace {

using Fen::FenAttr;
using Fen::GenericValue;
using Fen::PtrTransport;
using Fen::TypeView;
using WexVlanMapping::WexDynamicIntfEncapInfo;
using WexVlanMapping::WexEncapHwStatusDecoder;
using WexVlanMapping::WexIntfEncapHwConfig;
namespace Op = Fen::GenericIf;

// The runtime prints a failed assertion's message between ` and ': matching the
// quotes too holds the message to exactly the system's text.
testing::Matcher<std::string const&> failedAssertion(std::string const& message) {
   return testing::HasSubstr("`" + message + "'");
}

Kestin::IntfId id(char const* name) {
   return Kestin::IntfId(name);
}
Ulva::IntfEncap encap(char const* intf, std::uint32_t outerVid) {
   return Ulva::IntfEncap(id(intf), Ulva::VlanTagEncap(Ulva::vlanTag(outerVid), Ulva::VlanTag()));
}

TypeView type(char const* name) {
   TypeView const t = Fen::fenType(name);
   EXPECT_TRUE(t) << name;
   return t;
}
FenAttr attr(char const* typeName, char const* attrName) {
   FenAttr const a = Fen::fenAttr(type(typeName), attrName);
   EXPECT_TRUE(a) << typeName << "." << attrName;
   return a;
}

WexDynamicIntfEncapInfo someInfo() {
   WexDynamicIntfEncapInfo info(encap("Ethernet1", 100));
   info.egressEncapIs(Ulva::VlanTagEncap(Ulva::vlanTag(200), Ulva::vlanTag(300)));
   info.sourceIs(WexVlanMapping::macsecProxy);
   info.serviceIntfIs(id("Ethernet1.10"));
   return info;
}

WexIntfEncapHwConfig someConfig() {
   Ulva::ServiceIntfFwdInfo fwd(id("Ethernet1.10"));
   fwd.fwdDataIs(7);
   WexIntfEncapHwConfig c(encap("Ethernet1", 100), fwd, Kestin::IntfId());
   c.egressEncapIs(Ulva::VlanTagEncap(Ulva::vlanTag(100), Ulva::VlanTag()));
   c.retryCntIs(3);
   return c;
}

Fen::GenericIfImpl::ValueMethods const* valueMethods(TypeView t) {
   return static_cast<Fen::GenericIfImpl::ValueMethods const*>(t.dispatch().methods);
}

// ---- operations that do not fit ------------------------------------------------------------

TEST(GenericIf, SetOnConstructorOnlyIntfEncapOfDynamicInfoAnswersNotForAttributeAndChangesNothing) {
   FenAttr const a = attr("WexDynamicIntfEncapInfo", "intfEncap");
   ASSERT_EQ(a.attributeId(), 2u);
   WexDynamicIntfEncapInfo info = someInfo();
   WexDynamicIntfEncapInfo const before = info;
   Ulva::IntfEncap const other = encap("Ethernet2", 5);
   EXPECT_EQ(Fen::genericIfAttributeOp(nullptr, a.owner(), &info, a, Op::attrSet, nullptr, &other),
             Op::opNotForAttribute);
   EXPECT_EQ(info, before);
   // A writable field of the same record takes the same operation.
   FenAttr const svc = attr("WexDynamicIntfEncapInfo", "serviceIntf");
   Kestin::IntfId const newSvc = id("Ethernet9.9");
   EXPECT_EQ(
       Fen::genericIfAttributeOp(nullptr, svc.owner(), &info, svc, Op::attrSet, nullptr, &newSvc),
       Op::opDone);
   EXPECT_EQ(info.serviceIntf(), newSvc);
   EXPECT_EQ(info.intfEncap(), before.intfEncap());
}

TEST(GenericIf, HasOnDecoderMapIsFalseForAnAbsentKeyAndTrueAfterASet) {
   auto const decoder = WexVlanMapping::wexEncapHwStatusDecoderFactory(encap("Port-Channel1", 10));
   FenAttr const hwStatus = attr("WexEncapHwStatusDecoder", "hwStatus");
   Ulva::IntfEncap const key = encap("Ethernet1", 10);
   bool has = true;
   ASSERT_EQ(Fen::genericIfAttributeOp(&has, *decoder, hwStatus, Op::attrHas, &key), Op::opDone);
   EXPECT_FALSE(has);
   Ulva::IntfEncapHwStatus const status = Ulva::hwStatusSuccess;
   ASSERT_EQ(Fen::genericIfAttributeOp(nullptr, *decoder, hwStatus, Op::attrSet, &key, &status),
             Op::opDone);
   ASSERT_EQ(Fen::genericIfAttributeOp(&has, *decoder, hwStatus, Op::attrHas, &key), Op::opDone);
   EXPECT_TRUE(has);
   EXPECT_EQ(decoder->hwStatus(key), Ulva::hwStatusSuccess);
   // Another key is still absent.
   Ulva::IntfEncap const absent = encap("Ethernet2", 10);
   ASSERT_EQ(Fen::genericIfAttributeOp(&has, *decoder, hwStatus, Op::attrHas, &absent), Op::opDone);
   EXPECT_FALSE(has);
}

class GenericIfSm : public TestSupport::SmFixture {};

TEST_F(GenericIfSm, HasOnPortDownIsFalseForAnAbsentPortAndTrueAfterASet) {
   startSimulated();
   FenAttr const portDown = attr("WexIntfEncapSm", "portDown");
   Kestin::IntfId const port = id("Ethernet4");
   bool has = true;
   ASSERT_EQ(Fen::genericIfAttributeOp(&has, *simulated, portDown, Op::attrHas, &port), Op::opDone);
   EXPECT_FALSE(has);
   bool const down = false;
   ASSERT_EQ(Fen::genericIfAttributeOp(nullptr, *simulated, portDown, Op::attrSet, &port, &down),
             Op::opDone);
   ASSERT_EQ(Fen::genericIfAttributeOp(&has, *simulated, portDown, Op::attrHas, &port), Op::opDone);
   EXPECT_TRUE(has);
   EXPECT_TRUE(simulated->portDownMap().has(port));
}

// ---- attributes of another class ---------------------------------------------------------------

TEST(GenericIf, AttributeOfDynamicEncapSmGivenToADecoderAnswersNotOfClassForEveryOp) {
   auto const decoder = WexVlanMapping::wexEncapHwStatusDecoderFactory(encap("Ethernet1", 1));
   TypeView const dynSm = type("WexDynamicEncapSm");
   Kestin::IntfId const key;
   bool const value = false;
   for (FenAttr const a : dynSm.allAttributes()) {
      for (auto const op : {Op::attrGet, Op::attrSet, Op::attrDel, Op::attrCount, Op::attrFigure,
                            Op::attrHas, Op::attrCall, Op::attrNonDefault, Op::attrEqual}) {
         EXPECT_EQ(Fen::genericIfAttributeOp(nullptr, *decoder, a, op, &key, &value),
                   Op::opNotOfClass)
             << a.name() << " op " << int(op);
      }
   }
   EXPECT_EQ(decoder->hwStatusCount(), 0u);
}

TEST_F(GenericIfSm, DerivedClassAttributeGivenToItsBaseAnswersNotOfClassAndTheReverseWorks) {
   startRecording();
   FenAttr const testHwStatusColl = attr("IntfEncapSm", "testHwStatusColl");
   ASSERT_EQ(testHwStatusColl.attributeId(), 258u);
   PtrTransport out;
   // RecordingPlatform is a WexIntfEncapSm as reflection sees it.
   ASSERT_EQ(Fen::typeOf(*recording), type("WexIntfEncapSm"));
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, *recording, testHwStatusColl, Op::attrGet),
             Op::opNotOfClass);
   EXPECT_FALSE(out);
   // A base attribute given to the derived class is one of its own.
   startSimulated();
   FenAttr const wcsdAttr = attr("WexIntfEncapSm", "wcsd");
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, *simulated, wcsdAttr, Op::attrGet), Op::opDone);
   EXPECT_EQ(out.ptr(), wcsd.ptr());
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, *simulated, testHwStatusColl, Op::attrGet),
             Op::opDone);
   EXPECT_EQ(out.ptr(), hw.ptr());
}

TEST(GenericIf, ValueRecordAttributeGivenToAnotherRecordOrACountedObjectAnswersNotOfClass) {
   FenAttr const retryCnt = attr("WexIntfEncapHwConfig", "retryCnt");
   WexDynamicIntfEncapInfo info = someInfo();
   std::uint32_t out = 0;
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, type("WexDynamicIntfEncapInfo"), &info, retryCnt,
                                       Op::attrGet),
             Op::opNotOfClass);
   auto const decoder = WexVlanMapping::wexEncapHwStatusDecoderFactory(encap("Ethernet1", 1));
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, *decoder, retryCnt, Op::attrGet), Op::opNotOfClass);
   // A counted object has no whole-value operations.
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, *decoder, FenAttr(), Op::attrEqual), Op::opNotOfClass);
}

TEST_F(GenericIfSm, EqualIdsInTwoModulesEachWorkOnTheirOwnClassAndNotOfClassOnTheOther) {
   startSimulated();
   auto const status = MacsecProxy::statusFactory();
   auto const dyn = WexVlanMapping::wexDynamicEncapSmFactory(status, dynamic);
   FenAttr const smWcsd = attr("WexIntfEncapSm", "wcsd");
   FenAttr const dynStatus = attr("WexDynamicEncapSm", "macsecProxyStatus");
   ASSERT_EQ(smWcsd.attributeId(), 130u);
   ASSERT_EQ(dynStatus.attributeId(), 130u);
   EXPECT_NE(smWcsd, dynStatus);
   PtrTransport out;
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, *simulated, smWcsd, Op::attrGet), Op::opDone);
   EXPECT_EQ(out.ptr(), wcsd.ptr());
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, *dyn, dynStatus, Op::attrGet), Op::opDone);
   EXPECT_EQ(out.ptr(), status.ptr());
   out = PtrTransport();
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, *simulated, dynStatus, Op::attrGet), Op::opNotOfClass);
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, *dyn, smWcsd, Op::attrGet), Op::opNotOfClass);
   EXPECT_FALSE(out);
   // The same for two 130s that are both collections: entry and config.
   FenAttr const entry = attr("WexDynamicIntfEncapColl", "entry");
   FenAttr const config = attr("WexIntfEncapHwConfigColl", "config");
   ASSERT_EQ(entry.attributeId(), config.attributeId());
   std::uint32_t count = 99;
   EXPECT_EQ(Fen::genericIfAttributeOp(&count, *dynamic, entry, Op::attrCount), Op::opDone);
   EXPECT_EQ(count, dynamic->entrys());
   EXPECT_EQ(Fen::genericIfAttributeOp(&count, *dynamic, config, Op::attrCount), Op::opNotOfClass);
}

// ---- iterators
// ---------------------------------------------------------------------------------------

TEST(GenericIf, IteratorOnANonCollectionAttributeIsNull) {
   auto const decoder = WexVlanMapping::wexEncapHwStatusDecoderFactory(encap("Ethernet1", 1));
   Fen::IteratorMethods const* methods = nullptr;
   for (char const* name : {"intfEncap", "failedCount", "aggrHwStatus", "updateMember"}) {
      EXPECT_EQ(Fen::genericIfIterator(*decoder, nullptr, attr("WexEncapHwStatusDecoder", name),
                                       &methods),
                nullptr)
          << name;
   }
   EXPECT_EQ(Fen::genericIfIterator(*decoder, nullptr, FenAttr(), &methods), nullptr);
   // Another class's collection is none of this object's.
   EXPECT_EQ(
       Fen::genericIfIterator(*decoder, nullptr, attr("WexIntfEncapSm", "portDown"), &methods),
       nullptr);
   EXPECT_EQ(methods, nullptr);
   // The decoder's own collection gives one.
   FenAttr const hwStatus = attr("WexEncapHwStatusDecoder", "hwStatus");
   Fen::HashMap2018IteratorGeneric* it =
       Fen::genericIfIterator(*decoder, nullptr, hwStatus, &methods);
   ASSERT_NE(it, nullptr);
   ASSERT_EQ(methods, &Fen::genericIteratorMethods);
   EXPECT_FALSE(methods->iterNonnull(hwStatus, it));
   methods->iterDel(hwStatus, it);
}

TEST(GenericIf, IterDelOfANullIteratorDoesNothing) {
   FenAttr const hwStatus = attr("WexEncapHwStatusDecoder", "hwStatus");
   Fen::genericIteratorMethods.iterDel(hwStatus, nullptr);
   EXPECT_FALSE(Fen::genericIteratorMethods.iterNonnull(hwStatus, nullptr));
   Fen::genericIteratorMethods.iterInc(hwStatus, nullptr);
   Ulva::IntfEncapHwStatus out = Ulva::hwStatusSuccess;
   EXPECT_FALSE(Fen::genericIteratorMethods.iterObj(hwStatus, nullptr, &out));
   EXPECT_EQ(out, Ulva::hwStatusSuccess);
}

TEST(GenericIf, IteratorSurvivesDeletionOfItsMemberAndVisitsEveryOtherMemberOnce) {
   auto const coll = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   std::map<Ulva::IntfEncap, WexDynamicIntfEncapInfo> members;
   for (std::uint32_t vid = 1; vid <= 40; ++vid) {
      WexDynamicIntfEncapInfo info(encap("Ethernet1", vid));
      info.serviceIntfIs(id("Ethernet1.5"));
      coll->entryIs(info);
      members[info.intfEncap()] = info;
   }
   FenAttr const entry = attr("WexDynamicIntfEncapColl", "entry");
   Fen::IteratorMethods const* m = nullptr;
   Fen::HashMap2018IteratorGeneric* it = Fen::genericIfIterator(*coll, nullptr, entry, &m);
   ASSERT_NE(it, nullptr);
   std::map<Ulva::IntfEncap, int> visits;
   std::vector<Ulva::IntfEncap> deleted;
   int step = 0;
   for (; m->iterNonnull(entry, it); m->iterInc(entry, it)) {
      Ulva::IntfEncap key;
      m->iterKey(entry, it, &key);
      ++visits[key];
      WexDynamicIntfEncapInfo value;
      ASSERT_TRUE(m->iterObj(entry, it, &value));
      EXPECT_EQ(value, members.at(key));
      if (++step % 7 == 3) {
         // The member under the iterator goes.
         WexDynamicIntfEncapInfo removed;
         ASSERT_EQ(Fen::genericIfAttributeOp(&removed, *coll, entry, Op::attrDel, &key),
                   Op::opDone);
         EXPECT_EQ(removed, members.at(key));
         deleted.push_back(key);
         WexDynamicIntfEncapInfo gone = someInfo();
         EXPECT_FALSE(m->iterObj(entry, it, &gone));
         EXPECT_EQ(gone, someInfo()) << "nothing written for a member that is gone";
         Ulva::IntfEncap stillKey;
         m->iterKey(entry, it, &stillKey);
         EXPECT_EQ(stillKey, key);
      }
   }
   m->iterDel(entry, it);
   EXPECT_FALSE(deleted.empty());
   EXPECT_EQ(visits.size(), members.size());
   for (auto const& [key, n] : visits)
      EXPECT_EQ(n, 1) << key;
   EXPECT_EQ(coll->entrys(), members.size() - deleted.size());
}

TEST(GenericIf, IteratorAtAKeyStartsThere) {
   auto const coll = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   for (std::uint32_t vid = 1; vid <= 5; ++vid)
      coll->entryIs(WexDynamicIntfEncapInfo(encap("Ethernet1", vid)));
   FenAttr const entry = attr("WexDynamicIntfEncapColl", "entry");
   Ulva::IntfEncap const at = encap("Ethernet1", 4);
   Fen::IteratorMethods const* m = nullptr;
   Fen::HashMap2018IteratorGeneric* it = Fen::genericIfIterator(*coll, &at, entry, &m);
   ASSERT_NE(it, nullptr);
   ASSERT_TRUE(m->iterNonnull(entry, it));
   Ulva::IntfEncap key;
   m->iterKey(entry, it, &key);
   EXPECT_EQ(key, at);
   m->iterDel(entry, it);
}

// ---- values and construction
// ---------------------------------------------------------------------

TEST(GenericIf, ValueConstructWithNullSourceGivesTheDefaultRecordAndWithASourceACopy) {
   {
      TypeView const t = type("WexIntfEncapHwConfig");
      auto const construct = valueMethods(t)->genericIfConstruct;
      alignas(WexIntfEncapHwConfig) std::byte storage[sizeof(WexIntfEncapHwConfig)];
      construct(storage, nullptr);
      auto* made = std::launder(reinterpret_cast<WexIntfEncapHwConfig*>(storage));
      EXPECT_EQ(*made, WexIntfEncapHwConfig());
      valueMethods(t)->genericIfDestruct(storage);
      WexIntfEncapHwConfig const src = someConfig();
      construct(storage, &src);
      made = std::launder(reinterpret_cast<WexIntfEncapHwConfig*>(storage));
      EXPECT_EQ(*made, src);
      valueMethods(t)->genericIfDestruct(storage);
   }
   {
      TypeView const t = type("WexDynamicIntfEncapInfo");
      alignas(WexDynamicIntfEncapInfo) std::byte storage[sizeof(WexDynamicIntfEncapInfo)];
      valueMethods(t)->genericIfConstruct(storage, nullptr);
      EXPECT_EQ(*std::launder(reinterpret_cast<WexDynamicIntfEncapInfo*>(storage)),
                WexDynamicIntfEncapInfo());
      valueMethods(t)->genericIfDestruct(storage);
   }
   // GenericValue makes its default the same way.
   GenericValue const v(type("WexIntfEncapHwConfig"));
   EXPECT_EQ(*static_cast<WexIntfEncapHwConfig const*>(v.ptr()), WexIntfEncapHwConfig());
}

TEST(GenericIf, WholeValueOpsWithANullAttributeCompareWithTheDefaultAndTheOtherValue) {
   TypeView const t = type("WexDynamicIntfEncapInfo");
   WexDynamicIntfEncapInfo plain;
   WexDynamicIntfEncapInfo some = someInfo();
   bool out = true;
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, t, &plain, FenAttr(), Op::attrNonDefault), Op::opDone);
   EXPECT_FALSE(out);
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, t, &some, FenAttr(), Op::attrNonDefault), Op::opDone);
   EXPECT_TRUE(out);
   WexDynamicIntfEncapInfo const same = someInfo();
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, t, &some, FenAttr(), Op::attrEqual, nullptr, &same),
             Op::opDone);
   EXPECT_TRUE(out);
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, t, &some, FenAttr(), Op::attrEqual, nullptr, &plain),
             Op::opDone);
   EXPECT_FALSE(out);
   // A change of retryCnt alone is a difference of the config.
   TypeView const ct = type("WexIntfEncapHwConfig");
   WexIntfEncapHwConfig c = someConfig();
   WexIntfEncapHwConfig other = c;
   other.retryCntIs(c.retryCnt() + 1);
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, ct, &c, FenAttr(), Op::attrEqual, nullptr, &other),
             Op::opDone);
   EXPECT_FALSE(out);
   WexIntfEncapHwConfig defaultConfig;
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, ct, &defaultConfig, FenAttr(), Op::attrNonDefault),
             Op::opDone);
   EXPECT_FALSE(out);
   // Other operations on the whole value do not fit; equality needs the other value.
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, t, &some, FenAttr(), Op::attrGet),
             Op::opNotForAttribute);
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, t, &some, FenAttr(), Op::attrCall),
             Op::opNotForAttribute);
   EXPECT_THROW(Fen::genericIfAttributeOp(&out, t, &some, FenAttr(), Op::attrEqual),
                Fen::RangeException);
   // No result asked for: nothing written, still done.
   EXPECT_EQ(Fen::genericIfAttributeOp(nullptr, t, &some, FenAttr(), Op::attrNonDefault),
             Op::opDone);
}

TEST(GenericIf, ConstructFromCtorArgsMakesAConfigFromItsThreeArguments) {
   TypeView const t = type("WexIntfEncapHwConfig");
   ASSERT_EQ(t.ctorArgCount(), 3);
   EXPECT_EQ(t.ctorArgName(0), "intfEncap");
   EXPECT_EQ(t.ctorArgName(1), "fwdInfo");
   EXPECT_EQ(t.ctorArgName(2), "lagId");
   Ulva::IntfEncap const e = encap("Ethernet2", 20);
   Ulva::ServiceIntfFwdInfo fwd(id("Ethernet2.20"));
   fwd.fwdDataIs(9);
   Kestin::IntfId const lag = id("Port-Channel3");
   void const* args[] = {&e, &fwd, &lag};
   GenericValue dest(t);
   Fen::genericIfConstructFromCtorArgs(t, dest.ptr(), args);
   EXPECT_EQ(*static_cast<WexIntfEncapHwConfig const*>(dest.ptr()),
             WexIntfEncapHwConfig(e, fwd, lag));
   // A missing array, or a missing argument in it, is refused.
   EXPECT_THROW(Fen::genericIfConstructFromCtorArgs(t, dest.ptr(), nullptr), Fen::RangeException);
   void const* holey[] = {&e, nullptr, &lag};
   EXPECT_THROW(Fen::genericIfConstructFromCtorArgs(t, dest.ptr(), holey), Fen::RangeException);
}

TEST(GenericIf, ConstructFromCtorArgsMakesACountedDecoder) {
   TypeView const t = type("WexEncapHwStatusDecoder");
   Ulva::IntfEncap const key = encap("Port-Channel2", 30);
   void const* args[] = {&key};
   GenericValue dest(t);
   EXPECT_EQ(dest.strRep(), "null");
   Fen::genericIfConstructFromCtorArgs(t, dest.ptr(), args);
   ASSERT_NE(dest.object(), nullptr);
   EXPECT_EQ(Fen::typeOf(*dest.object()), t);
   EXPECT_EQ(dest.strRep(), "WexVlanMapping::WexEncapHwStatusDecoder");
   auto const* decoder = dynamic_cast<WexEncapHwStatusDecoder const*>(dest.object());
   ASSERT_NE(decoder, nullptr);
   EXPECT_EQ(decoder->intfEncap(), key);
   EXPECT_EQ(decoder->hwStatusCount(), 0u);
   Ulva::IntfEncap out;
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, const_cast<WexEncapHwStatusDecoder&>(*decoder),
                                       attr("WexEncapHwStatusDecoder", "intfEncap"), Op::attrGet),
             Op::opDone);
   EXPECT_EQ(out, key);
   EXPECT_THROW(Fen::genericIfConstructFromCtorArgs(t, dest.ptr(), nullptr), Fen::RangeException);
}

TEST(GenericIf, ConstructFromCtorArgsStartsAMultiplexerFromItsEightInputs) {
   auto const wcsd = Wex::wexCommonSmDataFactory();
   auto const intfStatus = Interface::subIntfStatusDirFactory();
   auto const hwIn = Interface::Hardware::subIntfStatusDirFactory();
   auto const hwOut = Interface::Hardware::subIntfStatusDirFactory();
   auto const fwdIn = Ulva::serviceIntfFwdInfoCollFactory();
   auto const fwdOut = Ulva::serviceIntfFwdInfoCollFactory();
   auto const svcStatus = Ulva::serviceIntfHwStatusCollFactory();
   auto const types = WexVlanMapping::supportedEncapServiceTypesFactory();
   types->encapServiceTypeIs(Ulva::serviceIntfTypeSubIntf);
   Ulva::ServiceIntfFwdInfo offer(id("Ethernet1.10"));
   offer.serviceTypeIs(Ulva::serviceIntfTypeSubIntf);
   offer.fwdDataIs(7);
   fwdIn->fwdInfoIs(offer);
   PtrTransport const in[] = {
       PtrTransport(wcsd),  PtrTransport(intfStatus), PtrTransport(hwIn),      PtrTransport(hwOut),
       PtrTransport(fwdIn), PtrTransport(fwdOut),     PtrTransport(svcStatus), PtrTransport(types)};
   void const* args[8];
   for (int i = 0; i < 8; ++i)
      args[i] = &in[i];
   TypeView const t = type("WexIntfEncapMuxSm");
   ASSERT_EQ(t.ctorArgCount(), 8);
   GenericValue dest(t);
   Fen::genericIfConstructFromCtorArgs(t, dest.ptr(), args);
   auto const* mux = dynamic_cast<WexVlanMapping::WexIntfEncapMuxSm const*>(dest.object());
   ASSERT_NE(mux, nullptr);
   EXPECT_TRUE(mux->initialized());
   EXPECT_EQ(mux->subIntfHwStatusOut(), hwOut.ptr());
   // The sweep ran: the offered record went out on the service road.
   EXPECT_TRUE(fwdOut->fwdInfoMap().has(id("Ethernet1.10")));
   // A pointer of the wrong class in an input's place is refused, and nothing is made.
   PtrTransport const wrong(WexVlanMapping::wexDynamicIntfEncapCollFactory());
   args[0] = &wrong;
   GenericValue other(t);
   EXPECT_THROW(Fen::genericIfConstructFromCtorArgs(t, other.ptr(), args), Fen::RangeException);
   EXPECT_EQ(other.object(), nullptr);
   dest = GenericValue();
}

TEST_F(GenericIfSm, ConstructFromCtorArgsStartsASimulatedPlatformFromItsEightInputs) {
   fwdInfoIs("Ethernet1.10", 5);
   wantIs(encap("Ethernet1", 10), "Ethernet1.10");
   hw->hwStatusIs(encap("Ethernet1", 10), Ulva::hwStatusSuccess);
   PtrTransport const in[] = {
       PtrTransport(wcsd),      PtrTransport(fwd), PtrTransport(svcStatus), PtrTransport(wanted),
       PtrTransport(published), PtrTransport(),    PtrTransport(dynamic),   PtrTransport(hw)};
   void const* args[8];
   for (int i = 0; i < 8; ++i)
      args[i] = &in[i];
   TypeView const t = type("IntfEncapSm");
   ASSERT_EQ(t.ctorArgCount(), 8);
   EXPECT_EQ(t.ctorArgName(6), "dynamicIntfEncap");
   EXPECT_EQ(t.ctorArgName(7), "testHwStatusColl");
   {
      GenericValue dest(t);
      Fen::genericIfConstructFromCtorArgs(t, dest.ptr(), args);
      auto const* sm = dynamic_cast<WexVlanMappingTest::IntfEncapSm const*>(dest.object());
      ASSERT_NE(sm, nullptr);
      EXPECT_TRUE(sm->initialized());
      EXPECT_EQ(sm->dynamicIntfEncap(), dynamic.ptr());
      EXPECT_TRUE(sm->testHwConfigKeyMap().has(encap("Ethernet1", 10)));
      EXPECT_EQ(published->hwStatus(encap("Ethernet1", 10)), Ulva::hwStatusSuccess);
   }
   EXPECT_THROW(Fen::genericIfConstructFromCtorArgs(t, GenericValue(t).ptr(), nullptr),
                Fen::RangeException);
}

// ---- sets
// -----------------------------------------------------------------------------------------------

TEST_F(GenericIfSm, RetryNeededMemberCannotBeMadeFalseAndTheSetStaysAsItWas) {
   startSimulated();
   FenAttr const retry = attr("WexIntfEncapSm", "retryNeeded");
   Ulva::IntfEncap const member = encap("Ethernet1", 10);
   Ulva::IntfEncap const absent = encap("Ethernet1", 11);
   bool const yes = true;
   bool const no = false;
   ASSERT_EQ(Fen::genericIfAttributeOp(nullptr, *simulated, retry, Op::attrSet, &member, &yes),
             Op::opDone);
   ASSERT_TRUE(simulated->retryNeededMap().has(member));
   EXPECT_THROW(Fen::genericIfAttributeOp(nullptr, *simulated, retry, Op::attrSet, &member, &no),
                Fen::RangeException);
   EXPECT_THROW(Fen::genericIfAttributeOp(nullptr, *simulated, retry, Op::attrSet, &absent, &no),
                Fen::RangeException);
   EXPECT_TRUE(simulated->retryNeededMap().has(member));
   EXPECT_FALSE(simulated->retryNeededMap().has(absent));
   EXPECT_EQ(simulated->retryNeededMap().size(), 1u);
   // Get reads membership as true or false.
   bool out = false;
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, *simulated, retry, Op::attrGet, &member), Op::opDone);
   EXPECT_TRUE(out);
   EXPECT_EQ(Fen::genericIfAttributeOp(&out, *simulated, retry, Op::attrGet, &absent), Op::opDone);
   EXPECT_FALSE(out);
}

TEST(GenericIf, EncapServiceTypeMemberCannotBeMadeFalseAndTheSetStaysAsItWas) {
   auto const types = WexVlanMapping::supportedEncapServiceTypesFactory();
   types->encapServiceTypeIs(Ulva::serviceIntfTypeTunnel);
   FenAttr const a = attr("SupportedEncapServiceTypes", "encapServiceType");
   Ulva::ServiceIntfType const member = Ulva::serviceIntfTypeTunnel;
   Ulva::ServiceIntfType const absent = Ulva::serviceIntfTypePseudowire;
   bool const no = false;
   try {
      Fen::genericIfAttributeOp(nullptr, *types, a, Op::attrSet, &member, &no);
      ADD_FAILURE() << "no exception";
   } catch (Fen::RangeException const& e) {
      EXPECT_THAT(e.what(), testing::HasSubstr("encapServiceType"));
   }
   EXPECT_THROW(Fen::genericIfAttributeOp(nullptr, *types, a, Op::attrSet, &absent, &no),
                Fen::RangeException);
   EXPECT_TRUE(types->encapServiceTypeMap().has(member));
   EXPECT_FALSE(types->encapServiceTypeMap().has(absent));
   EXPECT_EQ(types->encapServiceTypeMap().size(), 1u);
   // A set without a value is refused too.
   EXPECT_THROW(Fen::genericIfAttributeOp(nullptr, *types, a, Op::attrSet, &absent, nullptr),
                Fen::RangeException);
   EXPECT_FALSE(types->encapServiceTypeMap().has(absent));
}

// ---- methods
// -------------------------------------------------------------------------------------------

TEST(GenericIf, MethodCallWithArgumentsThenACountThroughItsResult) {
   auto const decoder = WexVlanMapping::wexEncapHwStatusDecoderFactory(encap("Port-Channel1", 10));
   FenAttr const update = attr("WexEncapHwStatusDecoder", "updateMember");
   FenAttr const count = attr("WexEncapHwStatusDecoder", "hwStatusCount");
   FenAttr const aggr = attr("WexEncapHwStatusDecoder", "aggrHwStatus");
   ASSERT_EQ(update.argCount(), 2);
   EXPECT_EQ(update.argName(0), "encap");
   EXPECT_EQ(update.argName(1), "newStatus");
   Ulva::IntfEncap const e1 = encap("Ethernet1", 10);
   Ulva::IntfEncap const e2 = encap("Ethernet2", 10);
   Ulva::IntfEncapHwStatus const success = Ulva::hwStatusSuccess;
   Ulva::IntfEncapHwStatus const notReady = Ulva::hwStatusNotReady;
   void const* first[] = {&e1, &success};
   void const* second[] = {&e2, &notReady};
   ASSERT_EQ(Fen::genericIfAttributeOp(nullptr, *decoder, update, Op::attrCall, nullptr, first),
             Op::opDone);
   ASSERT_EQ(Fen::genericIfAttributeOp(nullptr, *decoder, update, Op::attrCall, nullptr, second),
             Op::opDone);
   std::uint32_t n = 0;
   ASSERT_EQ(Fen::genericIfAttributeOp(&n, *decoder, count, Op::attrCall), Op::opDone);
   EXPECT_EQ(n, 2u);
   EXPECT_EQ(decoder->successCount(), 1u);
   EXPECT_EQ(decoder->notReadyCount(), 1u);
   bool const strict = false;
   bool const any = true;
   void const* strictArgs[] = {&strict};
   void const* anyArgs[] = {&any};
   GenericValue result(aggr.type());
   ASSERT_EQ(
       Fen::genericIfAttributeOp(result.ptr(), *decoder, aggr, Op::attrCall, nullptr, strictArgs),
       Op::opDone);
   EXPECT_EQ(result.strRep(), "hwStatusNotReady");
   ASSERT_EQ(
       Fen::genericIfAttributeOp(result.ptr(), *decoder, aggr, Op::attrCall, nullptr, anyArgs),
       Op::opDone);
   EXPECT_EQ(result.strRep(), "hwStatusSuccess");
   // A call without a result transport runs all the same.
   EXPECT_EQ(Fen::genericIfAttributeOp(nullptr, *decoder, count, Op::attrCall), Op::opDone);
   // A method answers nothing but the call.
   EXPECT_EQ(Fen::genericIfAttributeOp(&n, *decoder, count, Op::attrGet), Op::opNotForAttribute);
}

TEST(GenericIf, MethodCallWithoutItsArgumentArrayOrWithAHoleInItIsRefused) {
   auto const decoder = WexVlanMapping::wexEncapHwStatusDecoderFactory(encap("Port-Channel1", 10));
   FenAttr const update = attr("WexEncapHwStatusDecoder", "updateMember");
   EXPECT_THROW(Fen::genericIfAttributeOp(nullptr, *decoder, update, Op::attrCall),
                Fen::RangeException);
   Ulva::IntfEncap const e = encap("Ethernet1", 10);
   void const* holey[] = {&e, nullptr};
   EXPECT_THROW(Fen::genericIfAttributeOp(nullptr, *decoder, update, Op::attrCall, nullptr, holey),
                Fen::RangeException);
   EXPECT_EQ(decoder->hwStatusCount(), 0u);
   EXPECT_EQ(decoder->hwStatusMap().size(), 0u);
   // A method without arguments needs no array.
   std::uint32_t n = 7;
   EXPECT_EQ(Fen::genericIfAttributeOp(
                 &n, *decoder, attr("WexEncapHwStatusDecoder", "hwStatusCount"), Op::attrCall),
             Op::opDone);
   EXPECT_EQ(n, 0u);
}

TEST(GenericIf, PointerArgumentOfTheWrongClassIsRefused) {
   auto const status = MacsecProxy::statusFactory();
   auto const dynamic = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   auto const dyn = WexVlanMapping::wexDynamicEncapSmFactory(status, dynamic);
   status->proxyIntfIs(id("Ethernet1"))->singleTagEgressIs(true);
   FenAttr const add = attr("WexDynamicEncapSm", "addMacsecProxyDynEncap");
   ASSERT_EQ(add.argCount(), 1);
   EXPECT_EQ(add.argType(0), type("MacsecProxySubIntfStatus"));
   PtrTransport const wrong(WexVlanMapping::wexEncapHwStatusDecoderFactory(encap("Ethernet1", 1)));
   void const* args[] = {&wrong};
   try {
      Fen::genericIfAttributeOp(nullptr, *dyn, add, Op::attrCall, nullptr, args);
      ADD_FAILURE() << "no exception";
   } catch (Fen::RangeException const& e) {
      EXPECT_THAT(e.what(), testing::HasSubstr("WexVlanMapping::WexEncapHwStatusDecoder"));
      EXPECT_THAT(e.what(), testing::HasSubstr("MacsecProxy::MacsecProxySubIntfStatus"));
   }
   EXPECT_EQ(dynamic->entrys(), 0u);
   // The right class goes through: two entries, the proxy's and the patch's.
   PtrTransport const right(MacsecProxy::macsecProxySubIntfStatusFactory(
       id("Ethernet1.10"), id("Ethernet1.20"), 200, 100));
   args[0] = &right;
   EXPECT_EQ(Fen::genericIfAttributeOp(nullptr, *dyn, add, Op::attrCall, nullptr, args),
             Op::opDone);
   EXPECT_EQ(dynamic->entrys(), 2u);
   // The refusal itself, called directly.
   EXPECT_THROW(Fen::GenericIfImpl::throwTypeException(type("WexEncapHwStatusDecoder"),
                                                       type("MacsecProxySubIntfStatus")),
                Fen::RangeException);
}

TEST_F(GenericIfSm, WritablePointerOfTheWrongClassIsRefusedAndTheRightOneAttached) {
   startSimulated();
   FenAttr const dyn = attr("WexIntfEncapSm", "dynamicIntfEncap");
   ASSERT_EQ(dyn.access(), Fen::AttrAccess::writable);
   PtrTransport const wrong(Ulva::serviceIntfFwdInfoCollFactory());
   EXPECT_THROW(Fen::genericIfAttributeOp(nullptr, *simulated, dyn, Op::attrSet, nullptr, &wrong),
                Fen::RangeException);
   EXPECT_EQ(simulated->dynamicIntfEncap(), dynamic.ptr());
   auto const other = WexVlanMapping::wexDynamicIntfEncapCollFactory();
   PtrTransport const right(other);
   EXPECT_EQ(Fen::genericIfAttributeOp(nullptr, *simulated, dyn, Op::attrSet, nullptr, &right),
             Op::opDone);
   EXPECT_EQ(simulated->dynamicIntfEncap(), other.ptr());
   // A null pointer detaches.
   PtrTransport const none;
   EXPECT_EQ(Fen::genericIfAttributeOp(nullptr, *simulated, dyn, Op::attrSet, nullptr, &none),
             Op::opDone);
   EXPECT_EQ(simulated->dynamicIntfEncap(), nullptr);
}

// ---- the pointer conversion
// ------------------------------------------------------------------------

TEST(GenericIf, VoidPtrIsOfEqualTypesGivesTheSamePointer) {
   int object = 0;
   for (char const* name : {"WexIntfEncapHwConfig", "WexEncapHwStatusDecoder", "U32"}) {
      TypeView const t = type(name);
      EXPECT_EQ(Fen::GenericIfImpl::voidPtrIs(&object, t, t), &object) << name;
      EXPECT_EQ(valueMethods(t)->genericIfVoidPtrIs(&object, t, t), &object) << name;
   }
}

TEST(GenericIf, VoidPtrIsOfTwoPolymorphicTypesAlongTheBaseGivesTheSamePointer) {
   int object = 0;
   TypeView const derived = type("IntfEncapSm");
   TypeView const base = type("WexIntfEncapSm");
   ASSERT_EQ(derived.base(), base);
   EXPECT_EQ(Fen::GenericIfImpl::voidPtrIs(&object, derived, base), &object);
}

TEST(GenericIf, VoidPtrIsOfUnrelatedTypesThrows) {
   int object = 0;
   EXPECT_THROW(Fen::GenericIfImpl::voidPtrIs(&object, type("WexIntfEncapHwConfig"),
                                              type("WexDynamicIntfEncapInfo")),
                Fen::RangeException);
   // Derivation goes one way only: a base is no derived class.
   EXPECT_THROW(Fen::GenericIfImpl::voidPtrIs(&object, type("WexIntfEncapSm"), type("IntfEncapSm")),
                Fen::RangeException);
}

TEST(GenericIf, VoidPtrIsOfANonPolymorphicTypeAsItsPolymorphicBaseMovesOnOneWord) {
   TypeView const polyBase(&GenericIfTestTypes::handTypesModule, 0);
   TypeView const plainDerived(&GenericIfTestTypes::handTypesModule, 1);
   ASSERT_TRUE(polyBase.isPolymorphic());
   ASSERT_FALSE(plainDerived.isPolymorphic());
   ASSERT_TRUE(plainDerived.isDerived(polyBase));
   alignas(void*) std::byte object[4 * sizeof(void*)] = {};
   EXPECT_EQ(Fen::GenericIfImpl::voidPtrIs(object, plainDerived, polyBase),
             static_cast<void*>(object + sizeof(void*)));
   EXPECT_EQ(Fen::GenericIfImpl::pointerPastVtable(object, plainDerived),
             static_cast<void*>(object + sizeof(void*)));
}

TEST(GenericIf, TestModuleDescribesACountedClassOverAPlainBase) {
   TypeView const plain = Fen::fenType(Fen::fenModule("GenericIfTest"), "PlainBase");
   TypeView const poly = Fen::fenType(Fen::fenModule("GenericIfTest"), "PolyChild");
   ASSERT_TRUE(plain);
   ASSERT_TRUE(poly);
   EXPECT_FALSE(plain.isPolymorphic());
   EXPECT_TRUE(poly.isPolymorphic());
   EXPECT_EQ(poly.base(), plain);
   auto const child = Fen::fenObjectIs<GenericIfTestTypes::PolyChild>();
   EXPECT_EQ(Fen::typeOf(*child), poly);
}

using GenericIfDeathTest = testing::Test;

TEST_F(GenericIfDeathTest, VoidPtrIsOfAPolymorphicTypeAsItsNonPolymorphicBaseAsserts) {
   TypeView const plain = Fen::fenType(Fen::fenModule("GenericIfTest"), "PlainBase");
   TypeView const poly = Fen::fenType(Fen::fenModule("GenericIfTest"), "PolyChild");
   ASSERT_TRUE(plain && poly);
   int object = 0;
   EXPECT_DEATH(Fen::GenericIfImpl::voidPtrIs(&object, poly, plain),
                failedAssertion("type.isPolymorphic()"));
}

TEST_F(GenericIfDeathTest, PointerPastVtableOfAPolymorphicTypeAsserts) {
   int object = 0;
   EXPECT_DEATH(Fen::GenericIfImpl::pointerPastVtable(&object, type("WexEncapHwStatusDecoder")),
                failedAssertion("!t.isPolymorphic()"));
   TypeView const polyBase(&GenericIfTestTypes::handTypesModule, 0);
   EXPECT_DEATH(Fen::GenericIfImpl::pointerPastVtable(&object, polyBase),
                failedAssertion("!t.isPolymorphic()"));
}

}  // namespace
